// Directory listing over the Windows file search; empty where the system brings its own.
// A handle owns its search from opendir to closedir.
#include "dirent_shim.h"

#ifdef _WIN32

#include "strfuncs.h"

#include <cassert>
#include <cerrno>
#include <cstring>
#include <string>
#include <windows.h>

struct DIR {
    HANDLE search;
    WIN32_FIND_DATAW found; // what the next readdir returns, while pending
    bool pending;           // false once the search has run out
    dirent entry;           // what the last readdir returned
};

namespace {

/// The search pattern for everything in a directory; a drive such as "C:" takes no separator.
std::wstring searchPattern(const char* dirname) {
    std::wstring pattern = wideText(dirname);
    if (pattern.back() != L'\\' && pattern.back() != L':')
        pattern += L'\\';
    return pattern + L'*';
}

} // namespace

DIR* opendir(const char* dirname) {
    assert(dirname != NULL);
    // clang-format off
    assert(strlen (dirname) < MAX_PATH);
    // clang-format on
    if (!dirname || !*dirname || strlen(dirname) >= MAX_PATH) {
        errno = ENOENT;
        return nullptr;
    }
    DIR* dir = new DIR;
    dir->search = FindFirstFileW(searchPattern(dirname).c_str(), &dir->found);
    dir->pending = dir->search != INVALID_HANDLE_VALUE;
    if (dir->pending)
        return dir;
    delete dir;
    errno = ENOENT;
    return nullptr;
}

dirent* readdir(DIR* dirp) {
    assert(dirp != NULL);
    if (!dirp || !dirp->pending)
        return nullptr;
    static_assert(sizeof(dirp->entry.d_name) >= 3 * MAX_PATH, "a name fits its entry");
    strcpy(dirp->entry.d_name, utf8Text(dirp->found.cFileName).c_str());
    dirp->pending = FindNextFileW(dirp->search, &dirp->found) != 0;
    return &dirp->entry;
}

int closedir(DIR* dirp) {
    assert(dirp != NULL);
    if (!dirp)
        return -1;
    FindClose(dirp->search);
    delete dirp;
    return 0;
}

#endif
