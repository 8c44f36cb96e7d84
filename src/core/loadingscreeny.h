// LoadingScreeny: the launcher. A menu drawn with the engine's own text and quads on which the user picks the
// display size, shaders on or off, and one script; the choice is remembered in "prefs.txt".
#pragma once

#include "corethingy.h"
#include "datablock.h"
#include "tnq.h"

// The launcher moves a cursor of its own by the pointer's relative motion, in the units of a 2D camera whose
// longer side spans -1 to 1. Drawing a button also tests the cursor against it, so the hovered fields always
// speak of the frame that the user sees; events of the next frame act on them.

/// Ways the launcher ends.
enum LauncherExit { LAUNCHER_RUNNING = 0, LAUNCHER_CHOSEN = 1, LAUNCHER_ESCAPE = 2 };

/// What a script's button looks like, stored in LoadingScreeny::scriptKinds.
enum ScriptKind { SCRIPT_ORDINARY = 1, SCRIPT_FEATURED = 2 };

/// See the top of this file.
class LoadingScreeny : public CoreThingy {
public:
    LoadingScreeny();
    ~LoadingScreeny() override;

    /// Applies what the cursor hovers over; any keyboard key, or any event over a script, starts the selected
    /// script. Runs for presses and releases alike.
    void KeyHappen(int key, bool down) override;
    void GameKeyHappen(int code, int state) override;

    /// Reads the last choices and lists the scripts directory.
    /// @return 0, or 1 when the directory cannot be listed (after printing the system's reason).
    virtual int Init();
    /// One frame of the menu.
    virtual int TimeStep();

    DataBlock chosenScript; ///< file name of the script to run; empty until one is chosen
    int selectedScript;     ///< index in scriptNames; may lie outside after scripts were removed
    TNQ scriptNames;        ///< DataBlock* per listed script, owned
    TNQ scriptKinds;        ///< ScriptKind per listed script as a pointer value; owns nothing
    int displayChoice;      ///< 0 normal size, 1 max size, 2 max size and full screen
    int shaderChoice;       ///< 0 shaders off, 1 on
    int hoveredDisplay;     ///< display option under the cursor, -1 none
    int hoveredShader;      ///< shader option under the cursor, -1 none
    int hoveredScript;      ///< script under the cursor, -1 none
    int exitStatus;         ///< LauncherExit

private:
    void privReadPrefs();
    void privWritePrefs();
    void privListScript(const char* name);
    void privChooseScript();
    void privDropNames();
    void privDrawHeadings();
    void privDrawOptions();
    void privDrawScripts();
    void privDrawCursor();
    void privDrawOption(float x, float y, const char* label, bool selected, int index, int& hovered);
    void privDrawScript(float x, float y, int index);
    void privDrawHover();
    void privDrawText(const char* text);
    void privSpin(float rate);
    bool privCursorWithin(float x, float y, float reach) const;
};
