// LazyArray: a fixed row of objects that comes into being when something first looks at it. It owns them.
#pragma once

/// Reads as a T* of the given length. What is costly to make (and to have) is left out of programs that never
/// look at it. T may be an incomplete type where a LazyArray is only declared.
template <class T>
class LazyArray {
public:
    /// @param make returns n new objects, made with new[]; n is at least 1
    explicit LazyArray(T* (*make)(int n)) : maker(make) {}
    LazyArray(const LazyArray&) = delete;
    LazyArray& operator=(const LazyArray&) = delete;
    ~LazyArray() { delete[] items; }

    /// Destroys the objects; the next look makes n new ones (none for n below 1).
    void Reset(int n) {
        delete[] items;
        items = nullptr;
        count = n;
    }

    /// Makes the objects that are not there yet.
    void Make() const {
        if (!items && count > 0)
            items = maker(count);
    }

    /// @return the first object, null when there are none
    operator T*() const {
        Make();
        return items;
    }

private:
    T* (*const maker)(int n);
    mutable T* items = nullptr; // owned; null until the first look
    int count = 0;
};
