// tarnplay from outside: where it finds a game, how runs end, what they leave behind, and that they repeat.
#include "driver.h"

#include <SFML/Graphics/Image.hpp>
#include <atomic>
#include <filesystem>
#include <thread>

namespace fs = std::filesystem;

namespace {

const char* const kSquare =
    "function Init() end function Draw() Depth(0) SetCam(2, 0) Tex(-1) BackColor(0, 0, 0.2, 1)\n"
    "Color(1, 0, 0) Scale(0.5) Quad() end";

class Run : public EndToEnd {
protected:
    /// Runs tarnplay in a small window to its end.
    /// @param where below the working directory
    int run(std::vector<std::string> arguments, const std::string& where = "",
            const std::vector<std::string>& environment = {}) {
        arguments.insert(arguments.begin(), {"-r", "64", "48"});
        Program player("tarnplay", arguments, directory + where, environment);
        const int status = player.WaitForExit();
        output = player.Output();
        return status;
    }
    bool printed(const std::string& text) const { return output.find(text) != std::string::npos; }
    std::string output;
};

struct Ending {
    const char* name;
    int status;
    std::vector<std::string> arguments;
    const char* draw;    ///< what the script's Draw does
    const char* printed; ///< must stand in the output
};

class RunEnds : public Run, public testing::WithParamInterface<Ending> {};

struct Place {
    const char* name;
    const char* where; ///< below the game's directory
    std::vector<std::string> arguments;
};

class RunFinds : public Run, public testing::WithParamInterface<Place> {};

} // namespace

TEST_P(RunEnds, WithTheStatusOfWhatWentWrong) {
    const Ending& ending = GetParam();
    script("game.lua",
           std::string("function Init() print('begun') end\nfunction Draw() ") + ending.draw + " end");
    std::vector<std::string> arguments{"--junit", "report.xml", "game.lua"};
    arguments.insert(arguments.begin(), ending.arguments.begin(), ending.arguments.end());
    EXPECT_EQ(ending.status, run(arguments)) << output;
    EXPECT_TRUE(printed(ending.printed)) << output;
    const std::string report = readText(directory + "/report.xml");
    EXPECT_EQ(ending.status % 7 == 0, report.find("<failure") == std::string::npos) << report;
    EXPECT_TRUE(ending.status % 7 == 0 || report.find(ending.printed) != std::string::npos) << report;
    EXPECT_EQ(std::string::npos, report.find_first_of("\1\377")) << "no XML";
    EXPECT_EQ(std::string::npos, report.find("<no>")) << report;
}

INSTANTIATE_TEST_SUITE_P(
    , RunEnds,
    testing::Values(
        Ending{"Fine", 0, {"--frames", "3"}, "", "begun"},
        Ending{"ScriptError", 1, {"--frames", "3"}, "error('<no> \1\255 ]]>')", " ]]"},
        Ending{"OpenGLErrorOfTheLastFrame",
               2,
               {"--frames", "1"},
               "for i = 1, 99 do Push() end",
               "0x0503 (GL_STACK_OVERFLOW) in frame 1"},
        Ending{"OpenGLErrorOfTheStart",
               2,
               {"--frames", "1"},
               "end for i = 1, 99 do Push() end do",
               "(GL_STACK_OVERFLOW) before the first frame"},
        Ending{"TimeLimit", 3, {"--time-limit", "0.3"}, "", "the time limit of 0.3 s has passed"},
        Ending{"EndlessLoop", 3, {"--time-limit", "0.3"}, "while true do end", "does not return"},
        Ending{"OwnStatus", 7, {"--frames", "9"}, "os.exit(7)", "begun"},
        Ending{
            "ExitBeforeThePicture", 4, {"--expect", "a.png"}, "os.exit(0)", "no frame was drawn to compare"},
        Ending{"NoSuchPicture", 4, {"--expect", "a.png"}, "", "a.png to compare with"},
        Ending{"NoPictureOfItsFrame",
               1,
               {"--frames", "3", "--shot", "2:a.png"},
               "os.exit()",
               "before the frame"},
        Ending{"UnwritablePicture", 1, {"--capture", "no/where/a.png"}, "", "cannot write"},
        Ending{"UnwritableRecording", 1, {"--record", "no/where"}, "", "cannot write"},
        Ending{"UnwritableTrace", 1, {"--trace", "no/where"}, "", "cannot write"},
        Ending{"NoInput", 64, {"--input", "no/where"}, "", "no/where: cannot be read"},
        Ending{"WrongInput", 64, {"--input", "scripts/game.lua"}, "", "game.lua:1: neither a frame nor"},
        Ending{"NoGame", 64, {"--root", "media"}, "", "holds no scripts directory"}),
    [](const auto& ending) { return ending.param.name; });

