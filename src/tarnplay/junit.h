// The report of a run for CI systems: JUnit's XML, one test suite with a test case for each thing that may go
// wrong.
#pragma once

#include "findings.h"

#include <string>

/// @return the text as XML's character data, also inside quotes: characters that XML has no way to write,
/// and bytes that are not UTF-8, become U+FFFD
std::string XmlText(const std::string& text);

/// Writes the report that the options name, if any, as that of a run that is killed or crashes: nobody else
/// could write it then, and an older run's must not pass for it. EndReport replaces it.
/// @return false after one line on standard error
bool BeginReport(const Options& options);

/// Writes what the run has found. Call wherever the process ends in order.
/// @return the exit status
ExitStatus EndReport(const Options& options, Findings& findings);

/// For a command line that is wrong, which may mean any file as its report: an older report there goes,
/// anything else stays.
void RemoveOldReport(int argc, char** argv);
