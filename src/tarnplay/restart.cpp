// Taking a host back to its beginning. What a constructor of the engine would set is set here again, beside
// the window, the clock and the command line's choices.
#include "restart.h"

#include "drawjoin.h"
#include "lua_api.h"
#include "luathingy.h"
#include "memoryuse.h"
#include "opengl.h"
#include "programs.h"
#include "shadering.h"

#include <new>

namespace {

int firstDepth = 0; // of OpenGL's attribute stack, with the noted state

template <class T>
void renew(T& object) {
    object.~T();
    new (&object) T;
}

template <class Manager>
void renewManager(Manager& manager, const char* prefix) {
    renew(manager);
    manager.SetPathPrefix(prefix);
}

int attributeDepth() {
    GLint depth = 0;
    glGetIntegerv(GL_ATTRIB_STACK_DEPTH, &depth);
    return depth;
}

// The managers leave OpenGL's objects to the context, which goes on here.
void deleteTextures(TextureManager& textures) {
    for (int i = 0; i < textures.itemCount; ++i)
        if (auto* texture = reinterpret_cast<Texture*>(textures.GetLoadedItem(i)))
            texture->Release();
}

void deletePrograms(ShaderManager& shaders) {
    for (int i = 0; i < shaders.itemCount; ++i)
        if (const auto* shader = reinterpret_cast<const Shader*>(shaders.GetLoadedItem(i)))
            DeleteProgram(*shader);
    ForgetUniforms();
}

void forgetContent(LuaThingy& host) {
    deleteTextures(host.textureManager);
    deletePrograms(host.shaderManager);
    const bool shaders = host.shaderManager.GetShadersEnabled();
    renewManager(host.textureManager, host.mediaPath.CStr());
    renewManager(host.shaderManager, host.mediaPath.CStr());
    renewManager(host.geometryManager, host.mediaPath.CStr());
    renewManager(host.audioManager, host.mediaPath.CStr());
    renewManager(host.musicManager, host.mediaPath.CStr());
    renew(host.textManager);
    renew(host.saveManager);
    host.shaderManager.SetShadersEnabled(shaders);
}

void forgetSettings(LuaThingy& host) {
    host.SetMouseState(0, 1);
    host.SetTypingMode(0);
    host.mouseX = host.mouseY = host.mouseTotalX = host.mouseTotalY = 0;
    host.gameTime = host.gameDelta = 0;
    host.prevGameTime = -0.01f;
    host.frameCount = 0;
    host.repeatKey = -1;
    host.fov = 90;
    host.cam2DScale = host.orthoScaleX = host.orthoScaleY = 1;
    renew(host.input.keys);
}

void forgetScript(LuaThingy& host) {
    host.screenshotDir.Assign("screenshots");
    host.noise = SimplexNoise(0.0f);
    host.scriptFailed = false;
    host.loadError.Delete();
    renew(host.scratch);
    host.renderTarget.Release();
    renew(host.renderTarget);
}

// Matrices are set in every frame, but for OpenGL's texture matrix, which no script changes.
void restoreFirstState() {
    while (attributeDepth() >= firstDepth && firstDepth > 0)
        glPopAttrib();
    glUseProgramObjectARB_PTR(0);
    glBindTexture(GL_TEXTURE_2D, 0);
    KeepFirstState();
}

} // namespace

void KeepFirstState() {
    glPushAttrib(GL_ALL_ATTRIB_BITS);
    firstDepth = attributeDepth();
}

void LeaveRenderTarget() {
    drawJoin.Sync();
    while (attributeDepth() > firstDepth)
        glPopAttrib();
    glBindFramebufferEXT_PTR(GL_FRAMEBUFFER_EXT, 0);
    drawJoin.Adopt();
}

void ForgetGame(LuaThingy& host) {
    KeepHeapTight(); // or what images take while they are loaded would stay
    if (host.luaState)
        lua_close(host.luaState); // whose finalizers may draw
    host.luaState = nullptr;
    drawJoin.Release();
    forgetScript(host);
    forgetContent(host);
    forgetSettings(host);
    restoreFirstState();
    host.ResizeWindow();
}
