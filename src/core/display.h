// Whether the program can open a window at all, asked before the windowing library is touched.
#pragma once

/// True when a display answers; asked once per process. The windowing library ends the process without one,
/// so programs ask first.
bool DisplayAvailable();

/// What every program does at its start: makes standard output line-buffered, also into a pipe, and checks
/// for a display.
/// @return false after printing one line to standard error when there is no display.
bool StartConsole();
