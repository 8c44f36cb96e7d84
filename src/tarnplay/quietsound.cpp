// Silencing OpenAL by its variable and ALSA by its error handler.
#include "quietsound.h"

#ifdef __linux__

#include <cstdlib>
#include <cstring>
#include <dlfcn.h>

namespace {

using ErrorHandler = void (*)(const char* file, int line, const char* function, int error, const char* format,
                              ...);

void ignore(const char*, int, const char*, int, const char*, ...) {}

} // namespace

void QuietSound() {
    const char* const wanted = getenv("ALSOFT_LOGLEVEL");
    if (wanted && std::strcmp(wanted, "0") != 0)
        return;
    setenv("ALSOFT_LOGLEVEL", "0", 0);
    // Only there where the audio library has brought it into the process.
    if (void* const found = dlsym(RTLD_DEFAULT, "snd_lib_error_set_handler"))
        reinterpret_cast<int (*)(ErrorHandler)>(found)(ignore);
}

#else

void QuietSound() {}

#endif
