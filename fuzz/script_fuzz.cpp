// The script API: calls of all engine functions with any number and kind of arguments, before frames, within
// Draw, KeyHappen and OnError, in coroutines and metamethods, in a real window. The bytes are a program for
// the little machine below.
//
// One host lives through many inputs, so a finding may need those before it: with TARN_FUZZ_SEQUENCE set to a
// directory, every input since the host was made is kept there under its number. Replay the directory with
// replay_script.
#include "fuzz_audio.h"
#include "fuzz_common.h"
#include "fuzz_gl.h"
#include "lua_api.h"
#include "luathingy.h"

#include <iterator>
#include <limits>
#include <memory>

namespace {

constexpr int kInputsPerHost = 256;
constexpr int kMostFrames = 24;
constexpr int kMostMeshBytes = 16 << 20; // a mesh placed into itself doubles: that is the script's wish

// clang-format off
const char* const kFunctions[] = {
    "Geom", "LookAt", "Move", "Rotate", "Scale", "Push", "Pop", "GMove", "GRotate", "GScale", "GPush",
    "GPop", "GReset", "NewGeom", "Place", "TMove", "TRotate", "TScale", "TPush", "TPop", "TReset", "AddTex",
    "Tex", "AddGeom", "AddShad", "Shad", "SetShadersEnabled", "GetShadersEnabled", "GetNewAudio",
    "SetAudioData", "GetAudioData", "AddAudio", "Audio", "StopAudio", "AudioProps", "AddMusic", "Music",
    "StopMusic", "MusicProps", "DeclareUniform", "Uniform", "SetCam", "Set2DCamScale", "SetLighting",
    "SetLight", "SetLightColor", "SetLightAtten", "Color", "Blend", "Depth", "Logic", "BackColor",
    "Culling", "DrawLine", "SetAmbientColor", "GetScriptsPath", "GetMediaPath", "GetMouseScalar",
    "GetMouseTotal", "GetWindowSize", "GetMouseRelative", "SetMouseVis", "SetMouseFree", "BeginRTTFull",
    "EndRTTFull", "GetNoise", "SetNoiseSeed", "Quad", "ReadSaveString", "WriteSaveString", "SetSpaceMapper",
    "SpaceMapperReset", "AddSpaceObject", "SpaceEvent", "MapPoint", "MapLine", "DebugDrawSegments",
    "Set2DSpaceBounds", "Text", "BindKey", "TypingMode", "SetScreenshotDir", "SetVSync",
};
// clang-format on
static_assert(std::size(kFunctions) == 83, "every engine function");

// No name leads out of the scratch directory.
// clang-format off
const char* const kStrings[] = {
    "", "quad", "cube", "white", "font", "ink", "lens", "blip", "drift", "geom/quad.obj", "geom\\cube.obj",
    "textures/white.png", "textures/font.png", "shaders/ink.shad", "shaders/lens.shad", "sounds/blip.wav",
    "music/short.ogg", "geom/blocks.obj", "missing.png", "missing.obj", "old.tno", "save", "line2d",
    "reset", "time", "amount", "12", "-1", "0x10", "1e999", "nan", "a", "two\nlines", "\n\n", "\xff\xfe",
    "..", ".", "group",
};

const double kNumbers[] = {
    0, 1, 2, 3, -1, -2, 0.5, -0.5, 1e-3, 7, 16, 36, 63, 64, 100, 107, 108, 255, 256, 1e4, 65536, 1e6, 1e9,
    2147483647, 2147483648.0, -2147483648.0, -2147483649.0, 4294967296.0, 9.3e18, 1e38, 3.5e38, -1e300,
    1e308, 1e-300, std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
    std::numeric_limits<double>::quiet_NaN(), -0.0,
};
// clang-format on

// The Lua side: callbacks that come back to the machine, and the tables that are no plain tables.
const char kScript[] = R"(
function Init() for key = 0, 107 do BindKey(key, key, 1) end end
function Draw(...) Machine() end
function KeyHappen(...) Machine() end
function OnError(...) Machine() end
function InCoroutine(f, ...) return coroutine.wrap(f)(...) end
local function proxy(fields) return setmetatable({}, fields) end
function Odd(kind)
    if kind == 0 then return proxy { __newindex = function() error("no writing") end } end
    if kind == 1 then return proxy { __index = function() error("no reading") end } end
    if kind == 2 then return proxy { __newindex = function() SetSpaceMapper(1) Text("deep") Machine() end } end
    if kind == 3 then return proxy { __len = function() return 1e9 end, __tostring = error } end
    if kind == 4 then return coroutine.create(Machine) end
    return { 1, "2", {}, nil, 5, x = 0 / 0, [1e9] = 1 }
end
)";

