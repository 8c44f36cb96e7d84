// What happens when files are saved, and when the script fails meanwhile.
#include "live.h"

#include "apiprobe.h"
#include "drawjoin.h"
#include "embedded.h"
#include "erroroverlay.h"
#include "errorreport.h"
#include "livecontent.h"
#include "lua_api.h"
#include "player.h"
#include "restart.h"
#include "shadererrors.h"
#include "stuckscript.h"
#include "watch.h"

#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <sstream>

namespace {

constexpr int kMostLines = 6; // of one message: the script's text is to be seen as well
constexpr std::chrono::milliseconds kDoubtTime(200);
const char kLiveKey = 0; // its address is the registry key of what live.lua returns

bool isBelow(const std::string& path, const std::string& directory) {
    return path.compare(0, directory.size(), directory) == 0;
}

// Editors keep files of their own beside the one that is edited.
bool isScript(const std::string& path) {
    const std::filesystem::path file(path);
    const std::string name = file.filename().string();
    return isBelow(path, "scripts/") && (file.extension() == ".lua" || file.extension() == ".moon") &&
           name[0] != '.' && name[0] != '#';
}

bool isThere(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(path, error);
}

// A script that was named with --root may lie elsewhere.
std::vector<std::string> scriptPlaces(const Options& options) {
    if (options.script.compare(0, 3, "../") == 0)
        return {"scripts", "scripts/" + options.script};
    return {"scripts"};
}

std::vector<std::string> with(std::vector<std::string> places, const char* place) {
    places.emplace_back(place);
    return places;
}

// ---- live.lua ----

bool reportFailure(lua_State* L, int result) {
    if (result == 0)
        return true;
    const char* text = lua_tostring(L, -1);
    fprintf(stderr, "ERR: live editing: %s.\n", text ? text : "unknown error");
    return false;
}

// Calls one of live.lua's functions and leaves the stack as it was.
// @return its text; "" for none
std::string callLive(lua_State* L, const char* name, const std::string& argument) {
    const int top = lua_gettop(L);
    std::string text;
    lua_pushlightuserdata(L, const_cast<char*>(&kLiveKey));
    lua_rawget(L, LUA_REGISTRYINDEX);
    if (lua_istable(L, -1)) {
        lua_getfield(L, -1, name);
        lua_pushstring(L, argument.c_str());
        const bool called = reportFailure(L, lua_pcall(L, 1, 1, 0));
        if (called && lua_isstring(L, -1))
            text = lua_tostring(L, -1);
    }
    lua_settop(L, top);
    return text;
}

// Errors of declaring a type of C code twice. live.lua knows whether it is one.
bool mayBeUnrepeatable(const char* text) {
    return text && (strstr(text, "protected metatable") || strstr(text, "attempt to redefine"));
}

// Called with an error's value where it was raised.
int tellError(lua_State* L) {
    lua_settop(L, 1);
    const bool isText = lua_type(L, 1) == LUA_TSTRING;
    if (!isText || !mayBeUnrepeatable(lua_tostring(L, 1)) || callLive(L, "unrepeatable", "").empty())
        static_cast<ErrorSink*>(lua_touserdata(L, lua_upvalueindex(1)))->ScriptError(L, ScriptStage::Load);
    return 1;
}

int loadText(lua_State* L, const unsigned char* text, std::size_t size) {
    return luaL_loadbuffer(L, reinterpret_cast<const char*>(text), size, "=[tarnplay]");
}

// Calls live.lua's text, which is on the stack, with what it is given there.
int runLive(lua_State* L, ErrorSink* errors, unsigned seed) {
    lua_pushlightuserdata(L, errors);
    lua_pushcclosure(L, tellError, 1);
    lua_pushnumber(L, seed);
    int result = loadText(L, livesnapshot_lua, livesnapshot_lua_size);
    if (result == 0)
        result = lua_pcall(L, 0, 1, 0);
    if (result == 0)
        result = loadText(L, livemerge_lua, livemerge_lua_size);
    if (result == 0) {
        lua_pushvalue(L, -2);
        result = lua_pcall(L, 1, 1, 0);
    }
    return result == 0 ? lua_pcall(L, 4, 1, 0) : result;
}

// Leaves the stack as it was. Without it a save starts the game anew.
void openLive(lua_State* L, ErrorSink* errors, unsigned seed) {
    const int top = lua_gettop(L);
    lua_pushlightuserdata(L, const_cast<char*>(&kLiveKey));
    int result = loadText(L, live_lua, live_lua_size);
    if (result == 0)
        result = runLive(L, errors, seed);
    if (reportFailure(L, result))
        lua_rawset(L, LUA_REGISTRYINDEX);
    lua_settop(L, top);
}

// ---- What the window shows ----

void addLines(std::vector<OverlayLine>& lines, OverlayLine::Kind kind, const std::string& text) {
    std::istringstream stream(text);
    std::string line;
    for (int i = 0; i < kMostLines && std::getline(stream, line); ++i)
        lines.push_back({kind, line});
    if (std::getline(stream, line))
        lines.back().text = "...";
}

void addExcerpt(std::vector<OverlayLine>& lines, const ErrorReport& report) {
    for (const ExcerptLine& line : report.excerpt) {
        const bool failing = line.number == report.line;
        lines.push_back({failing ? OverlayLine::Failing : OverlayLine::Faint,
                         (failing ? "> " : "  ") + std::to_string(line.number) + "  " + line.text});
    }
}

// One excerpt is enough: the game goes on below.
void addShaderProblems(std::vector<OverlayLine>& lines) {
    std::set<std::string> told; // several shaders may include one mistake
    for (const auto& problem : shaderProblems.reports) {
        for (const ErrorReport& report : problem.second) {
            const std::string title = report.file + ":" + std::to_string(report.line) + ": " + report.message;
            if (static_cast<int>(told.size()) == kMostLines || !told.insert(title).second)
                continue;
            addLines(lines, told.size() == 1 ? OverlayLine::Title : OverlayLine::Plain, title);
            if (told.size() == 1)
                addExcerpt(lines, report);
        }
    }
}

std::vector<OverlayLine> linesOf(const ErrorReport& report) {
    std::vector<OverlayLine> lines;
    addLines(lines, OverlayLine::Plain, report.file + ":" + std::to_string(report.line));
    addLines(lines, OverlayLine::Title, report.message);
    lines.push_back({OverlayLine::Faint, ""});
    addExcerpt(lines, report);
    lines.push_back({OverlayLine::Faint, ""});
    for (const CallSite& site : report.callSites)
        lines.push_back(
            {OverlayLine::Faint, site.file + ":" + std::to_string(site.line) + ": in " + site.function});
    return lines;
}

// ---- The feature ----

class Live : public Feature {
public:
    Live(const ProgramStart& start, const Options& options)
        : watch(with(scriptPlaces(options), "media")), stuck(start, scriptPlaces(options)) {}

