// The player's frames and how it ends.
#include "player.h"

#include "junit.h"
#include "lua_api.h"
#include "opengl.h"
#include "restart.h"

#include <cstdio>
#include <cstdlib>

namespace {

// os.exit of the script: what it was run for is finished first, and a picture that is missing by then counts
// for more than the script's own status. Upvalue: the player.
int exitFromScript(lua_State* L) {
    auto* const player = static_cast<Player*>(lua_touserdata(L, lua_upvalueindex(1)));
    const int own = lua_isboolean(L, 1) ? !lua_toboolean(L, 1) : static_cast<int>(luaL_optinteger(L, 1, 0));
    player->Finish();
    const ExitStatus found = EndReport(player->options, player->findings);
    exit(found == STATUS_FINE ? own : found);
}

void replaceExit(lua_State* L, Player* player) {
    lua_getglobal(L, "os");
    lua_pushlightuserdata(L, player);
    lua_pushcclosure(L, exitFromScript, 1);
    lua_setfield(L, -2, "exit");
    lua_pop(L, 1);
}

} // namespace

Player::Player(const Options& given, Findings& found)
    : options(given), findings(found), drawnFrames(0), survives(false), broken(false), ending(false),
      glFailed(false) {
    seams.errors = this;
}

// What the script's finalizers call must still be there.
Player::~Player() {
    if (luaState)
        lua_close(luaState);
    luaState = nullptr;
}

void Player::Add(std::unique_ptr<Feature> feature) {
    features.push_back(std::move(feature));
}

void Player::Run() {
    std::vector<char*> words;
    for (const std::string& word : options.sizeWords)
        words.push_back(const_cast<char*>(word.c_str()));
    DeclareArgs(static_cast<int>(words.size()), words.data());
    ParseArgs();
    shaderManager.SetShadersEnabled(options.shaders);
    limitFps = options.limited;
    SetLoadScript(options.script.c_str());
    SetupStandardWindow();
    privRunFrames();
    Finish();
}

void Player::Finish() {
    if (scriptFailed && !survives)
        Report(STATUS_SCRIPT_ERROR); // without memory nobody else hears of it
    privReportLastGLError();
    for (const auto& feature : features)
        feature->Ended(*this);
    findings.Complete();
    Close();
}

void Player::Abandon() {
    for (const auto& feature : features)
        feature->Abandoned(*this);
}

// @return whether there is something to run
bool Player::privStart() {
    const bool started = Init() == 0;
    // A file that fails after it has defined its Init says nothing by itself.
    if (started && loadError.Len() > 0)
        printf("Lua Err LOAD: %s.\n", loadError.CStr());
    broken = scriptFailed;
    return started || survives;
}

void Player::Restart() {
    ForgetGame(*this);
    privDropSpaceMapper();
    privStart();
}

void Player::privRunFrames() {
    if (!privStart())
        return;
    while (!ending) {
        for (const auto& feature : features)
            feature->FrameBegins(*this);
        if (TimeStep() != 0 || (options.frames > 0 && drawnFrames >= options.frames))
            return;
    }
}

// A frame's error is looked for when the next begins; the last frame has none.
void Player::privReportLastGLError() {
    const unsigned code = glGetError();
    if (code != GL_NO_ERROR)
        OpenGLError(code);
}

void Player::End(ExitStatus reason, const std::string& text) {
    Report(reason, text);
    ending = true;
}

void Player::Report(ExitStatus reason, const std::string& text) {
    if (reason != STATUS_FINE)
        findings.Add(reason, text);
}

bool Player::IsLastFrame() const {
    return ending || keyResult != 0 || (broken && !survives) ||
           (options.frames > 0 && drawnFrames >= options.frames);
}

// ---- What the host calls ----

lua_State* Player::NewState() {
    return makeState ? makeState() : LuaThingy::NewState();
}

void Player::StateReady() {
    replaceExit(luaState, this);
    for (const auto& feature : features)
        feature->StateReady(*this);
}

void Player::ScriptRan() {
    for (const auto& feature : features)
        feature->ScriptRan(*this);
}

void Player::GameKeyHappen(int key, int state) {
    if (!broken || state == GAMEKEY_RELEASED)
        LuaThingy::GameKeyHappen(key, state);
}

bool Player::DrawFrame() {
    for (const auto& feature : features)
        feature->DrawBegins(*this);
    if (!broken && !LuaThingy::DrawFrame())
        broken = true;
    for (const auto& feature : features)
        feature->DrawEnded(*this);
    return survives || !broken;
}

void Player::Present() {
    ++drawnFrames;
    for (const auto& feature : features)
        feature->PictureReady(*this);
    LuaThingy::Present();
    for (const auto& feature : features)
        feature->Presented(*this);
}

void Player::ScriptError(lua_State* L, ScriptStage stage) {
    for (const auto& feature : features)
        feature->ScriptError(*this, L, stage); // who makes texts of errors reports one
    if (!survives)
        Report(STATUS_SCRIPT_ERROR);
}

// The first one is told with its place, which the engine's line on standard output does not have.
void Player::OpenGLError(unsigned code) {
    if (glFailed)
        return;
    glFailed = true;
    const char* const name = glErrorName(code);
    char text[80];
    snprintf(text, sizeof text, "OpenGL error 0x%04x%s%s%s ", code, name ? " (" : "", name ? name : "",
             name ? ")" : "");
    const std::string place = drawnFrames > 0 ? "in frame " + std::to_string(drawnFrames)
                                              : "before the first frame: in Init or the script's file";
    findings.Tell(STATUS_OPENGL_ERROR, text + place);
}
