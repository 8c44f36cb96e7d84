// Engine functions that change OpenGL's state: matrices, camera, colours, blending, lights, render to
// texture.
#include "luathingy_api.h"

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

void setEnabled(unsigned capability, bool on) {
    if (on)
        glEnable(capability);
    else
        glDisable(capability);
}

// Blend(mode) alone: 0 mixes by alpha, 1 adds; other modes keep the function that is set.
void setBlendMode(int mode) {
    if (mode == 0)
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    else if (mode == 1)
        glBlendFunc(GL_SRC_ALPHA, GL_ONE);
}

// Indexes beyond the tables keep the function that is set.
void setBlendFactors(int source, int destination) {
    if (source < static_cast<int>(std::size(kSourceFactors)) &&
        destination < static_cast<int>(std::size(kDestinationFactors)))
        glBlendFunc(kSourceFactors[source], kDestinationFactors[destination]);
}

} // namespace

// ---- Matrices ----

int pubLPush(lua_State*) {
    glPushMatrix();
    return 0;
}

int pubLPop(lua_State*) {
    glPopMatrix();
    return 0;
}

int pubLTranslate(lua_State* L) {
    NeedArgs(L, 1, "");
    const V3 way = ReadV3(L, 1);
    glTranslatef(way.x, way.y, way.z);
    return 0;
}

int pubLRotate(lua_State* L) {
    const RotateArgs turn = ReadRotateArgs(L);
    glRotatef(turn.halfTurns * TURNS_TO_DEGREES, turn.axis.x, turn.axis.y, turn.axis.z);
    return 0;
}

int pubLScale(lua_State* L) {
    const V3 scale = ReadScaleArgs(L);
    glScalef(scale.x, scale.y, scale.z);
    return 0;
}

int pubLLookAt(lua_State* L) {
    NeedArgs(L, 6, "LookAt");
    const V3 eye = ReadV3(L, 1);
    const V3 target = ReadV3(L, 4);
    LookAtV3(target, eye);
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
        host->InitCamera(2, ArgInt(L, 2));
    } else if (mode == kCamera3D) {
        if (count >= 2)
            host->fov = ArgFloat(L, 2);
        host->InitCamera(0, 0);
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
    const int count = NeedArgs(L, 1, "color");
    const float r = ArgFloat(L, 1);
    if (count < 2)
        glColor4f(r, r, r, 1);
    else
        glColor4f(r, ArgFloat(L, 2), ArgFloat(L, 3), OptFloat(L, 4, 1));
    return 0;
}

int pubLBlend(lua_State* L) {
    NeedArgs(L, 1, "");
    const int mode = ArgInt(L, 1);
    const int destination = OptInt(L, 2, -1);
    setEnabled(GL_BLEND, mode >= 0);
    if (mode >= 0 && destination < 0)
        setBlendMode(mode);
    else if (mode >= 0)
        setBlendFactors(mode, destination);
    return 0;
}

int pubLSetDepth(lua_State* L) {
    NeedArgs(L, 1, "");
    const bool test = ArgFlag(L, 1);
    glDepthMask(OptFlag(L, 2, test) ? GL_TRUE : GL_FALSE);
    setEnabled(GL_DEPTH_TEST, test);
    if (test) {
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
    setEnabled(GL_COLOR_LOGIC_OP, op >= 0);
    if (op >= 0)
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
    if (on)
        glCullFace(GL_BACK);
    setEnabled(GL_CULL_FACE, on);
    return 0;
}

int pubLDrawLine(lua_State* L) {
    const V3 from = ReadV3(L, 1);
    const V3 to = ReadV3(L, 4);
    DrawLine(from.x, from.y, from.z, to.x, to.y, to.z);
    return 0;
}

int pubLQuad(lua_State* L) {
    if (LuaThingy* host = HostOf(L))
        host->DrawQuad();
    return 0;
}

// ---- Lights ----

int pubLSetLighting(lua_State* L) {
    NeedArgs(L, 1, "lighting");
    const bool on = ArgFlag(L, 1);
    if (LuaThingy* host = HostOf(L))
        host->SetLighting(on);
    return 0;
}

int pubLSetLight(lua_State* L) {
    NeedArgs(L, 1, "lighting");
    const int light = ArgInt(L, 1);
    const V3 place = ReadV3(L, 2);
    if (LuaThingy* host = HostOf(L)) {
        host->SetLighting(true);
        host->SetLight(light, place.x, place.y, place.z);
    }
    return 0;
}

int pubLSetLightColor(lua_State* L) {
    NeedArgs(L, 4, "");
    const int light = ArgInt(L, 1);
    const V3 colour = ReadV3(L, 2);
    if (LuaThingy* host = HostOf(L))
        host->SetLightColor(light, colour.x, colour.y, colour.z);
    return 0;
}

int pubLSetLightAtten(lua_State* L) {
    NeedArgs(L, 4, "");
    const int light = ArgInt(L, 1);
    const V3 factors = ReadV3(L, 2);
    if (LuaThingy* host = HostOf(L))
        host->SetLightAtten(light, factors.x, factors.y, factors.z);
    return 0;
}

int pubLSetAmbientColor(lua_State* L) {
    NeedArgs(L, 3, "");
    const V3 colour = ReadV3(L, 1);
    if (LuaThingy* host = HostOf(L))
        host->SetAmbientColorRGB(colour.x, colour.y, colour.z);
    return 0;
}

// ---- Render to texture ----

int pubLBeginRTT(lua_State* L) {
    if (LuaThingy* host = HostOf(L))
        host->renderTarget.BeginRTT(host->GetScreenWidth(), host->GetScreenHeight(), V4(0, 0, 0, 1));
    return 0;
}

int pubLEndRTT(lua_State* L) {
    if (LuaThingy* host = HostOf(L)) {
        host->renderTarget.EndRTT(host);
        host->renderTarget.DrawRTTFull(host);
    }
    return 0;
}
