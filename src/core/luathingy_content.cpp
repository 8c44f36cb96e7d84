// Engine functions for content: meshes, textures and shaders, the geometry manager's stacks, uniforms.
#include "luathingy_api.h"

#include "drawjoin.h"
#include "lua_api.h"
#include "luathingy.h"

namespace {

constexpr double kHalfTurn = 3.14159265; // radians

TextureManager* texturesOf(lua_State* L) {
    LuaThingy* host = HostOf(L);
    return host ? &host->textureManager : nullptr;
}

ShaderManager* shadersOf(lua_State* L) {
    LuaThingy* host = HostOf(L);
    return host ? &host->shaderManager : nullptr;
}

GeometryManager* meshesOf(lua_State* L) {
    LuaThingy* host = HostOf(L);
    return host ? &host->geometryManager : nullptr;
}

Shader* boundShaderOf(lua_State* L) {
    ShaderManager* shaders = shadersOf(L);
    return shaders ? shaders->GetBoundShader() : nullptr;
}

// One of the stack operations without arguments.
int callStack(lua_State* L, void (GeometryManager::*operation)()) {
    if (GeometryManager* meshes = meshesOf(L))
        (meshes->*operation)();
    return 0;
}

int newGeom(lua_State* L, GeometryManager& meshes) {
    const int count = lua_gettop(L);
    if (count == 0)
        return meshes.NewGeom();
    if (count > 2)
        return -1;
    const char* group = count == 2 ? ArgGroup(L, 1, "NewGeom") : "";
    const char* name = ArgString(L, count, "NewGeom");
    return group && name ? meshes.NewGeom(group, name) : -1;
}

void placeByName(lua_State* L, GeometryManager& meshes) {
    const char* name = ArgString(L, 1, "Place");
    if (!name)
        return;
    if (IsNumber(L, 2)) {
        meshes.Place("", name, ArgInt(L, 2));
        return;
    }
    // The target by name: its place within the default group serves as the global index.
    if (const char* target = ArgString(L, 2, "Place"))
        meshes.Place("", name, meshes.GetIndex(target, ""));
}

void placeFromGroup(lua_State* L, GeometryManager& meshes) {
    const char* group = ArgGroup(L, 1, "Place");
    const char* name = ArgString(L, 2, "Place");
    if (group && name)
        meshes.Place(group, name, ArgInt(L, 3));
}

// Becomes OpenGL's current program with the next draw. One that OpenGL refuses is offered at once: it raises
// its error, and the program before stays current.
void bindShader(ShaderManager& shaders, int* item) {
    auto* shader = reinterpret_cast<Shader*>(item);
    if (shader && !shader->linked) {
        drawJoin.SyncState();
        shaders.priv_Use(item);
        return;
    }
    shaders.boundShader = shader;
    drawJoin.SetProgram(shader ? shader->program : 0);
}

} // namespace

// ---- Registration and selection ----

int pubLAddTex(lua_State* L) {
    return AddContentItem(L, texturesOf(L), "AddTex", "addtex");
}

int pubLAddGeom(lua_State* L) {
    return AddContentItem(L, meshesOf(L), "AddGeom", "addgeom");
}

int pubLAddShad(lua_State* L) {
    return AddContentItem(L, shadersOf(L), "AddShad", "addtex");
}

int pubLBindTex(lua_State* L) {
    int* item = nullptr;
    if (SelectItem(L, texturesOf(L), "Tex", item))
        drawJoin.SetTexture(item ? reinterpret_cast<Texture*>(item)->texId : 0);
    return 0;
}

int pubLDrawGeom(lua_State* L) {
    NeedArgs(L, 1, "");
    int* item = nullptr;
    if (SelectItem(L, meshesOf(L), "Geom", item) && item)
        drawJoin.Draw(*reinterpret_cast<Geometry*>(item));
    return 0;
}

int pubLBindShad(lua_State* L) {
    ShaderManager* shaders = shadersOf(L);
    int* item = nullptr;
    if (SelectItem(L, shaders, "Shad", item) && shaders->GetShadersEnabled())
        bindShader(*shaders, item);
    return 0;
}

int pubLNewGeom(lua_State* L) {
    GeometryManager* meshes = meshesOf(L);
    lua_pushinteger(L, meshes ? newGeom(L, *meshes) : -1);
    return 1;
}

