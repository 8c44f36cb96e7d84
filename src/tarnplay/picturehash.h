// Numbers that tell pictures apart.
#pragma once

#include <cstddef>
#include <cstdint>

/// XXH64 with seed 0, the 64-bit hash of the xxHash family: a whole picture takes a fraction of a
/// millisecond, and any other program that knows it gets the same number from the same bytes.
/// @param bytes of a picture: red, green, blue, 255 for each pixel, the top row first
std::uint64_t PictureHash(const unsigned char* bytes, std::size_t count);
