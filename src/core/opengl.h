// The one place that names OpenGL's headers. Only sources include this file: platform headers bring free
// names (DrawLine, near, far on Windows) that must not reach the engine's own headers.
#pragma once

#include <SFML/OpenGL.hpp>

#ifdef __APPLE__
#include <OpenGL/glext.h>
#include <OpenGL/glu.h>
#else
#include <GL/glext.h>
#include <GL/glu.h>
#endif

/// Any OpenGL entry point before it is cast to its own type.
using GlFunction = void (*)();

/// Looks an OpenGL entry point up by name in the current context.
/// @return null when the driver does not know the name.
GlFunction getGlFunction(const char* name);

/// Whether any OpenGL context is current in this thread.
bool glContextActive();

/// @return an error's name as OpenGL spells it, null for a code that has none here
const char* glErrorName(unsigned code);

/// Sets a typed function pointer to the entry point called name (null when there is none).
template <typename Function>
void fetchGlFunction(Function& function, const char* name) {
    function = reinterpret_cast<Function>(getGlFunction(name));
}
