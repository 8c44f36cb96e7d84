// The report of a run for CI systems: JUnit's XML, one test suite with a test case for each thing that may go
// wrong.
#pragma once

#include <memory>
#include <string>

class Feature;
class Findings;
struct Options;

/// @return the text as XML's character data, also inside quotes: characters that XML has no way to write,
/// and bytes that are not UTF-8, become U+FFFD
std::string XmlText(const std::string& text);

/// Writes the report that the options name, if any.
/// @return false after one line on standard error
bool WriteReport(const Options& options, const Findings& findings);

/// @return the feature that writes the report when the player ends; add it last, after all that may find
/// something
std::unique_ptr<Feature> MakeReport();
