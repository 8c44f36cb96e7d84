// Display check and console set-up of the programs.
#include "display.h"

#include <cstdio>

#if defined(__unix__) && !defined(__APPLE__)
#include <X11/Xlib.h>

// The connection stays open: a server that loses its only client may start over, and refuses the windowing
// library's connection while it does.
bool DisplayAvailable() {
    static Display* const display = XOpenDisplay(nullptr);
    return display != nullptr;
}
#else
bool DisplayAvailable() {
    return true;
}
#endif

bool StartConsole() {
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    if (DisplayAvailable())
        return true;
    fprintf(stderr, "ERR: no display to open a window on; start a desktop session or set DISPLAY.\n");
    return false;
}
