// DataBlock's reading and writing of whole files.
// Streams and temporary files live within one call; no file stays open. A process that is killed while it
// writes leaves at most one temporary file per target, which the next write of that target takes over.
#include "datablock.h"

#include "strfuncs.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <system_error>

#ifdef _WIN32
#include <io.h>
#include <share.h>
#else
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
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

fs::path systemPath(const char* path) {
#ifdef _WIN32
    return wideText(nativePath(path));
#else
    return nativePath(path);
#endif
}

Stream openStream(const fs::path& file, const char* mode) {
#ifdef _WIN32
    return Stream(_wfopen(file.c_str(), wideText(mode).c_str()));
#else
    return Stream(fopen(file.c_str(), mode));
#endif
}

bool mayWrite(const fs::path& file) {
#ifdef _WIN32
    return openStream(file, "r+b") != nullptr;
#else
    return faccessat(AT_FDCWD, file.c_str(), W_OK, AT_EACCESS) == 0;
#endif
}

// Makes the written bytes reach the disk: a rename must never put an unwritten file in a whole one's place.
bool flushToDisk(FILE* stream) {
    if (fflush(stream) != 0)
        return false;
#ifdef _WIN32
    return _commit(_fileno(stream)) == 0;
#else
    // EINVAL: a file system that knows no flushing
    return fsync(fileno(stream)) == 0 || errno == EINVAL;
#endif
}

bool writeAll(FILE* stream, const unsigned char* bytes, size_t count) {
    return (count == 0 || fwrite(bytes, 1, count, stream) == count) && flushToDisk(stream);
}

void writeInPlace(const fs::path& file, const unsigned char* bytes, size_t count) {
    if (const Stream stream = openStream(file, "wb"))
        writeAll(stream.get(), bytes, count);
}

// Opens a temporary file, empty, also one that a killed process left behind. Null, with errno when the
// directory takes none, also when another process is writing to the file and when something else has that
// name.
Stream openTemporary(const fs::path& temporary) {
#ifdef _WIN32
    return Stream(_wfsopen(temporary.c_str(), L"wb", _SH_DENYRW));
#else
    const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666);
    // Another process may have renamed the file or taken it over between the opening and the lock.
    struct stat opened, named;
    if (file >= 0 && flock(file, LOCK_EX | LOCK_NB) == 0 && fstat(file, &opened) == 0 &&
        lstat(temporary.c_str(), &named) == 0 && opened.st_ino == named.st_ino &&
        opened.st_dev == named.st_dev && S_ISREG(opened.st_mode) && opened.st_nlink == 1 &&
        ftruncate(file, 0) == 0) {
        if (FILE* stream = fdopen(file, "wb"))
            return Stream(stream);
    }
    if (file >= 0)
        close(file);
    return nullptr;
#endif
}

// Opens an empty file beside `file`: always the same one, or the next while another process has that. The
// names hold nothing of the file's own, which in scripts/ would make them scripts.
Stream createBeside(const fs::path& file, fs::path& temporary) {
    const int attempts = 16;
    const std::string name = ".unfinished-" + std::to_string(fs::hash_value(file.filename()));
    Stream stream;
    for (int i = 0; i < attempts && !stream; i++) {
        temporary = file.parent_path() / (name + "-" + std::to_string(i));
        stream = openTemporary(temporary);
    }
    return stream;
}

WriteResult resultOf(const std::error_code& error) {
    // A directory may protect others' files, and a file may be a mount of its own.
    for (const std::errc forbidden :
         {std::errc::permission_denied, std::errc::operation_not_permitted, std::errc::read_only_file_system,
          std::errc::device_or_resource_busy, std::errc::cross_device_link}) {
        if (error == forbidden)
            return WriteResult::directoryForbids;
    }
    return error ? WriteResult::failed : WriteResult::done;
}

WriteResult replaceFile(const fs::path& file, const fs::file_status& old, const unsigned char* bytes,
                        size_t count) {
    fs::path temporary;
    Stream stream = createBeside(file, temporary);
    if (!stream)
        return resultOf(std::error_code(errno, std::generic_category()));
    std::error_code error;
    if (fs::exists(old))
        fs::permissions(temporary, old.permissions(), error);
    WriteResult result = WriteResult::failed;
    const bool written = writeAll(stream.get(), bytes, count);
#ifdef _WIN32
    stream.reset(); // an open file keeps its name there; elsewhere the lock guards it until it has its own
#endif
    if (written) {
        fs::rename(temporary, file, error);
        result = resultOf(error);
    }
    if (result != WriteResult::done)
        fs::remove(temporary, error);
    return result;
}

} // namespace

bool DataBlock::ReadFile(const char* path) {
    const Stream stream(openForReading(path, "rb"));
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
    fs::path file = systemPath(path);
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
