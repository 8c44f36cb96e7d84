// A display in memory for machines without one.
#pragma once

class Findings;
struct Options;

/// Starts an X server unless a display answers already, and makes it the one that this process uses. Its
/// screen holds the window that the options ask for, and it ends with the process however that ends. Where
/// no such server can be tied to a process, nothing happens.
/// @return false after telling why there is none
bool StartDisplayWhereMissing(const Options& options, Findings& findings);
