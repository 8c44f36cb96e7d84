# Toolchain for Windows from another system: the compiler of the Debian package g++-mingw-w64-x86-64 and, where
# there is one, wine to run what it makes.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

# Of the two variants that Debian has, the one with the C++ library's threads.
find_program(TARN_MINGW_CXX NAMES x86_64-w64-mingw32-g++-posix x86_64-w64-mingw32-g++ REQUIRED)
find_program(TARN_WINE NAMES wine wine64)
mark_as_advanced(TARN_MINGW_CXX TARN_WINE)
set(CMAKE_CXX_COMPILER "${TARN_MINGW_CXX}")
if(TARN_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR "${TARN_WINE}")
endif()

# The compiler's libraries become part of each program, which so runs anywhere.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")

# Programs are the building machine's, everything else the target's.
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
