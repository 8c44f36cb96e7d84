// Functions on plain NUL-terminated byte strings: comparing, searching, cutting lines and words, numbers,
// paths. Nothing is owned here: results go into buffers that the caller provides and sizes (file2string alone
// allocates).
#pragma once

#include <cstdio>
#include <string>

// Characters are bytes: letters are the ASCII letters, digits 0 to 9, and no locale has a say. A null input
// string is read as "", so that a missing name is no crash; a destination must not be null.

/// Line feed or carriage return.
inline bool isLineBreak(char c) {
    return c == '\n' || c == '\r';
}

/// Number of bytes before the first 0 byte.
int strlength(const char* s);

/// Copies at most count characters of src to dst and terminates.
/// dst needs count + 1 bytes; a count of 0 or less gives "".
void strcopy(const char* src, char* dst, int count);

/// Appends at most count characters of src to the string in dst and terminates.
/// dst needs its own length + count + 1 bytes.
void StrAppend(char* dst, const char* src, int count);

/// Whole-string equality. Without caseSensitive a letter also equals the same letter in the other case.
bool strequal(const char* a, const char* b, bool caseSensitive);

/// Equality of the first limit characters: true as soon as both strings end together or limit characters
/// agree, false at the first difference, also when only one string ends. -1: no limit.
bool strequal(const char* a, const char* b, int limit, bool caseSensitive);

/// True if s begins with prefix; the empty prefix begins every string.
bool strBeginsWith(const char* s, const char* prefix, bool caseSensitive);

/// True if s is not empty and its first 30 characters (what follows is not looked at) are all digits.
bool numeric(const char* s);

/// Decimal value of a string of digits; ask numeric first. Neither sign nor blanks are understood: any
/// character counts as its code minus that of '0', and a value that does not fit wraps around.
int toint(const char* s);

/// Writes value in decimal: a minus sign if negative, zeros until there are width digits, the digits.
/// A width of -1, or one not above the digit count, adds no zeros. dst needs max(width, 10) + 2 bytes.
void IntToStr(int value, char* dst, int width);

/// Changes A to Z into a to z in place.
void toLower(char* s);

/// True if word is one of the words of list, which are separated by single spaces. The empty word is in no
/// list.
bool findString(const char* word, const char* list);

/// Index of the first occurrence of needle in s at or after start (below 0: from 0); -1 if there is none.
/// The empty needle is found at start, up to the end of s.
int searchString(const char* s, const char* needle, int start);

/// Reads one line of text from byte index cursor on into line, a buffer of maxLen bytes. Empty lines are
/// passed over. cursor moves to the next line, or becomes -1 with the last one: then process line and stop.
/// A line of maxLen characters or more is cut to maxLen - 1 with a warning on stdout; the next call then
/// delivers "". A maxLen below 1 ends the reading.
void GetNextLine(const char* text, int& cursor, char* line, int maxLen);

/// Copies the word with the given index (0: the first) of line into word; only spaces separate words.
/// @return whether there is such a word; if not, word becomes "", but with an empty line it is left
/// untouched.
bool GetLineWord(const char* line, char* word, int index);

/// Writes a path's file name without directory and extension: what stands after the last separator (either
/// kind) and before the last dot. A last character is neither taken as separator nor as dot; without a dot
/// after the directory the name is "". At most 32 characters are written: name needs 33 bytes.
void GetFileNameNoExt(const char* path, char* name);

/// Reads a whole text file into a new buffer (the caller's, delete[]), whose last character read gives way to
/// the terminator. Prints the size to stdout, or to stderr that the file cannot be opened.
/// @return null when the path is no file that can be opened; "" for an empty file.
char* file2string(const char* path);

/// A path as the system wants it. Both separators are accepted wherever the engine opens a file; this is the
/// one place that translates: on POSIX every '\' becomes '/', on Windows the path stays as it is. Null gives
/// "".
std::string nativePath(const char* path);

/// Opens a file for reading, as fopen does with that mode, under its path with either separator. Names are
/// UTF-8 on Windows and bytes elsewhere.
/// @return the caller's stream; null for everything but a regular file: a directory has no bytes, and a pipe
///         would wait for its writer.
FILE* openForReading(const char* path, const char* mode);

#ifdef _WIN32
/// What the system's calls take there for UTF-8 text, and back. Malformed text gets replacement characters.
std::wstring wideText(const std::string& text);
std::string utf8Text(const std::wstring& text);
#endif
