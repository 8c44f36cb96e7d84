// TNQ, the engine's list: a growable array of untyped pointers, used as stack, queue or indexed list.
// It owns its slots and, unless told otherwise, the memory blocks that its entries point to.
#pragma once

/// Entries are opaque, null included. With ownsItems set, RemoveAll and the destructor give every remaining
/// block back as raw storage with ::operator delete: right for what came from ::operator new, or from `new T`
/// where T has nothing to destroy. No destructor runs. So whoever keeps objects with destructors (or arrays
/// from new[]) in a queue deletes them itself, while the type is known, and clears ownsItems or takes the
/// entries out; entries that are no heap blocks (small integers) need ownsItems cleared as well. Entries
/// taken out belong to the caller.
///
/// Queue with Pop(-1) makes a stack, Queue with Next a first-in first-out queue, Insert with Next a stack in
/// front. Capacity starts at 16 with the first entry, doubles when full and halves when less than a quarter
/// is in use.
class TNQ {
public:
    int capacity;   // slots allocated: 0, or 16 times a power of two
    int count;      // entries in use, in slots 0 to count - 1
    void** items;   // owned; null before the first insertion
    bool ownsItems; // entries are released as raw storage when the queue goes

    TNQ();
    ~TNQ();
    TNQ(const TNQ&) = delete;
    TNQ& operator=(const TNQ&) = delete;

    /// The same as Queue.
    void Add(void* item);
    /// Appends item after the last entry.
    void Queue(void* item);
    /// Puts item in front of the first entry.
    void Insert(void* item);
    /// Removes and returns the entry at index, or with -1 the last one; null if there is none.
    void* Pop(int index);
    /// Removes and returns the first entry; null on an empty queue.
    void* Next();
    /// The entry at index, left where it is; null if there is none.
    void* Peek(int index) const;
    /// The same as Peek.
    void* Get(int index) const;
    /// Removes the entry at index without releasing it; an index that is not in use is ignored.
    void Delete(int index);
    int Count() const { return count; }
    /// Releases and removes all entries, last first, if the queue owns them; does nothing otherwise.
    void RemoveAll();

private:
    void PrivResize(int newCapacity, int offset);
    void PrivResizeMore();
    void CheckResizeLess();
    void PrivShift(int n);
};
