// The base of all content managers: groups, entries, the paged item table and lookups. A manager owns its
// pages and groups, a group its file records; the items belong to the derived manager.
#include "manager.h"

#include "strfuncs.h"

#include <SFML/System/Err.hpp>
#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ostream>
#include <type_traits>

// Entries live as plain bytes in a growing block.
static_assert(std::is_trivially_copyable<GroupItemEntry>::value, "entries are moved as bytes");

namespace {

constexpr int kNameLimit = kContentNameSize - 1;

const char* textOrEmpty(const char* text) {
    return text ? text : "";
}

bool sameName(const char* stored, const char* asked) {
    return std::strncmp(stored, asked, kNameLimit) == 0;
}

// Of the characters that are stored, so that a long name has the hash of what it registered.
std::uint32_t nameHash(const char* name) {
    const void* end = std::memchr(name, 0, kNameLimit);
    return hashBytes(name, end ? static_cast<const char*>(end) - name : kNameLimit);
}

// While one of these lives, nothing that the media library reports on its error stream is shown. Items that
// failed before are tried again at every request; one report for each of them is enough.
class QuietRetry {
public:
    explicit QuietRetry(bool retry) : quiet(retry), original(sf::err().rdbuf()) {
        if (quiet)
            sf::err().rdbuf(nullptr);
    }

    ~QuietRetry() {
        if (quiet)
            sf::err().rdbuf(original);
    }

    QuietRetry(const QuietRetry&) = delete;
    QuietRetry& operator=(const QuietRetry&) = delete;

private:
    const bool quiet;
    std::streambuf* const original;
};

void store(int* where, int value) {
    if (where)
        *where = value;
}

} // namespace

LoadObserver* loadObserver = nullptr;

// ---- MediaManagerGroup

MediaManagerGroup::MediaManagerGroup(const char* groupName) {
    strcopy(textOrEmpty(groupName), name, kNameLimit);
}

MediaManagerGroup::~MediaManagerGroup() {
    while (files.Count() > 0)
        delete static_cast<GroupFileItem*>(files.Pop(-1));
}

// The room doubles while the length grows by one entry, so that a file of many objects is not copied for
// each.
GroupItemEntry* MediaManagerGroup::AddEntry(int fileIndex, int globalIndex) {
    const long long size = (itemCount + 1LL) * static_cast<long long>(sizeof(GroupItemEntry));
    if (size > INT_MAX)
        return nullptr;
    if (size > entries.dim)
        entries.ResizeDim(static_cast<int>(std::min<long long>(2 * size, INT_MAX)));
    entries.Resize(static_cast<int>(size));
    if (entries.Len() != size)
        return nullptr;
    entriesPtr = reinterpret_cast<GroupItemEntry*>(entries.Ptr());
    GroupItemEntry* entry = &entriesPtr[itemCount++];
    *entry = {{}, fileIndex, globalIndex, false};
    return entry;
}

GroupFileItem* MediaManagerGroup::AddFile(const char* path) {
    auto* file = new GroupFileItem;
    file->path.SetString(path);
    file->firstItem = itemCount;
    file->lastItem = itemCount - 1;
    files.Add(file);
    return file;
}

int MediaManagerGroup::IndexOf(const char* itemName) const {
    for (; indexed < itemCount; indexed++) {
        const std::uint32_t hash = nameHash(entriesPtr[indexed].name);
        if (priv_Find(entriesPtr[indexed].name, hash) < 0)
            index.Add(hash, indexed);
    }
    return priv_Find(itemName, nameHash(itemName));
}

int MediaManagerGroup::priv_Find(const char* itemName, std::uint32_t hash) const {
    int step = 0;
    for (int i = index.Next(hash, &step); i >= 0; i = index.Next(hash, &step)) {
        if (sameName(entriesPtr[i].name, itemName))
            return i;
    }
    return -1;
}

// ---- MediaManagerSubList

MediaManagerSubList::MediaManagerSubList() {
    slots.Resize(kSlots * static_cast<int>(sizeof(int*)));
    slots.ZeroData();
    slotPtr = reinterpret_cast<int**>(slots.Ptr());
}

// ---- MediaManager: registration

