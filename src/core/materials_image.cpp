// Image headers: where each format keeps its width and height. Owns nothing; every read stays in the file.
#include "materials_image.h"

#include "datablock.h"
#include "strfuncs.h"

#include <algorithm>
#include <cstring>
#include <zlib.h>

namespace {

constexpr long long kMostPixels = 16384LL * 8192;

// Pixels that a byte can hold at best: in PNG deflate makes 1032 bytes of one, with 8 pixels in each; a code
// of GIF or JPEG stands for thousands; runs are of 128 pixels at most.
constexpr int kDeflated = 8 * 1032;
constexpr int kCodes = 4096;
constexpr int kRuns = 128;

/// The bytes of a file, zeros beyond its end.
class Header {
public:
    explicit Header(const DataBlock& file) : bytes(file.Ptr()), count(file.Len()) {}

    const unsigned char* Bytes() const { return bytes; }
    int Len() const { return count; }
    int At(long long i) const { return i >= 0 && i < count ? bytes[i] : 0; }
    char CharAt(long long i) const { return static_cast<char>(At(i)); }
    bool IsDigit(long long i) const { return At(i) >= '0' && At(i) <= '9'; }
    bool IsSpace(long long i) const { return At(i) == ' ' || (At(i) >= '\t' && At(i) <= '\r'); }
    bool Has(const char* magic, int length, long long at = 0) const {
        return at + length <= count && memcmp(bytes + at, magic, static_cast<size_t>(length)) == 0;
    }
    /// An unsigned number of 1 to 4 bytes, the highest first.
    long long Big(long long at, int length) const {
        long long value = 0;
        for (int i = 0; i < length; ++i)
            value = value * 256 + At(at + i);
        return value;
    }
    /// The same with the lowest byte first.
    long long Little(long long at, int length) const {
        long long value = 0;
        for (int i = length - 1; i >= 0; --i)
            value = value * 256 + At(at + i);
        return value;
    }
    /// A decimal number from `at` on, which moves behind it; what a size cannot be stops growing.
    long long Decimal(long long& at) const {
        long long value = 0;
        for (; IsDigit(at); ++at)
            if (value <= kMostPixels)
                value = value * 10 + At(at) - '0';
        return value;
    }

private:
    const unsigned char* bytes;
    int count;
};

constexpr char kPngMagic[] = "\x89PNG\r\n\x1a\n";
constexpr int kPngMagicLength = 8;
constexpr int kPngChunkFrame = 12; // length, type and checksum around a chunk's data

bool isPng(const Header& file) {
    return file.Has(kPngMagic, kPngMagicLength);
}

/// Where the first chunk of that type begins, -1 when the image ends without one.
long long chunkOf(const Header& file, const char* type) {
    long long at = kPngMagicLength;
    while (at < file.Len() && !file.Has(type, 4, at + 4) && !file.Has("IEND", 4, at + 4))
        at += file.Big(at, 4) + kPngChunkFrame;
    return file.Has(type, 4, at + 4) ? at : -1;
}

ImageSize pngSize(const Header& file) {
    const long long at = chunkOf(file, "IHDR");
    return at < 0 ? ImageSize{} : ImageSize{file.Big(at + 8, 4), file.Big(at + 12, 4), kDeflated};
}

/// The next marker of a JPEG file, 0 at its end; moves `at` to the length behind it. Rubbish between segments
/// and the coded pixels are passed over.
int nextMarker(const Header& file, long long& at) {
    while (at < file.Len()) {
        if (file.At(at++) != 0xff)
            continue;
        const int marker = file.At(at);
        const bool ofPixels = marker == 0 || (marker >= 0xd0 && marker <= 0xd7);
        if (marker == 0xff || ofPixels)
            continue;
        ++at;
        return marker;
    }
    return 0;
}

/// Where a JPEG file's segments begin, 0 for other files: behind any number of fill bytes and the first
/// marker.
long long jpegStart(const Header& file) {
    long long at = 0;
    while (file.At(at) == 0xff)
        ++at;
    return at > 0 && file.At(at) == 0xd8 ? at + 1 : 0;
}

ImageSize jpegSize(const Header& file) {
    long long at = jpegStart(file);
    while (const int marker = nextMarker(file, at)) {
        if (marker >= 0xc0 && marker <= 0xc2)
            return {file.Big(at + 5, 2), file.Big(at + 3, 2), kCodes};
        at += file.Big(at, 2);
    }
    return {};
}

/// Whether a table of the segment at `at` makes a coefficient of more bits than there can be.
bool hasBadTable(const Header& file, long long at) {
    constexpr int kMostBits = 15, kLengths = 16;
    const long long end = std::min<long long>(at + file.Big(at, 2), file.Len());
    for (at += 2; at < end;) {
        const bool ofBitCounts = file.At(at++) < 16;
        int values = 0;
        for (int i = 0; i < kLengths; ++i)
            values += file.At(at++);
        for (; values > 0; --values)
            if (file.At(at++) > kMostBits && ofBitCounts)
                return true;
    }
    return false;
}

bool isDamagedJpeg(const Header& file) {
    constexpr int kTables = 0xc4;
    long long at = jpegStart(file);
    while (const int marker = nextMarker(file, at)) {
        if (marker == kTables && hasBadTable(file, at))
            return true;
        at += file.Big(at, 2);
    }
    return false;
}

/// Rows from the bottom up have a positive height, others a negative one.
ImageSize bmpSize(const Header& file) {
    constexpr long long kSign = 0x80000000, kOldHeader = 12;
    if (file.Little(14, 4) == kOldHeader)
        return {file.Little(18, 2), file.Little(20, 2), kRuns};
    const long long height = file.Little(22, 4);
    return {file.Little(18, 4), height > kSign ? 2 * kSign - height : height, kRuns};
}

/// The one format without a magic: known by values that make sense, so that any other file is not blamed for
/// its size.
ImageSize tgaSize(const Header& file) {
    const int type = file.At(2) & 7, bits = file.At(16);
    const bool sensible = file.At(1) <= 1 && file.At(2) <= 11 && type >= 1 && type <= 3 &&
                          (bits == 8 || bits == 15 || bits == 16 || bits == 24 || bits == 32);
    return sensible ? ImageSize{file.Little(12, 2), file.Little(14, 2), kRuns} : ImageSize{};
}

/// Text: the magic, the width and the height behind blanks and comments; anything else there reads as 0.
ImageSize pnmSize(const Header& file) {
    long long numbers[2];
    long long at = 2;
    for (long long& number : numbers) {
        for (bool comment = false; comment || file.IsSpace(at) || file.At(at) == '#'; ++at)
            comment = at < file.Len() && (comment || file.At(at) == '#') && !isLineBreak(file.CharAt(at));
        number = file.Decimal(at);
    }
    return {numbers[0], numbers[1], kRuns};
}

/// A line of text "-Y height +X width" behind other lines; the numbers may have signs. Should several look
/// like it, the largest numbers count.
ImageSize hdrSize(const Header& file) {
    ImageSize size = {0, 0, kRuns};
    for (long long at = 0; at < file.Len(); ++at) {
        if (!file.Has("\n-Y ", 4, at))
            continue;
        long long numberAt = at + 4;
        for (long long* number : {&size.height, &size.width}) {
            while (numberAt < file.Len() && file.At(numberAt) != '\n' && !file.IsDigit(numberAt))
                ++numberAt;
            *number = std::max(*number, file.Decimal(numberAt));
        }
    }
    return size;
}

/// The compressed pixels of a PNG file, inflated to nowhere: the image library makes room for whatever comes
/// out of them, so that 10 MB can take 10 GB, and does not see their end.
class PixelStream {
public:
    /// @param headerBytes what precedes the deflated data
    PixelStream(long long mostBytes, int headerBytes) : left(mostBytes), toSkip(headerBytes) {
        ended = inflateInit2(&stream, -MAX_WBITS) != Z_OK;
    }
    ~PixelStream() { inflateEnd(&stream); }
    PixelStream(const PixelStream&) = delete;
    PixelStream& operator=(const PixelStream&) = delete;

