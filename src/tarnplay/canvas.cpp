// The canvas as a framebuffer object that stands for the window.
#include "canvas.h"

#include "opengl.h"
#include "player.h"
#include "shadering.h"
#include "strfuncs.h"

namespace {

bool hasExtension(const char* name) {
    const auto* const list = reinterpret_cast<const char*>(glGetString(GL_EXTENSIONS));
    return list && findString(name, list);
}

struct Functions {
    PFNGLGENFRAMEBUFFERSEXTPROC genFramebuffers;
    PFNGLGENRENDERBUFFERSEXTPROC genRenderbuffers;
    PFNGLBINDFRAMEBUFFEREXTPROC bindFramebuffer;
    PFNGLBINDRENDERBUFFEREXTPROC bindRenderbuffer;
    PFNGLRENDERBUFFERSTORAGEEXTPROC renderbufferStorage;
    PFNGLFRAMEBUFFERRENDERBUFFEREXTPROC framebufferRenderbuffer;
    PFNGLCHECKFRAMEBUFFERSTATUSEXTPROC checkFramebufferStatus;
    PFNGLBLITFRAMEBUFFEREXTPROC blitFramebuffer;
    PFNGLFRAMEBUFFERPARAMETERIPROC framebufferParameteri; // null where rows cannot be turned

    /// @return whether the driver has all of them
    bool Fetch() {
        fetchGlFunction(genFramebuffers, "glGenFramebuffersEXT");
        fetchGlFunction(genRenderbuffers, "glGenRenderbuffersEXT");
        fetchGlFunction(bindFramebuffer, "glBindFramebufferEXT");
        fetchGlFunction(bindRenderbuffer, "glBindRenderbufferEXT");
        fetchGlFunction(renderbufferStorage, "glRenderbufferStorageEXT");
        fetchGlFunction(framebufferRenderbuffer, "glFramebufferRenderbufferEXT");
        fetchGlFunction(checkFramebufferStatus, "glCheckFramebufferStatusEXT");
        fetchGlFunction(blitFramebuffer, "glBlitFramebufferEXT");
        if (hasExtension("GL_MESA_framebuffer_flip_y"))
            fetchGlFunction(framebufferParameteri, "glFramebufferParameteri");
        return genFramebuffers && genRenderbuffers && bindFramebuffer && bindRenderbuffer &&
               renderbufferStorage && framebufferRenderbuffer && checkFramebufferStatus && blitFramebuffer;
    }
};

GLint valueOf(GLenum name) {
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
}

class Canvas : public Feature {
public:
    ~Canvas() override { screenFramebuffer = 0; }

    // The script's file and its Init may draw into textures already.
    void StateReady(Player& player) override {
        if (width == 0 && gl.Fetch())
            create();
        follow(player);
    }

    void DrawBegins(Player& player) override { follow(player); }

    void PictureReady(Player&) override {
        if (framebuffer == 0)
            return;
        bound = static_cast<GLuint>(valueOf(GL_FRAMEBUFFER_BINDING_EXT));
        gl.bindFramebuffer(GL_READ_FRAMEBUFFER_EXT, framebuffer);
        gl.bindFramebuffer(GL_DRAW_FRAMEBUFFER_EXT, 0);
        gl.blitFramebuffer(0, 0, width, height, 0, 0, width, height, GL_COLOR_BUFFER_BIT, GL_NEAREST);
        gl.bindFramebuffer(GL_FRAMEBUFFER_EXT, framebuffer); // whose picture is read next
    }

    // A script may go on drawing into its render target in the next frame.
    void Presented(Player&) override {
        if (framebuffer != 0)
            gl.bindFramebuffer(GL_FRAMEBUFFER_EXT, bound);
    }

private:
    void create() {
        colourFormat = valueOf(GL_ALPHA_BITS) > 0 ? GL_RGBA8 : GL_RGB8; // as the window has it
        gl.genFramebuffers(1, &framebuffer);
        gl.genRenderbuffers(1, &colour);
        gl.genRenderbuffers(1, &depth);
        screenFramebuffer = framebuffer;
    }

    void follow(const Player& player) {
        if (framebuffer == 0)
            return;
        if (player.width != width || player.height != height)
            resize(player.width, player.height);
        else if (valueOf(GL_FRAMEBUFFER_BINDING_EXT) == 0) // the texture that was drawn into has been deleted
            glBindFramebufferEXT_PTR(GL_FRAMEBUFFER_EXT, 0);
    }

    void resize(int newWidth, int newHeight) {
        width = newWidth;
        height = newHeight;
        glBindFramebufferEXT_PTR(GL_FRAMEBUFFER_EXT, 0);
        attach(colour, colourFormat, GL_COLOR_ATTACHMENT0_EXT);
        attach(depth, GL_DEPTH_COMPONENT24, GL_DEPTH_ATTACHMENT_EXT);
        if (gl.framebufferParameteri) // rows as a window has them: edges fall on the same pixels
            gl.framebufferParameteri(GL_FRAMEBUFFER_EXT, GL_FRAMEBUFFER_FLIP_Y_MESA, GL_TRUE);
        if (gl.checkFramebufferStatus(GL_FRAMEBUFFER_EXT) == GL_FRAMEBUFFER_COMPLETE_EXT)
            return clear();
        framebuffer = screenFramebuffer = 0; // the driver wants another form: the window then
        glBindFramebufferEXT_PTR(GL_FRAMEBUFFER_EXT, 0);
    }

    void attach(GLuint buffer, GLenum format, GLenum place) const {
        gl.bindRenderbuffer(GL_RENDERBUFFER_EXT, buffer);
        gl.renderbufferStorage(GL_RENDERBUFFER_EXT, format, width, height);
        gl.framebufferRenderbuffer(GL_FRAMEBUFFER_EXT, place, GL_RENDERBUFFER_EXT, buffer);
    }

    // Fresh memory holds anything, and a script need not clear it.
    static void clear() {
        glPushAttrib(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        glClearColor(0, 0, 0, 1);
        glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
        glDepthMask(GL_TRUE);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        glPopAttrib();
    }

    Functions gl{};
    GLuint framebuffer = 0; // 0: frames are drawn into the window
    GLuint colour = 0, depth = 0;
    GLuint bound = 0; // when the frame was ready
    GLenum colourFormat = GL_RGB8;
    int width = 0, height = 0; // pixels; 0 before the window is open
};

} // namespace

bool NeedsCanvas(const Options& options) {
    return options.fixedClock || !options.shots.empty() || !options.capture.empty() ||
           !options.expected.empty();
}

std::unique_ptr<Feature> MakeCanvas() {
    return std::make_unique<Canvas>();
}
