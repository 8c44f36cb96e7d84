// Content lists: textures and shaders found by number, loaded from fixed directories at their first request.
// Entries and items are made here and outlive the lists.
#include "materials.h"

#include "opengl.h"
#include "shadering.h"
#include "strfuncs.h"

namespace {

constexpr int kIdsPerList = 256;
constexpr int kIdCount = 256 * kIdsPerList;

/// Appends dir, the id in five digits and the extension to an empty path.
void numberedPath(DataBlock& path, const char* dir, int id, const char* extension) {
    char digits[32];
    IntToStr(id, digits, 5);
    path.Append(dir);
    path.Append(digits);
    path.Append(extension);
}

} // namespace

ContentList::~ContentList() = default;

ContentEntry* ContentList::LoadItem(int) {
    return nullptr;
}

ContentEntry* ContentList::privFetchEntry(int id) {
    if (id < 0 || id >= kIdCount)
        return nullptr;
    ContentSubList& list = subLists[id / kIdsPerList];
    for (int i = 0; i < list.Count(); i++) {
        ContentEntry* entry = static_cast<ContentEntry*>(list.Get(i));
        if (entry->id == id)
            return entry;
    }
    ContentEntry* loaded = LoadItem(id);
    if (loaded)
        list.Add(loaded);
    return loaded;
}

void* ContentList::FetchItem(int id) {
    ContentEntry* entry = privFetchEntry(id);
    return entry ? entry->item : nullptr;
}

ContentEntry* TextureList::LoadItem(int id) {
    Texture* texture = new Texture;
    for (const char* extension : {".png", ".bmp", ".jpg"}) {
        DataBlock path;
        numberedPath(path, "data\\textures\\", id, extension);
        if (texture->Load(path.CStr(), false))
            return new ContentEntry{id, texture};
    }
    delete texture;
    return nullptr;
}

void TextureList::Bind(int id) {
    if (id == -1) {
        glBindTexture(GL_TEXTURE_2D, 0);
        return;
    }
    if (Texture* texture = static_cast<Texture*>(FetchItem(id)))
        texture->Bind();
}

ContentEntry* ShaderList::LoadItem(int id) {
    Shader* shader = new Shader;
    DataBlock path;
    numberedPath(path, "data\\shaders\\", id, ".shad");
    shader->LoadMetaFile(path.CStr());
    return new ContentEntry{id, shader};
}

void ShaderList::Bind(int id) {
    if (id == -1) {
        glUseProgramObjectARB_PTR(0);
        current = nullptr;
        return;
    }
    ContentEntry* entry = privFetchEntry(id);
    if (!entry)
        return;
    static_cast<Shader*>(entry->item)->Bind();
    current = entry;
}
