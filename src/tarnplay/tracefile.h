// TraceFile: a file of trace events, complete JSON whenever it has been written to.
#pragma once

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>

/// @return the text with what JSON does not allow in strings escaped, without quotes around it; stray bytes
/// of
///         broken UTF-8 become question marks
std::string JsonText(const std::string& text);

/// See the top of this file. Times are nanoseconds since the trace began.
class TraceFile {
public:
    TraceFile() = default;
    ~TraceFile(); ///< writes what is left
    TraceFile(const TraceFile&) = delete;
    TraceFile& operator=(const TraceFile&) = delete;

    /// @return false when the file cannot be written
    bool Open(const std::string& path);
    /// A span of time. Spans that are within another may come before it.
    /// @param arguments members of a JSON object, as text; may be empty
    void Span(const std::string& name, const char* category, std::int64_t begin, std::int64_t end,
              const std::string& arguments = "");
    /// A mark.
    void Instant(const char* name, std::int64_t at);
    /// @param values members of a JSON object, as text
    void Counter(const char* name, std::int64_t at, const std::string& values);
    /// Writes what has been gathered.
    void Flush();
    /// The same for another thread when the process is about to end. Later events are dropped.
    void FlushFromOutside();
    /// @return false once opening or writing has failed
    bool Good() const { return good; }

private:
    void privAdd(const std::string& event);
    void privFlush();

    std::timed_mutex guard; // of all that follows
    FILE* file = nullptr;
    std::string buffer; // events that are not written yet, each with its comma and newline
    long end = 0;       // where the next events go, over the closing brackets
    bool good = true;
    bool first = true;
    bool ended = false; // from outside
};
