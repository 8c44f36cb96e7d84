// What shader compilers complain about, and where in the author's files that is.
#pragma once

#include "shadering.h"

#include <optional>
#include <string>
#include <vector>

// The driver gets each stage as one text, without the blank lines and directives of the author's file and
// with the included files in it. Its messages count the lines of that text. The engine's pieces lead back.
// Columns are of little use: Mesa counts them after its preprocessor, which makes one blank of several and
// puts macros in, and other drivers name none. The names that a message quotes tell more.

/// One error that a compiler or linker tells.
struct ShaderComplaint {
    int line = 0;        ///< of the stage's text, from 1; 0 when it names none
    int column = 0;      ///< from 1, each run of blanks counted as one; 0 when it names none
    std::string message; ///< without the position
};

/// Reads Mesa's "0:12(3): error: ...", "ERROR: 0:12: ..." and "0(12) : error ...". Warnings are left out.
/// @return the errors of a driver's log in their order; a log in no known form is one complaint
std::vector<ShaderComplaint> ReadShaderLog(const std::string& log);

/// A byte of a file.
struct ShaderPlace {
    std::string file;
    std::size_t offset;
};

/// @return where the author wrote what is complained about; nothing when no line is named, and when the
///         author has numbered the lines with #line
std::optional<ShaderPlace> FindShaderPlace(const ShaderStage& stage, const ShaderComplaint& complaint);
