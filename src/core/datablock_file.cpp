// DataBlock's reading and writing of whole files.
// Streams and temporary files live within one call; no file stays open.
#include "datablock.h"

#include "strfuncs.h"

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <system_error>

#ifndef _WIN32
#include <fcntl.h>
#include <unistd.h>
#endif

namespace fs = std::filesystem;

namespace {

struct CloseStream {
    void operator()(FILE* stream) const { fclose(stream); }
};

using Stream = std::unique_ptr<FILE, CloseStream>;

enum class WriteResult { done, failed, directoryForbids };

// Size of an open file, which is left at its start; -1 if it has none.
long measure(FILE* stream) {
    if (fseek(stream, 0, SEEK_END) != 0)
        return -1;
    const long size = ftell(stream);
    return fseek(stream, 0, SEEK_SET) == 0 ? size : -1;
}

bool mayWrite(const fs::path& file) {
#ifdef _WIN32
    return Stream(fopen(file.string().c_str(), "r+b")) != nullptr;
#else
    return faccessat(AT_FDCWD, file.c_str(), W_OK, AT_EACCESS) == 0;
#endif
}

// Makes the written bytes reach the disk: a rename must never put an unwritten file in a whole one's place.
bool flushToDisk(FILE* stream) {
    if (fflush(stream) != 0)
        return false;
#ifndef _WIN32
    // EINVAL: a file system that knows no flushing
    if (fsync(fileno(stream)) != 0 && errno != EINVAL)
        return false;
#endif
    return true;
}

// Writes, flushes and closes.
bool writeAll(FILE* stream, const unsigned char* bytes, size_t count) {
    const bool written = (count == 0 || fwrite(bytes, 1, count, stream) == count) && flushToDisk(stream);
    return fclose(stream) == 0 && written;
}

void writeInPlace(const fs::path& file, const unsigned char* bytes, size_t count) {
    if (FILE* stream = fopen(file.string().c_str(), "wb"))
        writeAll(stream, bytes, count);
}

// Creates a file with a name of its own beside file. Null with errno when the directory takes none.
FILE* createBeside(const fs::path& file, fs::path& temporary) {
    const int attempts = 16;
    for (int i = 0; i < attempts; i++) {
        const auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
        temporary = file.parent_path() / (".unfinished-" + std::to_string(ticks));
        FILE* stream = fopen(temporary.string().c_str(), "wbx");
        if (stream || errno != EEXIST)
            return stream;
    }
    return nullptr;
}

WriteResult replaceFile(const fs::path& file, const fs::file_status& old, const unsigned char* bytes,
                        size_t count) {
    fs::path temporary;
    FILE* stream = createBeside(file, temporary);
    if (!stream)
        return errno == EACCES || errno == EPERM || errno == EROFS ? WriteResult::directoryForbids
                                                                   : WriteResult::failed;
    std::error_code error;
    if (fs::exists(old))
        fs::permissions(temporary, old.permissions(), error);
    WriteResult result = WriteResult::failed;
    if (writeAll(stream, bytes, count)) {
        fs::rename(temporary, file, error);
        // Refused where the directory protects others' files, or where the file is a mount of its own.
        result = error ? WriteResult::directoryForbids : WriteResult::done;
    }
    if (result != WriteResult::done)
        fs::remove(temporary, error);
    return result;
}

} // namespace

bool DataBlock::ReadFile(const char* path) {
    const std::string file = nativePath(path);
    std::error_code error;
    // Nothing but regular files: a directory has no bytes, and a pipe would wait for its writer.
    if (!fs::is_regular_file(file, error))
        return false;
    const Stream stream(fopen(file.c_str(), "rb"));
    const long size = stream ? measure(stream.get()) : -1;
    if (size < 0 || size > INT_MAX)
        return false;
    DataBlock fresh;
    if (size > 0)
        fresh.Resize(static_cast<int>(size));
    if (fresh.len != size)
        return false;
    const size_t got = size > 0 ? fread(fresh.data, 1, static_cast<size_t>(size), stream.get()) : 0;
    if (ferror(stream.get()))
        return false;
    Delete();
    data = fresh.data;
    dim = fresh.dim;
    len = static_cast<int>(got); // less than size if someone cut the file short meanwhile
    fresh.data = nullptr;
    return true;
}

void DataBlock::WriteFile(const char* path) {
    const size_t count = static_cast<size_t>(len > 0 && data[len - 1] == 0 ? len - 1 : len);
    fs::path file = nativePath(path);
    if (file.empty())
        return;
    std::error_code error;
    const fs::file_status old = fs::status(file, error); // of the file behind a link
    if (fs::is_symlink(fs::symlink_status(file, error))) {
        const fs::path target = fs::canonical(file, error);
        if (error) { // a link to nothing yet: opening it creates its target
            writeInPlace(file, data, count);
            return;
        }
        file = target;
    }
    if (fs::is_character_file(old))
        writeInPlace(file, data, count);
    else if (fs::exists(old) && (!fs::is_regular_file(old) || !mayWrite(file)))
        return;
    else if (replaceFile(file, old, data, count) == WriteResult::directoryForbids)
        writeInPlace(file, data, count);
}
