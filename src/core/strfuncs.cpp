// Functions on plain NUL-terminated byte strings.
// Nothing is owned here; file2string hands its buffer to the caller.
#include "strfuncs.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>

#ifdef _WIN32
#include <windows.h>
#endif

namespace {

const char* orEmpty(const char* s) {
    return s ? s : "";
}

char lowered(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool sameCharacter(char a, char b, bool caseSensitive) {
    return a == b || (!caseSensitive && lowered(a) == lowered(b));
}

// Index of the last character of the first n that is a or b; -1 if there is none.
int lastOf(const char* s, int n, char a, char b) {
    while (n > 0 && s[n - 1] != a && s[n - 1] != b)
        n--;
    return n - 1;
}

} // namespace

// Copying and comparing

int strlength(const char* s) {
    return static_cast<int>(std::strlen(orEmpty(s)));
}

void strcopy(const char* src, char* dst, int count) {
    src = orEmpty(src);
    int i = 0;
    for (; i < count && src[i] != 0; i++)
        dst[i] = src[i];
    dst[i] = 0;
}

void StrAppend(char* dst, const char* src, int count) {
    strcopy(src, dst + strlength(dst), count);
}

bool strequal(const char* a, const char* b, bool caseSensitive) {
    return strequal(a, b, -1, caseSensitive);
}

bool strequal(const char* a, const char* b, int limit, bool caseSensitive) {
    a = orEmpty(a);
    b = orEmpty(b);
    for (int i = 0; i != limit; i++) {
        if (!sameCharacter(a[i], b[i], caseSensitive))
            return false;
        if (a[i] == 0)
            return true;
    }
    return true;
}

bool strBeginsWith(const char* s, const char* prefix, bool caseSensitive) {
    return strequal(s, prefix, strlength(prefix), caseSensitive);
}

// Numbers and case

bool numeric(const char* s) {
    const int examined = 30;
    s = orEmpty(s);
    int i = 0;
    for (; i < examined && s[i] != 0; i++) {
        if (s[i] < '0' || s[i] > '9')
            return false;
    }
    return i > 0;
}

int toint(const char* s) {
    unsigned value = 0;
    for (s = orEmpty(s); *s != 0; s++)
        value = value * 10 + static_cast<unsigned char>(*s) - '0';
    return static_cast<int>(value);
}

void IntToStr(int value, char* dst, int width) {
    unsigned magnitude = static_cast<unsigned>(value);
    if (value < 0) {
        *dst++ = '-';
        magnitude = 0u - magnitude; // unsigned, since the smallest int has no positive twin
    }
    int digits = 1;
    for (unsigned rest = magnitude / 10; rest > 0; rest /= 10)
        digits++;
    if (digits < width)
        digits = width;
    dst[digits] = 0;
    for (int i = digits - 1; i >= 0; i--) {
        dst[i] = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    }
}

void toLower(char* s) {
    for (; s && *s != 0; s++)
        *s = lowered(*s);
}

// Searching

bool findString(const char* word, const char* list) {
    const int wordLength = strlength(word);
    for (list = orEmpty(list); wordLength > 0 && *list != 0;) {
        const int length = static_cast<int>(std::strcspn(list, " "));
        if (length == wordLength && std::memcmp(list, word, static_cast<size_t>(length)) == 0)
            return true;
        list += length;
        if (*list == ' ')
            list++;
    }
    return false;
}

int searchString(const char* s, const char* needle, int start) {
    const int needleLength = strlength(needle);
    const int last = strlength(s) - needleLength;
    for (int i = start < 0 ? 0 : start; i <= last; i++) {
        if (std::memcmp(orEmpty(s) + i, orEmpty(needle), static_cast<size_t>(needleLength)) == 0)
            return i;
    }
    return -1;
}

// Lines and words

void GetNextLine(const char* text, int& cursor, char* line, int maxLen) {
    text = orEmpty(text);
    if (maxLen > 0)
        line[0] = 0;
    if (maxLen < 1 || cursor < 0 || text[cursor] == 0) {
        cursor = -1;
        return;
    }
    const int start = cursor;
    while (text[cursor] != 0 && !isLineBreak(text[cursor]))
        cursor++;
    const int length = cursor - start;
    strcopy(text + start, line, std::min(length, maxLen - 1));
    if (length >= maxLen) {
        printf("WARNING: reached maxlinelen of %i, truncating line\n", maxLen);
        return; // in front of the line break, which the next call consumes
    }
    if (text[cursor] == 0)
        cursor = -1;
    else
        while (isLineBreak(text[cursor]))
            cursor++;
}

bool GetLineWord(const char* line, char* word, int index) {
    line = orEmpty(line);
    if (*line == 0)
        return false;
    for (int i = 0;; i++) {
        line += std::strspn(line, " ");
        const int length = static_cast<int>(std::strcspn(line, " "));
        if (length == 0 || index < 0)
            break;
        if (i == index) {
            strcopy(line, word, length);
            return true;
        }
        line += length;
    }
    word[0] = 0;
    return false;
}

// Paths and files

void GetFileNameNoExt(const char* path, char* name) {
    const int longestName = 32;
    path = orEmpty(path);
    const int considered = strlength(path) - 1; // all but the last character
    const int start = lastOf(path, considered, '\\', '/') + 1;
    const int length = lastOf(path, considered, '.', '.') - start;
    strcopy(path + start, name, std::min(length, longestName));
}

char* file2string(const char* path) {
    const std::string file = nativePath(path);
    FILE* stream = openForReading(path, "r");
    if (!stream) {
        fprintf(stderr, "Can't open file '%s' for reading\n", file.c_str());
        return nullptr;
    }
    fseek(stream, 0, SEEK_END);
    const long size = ftell(stream);
    fseek(stream, 0, SEEK_SET);
    printf("File '%s' is %ld long\n", file.c_str(), size);
    char* text = new char[size > 0 ? static_cast<size_t>(size) : 1];
    const size_t got = size > 0 ? fread(text, 1, static_cast<size_t>(size), stream) : 0;
    fclose(stream);
    text[got > 0 ? got - 1 : 0] = 0;
    return text;
}

std::string nativePath(const char* path) {
    std::string translated = orEmpty(path);
#ifndef _WIN32
    for (char& c : translated) {
        if (c == '\\')
            c = '/';
    }
#endif
    return translated;
}

FILE* openForReading(const char* path, const char* mode) {
    const std::string file = nativePath(path);
    std::error_code error;
#ifdef _WIN32
    const std::wstring wide = wideText(file);
    return std::filesystem::is_regular_file(wide, error) ? _wfopen(wide.c_str(), wideText(mode).c_str())
                                                         : nullptr;
#else
    return std::filesystem::is_regular_file(file, error) ? fopen(file.c_str(), mode) : nullptr;
#endif
}

#ifdef _WIN32
std::wstring wideText(const std::string& text) {
    const int bytes = static_cast<int>(text.size());
    std::wstring wide(text.size(), 0); // never more units than bytes
    wide.resize(static_cast<size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, &wide[0], bytes)));
    return wide;
}

std::string utf8Text(const std::wstring& text) {
    const int room = 3 * static_cast<int>(text.size()); // a unit takes up to three bytes
    std::string narrow(static_cast<size_t>(room), 0);
    narrow.resize(static_cast<size_t>(WideCharToMultiByte(
        CP_UTF8, 0, text.data(), static_cast<int>(text.size()), &narrow[0], room, nullptr, nullptr)));
    return narrow;
}
#endif
