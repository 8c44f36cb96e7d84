// Screen capture to numbered bitmap files.
// Nothing outlives a call but the file it wrote.
#include "materials.h"

#include "dirent_shim.h"
#include "opengl.h"
#include "strfuncs.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <new>
#include <string>

namespace {

constexpr const char* kCapturePrefix = "capture";
constexpr int kPrefixLength = 7;
constexpr int kNumberDigits = 3;
constexpr uint32_t kBmpHeaderSize = 54; // file header 14, information header 40

/// The three characters after the prefix read as digits, whatever they are; -1 for other and shorter names.
int captureNumber(const char* name) {
    if (!strBeginsWith(name, kCapturePrefix, true) || strlength(name) < kPrefixLength + kNumberDigits)
        return -1;
    const char* digit = name + kPrefixLength;
    return 100 * (digit[0] - '0') + 10 * (digit[1] - '0') + (digit[2] - '0');
}

int highestCapture(const std::string& dir) {
    int highest = -1;
    DIR* listing = opendir(dir.c_str());
    if (!listing) {
        printf("Error opening directory\n");
        return highest;
    }
    while (const dirent* entry = readdir(listing)) {
        int number = captureNumber(entry->d_name);
        if (number > highest)
            highest = number;
    }
    closedir(listing);
    return highest;
}

std::string capturePath(const char* dir, int number) {
    char digits[32];
    IntToStr(number, digits, kNumberDigits);
    return nativePath((std::string(dir) + "\\" + kCapturePrefix + digits + ".bmp").c_str());
}

/// The path of the next capture. The scan sees three digits only, so numbers of four may be taken.
std::string freeCapturePath(const char* dir) {
    int number = highestCapture(nativePath(dir)) + 1;
    std::string path = capturePath(dir, number);
    std::error_code ignored;
    while (std::filesystem::exists(path, ignored))
        path = capturePath(dir, ++number);
    return path;
}

/// Writes value's low bytes in little-endian order.
void putBytes(unsigned char* out, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; i++)
        out[i] = static_cast<unsigned char>(value >> (8 * i));
}

bool writeBitmap(FILE* file, int w, int h, const unsigned char* rows, uint32_t imageSize) {
    unsigned char header[kBmpHeaderSize] = {'B', 'M'};
    putBytes(header + 2, kBmpHeaderSize + imageSize, 4);
    putBytes(header + 10, kBmpHeaderSize, 4); // where the pixels start
    putBytes(header + 14, 40, 4);             // size of the information header, which begins here
    putBytes(header + 18, static_cast<uint32_t>(w), 4);
    putBytes(header + 22, static_cast<uint32_t>(h), 4);
    putBytes(header + 26, 1, 2);  // planes
    putBytes(header + 28, 24, 2); // bits a pixel
    putBytes(header + 34, imageSize, 4);
    return fwrite(header, sizeof(header), 1, file) == 1 && fwrite(rows, imageSize, 1, file) == 1;
}

} // namespace

void CaptureScreen(int w, int h, const char* dir) {
    if (w < 1 || h < 1)
        return;
    std::string path = freeCapturePath(dir && *dir ? dir : ".");

    // Rows are padded to 4 bytes, in the file as in what OpenGL delivers.
    uint64_t rowBytes = (static_cast<uint64_t>(w) * 3 + 3) / 4 * 4;
    uint64_t imageSize = rowBytes * static_cast<uint64_t>(h);
    if (imageSize > UINT32_MAX - kBmpHeaderSize)
        return;
    std::unique_ptr<unsigned char[]> rows(new (std::nothrow) unsigned char[imageSize]());
    FILE* file = rows ? fopen(path.c_str(), "wb") : nullptr;
    if (!file)
        return;

    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glReadPixels(0, 0, w, h, GL_BGR, GL_UNSIGNED_BYTE, rows.get());
    bool written = writeBitmap(file, w, h, rows.get(), static_cast<uint32_t>(imageSize));
    if (fclose(file) == 0 && written) {
        printf("Screenshot saved to: %s\n", path.c_str());
    } else {
        remove(path.c_str());
        printf("ERR: could not write %s\n", path.c_str());
    }
}
