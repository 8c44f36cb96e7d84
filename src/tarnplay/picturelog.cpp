// Packing pictures into logs and finding them again.
#include "picturelog.h"

#include "corethingy.h"
#include "opengl.h"
#include "picturehash.h"

#include <algorithm>

namespace {

enum RunKind { RUN_KEPT, RUN_REPEATED, RUN_NEW };

constexpr std::size_t kShortestRun = 4; // pixels; new ones go on through anything shorter
constexpr std::uint32_t kLargestSide = 16384;
constexpr std::uint32_t kLargestArea = 1 << 26; // pixels; a damaged entry asks for no more memory
constexpr std::size_t kBuffer = 1 << 20;
const std::uint32_t kOpaque = 0xff000000;

struct Entry {
    std::uint32_t frame, width, height, bytes;
};

std::size_t pixelCount(const Picture& picture) {
    return static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height);
}

// Keeps the pixels where the size stays, otherwise the next picture starts from nothing.
void resize(Picture& picture, int width, int height) {
    if (picture.width == width && picture.height == height)
        return;
    picture.width = width;
    picture.height = height;
    picture.pixels.assign(pixelCount(picture), 0);
}

// ---- Packing ----

class Packer {
public:
    Packer(const Picture& before, const Picture& now, std::vector<unsigned char>& packed)
        : old(before.pixels), fresh(now.pixels), out(packed) {}

    void Pack() {
        out.clear();
        for (std::size_t at = 0; at < fresh.size();)
            at = packRun(at);
    }

private:
    // @return where the pixels from a place on stop being those of the picture before
    std::size_t keptUntil(std::size_t at, std::size_t limit) const {
        while (at < limit && fresh[at] == old[at])
            ++at;
        return at;
    }

    std::size_t repeatedUntil(std::size_t at, std::size_t limit) const {
        while (at > 0 && at < limit && fresh[at] == fresh[at - 1])
            ++at;
        return at;
    }

    bool runStarts(std::size_t at) const {
        const std::size_t end = std::min(at + kShortestRun, fresh.size());
        return keptUntil(at, end) == end || repeatedUntil(at, end) == end;
    }

    std::size_t packRun(std::size_t at) {
        const std::size_t kept = keptUntil(at, fresh.size());
        const std::size_t repeated = repeatedUntil(at, fresh.size());
        std::size_t end = std::max(kept, repeated);
        if (end - at >= kShortestRun) {
            number((end - at) * 4 + (end == kept ? RUN_KEPT : RUN_REPEATED));
            return end;
        }
        for (end = at + 1; end < fresh.size() && !runStarts(end);)
            ++end;
        number((end - at) * 4 + RUN_NEW);
        for (; at < end; ++at)
            for (int byte = 0; byte < 3; ++byte)
                out.push_back(static_cast<unsigned char>(fresh[at] >> 8 * byte));
        return end;
    }

    void number(std::size_t value) {
        for (; value > 127; value >>= 7)
            out.push_back(static_cast<unsigned char>(value | 128));
        out.push_back(static_cast<unsigned char>(value));
    }

    const std::vector<std::uint32_t>& old;
    const std::vector<std::uint32_t>& fresh;
    std::vector<unsigned char>& out;
};

// ---- Unpacking ----

class Unpacker {
public:
    explicit Unpacker(const std::vector<unsigned char>& packed) : in(packed), at(0) {}

    // Turns the picture before into the packed one.
    // @return false when the bytes make no picture of this size
    bool Unpack(std::vector<std::uint32_t>& pixels) {
        for (std::size_t pixel = 0; pixel < pixels.size();) {
            const std::uint64_t run = number();
            const std::uint64_t length = run / 4;
            if (length == 0 || length > pixels.size() - pixel)
                return false;
            if (!unpackRun(static_cast<int>(run % 4), &pixels[pixel], pixel > 0, length))
                return false;
            pixel += length;
        }
        return true;
    }

private:
    bool unpackRun(int kind, std::uint32_t* pixels, bool hasLeft, std::uint64_t length) {
        if (kind == RUN_KEPT)
            return true;
        if (kind == RUN_REPEATED && hasLeft)
            return std::fill_n(pixels, length, pixels[-1]), true;
        if (kind != RUN_NEW || length > (in.size() - at) / 3)
            return false;
        for (std::uint64_t i = 0; i < length; ++i, at += 3)
            pixels[i] = in[at] | static_cast<std::uint32_t>(in[at + 1]) << 8 |
                        static_cast<std::uint32_t>(in[at + 2]) << 16 | kOpaque;
        return true;
    }

