// What tarnplay tells of a script: errors at the author's line, the display of costs, traces.
#include "driver.h"

#include "errorreport.h"
#include "lua_api.h"
#include "moonscript.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <regex>

namespace {

const char* const kFile = "mistakes_spread.moon";
ErrorReport report;

int readReport(lua_State* L) {
    report = MakeErrorReport(L, ScriptStage::Draw, kFile);
    return 1;
}

// The mistakes among harmless functions, as in a game's file of some hundred lines.
std::string spreadMistakes() {
    const std::string text = readText(TARN_SOURCE_DIR "/tests/e2e/mistakes.moon");
    return std::regex_replace(
        text, std::regex("\n([a-ce-z]\\w* = |class )"),
        "\nidle = (a) ->\n  b = a.x or config.size.w\n  switch b\n    when 1\n      a.y = 2\n"
        "    else\n      b += 1 for i = 1, 3\n  b\n\n$1");
}

// Reads a trace as JSON, and its spans as calls: of two that overlap, one lies within the other.
const char* const kCheckTrace = R"(
local text, V, blank = ..., lpeg.V, lpeg.S " \n" ^ 0
local digits, word = lpeg.R "09" ^ 1, '"' * (1 - lpeg.S '"\\') ^ 0 * lpeg.P '"'
local function list(item, open, close) return open * (item * ("," * item) ^ 0) ^ -1 * blank * close end
local json = lpeg.P { V "value" * -1,
    value = blank * (V "object" + V "array" + word + digits * ("." * digits) ^ -1) * blank,
    object = list(blank * word * blank * ":" * V "value", "{", "}"), array = list(V "value", "[", "]") }
if not json:match(text) then return "no JSON" end
local spans, open = {}, {}
for name, ts, dur in text:gmatch '"name":"([^"]*).,"cat":"%a+","ts":([%d.]+),"dur":([%d.]+)' do
    spans[#spans + 1] = {ts * 1, ts + dur, name}
end
table.sort(spans, function(a, b) return a[1] < b[1] or a[1] == b[1] and a[2] > b[2] end)
for _, span in ipairs(spans) do
    while open[1] and open[#open][2] <= span[1] + 0.002 do table.remove(open) end
    if open[1] and span[2] > open[#open][2] + 0.002 then return "spans cross at " .. span[1] end
    if open[1] and open[#open][3] == "present" then return span[3] .. " lies within present" end
    open[#open + 1] = span
end
return #spans > 20 and "valid" or "too few spans")";

std::string checkTrace(const std::string& trace) {
    lua_State* L = luaL_newstate();
    luaL_openlibs(L);
    luaopen_moonscript(L); // for its parser
    luaL_loadstring(L, kCheckTrace);
    lua_pushlstring(L, trace.data(), trace.size());
    lua_pcall(L, 1, 1, 0);
    const std::string result = lua_tostring(L, -1);
    lua_close(L);
    return result;
}

class Errors : public EndToEnd {
protected:
    std::string play(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"-r", "200", "150", "--frames", "8"});
        Program player("tarnplay", arguments, directory);
        player.WaitForExit();
        return output = player.Output();
    }
    std::string output;
};

} // namespace

TEST(ErrorReports, HoldTheLineOfEachMistake) {
    const std::string text = spreadMistakes();
    writeText(kFile, text);
    lua_State* L = luaL_newstate();
    luaL_openlibs(L);
    luaopen_moonscript(L);
    luaL_loadstring(L, "return require('moonscript').dofile(...)");
    lua_pushstring(L, kFile);
    ASSERT_EQ(0, lua_pcall(L, 1, 1, 0)) << lua_tostring(L, -1);
    int number = 0;
    for (std::smatch marker; ++number <= 42;) {
        ASSERT_TRUE(std::regex_search(text, marker, std::regex("--!" + std::to_string(number) + "\n")));
        lua_pushcfunction(L, readReport);
        lua_rawgeti(L, -2, number);
        EXPECT_NE(0, lua_pcall(L, 0, 0, -2));
        const std::string before = marker.prefix();
        EXPECT_EQ(1 + std::count(before.begin(), before.end(), '\n'), report.line) << report.Text();
        lua_settop(L, -3);
    }
    EXPECT_LT(300, std::count(text.begin(), text.end(), '\n'));
    lua_close(L);
    std::filesystem::remove(kFile);
}

TEST_F(Errors, AreShownAfterTheEnginesLines) {
    script("lib.moon", "class A\n\tgo: (t) =>\n\t\tx = \"\xC3\xA4\", t.b.c\n\t\tx\nA\n");
    script("game.lua",
           "local A = require 'lib'\r\nfunction Init() end\nfunction Draw()\n\tA():go({})\nend\n");
    const std::size_t shown = play({"--junit", "r.xml", "game.lua"})
                                  .find("scripts/lib.moon:3: attempt to index field 'b' (a nil value)\n"
                                        "  1 | class A\n"
                                        "  2 |     go: (t) =>\n"
                                        "  3 |         x = \"\xC3\xA4\", t.b.c\n"
                                        "    |                    ^\n"
                                        "  4 |         x\n"
                                        "  5 | A\n"
                                        "scripts/game.lua:4: in function 'Draw'\n");
    EXPECT_NE(std::string::npos, shown) << output;
    EXPECT_LT(output.find("Lua Err: "), shown);
    EXPECT_NE(
        std::string::npos,
        readText(directory + "/r.xml").find("message=\"scripts/lib.moon:3: attempt to index field 'b'"));
}

TEST_F(Errors, AreToldInTheAuthorsTerms) {
    const std::vector<std::array<std::string, 3>> table{
        {"broken.moon", "x = 1\nexport Init = ->\n  y = = 2\n", "\nbroken.moon:3: Failed to parse\n"},
        {"marked.moon", "\xEF\xBB\xBFx = 1\n", "marked.moon:1: Failed to parse: the file begins with a byte"},
        {"with.moon", "export Init = ->\n  with a.b\n    .x = 1\nexport a = {}\n",
         "index 'a.b' (a nil value)\n"},
        {"own.moon", "export Init = ->\n  _old_2 = a.b\n  _old_2.x = 1\nexport a = {}\n",
         "\nown.moon:3: attempt to index local '_old_2' (a nil value)\n"},
        {"loop.moon", "x = [i for i = 1, 2]\n\nfor i = 1, 2\n  continue if i == 1\n  return i\n",
         "(to close 'repeat' at line 3)"},
        {"missing.lua", "require 'absent'", "not found:\n        no file './scripts/absent.moon'\n"},
        {"empty.lua", "", "\nempty.lua:1: the script has no function Init\n"},
        // The C library's stack ended before Lua's.
        {"nested.lua", "local function f() return (('a'):gsub('a', f)) end\nfunction Init() f() end\n",
         "stack overflow\n  1 | local function f() return (("},
        // LuaJIT has no room left there for asking it where.
        {"deep.lua",
         "local function f()\n  local a = 1\n  return a + f()\nend\nfunction Init() end\nfunction Draw()\n  "
         "f()\nend",
         "\ndeep.lua:3: stack overflow\n  1 | "}};
    for (const auto& [name, text, told] : table) {
        script(name, text);
        Program player("tarnplay", {"-r", "200", "150", "--fixed-clock", name}, directory + "/scripts");
        EXPECT_EQ(1, player.WaitForExit());
        EXPECT_NE(std::string::npos, player.Output().find(told)) << player.Output();
    }
}

TEST_F(Errors, OfShadersNameTheAuthorsLine) {
    std::filesystem::remove(directory + "/media");
    std::filesystem::copy(TARN_SOURCE_DIR "/media", directory + "/media",
                          std::filesystem::copy_options::recursive);
    writeText(directory + "/media/shaders/bad.shad",
              "#SECTION VERTEX\n\nvoid main() {\n  gl_Position = ftransfrm();\n}\n"
              "#SECTION FRAGMENT\nvoid main() {}\n");
    script("game.lua", "function Init() AddShad('shaders/bad.shad') Shad('bad') end function Draw() end");
    const std::size_t shown = play({"game.lua"})
                                  .find("media/shaders/bad.shad:4: no function with name 'ftransfrm'\n"
                                        "  2 | \n"
                                        "  3 | void main() {\n"
                                        "  4 |   gl_Position = ftransfrm();\n"
                                        "    |                 ^\n"
                                        "  5 | }\n"
                                        "  6 | #SECTION FRAGMENT\n");
    EXPECT_NE(std::string::npos, shown) << output;
    EXPECT_LT(output.find("VERT ERROR( VERT ): \n"), shown);
}

TEST_F(Errors, ThatRepeatAreShownOnce) {
    script("keys.lua",
           "function Init() BindKey(7, 0) end\nfunction Draw() end\nfunction KeyHappen() x.y = 1 end");
    Program player("tarnplay", {"-r", "200", "150", "keys.lua"}, directory);
    ASSERT_TRUE(player.WaitFor("FPS:"));
    key("a");
    key("a");
    ASSERT_TRUE(player.WaitFor("LUA ERR: ", 4));
    key("Escape");
    EXPECT_EQ(1, player.WaitForExit());
    const std::string text = player.Output();
    const std::size_t shown = text.find("\nscripts/keys.lua:3: attempt to index global 'x'");
    EXPECT_NE(std::string::npos, shown) << text;
    EXPECT_EQ(std::string::npos, text.find("\nscripts/keys.lua:3:", shown + 1));
}

TEST_F(Errors, CostsAreDrawnAndTraced) {
    script("game.lua",
           "local n = 0 function Init() AddTex('textures/font.png') AddAudio('sounds/click.wav') end\n"
           "function Draw() n = n + 1 for i = 1, 9 do Push() Pop() end Tex(0) Quad()\n"
           "kept = {} for i = 1, 9000 do kept[i] = {} end if n > 5 then error('enough') end end");
    const std::string plain = play({"--fixed-clock", "--shot", "5:a.png", "game.lua"});
    EXPECT_EQ(plain, play({"--fixed-clock", "--hud", "--trace", "t.json", "--shot", "5:b.png", "game.lua"}));
    EXPECT_NE(readText(directory + "/a.png"), readText(directory + "/b.png"));
    const std::string trace = readText(directory + "/t.json");
    EXPECT_EQ("valid", checkTrace(trace)) << trace;
    for (const std::string file : {"textures/font.png", "sounds/click.wav"}) {
        const std::size_t load = trace.find("\"args\":{\"file\":\"media/" + file + "\"}");
        EXPECT_NE(std::string::npos, load) << file;
        EXPECT_EQ(std::string::npos, trace.find(file, load + 30)) << "it was read once";
    }
    EXPECT_NE(std::string::npos, trace.find("\"Push\":9,\"Pop\":9,"));
    EXPECT_EQ(std::string::npos, trace.find("\"frame 7\"")) << "drawn frames are counted";
    for (const char* name : {"main chunk", "Init", "Draw", "OnError", "wait", "present", "garbage collected",
                             "no frame", "frame 6"})
        EXPECT_NE(std::string::npos, trace.find(std::string("\"name\":\"") + name + "\"")) << name;
}

// The start of the new game lay in the time of presenting, and the display of costs on the message.
TEST_F(Errors, CostsAreToldOfAGameThatStartsAnew) {
    const auto cornerIs = [](int red, int green, int blue) {
        return eventually([&] {
            const auto pixel = screenPixel((kScreenWidth - 200) / 2, (kScreenHeight - 150) / 2);
            return std::abs(pixel[0] - red) + std::abs(pixel[1] - green) + std::abs(pixel[2] - blue) < 6;
        });
    };
    script("game.lua", "function Init() print('first') end function Draw() end");
    Program player("tarnplay", {"-r", "200", "150", "--watch", "--hud", "--trace", "t.json", "game.lua"},
                   directory);
    ASSERT_TRUE(player.WaitFor("FPS:"));
    script("game.lua", "function Init() print('second') BackColor(0, 0, 1, 1) end function Draw() end");
    ASSERT_TRUE(player.WaitFor("second\n"));
    EXPECT_TRUE(cornerIs(0, 0, 89)) << "below the display of costs";
    script("game.lua", "x = = 1");
    ASSERT_TRUE(player.WaitFor("scripts/game.lua:1: unexpected symbol"));
    EXPECT_TRUE(cornerIs(9, 11, 24)) << "which lies below the message";
    key("Escape");
    EXPECT_EQ(1, player.WaitForExit());
    const std::string trace = readText(directory + "/t.json");
    EXPECT_EQ("valid", checkTrace(trace)) << trace;
    EXPECT_NE(trace.find("\"Init\""), trace.rfind("\"Init\""));
}
