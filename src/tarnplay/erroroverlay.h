// ErrorOverlay: what went wrong, written over the game's picture.
#pragma once

#include "geometry.h"
#include "materials.h"

#include <memory>
#include <string>
#include <vector>

class CoreThingy;

/// One line of a message.
struct OverlayLine {
    enum Kind { Title, Plain, Failing, Faint };
    Kind kind;
    std::string text; // UTF-8; what the font has not is shown as "?"
};

/// See the top of this file. It needs nothing of the game's media. Needs the OpenGL context from Draw on.
class ErrorOverlay {
public:
    ErrorOverlay() = default;
    ErrorOverlay(const ErrorOverlay&) = delete;
    ErrorOverlay& operator=(const ErrorOverlay&) = delete;

    /// Shows these lines from now on; none hides the overlay.
    void Show(std::vector<OverlayLine> lines);
    bool IsShown() const { return !lines.empty(); }

    /// Draws the lines, and leaves OpenGL's state as it was.
    /// @param frozen over the picture that the back buffer held when they were drawn first, and darkened;
    ///               otherwise over what it holds now, at the top
    void Draw(const CoreThingy& core, bool frozen);

private:
    void privLoadFont();
    void privBuild(float widest);
    void privKeepPicture(int width, int height);
    void privDrawText(int width, int height);

    std::vector<OverlayLine> lines;
    std::unique_ptr<Geometry> meshes[4]; // by kind of line
    float builtFor = 0;                  // text units that a line may have; 0: not built yet
    float rows = 0;                      // text units of all lines
    FontProps metrics;
    Texture font;
    Texture picture; // the game's last; width 0: not taken yet
};
