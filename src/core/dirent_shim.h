// Directory listing under the POSIX names opendir, readdir and closedir on every platform.
// The caller owns the handle that opendir gives and ends it with closedir.
#pragma once

#ifndef _WIN32

#include <dirent.h>

#else

/// One entry of a directory; the next readdir on the same handle overwrites it.
struct dirent {
    char d_name[780]; // file name without its directory, zero-terminated UTF-8; the system's 260 units fit
};

/// A running directory listing; only dirent_shim.cpp sees inside.
struct DIR;

/// Starts listing the directory called dirname, "." and ".." included, in the platform's order.
/// @return null, with errno set, when the directory cannot be listed. A null or overlong name is asserted
///         against, and fails likewise where asserts are compiled out.
DIR* opendir(const char* dirname);

/// The next entry, owned by the handle; null at the end of the listing.
dirent* readdir(DIR* dirp);

/// Ends the listing and frees the handle.
/// @return 0, or -1 when the handle was not a running listing.
int closedir(DIR* dirp);

#endif