    // @return 0 at the end of the bytes, which is no run
    std::uint64_t number() {
        std::uint64_t value = 0;
        for (int shift = 0; at < in.size() && shift < 63; shift += 7) {
            const unsigned char byte = in[at++];
            value |= static_cast<std::uint64_t>(byte & 127) << shift;
            if (byte < 128)
                return value;
        }
        return 0;
    }

    const std::vector<unsigned char>& in;
    std::size_t at;
};

// Packed, no picture takes more than its new pixels and a few bytes for each run of them.
bool isSound(const Entry& entry) {
    return entry.width >= 1 && entry.width <= kLargestSide && entry.height >= 1 &&
           entry.height <= kLargestSide && entry.width * entry.height <= kLargestArea &&
           entry.bytes / 4 <= entry.width * entry.height;
}

} // namespace

// ---- Picture ----

void Picture::Read(const CoreThingy& core) {
    resize(*this, core.GetScreenWidth(), core.GetScreenHeight());
    glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    for (std::uint32_t& pixel : pixels)
        pixel |= kOpaque;
    // OpenGL's rows start at the bottom.
    for (auto top = pixels.begin(), bottom = pixels.end() - width; top < bottom;
         top += width, bottom -= width)
        std::swap_ranges(top, top + width, bottom);
}

std::uint64_t Picture::Hash() const {
    return PictureHash(reinterpret_cast<const unsigned char*>(pixels.data()), pixels.size() * 4);
}

sf::Image Picture::Image() const {
    sf::Image image;
    image.create(static_cast<unsigned>(width), static_cast<unsigned>(height),
                 reinterpret_cast<const sf::Uint8*>(pixels.data()));
    return image;
}

// ---- PictureLog ----

PictureLog::PictureLog(const std::string& path, std::uint64_t most)
    : file(fopen(path.c_str(), "wb"), fclose), room(most), firstMissing(0) {
    if (file)
        setvbuf(file.get(), nullptr, _IOFBF, kBuffer);
}

void PictureLog::Add(int frame, const Picture& picture) {
    if (firstMissing > 0)
        return;
    resize(before, picture.width, picture.height);
    Packer(before, picture, packed).Pack();
    const Entry entry{static_cast<std::uint32_t>(frame), static_cast<std::uint32_t>(picture.width),
                      static_cast<std::uint32_t>(picture.height), static_cast<std::uint32_t>(packed.size())};
    const std::uint64_t size = sizeof entry + packed.size();
    if (!file || size > room || fwrite(&entry, sizeof entry, 1, file.get()) != 1 ||
        fwrite(packed.data(), 1, packed.size(), file.get()) != packed.size()) {
        firstMissing = frame;
        return;
    }
    room -= size;
    std::copy(picture.pixels.begin(), picture.pixels.end(), before.pixels.begin());
}

void PictureLog::Flush() {
    if (file)
        fflush(file.get());
}

bool ReadLoggedPicture(const std::string& path, int frame, Picture& picture) {
    const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path.c_str(), "rb"), fclose);
    bool found = false;
    std::vector<unsigned char> packed;
    for (Entry entry{}; file && fread(&entry, sizeof entry, 1, file.get()) == 1;) {
        if (entry.frame > static_cast<std::uint32_t>(frame))
            return found;
        if (!isSound(entry))
            return false;
        packed.resize(entry.bytes);
        resize(picture, static_cast<int>(entry.width), static_cast<int>(entry.height));
        if (fread(packed.data(), 1, packed.size(), file.get()) != packed.size() ||
            !Unpacker(packed).Unpack(picture.pixels))
            return false;
        found = true;
    }
    return found;
}
