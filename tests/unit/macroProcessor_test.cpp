// The macro translator: every rule by an example, includes on real files, and a translated program that runs.
#include "macroProcessor.h"

#include "datablock.h"
#ifndef TARN_PORTABLE_CORE
#include "lua_api.h"
#endif

#include <filesystem>
#include <gtest/gtest.h>

namespace {

std::string translate(const std::string& text, bool scopes = false) {
    DataBlock in(text.c_str()), out;
    ProcessLuaMacros(&in, &out, false, scopes);
    return out.CStr();
}

struct Rule {
    const char *name, *in, *out;
};

// Each text follows an empty first line, since nothing on a first line counts as a line's start.
const Rule rules[] = {
    {"worked class",
     "class Ship(Actor):\n\tdef move(dt):\n\t\tif self.x != NULL:\n\t\t\tself.x += dt\n\t\t\tprint self.x\n"
     "\t\telse:\n\t\t\t_y = 0\nShip.count = 1\n",
     "Ship = class( Actor )\n\tfunction Ship : move(dt)\n\t\tif self.x ~= nil then\n"
     "\t\t\tself.x = \t\t\tself.x+ dt\n\t\t\tprint(self.x)\n\t\telse\n\t\t\tlocal y = 0\n\t\tend\n\tend\n"
     "Ship.count = 1\n"},
    {"class without base", "class Ship:\nx\n", "Ship = class(  )\nx\n"},
    {"if without colon", "if a\n\tb()\nc()\n", "if a then\n\tb()\nend\nc()\n"},
    {"if with then", "if(a) then\n\tb()\nelseif c:\n\td()\nend\n",
     "if(a) then\n\tb()\nelseif c then\n\td()\nend\n"},
    {"nested if", "if a:\n\tif b:\n\t\tc()\nd()\n", "if a then\n\tif b then\n\t\tc()\n\tend\nend\nd()\n"},
    {"for", "for i = 1, 2:\n\tf(i)\n", "for i = 1, 2 do\n\tf(i)\nend\n"},
    {"for with do", "for i = 1, 2 do\n\tf(i)\n;\n", "for i = 1, 2 do\n\tf(i)\nend\n"},
    {"blank line closes", "function f()\n\ta()\n\n\tb()\n", "function f()\n\ta()\nend\n\n\tb()\n"},
    {"not", "x = !y and a != 'b != !'\n", "x = not y and a ~= 'b ~= !'\n"},
    {"escaped quote", "x = '\\'!' .. !y\n", "x = '\\'!' .. not y\n"},
    {"semicolons", "obj;draw() ; x = 1;\n\t;\n", "obj:draw() ; x = 1;\n\tend\n"},
    {"compound", "t[i] *= 2\n  x -= 1\n", "t[i] = t[i]* 2\n  x =   x- 1\n"},
    {"print", "print 'a'\nprint ('b')\nprinter(c)\n", "print('a')\nprint ('b')\nprint(r(c))\n"},
    {"local at line start only", " _x = _y\n", " local x = _y\n"},
    {"comments", "\t-- gone\nx -- stays\n--- all\n of this --- y\n", "\t\nx -- stays\n y\n"},
    {"no processing", "!a --NOPROCESSING\n!b != NULL\n", "not a --NOPROCESSING\n!b != NULL\n"},
    {"scopes", "x --OUTPUTSCOPES\nif a:\n\tb\nc",
     "x --OUTPUTSCOPES--S:0 \nif a then--S:1 \n\tb--S:1 \nend\nc"},
    {"text ends in a rule", "x = 1;", "x = 1;"},
    {"print ends the text", "print", "print("},
    {"class ends the text", "class A(B", "A = class( B )"},
    {"def ends the text", "def f(", "function f("},
};

TEST(MacroProcessor, EveryRule) {
    for (const Rule& rule : rules)
        EXPECT_EQ(std::string("\n") + rule.out, translate(std::string("\n") + rule.in)) << rule.name;
    EXPECT_EQ("", translate(""));
    DataBlock in("a"), out("b");
    ProcessLuaMacros(&in, &out, true, false);
    EXPECT_EQ(std::string("ba\0", 3), std::string(out.CStr(), out.Len()));
    EXPECT_EQ("_x\n", translate("_x\n")); // a first line
    std::string elses;                    // each opens a block, so the markers count them
    for (int i = 1; i <= 36; ++i)
        elses += "else\n";
    EXPECT_NE(std::string::npos, translate(elses, true).find("--S:9 \nelse--S:A \n"));
    EXPECT_NE(std::string::npos, translate(elses, true).find("--S:Z \nelse--S:+ \n"));
}

TEST(MacroProcessor, IncludesStandInTheirPlaceAndComeToAnEnd) {
    const std::filesystem::path before = std::filesystem::current_path(),
                                folder = testing::TempDir() + "macros";
    std::filesystem::create_directories(folder / "lib");
    std::filesystem::current_path(folder);
    DataBlock("\nx += NULL").WriteFile("lib/a.lua");
    DataBlock("").WriteFile("empty");
    DataBlock("dofile 'self'dofile 'self'").WriteFile("self");
    testing::internal::CaptureStdout();
    EXPECT_EQ("1 \nx = x+ nil\n) 2", translate("1 dofile('lib\\a.lua') 2"));
    EXPECT_EQ("\n\n", translate("dofile 'empty'dofile 'none'"));
    EXPECT_EQ("dofile 'none", translate("dofile 'none"));
    EXPECT_EQ("[0]\r\n", translate("[0]\r\n--OUTPUTPARSED"));
    EXPECT_EQ(std::string(65, '\n'), translate("dofile 'self'"));
    std::string sums = "a";
    for (int i = 0; i < 20000; ++i)
        sums += "+=";
    EXPECT_LE(translate(sums).size(), 64u << 20);
    EXPECT_EQ("ERR: dofile cannot read none\nERR: dofile without a quoted file name\n"
              "WARNING! zero index [0] encountered!\nWarning: Windows newlines are not recommended!\n"
              "ERR: dofile nests more than 32 files, stopped at self\n"
              "ERR: macro translation stopped at 67108864 bytes\n",
              testing::internal::GetCapturedStdout());
    DataBlock parsed;
    EXPECT_TRUE(parsed.ReadFile("processed.lua") && parsed.IsEqual("[0]\r\n"));
    std::filesystem::current_path(before);
    std::filesystem::remove_all(folder);
}

#ifndef TARN_PORTABLE_CORE
TEST(MacroProcessor, ATranslatedProgramRuns) {
    const std::string program =
        translate("class = function(base) return setmetatable({}, {__index = base}) end\n"
                  "class Base:\n\tdef size():\n\t\treturn 20\n"
                  "class Ship(Base):\n\tdef grow(by):\n\t\t_sum = self;size()\n"
                  "\t\tfor i = 1, 3:\n\t\t\tif i != 2 and !self.dead:\n\t\t\t\tsum += by\n"
                  "\t\t\telse:\n\t\t\t\tsum *= 2\n\t\treturn sum\n"
                  "answer = Ship;grow(1)\n");
    lua_State* L = luaL_newstate();
    luaL_openlibs(L);
    EXPECT_EQ(0, luaL_dostring(L, program.c_str())) << lua_tostring(L, -1) << program;
    lua_getglobal(L, "answer");
    EXPECT_EQ(43, lua_tonumber(L, -1));
    lua_close(L);
}
#endif

} // namespace
