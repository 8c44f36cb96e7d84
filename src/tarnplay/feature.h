// Feature: one thing that tarnplay does around a running script (pictures, films, recordings, traces, ...).
// The player owns its features and calls them in the order in which they were added.
#pragma once

#include "seams.h"

class Player;

/// Every operation does nothing unless a feature overrides it.
class Feature {
public:
    virtual ~Feature() = default;
    /// The Lua state is complete, the script's file runs next.
    virtual void StateReady(Player&) {}
    /// The script's file has run, or has failed to; its Init is called next.
    virtual void ScriptRan(Player&) {}
    /// A frame begins: events, clock and script come next.
    virtual void FrameBegins(Player&) {}
    /// The script's Draw is about to be called.
    virtual void DrawBegins(Player&) {}
    /// The script's Draw has ended, or was left out because the script is broken. What is drawn here is part
    /// of the picture.
    virtual void DrawEnded(Player&) {}
    /// The picture of the drawn frame is complete in the back buffer, and the frame counts in drawnFrames.
    virtual void PictureReady(Player&) {}
    /// The picture has been handed to the screen.
    virtual void Presented(Player&) {}
    /// The script has raised an error; see ErrorSink.
    virtual void ScriptError(Player&, lua_State*, ScriptStage) {}
    /// The process ends while the script does not return: Ended will not be called. Called by another thread
    /// than the script's.
    virtual void Abandoned(Player&) {}
    /// The player has ended, whatever the reason; its window is still open. A status may still be reported.
    virtual void Ended(Player&) {}
};