TEST_F(Run, AnEndlessInitEndsAtTheTimeLimitToo) {
    script("game.lua", "function Init() print('begun') while true do end end");
    EXPECT_EQ(3, run({"--time-limit", "0.2", "--trace", "t.json", "game.lua"}));
    EXPECT_TRUE(printed("begun\n")) << output;
    EXPECT_NE(std::string::npos, readText(directory + "/t.json").find("\"name\":\"Init\"")) << "still open";
}

TEST_F(Run, ComparesTheLastPicture) {
    script("game.lua", kSquare);
    const std::vector<std::string> compare{"--expect", "a b.png", "game.lua"};
    EXPECT_EQ(4, run(compare)) << "there is none yet";
    fs::rename(directory + "/a b-actual.png", directory + "/a b.png");
    EXPECT_EQ(0, run(compare)) << output;
    sf::Image changed;
    ASSERT_TRUE(changed.loadFromFile(directory + "/a b.png"));
    const sf::Color old = changed.getPixel(3, 5);
    changed.setPixel(3, 5, sf::Color(old.r, old.g, static_cast<sf::Uint8>(old.b + 2)));
    ASSERT_TRUE(changed.saveToFile(directory + "/a b.png"));
    EXPECT_EQ(0, run({"--tolerance", "2", "--expect", "a b.png", "game.lua"})) << output;
    EXPECT_EQ(4, run(compare));
    EXPECT_TRUE(printed(": 1 of 3072 pixels (0.03 %), largest difference 2.\n")) << output;
    sf::Image difference;
    ASSERT_TRUE(difference.loadFromFile(directory + "/a b-difference.png"));
    EXPECT_GT(difference.getPixel(3, 5).b, 64) << "visible";
    EXPECT_LT(difference.getPixel(4, 5).b, 64);
    changed.create(10, 100);
    ASSERT_TRUE(changed.saveToFile(directory + "/a b.png"));
    EXPECT_EQ(4, run(compare));
    EXPECT_TRUE(printed("64 x 48 pixels instead of 10 x 100")) << output;
}

// Not only times and random numbers differ from run to run: so do the addresses of tables and the runtime's
// order of names, and with them that of pairs(), what the keyboard and the pointer do, and saved strings.
TEST_F(Run, TheFixedClockRepeatsEverything) {
    script("game.lua", R"(
math.randomseed(os.time())
local keys, texts = {}, {}
function Init()
  BindKey(1, 0)
  AddAudio("sounds/click.wav")
  for i = 1, 200 do keys["name" .. i] = i keys[{}] = i keys[function() end] = i end
  for name, i in pairs(keys) do io.write(i, " ", tostring(name), "\n") end
  print(os.time(), os.clock(), os.date(), os.date("%H"), os.time { year = 2001, month = 1, day = 1, hour = 0 })
end
function Draw(time, delta)
  texts[math.random(50)] = string.rep("x", math.random(100000))
  Depth(0) SetCam(2, 0) Tex(-1) BackColor(0, 0, 0, 1)
  for i = 1, 20 do
    Color(math.random(), GetNoise(i, time, 0) + 0.5, os.clock() % 1)
    Push() Move(math.random() * 2 - 1, math.random() * 2 - 1) Scale(0.2) Quad() Pop()
  end
  print(time, delta, os.clock(), Audio("click"), collectgarbage("count"))
  print(GetMouseScalar(), ReadSaveString("game", "best"))
  WriteSaveString("game", "best", time)
end
function KeyHappen(key, state) print("key", key, state) end)");
    writeText(directory + "/best", "5");
    std::atomic<bool> done = false;
    std::thread person([&] {
        while (!done)
            runCommand({"xdotool", "mousemove_relative", "9", "5", "mousemove_relative", "--", "-8", "-3",
                        "key", "a"});
    });
    const auto play = [this](const std::string& seed) {
        EXPECT_EQ(
            0, run({"--fixed-clock", "--seed", seed, "--frames", "130", "--capture", "a.png", "game.lua"}));
        return output + readText(directory + "/a.png");
    };
    const std::string first = play("7");
    EXPECT_NE(std::string::npos, first.find("946684800\t0\tSat Jan  1 00:00:00 2000\t00\t978307200\n"))
        << first;
    EXPECT_NE(std::string::npos, first.find("FPS: 60\t Load: 0 ms\n"));
    EXPECT_EQ(first, play("7"));
    done = true;
    person.join();
    EXPECT_NE(std::string::npos, first.find("-1\t5\n"));
    EXPECT_EQ("5", readText(directory + "/best"));
}

