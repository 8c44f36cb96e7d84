// Engine functions that change OpenGL's state: matrices, camera, colours, blending, lights, render to
// texture.
#include "luathingy_api.h"

#include "drawjoin.h"
#include "lua_api.h"
#include "luathingy.h"
#include "opengl.h"
#include "tarneuc.h"

#include <iterator>

namespace {

constexpr unsigned kSourceFactors[] = {
    GL_ZERO,
    GL_ONE,
    GL_DST_COLOR,
    GL_ONE_MINUS_DST_COLOR,
    GL_SRC_ALPHA,
    GL_ONE_MINUS_SRC_ALPHA,
    GL_DST_ALPHA,
    GL_ONE_MINUS_DST_ALPHA,
    GL_SRC_ALPHA_SATURATE,
};

constexpr unsigned kDestinationFactors[] = {
    GL_ZERO,      GL_ONE,
    GL_SRC_COLOR, GL_ONE_MINUS_SRC_COLOR,
    GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA,
    GL_DST_ALPHA, GL_ONE_MINUS_DST_ALPHA,
};

constexpr unsigned kLogicOps[] = {
    GL_CLEAR,       GL_SET,          GL_COPY,       GL_COPY_INVERTED, GL_NOOP, GL_INVERT,
    GL_AND,         GL_NAND,         GL_OR,         GL_NOR,           GL_XOR,  GL_EQUIV,
    GL_AND_REVERSE, GL_AND_INVERTED, GL_OR_REVERSE, GL_OR_INVERTED,
};

constexpr int kCamera2D = 2;
constexpr int kCamera3D = 3;

// The functions that scripts call most often count and read their arguments here: every call into Lua and
// out of this file shows in their speed, so what is known to be missing is not asked for.
int argCount(lua_State* L, const char* name) {
    const int count = lua_gettop(L);
    return count > 0 ? count : NeedArgs(L, 1, name);
}

float arg(lua_State* L, int index, int count, float absent = 0) {
    return index <= count ? static_cast<float>(lua_tonumber(L, index)) : absent;
}

void setSwitch(RenderState state, unsigned capability, bool on) {
    if (!drawJoin.Changes(state, on))
        return;
    if (on)
        glEnable(capability);
    else
        glDisable(capability);
}

void setBlendFunction(unsigned source, unsigned destination) {
    if (drawJoin.Changes(RENDER_BLEND_FACTORS, static_cast<int>(source << 16 | destination)))
        glBlendFunc(source, destination);
}

// Blend(mode) alone: 0 mixes by alpha, 1 adds; other modes keep the function that is set.
void setBlendMode(int mode) {
    if (mode == 0)
        setBlendFunction(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    else if (mode == 1)
        setBlendFunction(GL_SRC_ALPHA, GL_ONE);
}

// Indexes beyond the tables keep the function that is set.
void setBlendFactors(int source, int destination) {
    if (source < static_cast<int>(std::size(kSourceFactors)) &&
        destination < static_cast<int>(std::size(kDestinationFactors)))
        setBlendFunction(kSourceFactors[source], kDestinationFactors[destination]);
}

// Initialises a camera, which resets the model-view matrix as well.
void setCamera(LuaThingy& host, int mode, int fit) {
    drawJoin.SyncState();
    host.InitCamera(mode, fit);
    drawJoin.Adopt();
}

// The host, on which lights may then be changed. A light's place depends on the model-view matrix.
LuaThingy* hostForLights(lua_State* L) {
    LuaThingy* host = HostOf(L);
    if (host)
        drawJoin.SyncState();
    return host;
}

} // namespace

// ---- Matrices ----

int pubLPush(lua_State*) {
    drawJoin.Push();
    return 0;
}

int pubLPop(lua_State*) {
    drawJoin.Pop();
    return 0;
}

int pubLTranslate(lua_State* L) {
    const int count = argCount(L, "");
    drawJoin.Translate(arg(L, 1, count), arg(L, 2, count), arg(L, 3, count));
    return 0;
}

int pubLRotate(lua_State* L) {
    const int count = argCount(L, "");
    const float first = arg(L, 1, count);
    if (count < 2)
        drawJoin.RotateZ(first * TURNS_TO_DEGREES);
    else
        drawJoin.Rotate(arg(L, 4, count) * TURNS_TO_DEGREES, first, arg(L, 2, count), arg(L, 3, count));
    return 0;
}

int pubLScale(lua_State* L) {
    const int count = argCount(L, "");
    const float first = arg(L, 1, count);
    if (count < 2)
        drawJoin.Scale(first, first, first);
    else
        drawJoin.Scale(first, arg(L, 2, count), arg(L, 3, count));
    return 0;
}

int pubLLookAt(lua_State* L) {
    NeedArgs(L, 6, "LookAt");
    const V3 eye = ReadV3(L, 1);
    const V3 target = ReadV3(L, 4);
    drawJoin.SyncState();
    LookAtV3(target, eye);
    drawJoin.Adopt();
    return 0;
}

// ---- Camera ----

int pubLSetCam(lua_State* L) {
    const int count = NeedArgs(L, 1, "");
    const int mode = ArgInt(L, 1);
    LuaThingy* host = HostOf(L);
    if (!host)
        return 0;
    if (mode == kCamera2D) {
        setCamera(*host, 2, ArgInt(L, 2));
    } else if (mode == kCamera3D) {
        if (count >= 2)
            host->fov = ArgFloat(L, 2);
        setCamera(*host, 0, 0);
    }
    return 0;
}

int pubLSet2DCamScale(lua_State* L) {
    NeedArgs(L, 1, "");
    const float scale = ArgFloat(L, 1);
    if (LuaThingy* host = HostOf(L))
        host->Set2DCamScale(scale);
    return 0;
}

// ---- Render state ----

int pubLColor(lua_State* L) {
    const int count = argCount(L, "color");
    const float r = arg(L, 1, count);
    if (count < 2)
        drawJoin.SetColour(r, r, r, 1);
    else
        drawJoin.SetColour(r, arg(L, 2, count), arg(L, 3, count), arg(L, 4, count, 1));
    return 0;
}

int pubLBlend(lua_State* L) {
    NeedArgs(L, 1, "");
    const int mode = ArgInt(L, 1);
    const int destination = OptInt(L, 2, -1);
    setSwitch(RENDER_BLEND, GL_BLEND, mode >= 0);
    if (mode >= 0 && destination < 0)
        setBlendMode(mode);
    else if (mode >= 0)
        setBlendFactors(mode, destination);
    return 0;
}

int pubLSetDepth(lua_State* L) {
    NeedArgs(L, 1, "");
    const bool test = ArgFlag(L, 1);
    const bool write = OptFlag(L, 2, test);
    if (drawJoin.Changes(RENDER_DEPTH_WRITE, write))
        glDepthMask(write ? GL_TRUE : GL_FALSE);
    setSwitch(RENDER_DEPTH_TEST, GL_DEPTH_TEST, test);
    if (test && drawJoin.Changes(RENDER_DEPTH_FUNCTION, GL_LEQUAL)) {
        glDepthFunc(GL_LEQUAL);
        glDepthRange(0, 1);
    }
    return 0;
}

int pubLLogic(lua_State* L) {
    NeedArgs(L, 1, "");
    const int op = ArgInt(L, 1);
    if (op >= static_cast<int>(std::size(kLogicOps)))
        return 0;
    setSwitch(RENDER_LOGIC, GL_COLOR_LOGIC_OP, op >= 0);
    if (op >= 0 && drawJoin.Changes(RENDER_LOGIC_OP, op))
        glLogicOp(kLogicOps[op]);
    return 0;
}

int pubLSetClearColor(lua_State* L) {
    NeedArgs(L, 4, "BackColor");
    glClearColor(ArgFloat(L, 1), ArgFloat(L, 2), ArgFloat(L, 3), ArgFloat(L, 4));
    return 0;
}

int pubLSetBackCull(lua_State* L) {
    NeedArgs(L, 1, "lighting");
    const bool on = ArgFlag(L, 1);
    setSwitch(RENDER_CULLING, GL_CULL_FACE, on);
    if (on)
        glCullFace(GL_BACK);
    return 0;
}

int pubLDrawLine(lua_State* L) {
    const V3 from = ReadV3(L, 1);
    const V3 to = ReadV3(L, 4);
    drawJoin.Line(from, to);
    return 0;
}

int pubLQuad(lua_State* L) {
    if (LuaThingy* host = HostOf(L))
        drawJoin.Draw(host->quad);
    return 0;
}

// ---- Lights ----

int pubLSetLighting(lua_State* L) {
    NeedArgs(L, 1, "lighting");
    const bool on = ArgFlag(L, 1);
    if (LuaThingy* host = hostForLights(L)) {
        host->SetLighting(on);
        drawJoin.Adopt();
    }
    return 0;
}

int pubLSetLight(lua_State* L) {
    NeedArgs(L, 1, "lighting");
    const int light = ArgInt(L, 1);
    const V3 place = ReadV3(L, 2);
    if (LuaThingy* host = hostForLights(L)) {
        host->SetLighting(true);
        host->SetLight(light, place.x, place.y, place.z);
        drawJoin.Adopt();
    }
    return 0;
}

int pubLSetLightColor(lua_State* L) {
    NeedArgs(L, 4, "");
    const int light = ArgInt(L, 1);
    const V3 colour = ReadV3(L, 2);
    if (LuaThingy* host = hostForLights(L))
        host->SetLightColor(light, colour.x, colour.y, colour.z);
    return 0;
}

int pubLSetLightAtten(lua_State* L) {
    NeedArgs(L, 4, "");
    const int light = ArgInt(L, 1);
    const V3 factors = ReadV3(L, 2);
    if (LuaThingy* host = hostForLights(L))
        host->SetLightAtten(light, factors.x, factors.y, factors.z);
    return 0;
}

int pubLSetAmbientColor(lua_State* L) {
    NeedArgs(L, 3, "");
    const V3 colour = ReadV3(L, 1);
    if (LuaThingy* host = hostForLights(L))
        host->SetAmbientColorRGB(colour.x, colour.y, colour.z);
    return 0;
}

// ---- Render to texture ----

int pubLBeginRTT(lua_State* L) {
    LuaThingy* host = HostOf(L);
    if (!host)
        return 0;
    drawJoin.Sync();
    host->renderTarget.BeginRTT(host->GetScreenWidth(), host->GetScreenHeight(), V4(0, 0, 0, 1));
    drawJoin.Adopt();
    return 0;
}

int pubLEndRTT(lua_State* L) {
    LuaThingy* host = HostOf(L);
    if (!host)
        return 0;
    drawJoin.Sync();
    host->renderTarget.EndRTT(host);
    host->renderTarget.DrawRTTFull(host);
    drawJoin.Adopt();
    return 0;
}
