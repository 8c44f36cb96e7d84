// For harnesses that draw: one hidden window whose context stays current, and the clean-up between inputs.
#pragma once

#include "opengl.h"
#include "shadering.h"

#include <SFML/System/Err.hpp>
#include <SFML/Window.hpp>

/// Opens the window at the first call. What the media libraries say about bad files is dropped from then on.
inline void useHiddenContext() {
    static sf::Window* const window = [] {
        sf::err().rdbuf(nullptr);
        auto* made = new sf::Window(sf::VideoMode(64, 64), "fuzz", sf::Style::None, sf::ContextSettings(24));
        setupExtensions();
        return made;
    }();
    window->setActive(true);
}

/// Deletes all textures made since the last call: they live as long as the context, and a long run would keep
/// them all. Names are given in rising order.
inline void dropTextures() {
    static unsigned last = 0;
    unsigned next = 0;
    glGenTextures(1, &next);
    while (last < next)
        glDeleteTextures(1, &++last);
    glFinish(); // drivers free what was deleted when the work that used it is done
}