TEST_P(RunFinds, TheGameFromTheScriptsPath) {
    const Place& place = GetParam();
    fs::create_directories(directory + "/my game/scripts/sub");
    fs::create_directory(directory + "/elsewhere");
    fs::create_symlink("../my game/scripts/sub/one.lua", directory + "/elsewhere/link.lua");
    writeText(directory + "/elsewhere/alone.lua",
              "function Init() print(require('part')) end function Draw() end");
    writeText(directory + "/my game/scripts/sub/one.lua", readText(directory + "/elsewhere/alone.lua"));
    writeText(directory + "/my game/scripts/part.lua", "return 'found it'");
    std::vector<std::string> arguments{"--capture", "here.png"};
    arguments.insert(arguments.end(), place.arguments.begin(), place.arguments.end());
    EXPECT_EQ(0, run(arguments, place.where)) << output;
    EXPECT_TRUE(printed("found it\n")) << output;
    EXPECT_TRUE(fs::exists(directory + place.where + "/here.png"));
}

INSTANTIATE_TEST_SUITE_P(
    , RunFinds,
    testing::Values(Place{"ByName", "/my game", {"sub/one.lua"}},
                    Place{"BelowScripts", "/my game", {"scripts/sub/one.lua/"}},
                    Place{"FromWithin", "/my game/scripts/sub", {"one.lua"}},
                    Place{"FromBeside", "/elsewhere", {"../my game/scripts/sub/one.lua"}},
                    Place{"ThroughALink", "/elsewhere", {"link.lua"}},
                    Place{"InAGivenRoot", "/elsewhere", {"--root", "../my game/", "sub/one.lua"}},
                    Place{"ForeignToItsRoot", "/elsewhere", {"alone.lua", "--root=../my game"}}),
    [](const auto& place) { return place.param.name; });

TEST_F(Run, WrongArgumentsAreNamed) {
    script("a.lua", kSquare);
    writeText(directory + "/alone.lua", "");
    writeText(directory + "/a.txt", "");
    const std::vector<std::pair<std::vector<std::string>, std::string>> table{
        {{"-r", "300", "a.lua"}, "no size '300'"},
        {{"-r", "9", "99999", "a.lua"}, "no size '9 99999'"},
        {{"a.lua", "-r"}, "-r: 1 required"},
        {{"--frames", "0", "a.lua"}, "--frames: Value 0 not in range"},
        {{"--", "a.lua", "-f"}, "not expected: -f"},
        {{"--time-limit", "nan", "a.lua"}, "'nan' is no number"},
        {{"--shot", "0:a.png", "a.lua"}, "'0:a.png'"},
        {{"--expect", "a.bmp", "a.lua"}, "'a.bmp' is no .png"},
        {{"--tolerance", "1", "a.lua"}, "requires"},
        {{"--junit", "", "a.lua"}, "--junit: the file's name is missing"},
        {{"b.lua"}, "ERR: no such script: b.lua (looked for "},
        {{"scripts/"}, "ERR: scripts is a directory.\n"},
        {{"a.txt"}, "ERR: a.txt is neither .lua nor .moon.\n"},
        {{"--expect", "./a.png", "--shot", "1:a.png", "a.lua"}, "two options name this file"},
        {{"--watch", "--film", "a.gif", "a.lua"}, "--film excludes --watch"}};
    for (const auto& [arguments, message] : table) {
        Program player("tarnplay", arguments, directory, {});
        EXPECT_EQ(64, player.WaitForExit()) << message;
        EXPECT_NE(std::string::npos, player.Output().find(message)) << player.Output();
    }
    const std::string gone = "'" + directory + "/gone'";
    EXPECT_EQ(64, runCommand({"sh", "-c",
                              "mkdir " + gone + " && cd " + gone + " && rmdir " + gone +
                                  " && exec " TARN_BINARY_DIR "/tarnplay a.lua"}));
    EXPECT_EQ(64, run({"../alone.lua"}, "/scripts"));
    EXPECT_TRUE(printed("ERR: ../alone.lua lies below no scripts directory: ")) << output;
}

