// LuaThingy: the engine object that runs one game script. It owns the Lua state, loads the script (Lua or
// MoonScript), registers the engine functions as globals and calls the script's callbacks.
#pragma once

#include "corethingy.h"
#include "datablock.h"
#include "materials.h"
#include "numericfuncs.h"

struct lua_State;

// Life of a script: the main chunk runs first and only defines things; Init then loads content and binds
// keys; Draw(gameTime, gameDelta) runs every frame from the third; KeyHappen(key, state, gameTime) for each
// change of a bound key; OnError once after a failed Draw, which ends the program.
//
// The host publishes itself to the script as the light userdata "__mLuaThingy", after the main chunk and
// before Init. Engine functions find it there, so an engine call in the main chunk has no engine to work on.
// It prints one line, does nothing and returns neutral values.

/// Game key whose press also saves a screen capture.
constexpr int GAMEKEY_CAPTURE = 35;

/// What the engine functions keep between calls. The buffers stand in for locals: an error raised by Lua may
/// leave a function without running destructors, and a buffer that it left here is freed by its next user.
struct ScriptScratch {
    FloatDataBlock samples;        ///< sound on its way to the script; empty between calls
    DataBlock text;                ///< saved text on its way to the script; empty between calls
    bool published = false;        ///< "__mLuaThingy" has been set
    bool reportedNoHost = false;   ///< a call without the right "__mLuaThingy" has been reported
    bool reportedNoMapper = false; ///< a call without a space mapper has been reported
};

/// See the top of this file.
class LuaThingy : public CoreThingy {
public:
    LuaThingy();
    /// Closes the Lua state, and deletes the render target and the programs of drawJoin.
    ~LuaThingy() override;

    /// Names the script, relative to the scripts directory; call before Init. Null reads as "".
    void SetLoadScript(const char* name);
    /// Passes a game key on to the script; the press of GAMEKEY_CAPTURE outside typing mode also saves a
    /// screen capture, before the script sees it. Does nothing before Init.
    void GameKeyHappen(int key, int state) override;

    /// Creates the Lua state, runs the script and calls its Init. Call once, with the window open.
    /// @return 0, or -1 when the script's Init failed: what went wrong has been printed.
    virtual int Init();
    /// One frame: the common part, the frame's GL set-up, the script's Draw, presenting. The first two frames
    /// draw nothing and always return 0.
    /// @return 0 to go on; -1 after Escape or a failed Draw.
    virtual int TimeStep();

    lua_State* luaState;     ///< owned; null before Init
    DataBlock scriptName;    ///< file name below scriptsDir
    DataBlock scriptsDir;    ///< "scripts/" once Init has run
    DataBlock screenshotDir; ///< where the capture key writes
    Texture renderTarget;    ///< target of BeginRTTFull and EndRTTFull
    SimplexNoise noise;      ///< source of GetNoise
    ScriptScratch scratch;   ///< for the engine functions
    bool scriptFailed;       ///< the script's file, its Init or its Draw has failed
    DataBlock loadError;     ///< what running the script's file raised; printed only when Init fails, too

protected:
    // For programs around the host.

    /// Makes the Lua state with its standard libraries; null when there is no memory.
    virtual lua_State* NewState();
    /// The Lua state is complete, the engine functions are registered, and the script's file runs next.
    virtual void StateReady() {}
    /// The script's file has run, or has failed to; its Init is called next.
    virtual void ScriptRan() {}
    /// Calls the script's Draw in the frame that has been set up.
    /// @return false when it failed: what went wrong has been printed, its OnError has run, and the script
    /// ends.
    virtual bool DrawFrame();
    /// Shows the finished frame. The back buffer still holds it before.
    virtual void Present();

private:
    const char* privScriptPrefix();
    void privExtendPaths();
    void privRunScript(const char* prefix);
    int privCallInit();
};
