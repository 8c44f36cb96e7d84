// Display check and console set-up of the programs.
#include "display.h"

#include <cstdio>

#if defined(__unix__) && !defined(__APPLE__)
#include <X11/Xlib.h>

bool DisplayAvailable() {
    Display* display = XOpenDisplay(nullptr);
    if (!display)
        return false;
    XCloseDisplay(display);
    return true;
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