// A crash or a typing error left the report of the run before, which was fine.
TEST_F(Run, AnOlderReportNeverPassesForItsOwn) {
    script("game.lua", kSquare);
    const std::string report = directory + "/r.xml";
    EXPECT_EQ(0, run({"--frames", "1", "--junit", "r.xml", "game.lua"}));
    {
        Program killed("tarnplay", {"--junit", "r.xml", "game.lua"}, directory);
        ASSERT_TRUE(killed.WaitFor("FPS:"));
    }
    EXPECT_NE(std::string::npos, readText(report).find("it was killed or has crashed</failure>"));
    EXPECT_EQ(64, run({"--frames", "0", "--junit", "r.xml", "game.lua"}));
    EXPECT_FALSE(fs::exists(report));
    EXPECT_EQ(64, run({"--junit", "scripts/game.lua"})) << "the report's name is forgotten";
    EXPECT_EQ(kSquare, readText(directory + "/scripts/game.lua"));
}

// The sound system's forty lines hid the author's message.
TEST_F(Run, AMissingSoundCardIsOneLine) {
    script("game.lua", "function Init() AddAudio('sounds/click.wav') Audio('click') end function Draw() end");
    EXPECT_EQ(0,
              run({"--frames", "2", "game.lua"}, "", {"ALSOFT_DRIVERS=alsa", "ALSA_CONFIG_PATH=/dev/null"}));
    EXPECT_TRUE(printed("Failed to open the audio device")) << output;
    EXPECT_FALSE(printed("ALSA lib ") || printed("AL lib: ")) << output;
}

TEST_F(Run, MakesItsOwnDisplay) {
    script("game.lua", kSquare);
    for (const char* display : {"DISPLAY", "DISPLAY=:987"}) { // unset; nobody there
        EXPECT_EQ(0, run({"--frames", "2", "--capture", "a.png", "game.lua"}, "", {display})) << output;
        sf::Image image;
        ASSERT_TRUE(image.loadFromFile(directory + "/a.png"));
        EXPECT_EQ(sf::Color::Red, image.getPixel(32, 24));
    }
    EXPECT_EQ(1, run({"--junit", "a.xml", "game.lua"}, "", {"DISPLAY", "PATH=/"}));
    const std::string problem = "there is no display here, and Xvfb, which would make one";
    EXPECT_TRUE(printed("ERR: " + problem)) << output;
    EXPECT_NE(std::string::npos,
              readText(directory + "/a.xml").find("<failure type=\"ScriptError\" message=\"" + problem));
}

TEST_F(Run, ItsOwnDisplayEndsWithIt) {
    script("game.lua", "function Init() print('on ' .. os.getenv('DISPLAY') .. ';') end function Draw() end");
    std::string socket;
    {
        Program killed("tarnplay", {"game.lua"}, directory, {"DISPLAY"});
        ASSERT_TRUE(killed.WaitFor("FPS:"));
        const std::string text = killed.Output();
        const std::size_t colon = text.find("on :") + 4;
        socket = "/tmp/.X11-unix/X" + text.substr(colon, text.find(';') - colon);
        ASSERT_TRUE(fs::exists(socket)) << socket;
    }
    EXPECT_TRUE(eventually([&] { return !fs::exists(socket); }));
}
