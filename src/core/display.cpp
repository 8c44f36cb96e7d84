// Display check and console set-up of the programs.
#include "display.h"

#include <cstdio>

#if defined(__unix__) && !defined(__APPLE__)
#include <X11/Xlib.h>

// The connection stays open: a server that loses its only client may start over, and refuses the windowing
// library's connection while it does.
const char* DisplayProblem() {
    static Display* const display = XOpenDisplay(nullptr);
    if (!display)
        return "no display to open a window on; start a desktop session or set DISPLAY";
    int opcode, firstEvent, firstError;
    if (!XQueryExtension(display, "GLX", &opcode, &firstEvent, &firstError))
        return "the display offers no OpenGL (its GLX extension is missing or switched off)";
    return nullptr;
}
#else
const char* DisplayProblem() {
    return nullptr;
}
#endif

bool StartConsole() {
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    const char* problem = DisplayProblem();
    if (problem)
        fprintf(stderr, "ERR: %s.\n", problem);
    return !problem;
}