std::unique_ptr<LuaThingy> host;
ByteFeed* feed; // of the input that runs now
double lastNumber;
int depth; // callbacks within callbacks

void pushList(lua_State* L) {
    const int count = feed->Byte() == 255 ? 5000 : feed->Choice(12);
    lua_createtable(L, 0, 0);
    for (int i = 1; i <= count; ++i) {
        lua_pushnumber(L, i % 3 == 0 ? kNumbers[feed->Choice(std::size(kNumbers))] : feed->Byte() / 64.0 - 2);
        lua_rawseti(L, -2, i);
    }
}

std::string harmlessText() {
    std::string text = feed->Text(static_cast<std::size_t>(feed->Byte()));
    for (char& c : text)
        if (c == '/' || c == '\\')
            c = '_';
    return text;
}

void pushText(lua_State* L) {
    const std::string text = harmlessText();
    lua_pushlstring(L, text.data(), text.size());
}

void pushArgument(lua_State* L) {
    const int kind = feed->Choice(16);
    if (kind < 4)
        lua_pushnumber(L, feed->Byte() / 8 - 4);
    else if (kind < 6)
        lua_pushnumber(L, kNumbers[feed->Choice(std::size(kNumbers))]);
    else if (kind == 6)
        lua_pushnumber(L, feed->Float());
    else if (kind == 7)
        lua_pushnumber(L, lastNumber);
    else if (kind < 11)
        lua_pushstring(L, kStrings[feed->Choice(std::size(kStrings))]);
    else if (kind == 11)
        pushText(L);
    else if (kind == 12)
        pushList(L);
    else if (kind == 13)
        lua_pushboolean(L, feed->Flag());
    else if (kind == 14)
        lua_pushnil(L);
    else if (feed->Flag())
        lua_pushlightuserdata(L, &lastNumber);
    else {
        lua_getglobal(L, "Odd");
        lua_pushnumber(L, feed->Choice(6));
        if (lua_pcall(L, 1, 1, 0) != 0)
            lua_pop(L, 1), lua_pushnil(L);
    }
}

bool meshesAreLarge(GeometryManager& meshes) {
    int bytes = 0;
    for (int i = 0; i < meshes.itemCount && bytes < kMostMeshBytes; ++i)
        if (auto* mesh = reinterpret_cast<Geometry*>(meshes.GetLoadedItem(i)))
            bytes += mesh->tris.Len() + mesh->quads.Len();
    return bytes >= kMostMeshBytes;
}

// Takes the host away from the script for one call, or gives it a false one.
void callWithoutHost(lua_State* L, const char* function) {
    lua_getglobal(L, "__mLuaThingy");
    if (feed->Flag())
        lua_pushlightuserdata(L, &lastNumber);
    else
        lua_pushnumber(L, 1);
    lua_setglobal(L, "__mLuaThingy");
    lua_getglobal(L, function);
    if (lua_pcall(L, 0, 0, 0) != 0)
        lua_pop(L, 1);
    lua_setglobal(L, "__mLuaThingy");
}

