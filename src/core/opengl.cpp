// Entry-point lookup through the windowing library, which knows each platform's own way.
#include "opengl.h"

#include <SFML/Window/Context.hpp>

GlFunction getGlFunction(const char* name) {
    return sf::Context::getFunction(name);
}

bool glContextActive() {
    return sf::Context::getActiveContextId() != 0;
}