MediaManager::MediaManager() {
    priv_CoverIndex(0);
    groups.Add(new MediaManagerGroup(""));
}

MediaManager::~MediaManager() {
    while (subLists.Count() > 0)
        delete static_cast<MediaManagerSubList*>(subLists.Pop(-1));
    while (groups.Count() > 0)
        delete static_cast<MediaManagerGroup*>(groups.Pop(-1));
}

void MediaManager::QueryFile(const char*, MediaManagerGroup*, int*, int*) {}

void MediaManager::LoadFile(GroupFileItem*, MediaManagerGroup*) {}

void MediaManager::priv_Use(int*) {}

void MediaManager::QueryFileOneItem(const char* path, MediaManagerGroup* group, int* first, int* count) {
    char itemName[kContentNameSize + 1];
    GetFileNameNoExt(path, itemName);
    GroupFileItem* file = group->AddFile(path);
    file->lastItem = file->firstItem;
    GroupItemEntry* entry = group->AddEntry(group->files.Count() - 1, itemCount);
    store(first, file->firstItem);
    store(count, entry ? 1 : 0);
    if (!entry)
        return;
    strcopy(itemName, entry->name, kNameLimit);
}

void MediaManager::SetPathPrefix(const char* prefix) {
    pathPrefix.Assign(textOrEmpty(prefix));
}

void MediaManager::AddContent(const char* file, const char* groupName, int* first, int* count) {
    DataBlock path;
    path.Append(&pathPrefix);
    path.Append(textOrEmpty(file));
    MediaManagerGroup* group = priv_FindOrAddGroup(groupName);
    const int oldCount = group->itemCount;
    int localFirst = 0;
    int added = 0;
    QueryFile(path.CStr(), group, &localFirst, &added);
    store(first, itemCount);
    store(count, added);
    itemCount += added;
    priv_CoverIndex(itemCount);
    priv_NotePlaces(group, oldCount);
}

int MediaManager::CreateEmptyItem(const char* groupName, const char* name, int*** slot) {
    MediaManagerGroup* group = priv_FindOrAddGroup(groupName);
    const int localIndex = group->itemCount;
    GroupFileItem* file = group->AddFile("");
    file->lastItem = file->firstItem;
    file->state = 1;
    GroupItemEntry* entry = group->AddEntry(group->files.Count() - 1, itemCount);
    if (!entry)
        return -1;
    const int globalIndex = itemCount++;
    strcopy(textOrEmpty(name), entry->name, kNameLimit);
    entry->loaded = true;
    priv_CoverIndex(itemCount);
    priv_NotePlaces(group, localIndex);
    if (slot)
        *slot = GetItemPtr(globalIndex);
    return globalIndex;
}

// ---- MediaManager: lookup

MediaManagerGroup* MediaManager::GetGroup(const char* name) {
    if (!name || !*name)
        return GetGroup(0);
    for (; indexedGroups < groups.Count(); indexedGroups++) {
        const char* added = GetGroup(indexedGroups)->name;
        if (!priv_FindGroup(added, nameHash(added)))
            groupIndex.Add(nameHash(added), indexedGroups);
    }
    return priv_FindGroup(name, nameHash(name));
}

MediaManagerGroup* MediaManager::GetGroup(int index) {
    return static_cast<MediaManagerGroup*>(groups.Get(index));
}

int MediaManager::GetGroupItemIndex(const MediaManagerGroup* group, const char* name) {
    return group && name ? group->IndexOf(name) : -1;
}

int MediaManager::GetIndex(const char* name, const char* group) {
    return GetGroupItemIndex(GetGroup(group), name);
}

int* MediaManager::GetItem(int globalIndex) {
    int* item = GetLoadedItem(globalIndex);
    if (item)
        return item;
    const MediaManagerSubList* page = priv_Page(globalIndex);
    if (!page)
        return nullptr;
    const ItemPlace place = page->places[globalIndex % MediaManagerSubList::kSlots];
    return place.group ? GetItem(place.localIndex, place.group) : nullptr;
}

