// The embedded MoonScript compiler in real Lua states, with modules of both languages in a scripts directory.
#include "moonscript.h"

#include "lua_api.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace fs = std::filesystem;

namespace {

class MoonScriptTest : public testing::Test {
protected:
    MoonScriptTest() {
        fs::create_directories(dir / "scripts" / "enemy");
        fs::current_path(dir);
        luaL_openlibs(L);
        EXPECT_EQ(1, luaopen_moonscript(L));
        AppendLuaPath(L, "moonpath", "./scripts/?.moon;./scripts/?");
        AppendLuaPath(L, "path", "./scripts/?.lua;./scripts/?");
    }
    ~MoonScriptTest() override {
        lua_close(L);
        fs::current_path(before);
        fs::remove_all(dir);
    }
    /// The string that a Lua chunk returns, or its error message.
    std::string run(const std::string& code) {
        lua_settop(L, 0);
        if (luaL_loadstring(L, code.c_str()) == 0)
            lua_pcall(L, 0, 1, 0);
        return lua_isstring(L, -1) ? lua_tostring(L, -1) : luaL_typename(L, -1);
    }
    std::string runMoon(const std::string& code) {
        return run("return assert(require('moonscript').loadstring([==[\n" + code + "]==], 'test'))()");
    }
    void write(const char* name, const char* lines) { std::ofstream(dir / "scripts" / name) << lines; }

    const std::string text{reinterpret_cast<const char*>(moonscript_lua), moonscript_lua_len};
    lua_State* L = luaL_newstate();
    fs::path before = fs::current_path();
    fs::path dir = fs::temp_directory_path() / ("tarn_moonscript_" + std::to_string(std::random_device{}()));
};

} // namespace

TEST_F(MoonScriptTest, TextHoldsTheModulesInOrderAndRunsTheMainOne) {
    size_t at = 0;
    for (const char* name : {".transform.names", ".transform.destructure", "", ".version", ".util",
                             ".transform", ".parse", ".line_tables", ".errors", ".types", ".compile", ".data",
                             ".dump", ".compile.statement", ".compile.value"}) {
        const std::string line = std::string("package.preload['moonscript") + name + "'] = function()\n";
        ASSERT_EQ(at, text.find(line)) << name;
        at = text.find("\nend\n", at) + 5;
    }
    EXPECT_EQ(at, text.find("package.preload['moon'] = function()\n"));
    const std::string last = "\nend\npackage.preload[\"moonscript\"]()\n";
    EXPECT_EQ(text.size() - last.size(), text.rfind(last));
}

TEST_F(MoonScriptTest, LpegAndCompilerNeedNoFile) {
    EXPECT_EQ("true", run("package.path = '' return tostring(require 'lpeg' == lpeg and lpeg.P ~= nil)"));
    EXPECT_EQ("moonscript", run("require 'moon' return require('moonscript')._NAME"));
    EXPECT_EQ("./?.moon", run("return package.moonpath:match '^[^;]+'"));
    lua_pushstring(L, "mine");
    setloaded(L, "fresh");
    setloaded(L, "string");
    EXPECT_EQ(2, lua_gettop(L));
    EXPECT_EQ("mine true", run("return require 'fresh' .. ' ' .. tostring(require 'string' == string)"));
}

TEST_F(MoonScriptTest, SearchPathsGrowAtTheirEnd) {
    const std::string old = run("return package.path");
    EXPECT_EQ(0, AppendLuaPath(L, "path", ".\\scripts\\?.lua;.\\scripts\\?"));
    EXPECT_EQ(old + ";.\\scripts\\?.lua;.\\scripts\\?", run("return package.path"));
    EXPECT_EQ("nil", run("package.moonpath = nil"));
    AppendLuaPath(L, "moonpath", "x");
    EXPECT_EQ("nil", run("return package.moonpath"));
}

TEST_F(MoonScriptTest, EachLanguageRequiresTheOther) {
    write("hero.moon", "class Hero\n  new: (@name) =>\n  hail: => \"#{@name} #{require 'weapon'}\"\n");
    write("weapon.lua", "return 'sword'");
    write("bare", "\"no #{'extension'}\"");
    EXPECT_EQ("Ann sword", run("return require('hero')('Ann'):hail()"));
    EXPECT_EQ("no extension", run("return require 'bare'"));
    EXPECT_EQ("5 Bo sword", runMoon("class Bo extends require 'hero'\n  new: => super 'Bo'\n"
                                    "list = [i * i for i = 1, 5 when i > 3]\n"
                                    "\"#{#list + 3} #{Bo!\\hail!}\"\n"));
}

TEST_F(MoonScriptTest, ErrorsNameTheFile) {
    write("broken.moon", "x = 1\ny = = 2\n");
    for (const char* use : {"require 'broken'", "require('moonscript').dofile 'scripts/broken.moon'"})
        EXPECT_NE(std::string::npos, run(use).find("Failed to parse:\n [2] >>    y = = 2")) << run(use);
    EXPECT_NE(std::string::npos, run("require 'broken'").find("./scripts/broken.moon"));
    // The compiled text's line 2 is line 4 of the source.
    write("late.moon", "x = 1\n\n\nerror 'oops'\nx = 2\n");
    const std::string rewritten = run("local _, e = pcall(require, 'late')\n"
                                      "local trace = 'stack traceback:\\n\\t[C]: ?'\n"
                                      "return require('moonscript.errors').rewrite_traceback(trace, e)");
    EXPECT_EQ(0U, rewritten.find("moon: ./scripts/late.moon:4")) << rewritten;
}

// What src/moon adds to the packaged compiler; an embedded checkout has its own loader and library.
TEST_F(MoonScriptTest, OwnLoaderAndLibrary) {
    if (text.find("moon_loader = function(") != std::string::npos)
        GTEST_SKIP() << "the compiler of MOONSCRIPT_DIR has its own";
    // A directory matches the template without an extension, and opens as a file does.
    write("enemy.lua", "return 'found'");
    EXPECT_EQ("found", run("return require 'enemy'"));
    EXPECT_EQ("5 3 3 4 1 nil true string false true 16 16 1 -4 nil 8 h", runMoon(R"(
require 'moon.all'
class A
  new: (@v) =>
  get: (more = 0) => @v + more
class B
  new: => mixin @, A, 5
a, b, o, n = A(3), B!, {}, 7
mixin_object o, a, {"get"}
mixin_table o, {x: 1, y: 2}, {"x"}
squares = defaultbl (k) => k * k
chain = extend {}, {w: 10}, {z: 6}
reader = -> n
debug.upvalue reader, "n", 8
table.concat {b\get!, bind_methods(a).get!, o\get!, o.get(1), o.x, tostring(o.y), tostring(type(a) == A), type("s"),
  tostring(is_object A), tostring(is_object a), squares[4], chain.w + chain.z, copy({q: 1}).q,
  fold({4, 3, 5}, (l, r) -> l - r), tostring(fold {}, ->), reader!, run_with_scope((-> hidden), {hidden: "h"})}, " "
)"));
}
