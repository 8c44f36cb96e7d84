// DataBlock's storage, appending and reading, FloatDataBlock, and the value log.
// A block owns its storage; nothing here keeps a pointer to anyone else's.
#include "datablock.h"

#include "memoryuse.h"
#include "strfuncs.h"

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstring>
#include <fstream>
#include <functional>
#include <new>
#include <string>
#include <vector>

namespace {

const int smallestDim = 32;
const int longestWord = 31;
const char* const logName = "TNLOG.txt";

bool isSeparator(char c) {
    return c == ' ' || isLineBreak(c);
}

int sizeOfLetter(char letter) {
    return letter == 'f' || letter == 'i' ? 4 : letter == 'c' ? 1 : 0;
}

int sizeOfFormat(const char* fmt) {
    int size = 0;
    for (; fmt && *fmt != 0; fmt++)
        size += sizeOfLetter(*fmt);
    return size;
}

// The bytes of the arguments that fmt announces.
std::vector<unsigned char> packValues(const char* fmt, va_list values) {
    std::vector<unsigned char> packed(static_cast<size_t>(sizeOfFormat(fmt)));
    unsigned char* to = packed.data();
    for (; fmt && *fmt != 0; fmt++) {
        if (*fmt == 'f') {
            const float value = static_cast<float>(va_arg(values, double));
            std::memcpy(to, &value, sizeof(value));
        } else if (*fmt == 'i') {
            const int value = va_arg(values, int);
            std::memcpy(to, &value, sizeof(value));
        } else if (*fmt == 'c') {
            *to = static_cast<unsigned char>(va_arg(values, int));
        }
        to += sizeOfLetter(*fmt);
    }
    return packed;
}

// The caller's cursor while a call works with it: 0 or above, handed back at the end if there is one.
struct Cursor {
    explicit Cursor(int* pos) : at(pos && *pos > 0 ? *pos : 0), callers(pos) {}
    ~Cursor() {
        if (callers)
            *callers = at;
    }
    Cursor(const Cursor&) = delete;
    Cursor& operator=(const Cursor&) = delete;

    int at;
    int* callers;
};

// Copies the size bytes at the cursor to out, or zeros if the block ends before them.
void readBinary(const DataBlock& block, int& at, void* out, int size) {
    if (at > block.len - size) {
        std::memset(out, 0, static_cast<size_t>(size));
        at = block.len;
        return;
    }
    std::memcpy(out, block.data + at, static_cast<size_t>(size));
    at += size;
}

// Moves past line breaks; returns whether there were any.
bool passLineBreaks(const DataBlock& block, int& at) {
    const int start = at;
    while (at < block.len && isLineBreak(block.data[at]))
        at++;
    return at > start;
}

// Reads the next word into a buffer of 32 bytes; returns whether it ended its line.
bool readWord(DataBlock& block, int& at, char* word) {
    while (at < block.len && isSeparator(block.data[at]))
        at++;
    int length = 0;
    for (; at < block.len && length < longestWord && !isSeparator(block.data[at]); at++)
        word[length++] = static_cast<char>(block.data[at]);
    word[length] = 0;
    const bool endedLine = passLineBreaks(block, at);
    if (at >= block.len)
        block.eof = true;
    return endedLine;
}

} // namespace

// Storage

DataBlock::DataBlock(const char* init) : data(nullptr), len(0), dim(0), eof(false) {
    if (init)
        Assign(init);
}

DataBlock::~DataBlock() {
    Delete();
}

void DataBlock::Delete() {
    delete[] data;
    data = nullptr;
    len = 0;
    dim = 0;
}

void DataBlock::ResizeDim(int newDim) {
    unsigned char* storage =
        newDim < 0 ? nullptr : new (std::nothrow) unsigned char[static_cast<size_t>(newDim)];
    if (!storage)
        return;
    PreferLargePages(storage, static_cast<size_t>(newDim));
    len = std::min(len, newDim);
    if (len > 0)
        std::memcpy(storage, data, static_cast<size_t>(len));
    delete[] data;
    data = storage;
    dim = newDim;
}

void DataBlock::Resize(int n) {
    if (dim < n)
        ResizeDim(n);
    if (n >= 0 && n <= dim)
        len = n;
}

void DataBlock::ZeroData() {
    if (len > 0)
        std::memset(data, 0, static_cast<size_t>(len));
}

// Filling

void DataBlock::Append(const unsigned char* src, int n) {
    if (n <= 0 || n > INT_MAX - len)
        return;
    if (len + n > dim) {
        // Growing moves the storage, and a source inside it along.
        const std::less<const unsigned char*> before;
        const bool inside = src && data && !before(src, data) && before(src, data + dim);
        const std::ptrdiff_t offset = inside ? src - data : 0;
        long long wanted = std::max(dim, smallestDim);
        while (wanted < len + n)
            wanted *= 2;
        ResizeDim(static_cast<int>(std::min<long long>(wanted, INT_MAX)));
        if (len + n > dim)
            return;
        src = inside ? data + offset : src;
    }
    if (src)
        std::memmove(data + len, src, static_cast<size_t>(n));
    len += n;
}

void DataBlock::Append(const char* s, int n) {
    Append(reinterpret_cast<const unsigned char*>(s), n == -1 ? strlength(s) : n);
}

