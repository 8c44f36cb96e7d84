// Player: the script host of tarnplay. It runs one script without the launcher and lets features take part in
// each frame.
#pragma once

#include "feature.h"
#include "findings.h"
#include "luathingy.h"
#include "options.h"

#include <functional>
#include <memory>
#include <vector>

/// See the top of this file. It owns its features.
class Player : public LuaThingy, private ErrorSink {
public:
    /// @param given and found must outlive the player
    Player(const Options& given, Findings& found);
    /// Closes the Lua state, then destroys the features.
    ~Player() override;

    /// Call before Run. The features' calls follow this order.
    void Add(std::unique_ptr<Feature> feature);

    /// Opens the window, runs the script to its end and closes the window.
    void Run();

    /// Ends the script after this frame. The first status other than STATUS_FINE is kept.
    /// @param text what went wrong, for reports; whoever calls prints it
    void End(ExitStatus reason, const std::string& text = "");

    /// Notes that something went wrong without ending the script.
    void Report(ExitStatus reason, const std::string& text = "");

    /// Lets the features finish and closes the window; nothing of the player may run afterwards.
    void Finish();

    /// Instead of Finish, where the script does not return; for another thread than the script's.
    void Abandon();

    /// Begins anew, as if the program had been started again: a new Lua state, no content, the engine's first
    /// settings. The window stays. Call between frames.
    void Restart();

    /// While the script is broken, it hears of no key but those that are released.
    void GameKeyHappen(int key, int state) override;

    /// @return whether no frame follows, as far as that is known while its picture is ready
    bool IsLastFrame() const;

    const Options& options;
    Findings& findings;
    int drawnFrames; ///< frames that the script has drawn and that were shown, or are about to be
    bool survives;   ///< errors of the script do not end it: its Draw is left out while it is broken
    bool broken;     ///< the script has failed since it was last loaded
    std::function<lua_State*()>
        makeState; ///< makes the Lua state in place of the library; empty: nobody does

protected:
    lua_State* NewState() override;
    void StateReady() override;
    void ScriptRan() override;
    bool DrawFrame() override;
    void Present() override;

private:
    void ScriptError(lua_State* L, ScriptStage stage) override;
    void OpenGLError(unsigned code) override;
    bool privStart();
    void privRunFrames();
    void privReportLastGLError();

    std::vector<std::unique_ptr<Feature>> features;
    bool ending;
    bool glFailed; // an OpenGL error has been told
};
