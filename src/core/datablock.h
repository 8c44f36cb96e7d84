// DataBlock, the growable byte buffer behind every file, path and mesh reader; FloatDataBlock; the value log.
// A block owns its storage and frees it; blocks are passed by pointer and never copied.
#pragma once

/// A growable array of bytes, used in three ways: as a whole file (ReadFile, WriteFile), as a string builder
/// (Append ..., then CStr), and as a reader with a cursor (GetData and its kin).
///
/// Text in a block has no terminator of its own. Either one is put inside the length (SetString, AppendNull,
/// AssignFromDirectory: Len counts it), or CStr writes one just past the length, which the next append
/// overwrites:
///     DataBlock path("media/");   // len 6
///     path.Append("stone.png");   // len 15
///     fopen(path.CStr(), "rb");   // "media/stone.png"; len still 15
///
/// A cursor is the caller's int, a byte offset from the start of the block; each reading call moves it on. A
/// null cursor reads from the start and is not handed back, a negative one counts as 0.
///
/// Sizes are ints. What would need more than an int can count, or more memory than there is, is not done at
/// all: the block stays as it was. Negative sizes are ignored likewise.
class DataBlock {
public:
    unsigned char* data; // owned, new[]; null while nothing is held
    int len;             // bytes in use
    int dim;             // bytes allocated, never below len
    bool eof;            // a word reader came to len; cleared by construction only

    /// Empty, or holding the characters of init.
    explicit DataBlock(const char* init = nullptr);
    ~DataBlock();
    DataBlock(const DataBlock&) = delete;
    DataBlock& operator=(const DataBlock&) = delete;

    // Storage

    /// Frees the storage: null, 0, 0.
    void Delete();
    /// Moves the contents into new storage of exactly newDim bytes. If that is less than len, the rest is cut
    /// off.
    void ResizeDim(int newDim);
    /// Sets the length; grows to exactly n bytes if needed. Bytes beyond the old length are not initialised.
    void Resize(int n);
    /// Sets all bytes in use to 0.
    void ZeroData();
    int Len() const { return len; }
    int Size() const { return len; }
    unsigned char* Ptr() const { return data; }
    /// How many 32-bit floats the bytes in use hold.
    int NumFloats() const { return len / 4; }
    bool EOFile() const { return eof; }

    // Filling. Sources may lie inside this very block.

    /// Appends n bytes; the storage doubles, from 32 bytes on, until they fit. With a null src the block
    /// grows by n bytes that are left as they are (a reservation).
    void Append(const unsigned char* src, int n);
    /// Appends n characters, or with -1 the whole string without its terminator.
    void Append(const char* s, int n = -1);
    /// Appends the bytes in use of another block.
    void Append(DataBlock* other);
    void Append(char c);
    /// Appends one 0 byte that Len counts.
    void AppendNull();
    /// Holds exactly the characters of s, without terminator.
    void Assign(const char* s);
    /// The same as Assign.
    void SetDataBuf(const char* s);
    /// Assign, with the terminator inside the length.
    void SetString(const char* s);
    /// Appends the directory of path, up to and including its last separator of either kind (nothing if it
    /// has none), and a terminator inside the length. Does not clear the block first.
    void AssignFromDirectory(const char* path);
    /// Holds what follows the last dot of the whole path, in its own case; nothing if there is no dot.
    void AssignFromFileFormat(const char* path);
    /// Appends binary values, one argument per letter of fmt: f a float (passed as double), i an int, c the
    /// low byte of an int, all in the machine's byte order. Other letters take no argument.
    void AppendData(const char* fmt, ...);

    // Reading

    /// The contents as a string, valid until the block changes: writes a terminator at index len unless the
    /// last byte in use is one. Never null; "" for an empty block.
    char* CStr();
    /// Compares the contents with s, case-sensitively.
    bool IsEqual(const char* s);
    /// Takes 0 bytes off the end of the length.
    void RemoveEndNulls();
    /// Reads values at the cursor, one pointer argument per letter of fmt:
    ///   f  float*: 4 bytes    i  int*: 4 bytes    c  char*: 1 byte
    ///   w  char[32]: the next word
    /// Words are separated by spaces, line feeds and carriage returns; one of more than 31 characters goes on
    /// as the next. Line breaks right behind a word are consumed with it. A word reader that comes to len
    /// sets eof. Where less is left than f, i or c need, the value is 0 and the cursor goes to the end.
    /// @return true if line breaks followed a word read by this call: it ended its line.
    bool GetData(int* pos, const char* fmt, ...);
    /// Overwrites bytes at the cursor with the values that AppendData would append, and moves the cursor past
    /// them.
    /// @return false, with nothing written, if they do not all fit in the bytes in use.
    bool SetData(int* pos, const char* fmt, ...);
    /// Moves the cursor by count times the size of fmt (f and i 4, c 1, others 0). Does not stop at the end.
    void SkipData(int* pos, const char* fmt, int count);
    /// Moves the cursor past the next line break and every one that follows it, or to the end.
    void SkipToNextLine(int* pos);
    /// Moves the cursor back to just after the preceding line break, or to 0 on the first line.
    void ToBeginningOfLine(int* pos);

    // Files; both separators are accepted in paths

    /// Holds a whole file, without terminator.
    /// @return false, with the block unchanged, if path is no regular file, cannot be read or is too large.
    bool ReadFile(const char* path);
    /// Makes the file hold the bytes in use, less one if the last of them is 0. The old file is replaced in
    /// one step, so that a crash or a full disk leaves it whole; its permission bits are kept and a symbolic
    /// link is followed. Where the directory takes no new file, the old one is written in place. Failures are
    /// silent.
    void WriteFile(const char* path);
};

/// A DataBlock used as a growable array of 32-bit floats in the machine's byte order.
class FloatDataBlock : public DataBlock {
public:
    float* vals; // the storage as it was after the last AddVal (any other growth makes it stale); not owned

    FloatDataBlock();
    void AddVal(float v);
    /// The value at index i, or 0 where there is none.
    float GetVal(int i) const;
    /// How many whole values the block holds.
    int ValCount() const { return NumFloats(); }
    /// vals: null until the first AddVal.
    float* GetPointer() const { return vals; }
};

/// Appends title and the block's bytes, read as floats, to "TNLOG.txt" in the working directory.
void LogBuffFloats(DataBlock* block, const char* title);

/// Empties "TNLOG.txt".
void ClearLog();
