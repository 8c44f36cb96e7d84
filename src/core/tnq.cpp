// TNQ, the engine's list of untyped pointers.
// A queue owns its slots and, while ownsItems is set, the blocks behind its entries.
#include "tnq.h"

#include <cstddef>
#include <new>

namespace {

const int firstCapacity = 16;

} // namespace

TNQ::TNQ() : capacity(0), count(0), items(nullptr), ownsItems(true) {}

TNQ::~TNQ() {
    RemoveAll();
    delete[] items;
}

void TNQ::Add(void* item) {
    Queue(item);
}

void TNQ::Queue(void* item) {
    if (count >= capacity)
        PrivResizeMore();
    items[count++] = item;
}

void TNQ::Insert(void* item) {
    PrivShift(1);
    items[0] = item;
    count++;
}

void* TNQ::Pop(int index) {
    if (index == -1)
        index = count - 1;
    void* item = Peek(index);
    Delete(index);
    return item;
}

void* TNQ::Next() {
    void* item = Peek(0);
    PrivShift(-1);
    CheckResizeLess();
    return item;
}

void* TNQ::Peek(int index) const {
    return index >= 0 && index < count ? items[index] : nullptr;
}

void* TNQ::Get(int index) const {
    return Peek(index);
}

void TNQ::Delete(int index) {
    if (index < 0 || index >= count)
        return;
    for (int i = index; i < count - 1; i++)
        items[i] = items[i + 1];
    items[--count] = nullptr;
    CheckResizeLess();
}

void TNQ::RemoveAll() {
    if (!ownsItems)
        return;
    while (count > 0)
        ::operator delete(Pop(-1));
}

void TNQ::PrivResize(int newCapacity, int offset) {
    void** newItems = new void*[static_cast<size_t>(newCapacity)];
    for (int i = 0; i < count; i++)
        newItems[offset + i] = items[i];
    delete[] items;
    items = newItems;
    capacity = newCapacity;
}

void TNQ::PrivResizeMore() {
    PrivResize(capacity > 0 ? capacity * 2 : firstCapacity, 0);
}

// Halving only below a quarter leaves room either way: no add and remove in turn can resize every time.
void TNQ::CheckResizeLess() {
    if (count < capacity / 4 && capacity > 2 * firstCapacity - 1)
        PrivResize(capacity / 2, 0);
}

// n > 0 opens n slots in front, for the caller to fill and count; n < 0 drops -n entries there.
void TNQ::PrivShift(int n) {
    if (n > 0) {
        if (count + n > capacity)
            PrivResizeMore();
        for (int i = count - 1; i >= 0; i--)
            items[i + n] = items[i];
        for (int i = 0; i < n; i++)
            items[i] = nullptr;
        return;
    }
    const int dropped = -n < count ? -n : count;
    for (int i = 0; i < count - dropped; i++)
        items[i] = items[i + dropped];
    for (int i = count - dropped; i < count; i++)
        items[i] = nullptr;
    count -= dropped;
}