int pubLPlace(lua_State* L) {
    const int count = NeedArgs(L, 1, "");
    GeometryManager* meshes = meshesOf(L);
    if (!meshes)
        return 0;
    if (count == 2 && IsNumber(L, 1) && IsNumber(L, 2))
        meshes->Place(ArgInt(L, 1), ArgInt(L, 2));
    else if (count == 2)
        placeByName(L, *meshes);
    else if (count == 3)
        placeFromGroup(L, *meshes);
    return 0;
}

// ---- Shaders ----

int pubLSetShadersEnabled(lua_State* L) {
    NeedArgs(L, 1, "shad");
    const bool on = ArgFlag(L, 1);
    if (ShaderManager* shaders = shadersOf(L))
        shaders->SetShadersEnabled(on);
    return 0;
}

int pubLGetShadersEnabled(lua_State* L) {
    ShaderManager* shaders = shadersOf(L);
    lua_pushinteger(L, shaders && shaders->GetShadersEnabled() ? 1 : 0);
    return 1;
}

int pubLDeclareUniform(lua_State* L) {
    Shader* shader = boundShaderOf(L);
    if (!shader)
        return 0;
    const char* name = ArgString(L, 2, "DeclareUniform");
    if (name)
        shader->DeclareUniform(ArgInt(L, 1), name, OptInt(L, 3, 1), OptFlag(L, 4, true));
    return 0;
}

int pubLUpdateUniform(lua_State* L) {
    const int index = ArgInt(L, 1);
    float value = ArgFloat(L, 2);
    if (Shader* shader = boundShaderOf(L)) {
        drawJoin.SyncState(); // OpenGL sets uniforms of its current program
        shader->UpdateUniform(index, &value);
    }
    return 0;
}

// ---- Geometry stack ----

int pubLGPush(lua_State* L) {
    return callStack(L, &GeometryManager::Push);
}

int pubLGPop(lua_State* L) {
    return callStack(L, &GeometryManager::Pop);
}

int pubLGReset(lua_State* L) {
    return callStack(L, &GeometryManager::Reset);
}

int pubLGTranslate(lua_State* L) {
    NeedArgs(L, 1, "");
    const V3 way = ReadV3(L, 1);
    if (GeometryManager* meshes = meshesOf(L))
        meshes->Translate(way.x, way.y, way.z);
    return 0;
}

int pubLGRotate(lua_State* L) {
    const RotateArgs turn = ReadRotateArgs(L);
    if (GeometryManager* meshes = meshesOf(L))
        meshes->Rotate(turn.axis.x, turn.axis.y, turn.axis.z, static_cast<float>(turn.halfTurns * kHalfTurn));
    return 0;
}

int pubLGScale(lua_State* L) {
    const V3 scale = ReadScaleArgs(L);
    if (GeometryManager* meshes = meshesOf(L))
        meshes->Scale(scale.x, scale.y, scale.z);
    return 0;
}

// ---- Texture-coordinate stack ----

int pubLTPush(lua_State* L) {
    return callStack(L, &GeometryManager::TexPush);
}

int pubLTPop(lua_State* L) {
    return callStack(L, &GeometryManager::TexPop);
}

int pubLTReset(lua_State* L) {
    return callStack(L, &GeometryManager::TexReset);
}

int pubLTTranslate(lua_State* L) {
    NeedArgs(L, 1, "");
    const float u = ArgFloat(L, 1);
    const float v = ArgFloat(L, 2);
    if (GeometryManager* meshes = meshesOf(L))
        meshes->TexTranslate(u, v);
    return 0;
}

// In radians, unlike the other rotations.
int pubLTRotate(lua_State* L) {
    NeedArgs(L, 4, "");
    const V3 axis = ReadV3(L, 1);
    const float radians = ArgFloat(L, 4);
    if (GeometryManager* meshes = meshesOf(L))
        meshes->TexRotate(axis.x, axis.y, axis.z, radians);
    return 0;
}

int pubLTScale(lua_State* L) {
    NeedArgs(L, 1, "");
    const float u = ArgFloat(L, 1);
    const float v = OptFloat(L, 2, u);
    if (GeometryManager* meshes = meshesOf(L))
        meshes->TexScale(u, v);
    return 0;
}
