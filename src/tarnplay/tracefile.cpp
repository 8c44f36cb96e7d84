// Writing trace events.
#include "tracefile.h"

#include "strfuncs.h"

#include <chrono>

namespace {

constexpr std::size_t kBuffer = 256 * 1024;
// Of another thread than the script's, which may hang while it writes into a pipe.
constexpr std::chrono::milliseconds kPatience(500);
constexpr char kOpening[] = "{\"displayTimeUnit\":\"ms\",\"traceEvents\":[\n";
constexpr char kClosing[] = "\n]}\n";

// Of a UTF-8 character that starts with this byte; 0 for a byte that starts none.
std::size_t lengthOf(unsigned char byte) {
    return byte < 0x80 ? 1 : byte < 0xc2 ? 0 : byte < 0xe0 ? 2 : byte < 0xf0 ? 3 : byte < 0xf5 ? 4 : 0;
}

bool isCharacter(const std::string& text, std::size_t at, std::size_t length) {
    if (length == 0 || at + length > text.size())
        return false;
    for (std::size_t i = 1; i < length; ++i)
        if ((static_cast<unsigned char>(text[at + i]) & 0xc0) != 0x80)
            return false;
    return true;
}

// Viewers take microseconds.
std::string microseconds(std::int64_t nanoseconds) {
    char text[40];
    snprintf(text, sizeof(text), "%lld.%03d", static_cast<long long>(nanoseconds / 1000),
             static_cast<int>(nanoseconds % 1000));
    return text;
}

} // namespace

std::string JsonText(const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const std::size_t length = lengthOf(byte);
        const bool valid = isCharacter(text, i, length);
        if (byte == '"' || byte == '\\')
            result += '\\';
        result += valid && byte >= ' ' ? text.substr(i, length) : "?";
        i += valid ? length : 1;
    }
    return result;
}

TraceFile::~TraceFile() {
    Flush();
    if (file)
        fclose(file);
}

bool TraceFile::Open(const std::string& path) {
    file = fopen(nativePath(path.c_str()).c_str(), "wb");
    good = file != nullptr;
    if (!good)
        return false;
    end = static_cast<long>(sizeof(kOpening) - 1);
    fputs(kOpening, file);
    fputs(kClosing, file);
    good = fflush(file) == 0;
    return good;
}

void TraceFile::Span(const std::string& name, const char* category, std::int64_t begin, std::int64_t end_,
                     const std::string& arguments) {
    privAdd("{\"ph\":\"X\",\"pid\":1,\"tid\":1,\"name\":\"" + JsonText(name) + "\",\"cat\":\"" + category +
            "\",\"ts\":" + microseconds(begin) + ",\"dur\":" + microseconds(end_ - begin) +
            (arguments.empty() ? "" : ",\"args\":{" + arguments + "}") + "}");
}

void TraceFile::Instant(const char* name, std::int64_t at) {
    privAdd(std::string("{\"ph\":\"i\",\"s\":\"t\",\"pid\":1,\"tid\":1,\"name\":\"") + name +
            "\",\"ts\":" + microseconds(at) + "}");
}

void TraceFile::Counter(const char* name, std::int64_t at, const std::string& values) {
    privAdd(std::string("{\"ph\":\"C\",\"pid\":1,\"tid\":1,\"name\":\"") + name +
            "\",\"ts\":" + microseconds(at) + ",\"args\":{" + values + "}}");
}

void TraceFile::privAdd(const std::string& event) {
    const std::unique_lock<std::timed_mutex> lock(guard, kPatience);
    if (!lock || !file || ended)
        return;
    buffer += first ? "" : ",\n";
    buffer += event;
    first = false;
    if (buffer.size() >= kBuffer)
        privFlush();
}

void TraceFile::Flush() {
    const std::lock_guard<std::timed_mutex> lock(guard);
    privFlush();
}

void TraceFile::FlushFromOutside() {
    const std::unique_lock<std::timed_mutex> lock(guard, kPatience);
    if (!lock)
        return;
    privFlush();
    ended = true;
}

// The closing brackets are written each time and overwritten by what comes next, so that a process that is
// killed leaves a file that can be read.
void TraceFile::privFlush() {
    if (!file || buffer.empty())
        return;
    good = good && fseek(file, end, SEEK_SET) == 0 &&
           fwrite(buffer.data(), 1, buffer.size(), file) == buffer.size() && fputs(kClosing, file) >= 0 &&
           fflush(file) == 0;
    end += static_cast<long>(buffer.size());
    buffer.clear();
}
