// Display check and console set-up of the programs.
#include "display.h"

#include "memoryuse.h"

#include <cstdio>

#if defined(__unix__) && !defined(__APPLE__)
#include <GL/glx.h>
#include <X11/Xlib.h>
#include <cstdlib>

namespace {

constexpr char kNoDriver[] = "OpenGL does not start on this display; its driver is missing or broken";

int glxRequests = 0; // X's number for them

// Stands in for X's own handler, which prints five lines that name requests by number. Whether the driver
// works shows when the first window is made: trying it before would set it up twice, 20 ms of every start.
int endProgram(Display* display, XErrorEvent* error) {
    char reason[128];
    XGetErrorText(display, error->error_code, reason, sizeof(reason));
    if (error->request_code == glxRequests)
        fprintf(stderr, "ERR: %s.\n", kNoDriver);
    else
        fprintf(stderr, "ERR: the display refuses a request of the program: %s.\n", reason);
    fflush(stdout);
    _Exit(1); // without clean-up, since the connection is locked
}

} // namespace

// The connection stays open: a server that loses its only client may start over, and refuses the windowing
// library's connection while it does.
static Display* openDisplay() {
    static Display* display = nullptr;
    if (!display)
        display = XOpenDisplay(nullptr);
    return display;
}

bool HasDisplay() {
    return openDisplay() != nullptr;
}

const char* DisplayProblem() {
    Display* const display = openDisplay();
    if (!display)
        return "no display to open a window on; start a desktop session or set DISPLAY";
    int firstEvent, firstError;
    if (!XQueryExtension(display, "GLX", &glxRequests, &firstEvent, &firstError))
        return "the display offers no OpenGL (its GLX extension is missing or switched off)";
    if (!glXGetClientString(display, GLX_VENDOR)) // asks the driver's library without setting it up
        return kNoDriver;
    XSetErrorHandler(endProgram);
    return nullptr;
}
#else
bool HasDisplay() {
    return true;
}

const char* DisplayProblem() {
    return nullptr;
}
#endif

bool StartConsole() {
    KeepHeapTight();
    AllowDeepCalls();
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    const char* problem = DisplayProblem();
    if (problem)
        fprintf(stderr, "ERR: %s.\n", problem);
    return !problem;
}
