// What is wrong with the game's shaders, at the author's lines.
#pragma once

#include "errorreport.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

class Feature;

/// Shaders that could not be built when that was last tried.
struct ShaderProblems {
    /// By the shader's file: what its compiler and linker say. The first report of each stage has an excerpt.
    std::map<std::string, std::vector<ErrorReport>> reports;
    int changes = 0; ///< counts what has happened to the reports

    /// For content that is loaded anew.
    void Forget();
};

/// Of the process, which has one game.
extern ShaderProblems shaderProblems;

/// @return the feature that keeps shaderProblems, and prints them to standard error after the engine's own
///         lines
std::unique_ptr<Feature> MakeShaderErrors();
