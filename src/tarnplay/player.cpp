// The player's frames and how it ends.
#include "player.h"

#include "lua_api.h"
#include "opengl.h"
#include "restart.h"

#include <cstdio>
#include <cstdlib>

namespace {

// Of the value on top of the stack, which must not become a string by being looked at.
std::string errorText(lua_State* L) {
    if (lua_type(L, -1) != LUA_TSTRING)
        return std::string("(error value of type ") + luaL_typename(L, -1) + ")";
    std::size_t length = 0;
    const char* text = lua_tolstring(L, -1, &length);
    return std::string(text, length);
}

// os.exit of the script: what it was run for is finished first, and a picture that is missing by then counts
// for more than the script's own status. Upvalue: the player.
int exitFromScript(lua_State* L) {
    auto* const player = static_cast<Player*>(lua_touserdata(L, lua_upvalueindex(1)));
    const int own = lua_isboolean(L, 1) ? !lua_toboolean(L, 1) : static_cast<int>(luaL_optinteger(L, 1, 0));
    const ExitStatus found = player->Finish();
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

Player::Player(const Options& given)
    : options(given), drawnFrames(0), survives(false), broken(false), ending(false) {
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

ExitStatus Player::Run() {
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
    return Finish();
}

ExitStatus Player::Finish() {
    if (scriptFailed && !survives)
        Report(STATUS_SCRIPT_ERROR); // without memory nobody else hears of it
    privReportLastGLError();
    for (const auto& feature : features)
        feature->Ended(*this);
    Close();
    return findings.Status();
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
    if (code == GL_NO_ERROR)
        return;
    fprintf(stderr, "ERR: OpenGL error 0x%04x in the last frame.\n", code);
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
}

void Player::ScriptError(lua_State* L, ScriptStage stage) {
    if (!survives)
        Report(STATUS_SCRIPT_ERROR, errorText(L));
    for (const auto& feature : features)
        feature->ScriptError(*this, L, stage);
}

void Player::OpenGLError(unsigned code) {
    char text[64];
    snprintf(text, sizeof text, "OpenGL error 0x%04x, found after frame %d", code, drawnFrames);
    Report(STATUS_OPENGL_ERROR, text);
}
