// The managers of what is seen: textures, shader programs and meshes. Each frees its loaded items with
// itself; OpenGL's texture and program objects stay in the context.
#include "manager.h"

#include "materials.h"
#include "opengl.h"
#include "shadering.h"
#include "strfuncs.h"

#include <cstdio>
#include <memory>

// ---- TextureManager

TextureManager::TextureManager() {
    unbindOnNone = true;
}

TextureManager::~TextureManager() {
    priv_DestroyItems<Texture>();
}

void TextureManager::QueryFile(const char* path, MediaManagerGroup* group, int* first, int* count) {
    QueryFileOneItem(path, group, first, count);
}

void TextureManager::LoadFile(GroupFileItem* file, MediaManagerGroup* group) {
    auto texture = std::make_unique<Texture>();
    // A failure is reported by the image library, which names the file.
    const bool loaded = texture->Load(file->path.CStr(), false);
    priv_FinishLoad(file, group, loaded ? reinterpret_cast<int*>(texture.release()) : nullptr);
}

void TextureManager::priv_Use(int* item) {
    if (item)
        reinterpret_cast<Texture*>(item)->Bind();
    else
        glBindTexture(GL_TEXTURE_2D, 0);
}

// ---- ShaderManager

ShaderManager::ShaderManager() {
    unbindOnNone = true;
}

ShaderManager::~ShaderManager() {
    priv_DestroyItems<Shader>();
}

void ShaderManager::QueryFile(const char* path, MediaManagerGroup* group, int* first, int* count) {
    QueryFileOneItem(path, group, first, count);
}

void ShaderManager::LoadFile(GroupFileItem* file, MediaManagerGroup* group) {
    auto shader = std::make_unique<Shader>();
    const bool loaded = shader->LoadMetaFile(file->path.CStr());
    priv_FinishLoad(file, group, loaded ? reinterpret_cast<int*>(shader.release()) : nullptr);
}

void ShaderManager::priv_Use(int* item) {
    if (!shadersEnabled)
        return;
    boundShader = reinterpret_cast<Shader*>(item);
    if (boundShader)
        boundShader->Bind();
    else
        glUseProgramObjectARB_PTR(0);
}

Shader* ShaderManager::GetBoundShader() {
    return boundShader;
}

bool ShaderManager::GetShadersEnabled() {
    return shadersEnabled;
}

void ShaderManager::SetShadersEnabled(bool enabled) {
    shadersEnabled = enabled;
}

// ---- GeometryManager: items

GeometryManager::~GeometryManager() {
    priv_DestroyItems<Geometry>();
}

void GeometryManager::QueryFile(const char* path, MediaManagerGroup* group, int* first, int* count) {
    DataBlock extension;
    extension.AssignFromFileFormat(path);
    GroupFileItem* file = group->AddFile(path);
    *first = group->itemCount;
    *count = 0;
    if (extension.IsEqual("tno"))
        printf("Error: tno files no longer supported.\n");
    else if (extension.IsEqual("obj"))
        LoadObjFile(path, group, group->files.Count() - 1, first, count);
    file->firstItem = *first;
    file->lastItem = *first + *count - 1;
    file->state = 1;
}

void GeometryManager::LoadObjFile(const char* path, MediaManagerGroup* group, int fileIndex, int* first,
                                  int* count) {
    const ObservedLoad observed(path);
    DataBlock data;
    if (!data.ReadFile(path))
        printf("Error: could not read geometry file %s\n", nativePath(path).c_str());
    ObjCollectedVertData collected;
    int pos = 0;
    int globalIndex = itemCount;
    *first = group->itemCount;
    bool atEnd = false;
    while (!atEnd) {
        GroupItemEntry* entry = group->AddEntry(fileIndex, globalIndex);
        if (!entry)
            break;
        auto* mesh = new Geometry;
        atEnd = mesh->LoadOBJFileSegment(&data, &pos, &collected, entry->name);
        entry->loaded = true;
        // The slots of the new items have to exist before the caller counts them.
        priv_CoverIndex(globalIndex);
        *GetItemPtr(globalIndex) = reinterpret_cast<int*>(mesh);
        globalIndex++;
    }
    *count = globalIndex - itemCount;
}

void GeometryManager::LoadFile(GroupFileItem*, MediaManagerGroup*) {}

void GeometryManager::priv_Use(int* item) {
    if (item)
        reinterpret_cast<Geometry*>(item)->Draw();
}

int GeometryManager::NewGeom() {
    return NewGeom("", "");
}

int GeometryManager::NewGeom(const char* name) {
    return NewGeom("", name);
}

int GeometryManager::NewGeom(const char* group, const char* name) {
    int** slot = nullptr;
    const int globalIndex = CreateEmptyItem(group, name, &slot);
    if (slot)
        *slot = reinterpret_cast<int*>(new Geometry);
    return globalIndex;
}

// ---- GeometryManager: placing

void GeometryManager::Place(int source, int target) {
    Geometry* from = priv_Mesh(source);
    if (!from) {
        printf("ERR 1235\n");
        return;
    }
    Geometry* into = priv_Mesh(target);
    if (!into) {
        printf("ERR 5123\n");
        return;
    }
    from->copied = true;
    into->AddGeometry(from, geomStack.Ptr(), texStack.Ptr());
}

void GeometryManager::Place(const char* groupName, const char* name, int target) {
    int source = -1;
    if (MediaManagerGroup* group = GetGroup(groupName)) {
        const int localIndex = GetGroupItemIndex(group, name);
        if (localIndex >= 0)
            source = group->entriesPtr[localIndex].globalIndex;
        else
            printf("Error 46561\n");
    }
    if (source >= 0)
        Place(source, target);
    else
        printf("Error: Place(): group or name not valid.\n");
}

Geometry* GeometryManager::priv_Mesh(int globalIndex) {
    return reinterpret_cast<Geometry*>(GetItem(globalIndex));
}

// ---- GeometryManager: the transform stacks

void GeometryManager::Push() {
    geomStack.Push();
}

void GeometryManager::Pop() {
    geomStack.Pop();
}

void GeometryManager::Reset() {
    geomStack.Reset();
}

void GeometryManager::Translate(float x, float y, float z) {
    geomStack.Translate(x, y, z);
}

void GeometryManager::Rotate(float x, float y, float z, float angle) {
    geomStack.Rotate(x, y, z, angle);
}

void GeometryManager::Scale(float x, float y, float z) {
    geomStack.Scale(x, y, z);
}

void GeometryManager::TexPush() {
    texStack.Push();
}

void GeometryManager::TexPop() {
    texStack.Pop();
}

void GeometryManager::TexReset() {
    texStack.Reset();
}

void GeometryManager::TexTranslate(float x, float y) {
    texStack.Translate(x, y, 0);
}

void GeometryManager::TexRotate(float x, float y, float z, float angle) {
    texStack.Rotate(x, y, z, angle);
}

void GeometryManager::TexScale(float x, float y) {
    texStack.Scale(x, y, 1);
}
