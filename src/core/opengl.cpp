// Entry-point lookup through the windowing library, which knows each platform's own way.
#include "opengl.h"

#include <SFML/Window/Context.hpp>

GlFunction getGlFunction(const char* name) {
    return sf::Context::getFunction(name);
}

bool glContextActive() {
    return sf::Context::getActiveContextId() != 0;
}

const char* glErrorName(unsigned code) {
    switch (code) {
    case 0x0500:
        return "GL_INVALID_ENUM";
    case 0x0501:
        return "GL_INVALID_VALUE";
    case 0x0502:
        return "GL_INVALID_OPERATION";
    case 0x0503:
        return "GL_STACK_OVERFLOW";
    case 0x0504:
        return "GL_STACK_UNDERFLOW";
    case 0x0505:
        return "GL_OUT_OF_MEMORY";
    case 0x8031:
        return "GL_TABLE_TOO_LARGE";
    default:
        return nullptr;
    }
}
