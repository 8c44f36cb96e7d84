// The size that an image file announces, read before the image library may have the file. For the texture
// loader only.
#pragma once

class DataBlock;

/// What an image file's header says, in pixels; 0 where it says nothing that we can read.
struct ImageSize {
    long long width = 0;
    long long height = 0;
    int pixelsPerByte = 0; // what the format's compression can make of a byte at best
};

/// Reads the size from a whole file of any format that the image library knows. Nothing else in the file is
/// checked.
ImageSize AnnouncedImageSize(const DataBlock& file);

/// Whether an image is safe to decode. Pixels are 4 bytes in memory, twice while they are loaded, and a
/// header of 30 bytes can announce 2 GB of them. So an image has at most 134,217,728 pixels (16384 x 8192),
/// and no more than the densest compression can have packed into the file.
bool MayDecodeImage(ImageSize size, int fileBytes);

/// Whether the image library must not see a file since it is damaged where the library does not look: a PNG
/// file with wrong checksums can keep it inflating for gigabytes, a JPEG file with senseless tables ends the
/// process by an assertion. False for every other kind of file.
bool IsDamagedImage(const DataBlock& file);