    /// Takes the next piece. @return false when it is broken or inflates too far
    bool Take(const unsigned char* bytes, long long count) {
        const long long skipped = std::min(toSkip, count);
        toSkip -= skipped;
        stream.next_in = const_cast<unsigned char*>(bytes) + skipped;
        stream.avail_in = static_cast<unsigned>(count - skipped);
        bool fills = true; // there may be more to come out of what has been taken
        while (!ended && (fills || stream.avail_in > 0)) {
            stream.next_out = scratch;
            stream.avail_out = sizeof(scratch);
            const int result = inflate(&stream, Z_NO_FLUSH);
            left -= static_cast<long long>(sizeof(scratch) - stream.avail_out);
            ended = result == Z_STREAM_END;
            fills = stream.avail_out == 0;
            if (left < 0 || (!ended && result != Z_OK && result != Z_BUF_ERROR))
                return false;
        }
        return true;
    }
    bool Ended() const { return ended; }

private:
    z_stream stream = {};
    long long left;
    long long toSkip;
    bool ended;
    unsigned char scratch[1 << 15];
};

/// Bytes of the rows of a PNG file, each behind its filter, by the header at `at`.
long long pngRowBytes(const Header& file, long long at) {
    constexpr int kChannels[] = {1, 1, 3, 1, 2, 1, 4, 1}; // by colour type
    const long long width = std::min(file.Big(at + 8, 4), kMostPixels);
    const long long height = std::min(file.Big(at + 12, 4), kMostPixels);
    const long long bits = width * file.At(at + 16) * kChannels[file.At(at + 17) & 7];
    return height * ((bits + 7) / 8 + 1);
}

bool isDamagedPng(const Header& file) {
    constexpr int kZlibHeader = 2, kSlack = 1 << 16;
    const long long header = chunkOf(file, "IHDR");
    if (header < 0)
        return true;
    // Interlaced rows are shorter and more. One maker's files are without the header.
    PixelStream pixels(2 * pngRowBytes(file, header) + kSlack, chunkOf(file, "CgBI") < 0 ? kZlibHeader : 0);
    for (long long at = kPngMagicLength; at < file.Len();) {
        const long long length = file.Big(at, 4);
        const long long end = at + length + kPngChunkFrame;
        if (end > file.Len())
            return true;
        const unsigned char* type = file.Bytes() + at + 4;
        const bool indispensable = (*type & 0x20) == 0;
        if (indispensable &&
            file.Big(end - 4, 4) != static_cast<long long>(crc32(0, type, static_cast<unsigned>(length + 4))))
            return true;
        if (file.Has("IDAT", 4, at + 4) && !pixels.Take(type + 4, length))
            return true;
        if (file.Has("IEND", 4, at + 4))
            return !pixels.Ended();
        at = end;
    }
    return true;
}

} // namespace

