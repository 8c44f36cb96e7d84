// Error reports: a script's error with the place in the author's source, an excerpt and the call sites.
#pragma once

#include "seams.h"

#include <memory>
#include <string>
#include <vector>

class Feature;
class SourceLines;

struct ExcerptLine {
    int number;       ///< from 1
    std::string text; ///< printable UTF-8, tabs as blanks, cut where it is long
};

struct CallSite {
    std::string file;
    int line;
    std::string function; ///< that the line is in, as it is to be printed: "function 'name'", "main chunk"
};

/// One error of a script, for people to read.
struct ErrorReport {
    ScriptStage stage;
    std::string file;                 ///< below the game's root; "" when the error has no place in a file
    int line;                         ///< of the source that the author wrote, from 1; 0 without a file
    std::string message;              ///< without a position; may have several lines
    std::vector<ExcerptLine> excerpt; ///< up to five lines around the line; empty when it cannot be read
    int caretColumn;                  ///< characters of the line's excerpt before the spot
    std::vector<CallSite> callSites;  ///< innermost first, without the place itself

    /// All of it; each line ends with a newline. Files are named from where the process was started: the
    /// directory in which a terminal looks for the files that are named to it.
    std::string Text() const;
};

/// Adds the lines around the report's line.
/// @param spot bytes of that line before what is to be pointed at
void AddExcerpt(const SourceLines& source, std::size_t spot, ErrorReport& report);

/// Makes the report of the value on top of the stack, with the calls that are under way; see ErrorSink for
/// what it may do.
/// @param script path of the game's script, for errors that name no file
ErrorReport MakeErrorReport(lua_State* L, ScriptStage stage, const std::string& script);

/// @return the latest error of the script that runs; null when there was none since the start or the last
/// call
///         of ForgetErrorReports
const ErrorReport* LastErrorReport();

/// For the start of a changed script: its errors are news even when they look as before.
void ForgetErrorReports();

/// @return the feature that prints reports to standard error, after the engine's own lines. An error that
/// comes
///         again and again is printed once.
std::unique_ptr<Feature> MakeErrorReports();