    void StateReady(Player& player) override {
        player.survives = true;
        if (!started)
            KeepFirstState();
        started = true;
        stuck.Loading();
        // What counts the engine's functions replaces them, and would count as the game's own after this.
        if (player.options.hud || !player.options.trace.empty())
            apiProbe.Install(player.luaState);
        openLive(player.luaState, player.seams.errors, player.options.seed.value_or(1));
        callLive(player.luaState, "start", std::string("scripts/") + player.scriptName.CStr());
    }

    void ScriptRan(Player& player) override { callLive(player.luaState, "started", ""); }

    void FrameBegins(Player& player) override {
        stuck.Alive();
        if (player.drawnFrames == 0 && player.broken)
            startFailed = true;
        std::vector<std::string> scripts;
        for (const std::string& path : watch.Changes()) {
            if (isScript(path))
                scripts.push_back(path);
            else if (isBelow(path, "media/"))
                updateContent(player, path);
        }
        for (const std::string& path : watch.Settling())
            if (isScript(path) && !startFailed)
                callLive(player.luaState, "prepare", path);
        decideDoubts(player);
        if (!scripts.empty())
            applyScripts(player, scripts);
        player.timeScale = player.broken ? 0.0f : 1.0f;
    }

    // The last Draw before the stop gives the picture below the message.
    void DrawEnded(Player& player) override {
        player.broken = player.broken || stopping;
        if (stopping)
            LeaveRenderTarget();
        stopping = false;
        if (shownShaders != shaderProblems.changes)
            showNotices();
        if (player.broken && !error.IsShown())
            error.Show({{OverlayLine::Title, "The script has failed."}});
        if (player.broken)
            error.Draw(player, true);
        else if (notice.IsShown())
            notice.Draw(player, false);
    }