void DataBlock::Append(DataBlock* other) {
    if (other)
        Append(other->data, other->len);
}

void DataBlock::Append(char c) {
    Append(&c, 1);
}

void DataBlock::AppendNull() {
    Append('\0');
}

void DataBlock::Assign(const char* s) {
    DataBlock fresh; // filled before the old storage goes: s may lie in it
    const int length = strlength(s);
    if (length > 0) {
        fresh.ResizeDim(length);
        if (!fresh.data)
            return;
        fresh.Append(s, length);
    }
    std::swap(data, fresh.data);
    std::swap(len, fresh.len);
    std::swap(dim, fresh.dim);
}

void DataBlock::SetDataBuf(const char* s) {
    Assign(s);
}

void DataBlock::SetString(const char* s) {
    Assign(s);
    AppendNull();
}

void DataBlock::AssignFromDirectory(const char* path) {
    int length = strlength(path);
    while (length > 0 && path[length - 1] != '\\' && path[length - 1] != '/')
        length--;
    Append(path, length);
    AppendNull();
}

void DataBlock::AssignFromFileFormat(const char* path) {
    const char* dot = path ? std::strrchr(path, '.') : nullptr;
    const std::string format = dot ? dot + 1 : ""; // a copy, since path may lie in this block
    Delete();
    for (char c : format)
        Append(c);
}

void DataBlock::AppendData(const char* fmt, ...) {
    va_list values;
    va_start(values, fmt);
    const std::vector<unsigned char> packed = packValues(fmt, values);
    va_end(values);
    Append(packed.data(), static_cast<int>(packed.size()));
}

// Reading

char* DataBlock::CStr() {
    static char empty[1];
    if (len > 0 && data[len - 1] == 0)
        return reinterpret_cast<char*>(data);
    if (len >= dim)
        ResizeDim(len == 0 ? 1 : len > INT_MAX / 2 ? INT_MAX : len * 2);
    if (len >= dim) { // no memory for the terminator
        empty[0] = 0;
        return empty;
    }
    data[len] = 0;
    return reinterpret_cast<char*>(data);
}

bool DataBlock::IsEqual(const char* s) {
    return strequal(CStr(), s, true);
}

void DataBlock::RemoveEndNulls() {
    while (len > 0 && data[len - 1] == 0)
        len--;
}

bool DataBlock::GetData(int* pos, const char* fmt, ...) {
    Cursor cursor(pos);
    bool endedLine = false;
    va_list targets;
    va_start(targets, fmt);
    for (; fmt && *fmt != 0; fmt++) {
        if (*fmt == 'f')
            readBinary(*this, cursor.at, va_arg(targets, float*), 4);
        else if (*fmt == 'i')
            readBinary(*this, cursor.at, va_arg(targets, int*), 4);
        else if (*fmt == 'c')
            readBinary(*this, cursor.at, va_arg(targets, char*), 1);
        else if (*fmt == 'w')
            endedLine = readWord(*this, cursor.at, va_arg(targets, char*)) || endedLine;
    }
    va_end(targets);
    return endedLine;
}

bool DataBlock::SetData(int* pos, const char* fmt, ...) {
    va_list values;
    va_start(values, fmt);
    const std::vector<unsigned char> packed = packValues(fmt, values);
    va_end(values);
    Cursor cursor(pos);
    const int size = static_cast<int>(packed.size());
    if (cursor.at > len - size)
        return false;
    if (size > 0)
        std::memcpy(data + cursor.at, packed.data(), packed.size());
    cursor.at += size;
    return true;
}

void DataBlock::SkipData(int* pos, const char* fmt, int count) {
    Cursor cursor(pos);
    const long long target = cursor.at + static_cast<long long>(sizeOfFormat(fmt)) * count;
    cursor.at = static_cast<int>(std::clamp<long long>(target, 0, INT_MAX));
}

void DataBlock::SkipToNextLine(int* pos) {
    Cursor cursor(pos);
    while (cursor.at < len && !isLineBreak(data[cursor.at]))
        cursor.at++;
    passLineBreaks(*this, cursor.at);
}

void DataBlock::ToBeginningOfLine(int* pos) {
    Cursor cursor(pos);
    cursor.at = std::min(cursor.at, len);
    while (cursor.at > 0 && !isLineBreak(data[cursor.at - 1]))
        cursor.at--;
}

// FloatDataBlock

FloatDataBlock::FloatDataBlock() : vals(nullptr) {}

void FloatDataBlock::AddVal(float v) {
    Append(reinterpret_cast<const unsigned char*>(&v), static_cast<int>(sizeof(v)));
    vals = reinterpret_cast<float*>(Ptr());
}

float FloatDataBlock::GetVal(int i) const {
    float value = 0.0f;
    if (i >= 0 && i < ValCount())
        std::memcpy(&value, data + i * 4, sizeof(value));
    return value;
}

// The log

void LogBuffFloats(DataBlock* block, const char* title) {
    if (!block)
        return;
    std::ofstream log(logName, std::ios::app);
    log << (title ? title : "") << ", Contains " << block->NumFloats() << " floats.\n";
    int pos = 0;
    for (int i = 0; i < block->NumFloats(); i++) {
        float value;
        block->GetData(&pos, "f", &value);
        log << value << ' ';
    }
}

void ClearLog() {
    std::ofstream(logName, std::ios::trunc);
}