ImageSize AnnouncedImageSize(const DataBlock& block) {
    const Header file(block);
    if (isPng(file))
        return pngSize(file);
    if (file.Has("BM", 2))
        return bmpSize(file);
    if (file.Has("GIF8", 4))
        return {file.Little(6, 2), file.Little(8, 2), kCodes};
    if (file.Has("8BPS", 4))
        return {file.Big(18, 4), file.Big(14, 4), kRuns};
    if (file.Has("\x53\x80\xf6\x34", 4))
        return {file.Big(92, 2), file.Big(94, 2), kRuns};
    if (jpegStart(file) > 0)
        return jpegSize(file);
    if (file.Has("P5", 2) || file.Has("P6", 2))
        return pnmSize(file);
    if (file.Has("#?", 2))
        return hdrSize(file);
    return tgaSize(file);
}

bool MayDecodeImage(ImageSize size, int fileBytes) {
    if (size.width <= 0 || size.height <= 0)
        return true; // the library says what is wrong
    const long long most = std::min(kMostPixels, 1LL * size.pixelsPerByte * fileBytes);
    return size.width <= most / size.height;
}

bool IsDamagedImage(const DataBlock& block) {
    const Header file(block);
    return isPng(file) ? isDamagedPng(file) : jpegStart(file) > 0 && isDamagedJpeg(file);
}