void call(lua_State* L) {
    const int top = lua_gettop(L);
    const int function = feed->Choice(84);
    const int style = feed->Byte();
    if (!lua_checkstack(L, 40))
        return;
    if (function == 83) {
        callWithoutHost(L, kFunctions[style % 83]);
        lua_settop(L, top);
        return;
    }
    if (strcmp(kFunctions[function], "Place") == 0 && meshesAreLarge(host->geometryManager))
        return;
    const int arguments = style % 12;
    const bool inCoroutine = style >= 240;
    if (inCoroutine)
        lua_getglobal(L, "InCoroutine");
    lua_getglobal(L, kFunctions[function]);
    for (int i = 0; i < arguments; ++i)
        pushArgument(L);
    if (lua_pcall(L, arguments + (inCoroutine ? 1 : 0), LUA_MULTRET, 0) == 0 && lua_isnumber(L, -1))
        lastNumber = lua_tonumber(L, -1);
    lua_settop(L, top);
}

// Calls until the bytes say stop. Some of them leave by an error, as a script's own mistake would.
int machine(lua_State* L) {
    if (depth > 3)
        return 0;
    ++depth;
    int stop;
    while ((stop = feed->Byte()) >= 24)
        call(L);
    --depth;
    return stop == 1 ? luaL_error(L, "mistake") : 0;
}

/// Makes the host and its files afresh.
void makeHost() {
    namespace fs = std::filesystem;
    enterScratchDirectory();
    for (const fs::directory_entry& entry : fs::directory_iterator("."))
        fs::remove_all(entry.path());
    fs::create_directories("media");
    fs::create_directories("scripts");
    fs::copy(TARN_SOURCE_DIR "/media/geom", "media/geom");
    fs::copy(TARN_SOURCE_DIR "/media/shaders", "media/shaders", fs::copy_options::recursive);
    for (const char* dir : {"textures", "sounds", "music"})
        fs::create_directories(std::string("media/") + dir);
    for (const char* file : {"textures/white.png", "textures/font.png", "sounds/blip.wav"})
        fs::copy(std::string(TARN_SOURCE_DIR "/media/") + file, std::string("media/") + file);
    fs::copy(TARN_SOURCE_DIR "/fuzz/corpus/music/short.ogg", "media/music/short.ogg");
    writeBytes("scripts/fuzz.lua", kScript, sizeof(kScript) - 1);
    host.reset(); // its window goes first
    host = std::make_unique<LuaThingy>();
    host->width = 64;
    host->height = 48;
    host->limitFps = false;
    host->SetLoadScript("fuzz.lua");
    host->SetupStandardWindow();
    FUZZ_CHECK(host->Init() == 0);
    lua_register(host->luaState, "Machine", machine);
    for (const char* name : kFunctions) {
        lua_getglobal(host->luaState, name);
        FUZZ_CHECK(lua_isfunction(host->luaState, -1));
    }
    lua_settop(host->luaState, 0);
}

void keep(const std::uint8_t* bytes, std::size_t count, int number) {
    const char* dir = getenv("TARN_FUZZ_SEQUENCE");
    if (!dir)
        return;
    if (number == 0) {
        std::filesystem::remove_all(dir);
        std::filesystem::create_directories(dir);
    }
    char name[16];
    snprintf(name, sizeof(name), "/%05d", number);
    writeBytes(dir + std::string(name), bytes, count);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
    static int inputs = 0;
    useSilentAudio();
    if (!host || inputs == kInputsPerHost || meshesAreLarge(host->geometryManager)) {
        makeHost();
        inputs = 0;
    }
    keep(bytes, count, inputs++);
    ByteFeed bytesOfInput(bytes, count);
    feed = &bytesOfInput;
    lastNumber = 0;
    depth = 0;
    for (int frame = 0; frame < kMostFrames && !feed->Empty(); ++frame) {
        lua_pushcfunction(host->luaState, machine);
        if (lua_pcall(host->luaState, 0, 0, 0) != 0)
            lua_pop(host->luaState, 1);
        if (feed->Flag())
            host->KeyHappen(feed->Byte() % 110 - 1, feed->Flag());
        host->TimeStep();
    }
    feed = nullptr;
    return 0;
}