    void ScriptError(Player&, lua_State*, ScriptStage) override {
        stopping = true;
        if (const ErrorReport* report = LastErrorReport())
            error.Show(linesOf(*report));
    }

    void Ended(Player& player) override {
        if (player.broken)
            player.Report(STATUS_SCRIPT_ERROR, "the script was broken when it ended");
    }

private:
    void applyScripts(Player& player, const std::vector<std::string>& paths) {
        ForgetErrorReports();
        stuck.Loading();
        for (const std::string& path : paths) {
            fprintf(stderr, "%s: %s\n", isThere(path) ? "Saved" : "Removed", path.c_str());
            callLive(player.luaState, "edited", path);
        }
        const std::string result = startFailed ? "" : callLive(player.luaState, "apply", "");
        if (result == "done")
            goOn(player);
        else if (result != "failed")
            restart(player, result);
    }

    void goOn(Player& player) {
        if (player.broken)
            drawJoin.Unwind(); // a Draw that failed has left its matrices pushed
        player.broken = stopping = false;
        error.Show({});
    }

    void restart(Player& player, const std::string& reason) {
        fprintf(stderr, "Starting the game anew%s%s.\n", reason.empty() ? "" : ": ", reason.c_str());
        stopping = player.broken = false;
        error.Show({});
        notices.clear();
        doubts.clear();
        shaderProblems.Forget();
        player.Restart();
        startFailed = player.broken;
    }

    // What has been written up to now may be half a file that its writer goes on with soon.
    void updateContent(Player& player, const std::string& path) {
        doubts.erase(path);
        if (takeContent(player, path) == ContentUpdate::Restart)
            doubts[path] = FileWatch::Clock::now() + kDoubtTime;
    }

    void decideDoubts(Player& player) {
        for (auto doubt = doubts.begin(); doubt != doubts.end();) {
            if (FileWatch::Clock::now() < doubt->second) {
                ++doubt;
            } else if (takeContent(player, doubt->first) == ContentUpdate::Restart) {
                restart(player, doubt->first + " has changed");
                return;
            } else {
                doubt = doubts.erase(doubt);
            }
        }
    }

    ContentUpdate takeContent(Player& player, const std::string& path) {
        std::string problem;
        const ContentUpdate result = UpdateContent(player, path, problem);
        notices.erase(path);
        if (!problem.empty()) {
            fprintf(stderr, "ERR: %s: %s\n", path.c_str(), problem.c_str());
            notices[path] = problem;
        }
        showNotices();
        return result;
    }

    void showNotices() {
        std::vector<OverlayLine> lines;
        for (const auto& entry : notices) {
            addLines(lines, OverlayLine::Title, entry.first);
            addLines(lines, OverlayLine::Plain, entry.second);
        }
        addShaderProblems(lines);
        shownShaders = shaderProblems.changes;
        notice.Show(lines);
    }

    FileWatch watch;
    StuckScript stuck;
    ErrorOverlay error;                                         // of the script
    ErrorOverlay notice;                                        // of content, over the game that goes on
    std::map<std::string, std::string> notices;                 // problems by path
    std::map<std::string, FileWatch::Clock::time_point> doubts; // content that may need a restart: till then
    int shownShaders = 0; // changes of shaderProblems that notice has heard of
    bool started = false;
    bool startFailed = false; // the script's file or its Init has failed: nothing can be merged
    bool stopping = false;    // an error was told; the script is broken after this frame
};

} // namespace

std::unique_ptr<Feature> MakeLive(const ProgramStart& start, const Options& options) {
    return std::make_unique<Live>(start, options);
}
