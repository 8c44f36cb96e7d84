// The chunks of wave files. Owns nothing; the file is closed again before the library opens it.
#include "soundfile.h"

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace {

constexpr std::uint64_t kRiffHeader = 12; // "RIFF", length, "WAVE"
constexpr std::uint64_t kChunkHeader = 8; // name, length

bool hasName(const unsigned char* chunk, const char* name) {
    return memcmp(chunk, name, 4) == 0;
}

std::uint64_t lengthOf(const unsigned char* chunk) {
    return chunk[4] | chunk[5] << 8 | chunk[6] << 16 | static_cast<std::uint64_t>(chunk[7]) << 24;
}

bool readAt(std::ifstream& file, std::uint64_t at, unsigned char* out, std::uint64_t count) {
    file.seekg(static_cast<std::streamoff>(at));
    return static_cast<bool>(file.read(reinterpret_cast<char*>(out), static_cast<std::streamsize>(count)));
}

} // namespace

bool MayOpenSoundFile(const std::string& path, bool whole) {
    std::ifstream file(path, std::ios::binary);
    unsigned char bytes[kRiffHeader];
    if (!readAt(file, 0, bytes, kRiffHeader) || !hasName(bytes, "RIFF") || !hasName(bytes + 8, "WAVE"))
        return true;
    bool described = false;
    for (std::uint64_t at = kRiffHeader; readAt(file, at, bytes, kChunkHeader);
         at += kChunkHeader + lengthOf(bytes)) {
        described = described || hasName(bytes, "fmt ");
        if (!hasName(bytes, "data"))
            continue;
        std::error_code error;
        const std::uint64_t left = std::filesystem::file_size(path, error) - at - kChunkHeader;
        return described && (!whole || (!error && lengthOf(bytes) <= left));
    }
    return true; // without samples the library refuses it
}
