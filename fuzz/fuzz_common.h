// What all harnesses share: bytes taken as values, checks that stop the fuzzer, a scratch directory and a
// hidden OpenGL context.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

/// Stops the fuzzer, which then keeps the input, when what must hold for every input does not.
#define FUZZ_CHECK(condition)                                                                                \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);                   \
            abort();                                                                                         \
        }                                                                                                    \
    } while (false)

/// Takes an input apart from its front. Past the end everything reads as zeros.
class ByteFeed {
public:
    ByteFeed(const std::uint8_t* bytes, std::size_t count) : at(bytes), end(bytes + count) {}

    bool Empty() const { return at == end; }
    int Byte() { return at == end ? 0 : *at++; }
    /// A byte as one of count choices.
    int Choice(int count) { return Byte() % count; }
    bool Flag() { return (Byte() & 1) != 0; }
    int Int() { return Value<int>(); }
    float Float() { return Value<float>(); }
    double Double() { return Value<double>(); }
    /// Up to most bytes.
    std::string Text(std::size_t most) {
        const std::size_t count = std::min(most, static_cast<std::size_t>(end - at));
        const std::string text(reinterpret_cast<const char*>(at), count);
        at += count;
        return text;
    }
    std::string Rest() { return Text(static_cast<std::size_t>(end - at)); }

private:
    template <typename T>
    T Value() {
        T value = {};
        const std::string bytes = Text(sizeof(T));
        memcpy(&value, bytes.data(), bytes.size());
        return value;
    }

    const std::uint8_t* at;
    const std::uint8_t* const end;
};

/// A terminated copy on the heap without a byte to spare, so that reading or writing past it is seen.
class ExactText {
public:
    explicit ExactText(const std::string& text) : ExactText(text, strlen(text.c_str()) + 1) {}
    /// A buffer of that many bytes that starts with the text (its part that fits) and a terminator.
    ExactText(const std::string& text, std::size_t bytes) : buffer(new char[bytes]) {
        snprintf(buffer, bytes, "%s", text.c_str());
    }
    ~ExactText() { delete[] buffer; }
    ExactText(const ExactText&) = delete;
    ExactText& operator=(const ExactText&) = delete;
    operator char*() const { return buffer; }

private:
    char* const buffer;
};

inline void writeBytes(const std::string& path, const void* bytes, std::size_t count) {
    std::ofstream(path, std::ios::binary)
        .write(static_cast<const char*>(bytes), static_cast<std::streamsize>(count));
}

/// Makes a fresh directory, in memory where the system has one, the working directory of this process, and
/// removes it at its end. Call once, before the first input.
inline void enterScratchDirectory() {
    namespace fs = std::filesystem;
    static struct Scratch {
        fs::path home = fs::current_path();
        fs::path dir = (getenv("TMPDIR")         ? fs::temp_directory_path()
                        : fs::exists("/dev/shm") ? fs::path("/dev/shm")
                                                 : fs::temp_directory_path()) /
                       ("tarn-fuzz-" + std::to_string(std::random_device{}()));
        Scratch() {
            fs::create_directories(dir);
            fs::current_path(dir);
        }
        ~Scratch() {
            std::error_code ignored;
            fs::current_path(home, ignored);
            fs::remove_all(dir, ignored);
        }
    } scratch;
}
