// A first look at a sound file, before the audio library may open it. For the audio managers only.
#pragma once

#include <string>

/// Whether the audio library can be trusted with a file. A wave file must describe its format before its
/// samples (the library divides by what the description would have said); `whole`, for a file that is to be
/// held in memory, also asks that the samples announced can be there. Files of other kinds pass: the library
/// looks at those with care.
bool MayOpenSoundFile(const std::string& path, bool whole);
