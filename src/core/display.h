// Whether the program can open a window at all, asked before the windowing library is touched.
#pragma once

/// Whether a display answers. Asked again after a no: DISPLAY may have changed.
bool HasDisplay();

/// Why no OpenGL window can be opened: words for a message, or null when nothing is known against it. The
/// windowing library ends the process without a display and crashes on one without OpenGL, so programs ask
/// first.
const char* DisplayProblem();

/// What every program does at its start: sets limits for its memory, makes standard output line-buffered,
/// also into a pipe, and checks the display.
/// @return false after printing one line to standard error when no window can be opened.
bool StartConsole();
