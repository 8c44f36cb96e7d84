// The base of all content managers: groups, entries, the paged item table and lookups. A manager owns its
// pages and groups, a group its file records; the items belong to the derived manager.
#include "manager.h"

#include "strfuncs.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <type_traits>

// Entries live as plain bytes in a growing block.
static_assert(std::is_trivially_copyable<GroupItemEntry>::value, "entries are moved as bytes");

namespace {

constexpr int kNameLimit = kContentNameSize - 1;

const char* textOrEmpty(const char* text) {
    return text ? text : "";
}

bool sameName(const char* stored, const char* asked) {
    return strequal(stored, asked, kNameLimit, true);
}

void store(int* where, int value) {
    if (where)
        *where = value;
}

} // namespace

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

void MediaManager::AddContent(const char* file, const char* group, int* first, int* count) {
    DataBlock path;
    path.Append(&pathPrefix);
    path.Append(textOrEmpty(file));
    int localFirst = 0;
    int added = 0;
    QueryFile(path.CStr(), priv_FindOrAddGroup(group), &localFirst, &added);
    store(first, itemCount);
    store(count, added);
    itemCount += added;
    priv_CoverIndex(itemCount);
}

int MediaManager::CreateEmptyItem(const char* groupName, const char* name, int*** slot) {
    MediaManagerGroup* group = priv_FindOrAddGroup(groupName);
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
    if (slot)
        *slot = GetItemPtr(globalIndex);
    return globalIndex;
}

// ---- MediaManager: lookup

MediaManagerGroup* MediaManager::GetGroup(const char* name) {
    if (!name || !*name)
        return GetGroup(0);
    for (int i = 1; i < groups.Count(); i++) {
        if (sameName(GetGroup(i)->name, name))
            return GetGroup(i);
    }
    return nullptr;
}

MediaManagerGroup* MediaManager::GetGroup(int index) {
    return static_cast<MediaManagerGroup*>(groups.Get(index));
}

int MediaManager::GetGroupItemIndex(const MediaManagerGroup* group, const char* name) {
    if (!group || !name)
        return -1;
    for (int i = 0; i < group->itemCount; i++) {
        if (sameName(group->entriesPtr[i].name, name))
            return i;
    }
    return -1;
}

int MediaManager::GetIndex(const char* name, const char* group) {
    return GetGroupItemIndex(GetGroup(group), name);
}

int* MediaManager::GetItem(int globalIndex) {
    int* item = GetLoadedItem(globalIndex);
    if (item)
        return item;
    int localIndex = 0;
    MediaManagerGroup* group = priv_GroupOfItem(globalIndex, &localIndex);
    return group ? GetItem(localIndex, group) : nullptr;
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
    if (!entry.loaded)
        LoadFile(static_cast<GroupFileItem*>(group->files.Get(entry.fileIndex)), group);
    return GetLoadedItem(entry.globalIndex);
}

int* MediaManager::GetLoadedItem(int globalIndex) {
    int** slot = GetItemPtr(globalIndex);
    return slot ? *slot : nullptr;
}

int** MediaManager::GetItemPtr(int globalIndex) {
    if (globalIndex < 0)
        return nullptr;
    auto* page = static_cast<MediaManagerSubList*>(subLists.Get(globalIndex / MediaManagerSubList::kSlots));
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

MediaManagerGroup* MediaManager::priv_FindOrAddGroup(const char* name) {
    MediaManagerGroup* group = GetGroup(name);
    if (!group) {
        group = new MediaManagerGroup(name);
        groups.Add(group);
    }
    return group;
}

MediaManagerGroup* MediaManager::priv_GroupOfItem(int globalIndex, int* localIndex) {
    for (int g = 0; g < groups.Count(); g++) {
        MediaManagerGroup* group = GetGroup(g);
        for (int i = 0; i < group->itemCount; i++) {
            if (group->entriesPtr[i].globalIndex == globalIndex) {
                *localIndex = i;
                return group;
            }
        }
    }
    return nullptr;
}