int* MediaManager::GetItem(const char* name, const char* groupName) {
    MediaManagerGroup* group = GetGroup(groupName);
    if (!group) {
        printf("Error: Group not found.\n");
        return nullptr;
    }
    const int localIndex = GetGroupItemIndex(group, name);
    if (localIndex < 0) {
        printf("Error: Item not found in group.\n");
        return nullptr;
    }
    return GetItem(localIndex, group);
}

int* MediaManager::GetItem(int localIndex, const char* group) {
    return GetItem(localIndex, GetGroup(group));
}

int* MediaManager::GetItem(int localIndex, MediaManagerGroup* group) {
    if (!group) {
        printf("Error: Group not found.\n");
        return nullptr;
    }
    if (localIndex < 0 || localIndex >= group->itemCount) {
        printf("Error: group index %i out of range\n", localIndex);
        return nullptr;
    }
    // A copy: loading may register more content and so move the entries.
    const GroupItemEntry entry = group->entriesPtr[localIndex];
    if (!entry.loaded) {
        auto* file = static_cast<GroupFileItem*>(group->files.Get(entry.fileIndex));
        const QuietRetry quiet(file->state == 2);
        const ObservedLoad observed(file->path.CStr());
        LoadFile(file, group);
    }
    return GetLoadedItem(entry.globalIndex);
}

int* MediaManager::GetLoadedItem(int globalIndex) {
    int** slot = GetItemPtr(globalIndex);
    return slot ? *slot : nullptr;
}

int** MediaManager::GetItemPtr(int globalIndex) {
    const MediaManagerSubList* page = priv_Page(globalIndex);
    return page ? &page->slotPtr[globalIndex % MediaManagerSubList::kSlots] : nullptr;
}

// ---- MediaManager: use

void MediaManager::Use(int globalIndex) {
    if (globalIndex == -1) {
        if (unbindOnNone)
            priv_Use(nullptr);
    } else if (globalIndex < 0 || globalIndex >= itemCount) {
        printf("Error: item index above current item count.\n");
    } else {
        priv_Use(GetItem(globalIndex));
    }
}

void MediaManager::Use(const char* name) {
    Use("", name);
}

void MediaManager::Use(const char* group, const char* name) {
    if (int* item = GetItem(name, group))
        priv_Use(item);
}

void MediaManager::Use(const char* group, int localIndex) {
    if (int* item = GetItem(localIndex, group))
        priv_Use(item);
}

void MediaManager::PreLoad(int globalIndex) {
    GetItem(globalIndex);
}

// ---- MediaManager: helpers

void MediaManager::priv_CoverIndex(int globalIndex) {
    while (subLists.Count() <= globalIndex / MediaManagerSubList::kSlots)
        subLists.Add(new MediaManagerSubList);
}

void MediaManager::priv_FinishLoad(GroupFileItem* file, MediaManagerGroup* group, int* item) {
    file->state = item ? 1 : 2;
    if (!item)
        return;
    GroupItemEntry& entry = group->entriesPtr[file->firstItem];
    *GetItemPtr(entry.globalIndex) = item;
    entry.loaded = true;
}

MediaManagerSubList* MediaManager::priv_Page(int globalIndex) {
    if (globalIndex < 0)
        return nullptr;
    return static_cast<MediaManagerSubList*>(subLists.Get(globalIndex / MediaManagerSubList::kSlots));
}

MediaManagerGroup* MediaManager::priv_FindOrAddGroup(const char* name) {
    MediaManagerGroup* group = GetGroup(name);
    if (!group) {
        group = new MediaManagerGroup(name);
        groups.Add(group);
    }
    return group;
}

MediaManagerGroup* MediaManager::priv_FindGroup(const char* name, std::uint32_t hash) {
    int step = 0;
    for (int i = groupIndex.Next(hash, &step); i >= 0; i = groupIndex.Next(hash, &step)) {
        if (sameName(GetGroup(i)->name, name))
            return GetGroup(i);
    }
    return nullptr;
}

void MediaManager::priv_NotePlaces(MediaManagerGroup* group, int firstLocal) {
    for (int i = firstLocal; i < group->itemCount; i++) {
        const int globalIndex = group->entriesPtr[i].globalIndex;
        if (MediaManagerSubList* page = priv_Page(globalIndex))
            page->places[globalIndex % MediaManagerSubList::kSlots] = {group, i};
    }
}
