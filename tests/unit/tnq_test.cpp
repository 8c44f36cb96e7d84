// The pointer queue against a deque, its capacities, and who releases the entries.
#include "tnq.h"

#include <deque>
#include <gtest/gtest.h>
#include <random>

TEST(TNQ, BehavesAsADeque) {
    TNQ queue;
    queue.ownsItems = false; // else the destructor would release parts of this array
    static char entries[20000];
    std::deque<void*> model;
    std::mt19937 random(7);
    for (int step = 0; step < 20000; step++) {
        const int size = queue.Count(), before = queue.capacity;
        int index = static_cast<int>(random() % 200) - 1; // often out of range
        void* const item = &entries[step];
        const auto action = random() % (step / 1000 % 2 ? 12 : 6); // grows and shrinks in turns
        if (action < 4) {
            action < 2 ? queue.Insert(item) : queue.Add(item);
            action < 2 ? model.push_front(item) : model.push_back(item);
            ASSERT_EQ(queue.capacity, size < before ? before : before ? before * 2 : 16);
        } else {
            index = action == 4 ? 0 : index;
            const int removed = action == 5 && index == -1 ? size - 1 : index;
            void* const wanted = removed >= 0 && removed < size ? model[size_t(removed)] : nullptr;
            ASSERT_EQ(queue.Peek(removed), wanted);
            if (action > 5)
                queue.Delete(index);
            else
                ASSERT_EQ(action == 4 ? queue.Next() : queue.Pop(index), wanted);
            if (wanted)
                model.erase(model.begin() + removed);
            ASSERT_EQ(queue.capacity, wanted && size - 1 < before / 4 && before > 31 ? before / 2 : before);
        }
        ASSERT_TRUE(std::equal(model.begin(), model.end(), queue.items, queue.items + queue.Count()));
    }
    queue.RemoveAll();
    EXPECT_EQ(queue.Count(), static_cast<int>(model.size()));
}

TEST(TNQ, ReleasesWhatItOwns) { // a leak shows under the address sanitizer
    TNQ queue;
    queue.Add(new int(1));
    queue.Add(nullptr);
    queue.RemoveAll();
    EXPECT_EQ(queue.Count(), 0);
    queue.Add(::operator new(100)); // for the destructor
}
