// Fixture for tests that need a current OpenGL context: a real window on the test's display.
#pragma once

#include "opengl.h"
#include "shadering.h"

#include <SFML/Window.hpp>
#include <array>
#include <gtest/gtest.h>

class GlTest : public testing::Test {
protected:
    static constexpr int kSize = 64;

    /// One window for all GL tests of the process: contexts are slow to make and entry points are fetched
    /// once.
    static sf::Window& window() {
        static sf::Window* shared = [] {
            auto* made = new sf::Window(sf::VideoMode(kSize, kSize), "unit tests", sf::Style::None,
                                        sf::ContextSettings(24));
            setupExtensions();
            return made;
        }();
        return *shared;
    }

    void SetUp() override {
        window().setActive(true);
        glViewport(0, 0, kSize, kSize);
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
        glColor4f(1, 1, 1, 1);
        glClearColor(0, 0, 0, 1);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        while (glGetError() != GL_NO_ERROR) {
        }
    }

    /// The RGB bytes of one pixel of the back buffer, counted from the lower-left corner.
    static std::array<int, 3> pixel(int x, int y) {
        unsigned char rgb[3] = {};
        glPixelStorei(GL_PACK_ALIGNMENT, 1);
        glReadPixels(x, y, 1, 1, GL_RGB, GL_UNSIGNED_BYTE, rgb);
        glPixelStorei(GL_PACK_ALIGNMENT, 4);
        return {rgb[0], rgb[1], rgb[2]};
    }
};
