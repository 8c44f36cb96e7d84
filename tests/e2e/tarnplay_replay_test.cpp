// tarnplay's --input, --record, --replay and --film.
#include "driver.h"

#include <SFML/Graphics/Image.hpp>
#include <filesystem>
#include <gtest/gtest.h>

namespace {

const char* const kScript = R"(
function Init() BindKey(1, 57) BindKey(2, 101) BindKey(3, 106) end
function KeyHappen(key, state) if state ~= 2 then print("key " .. key .. " " .. state .. " " .. frame) end end
frame = 1
function Draw(time)
  local dx = GetMouseRelative()
  if dx ~= 0 then print(("moved %.0f %d"):format(dx * 1024, frame)) end
  frame = frame + 1
  BackColor(math.random(), (frame % 7) / 7, CHANGED and frame >= CHANGED and 1 or 0, 1)
end)";

class Replay : public EndToEnd {
protected:
    std::string run(const std::vector<std::string>& arguments, int status,
                    const std::vector<std::string>& environment = {}) {
        std::vector<std::string> words{"-r", "64", "48"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        words.push_back("play.lua");
        Program program("tarnplay", words, directory, environment);
        EXPECT_EQ(status, program.WaitForExit()) << program.Output();
        return program.Output();
    }
    void SetUp() override {
        EndToEnd::SetUp();
        script("play.lua", kScript);
        // As an editor of another system may write it, with a byte order mark.
        writeText(directory + "/in", "\xEF\xBB\xBF"
                                     "4 key Space down\r\n6 key 57 up\r\n8 button left down # the first\r\n"
                                     "9 wheel up\r\n\r\n11 pointer 42 24\r\n20 key Escape down\r\n");
    }
};

TEST_F(Replay, EventsComeInTheirFramesAndARecordingPlaysThem) {
    const std::string events = "key 1 1 4\nkey 1 0 6\nkey 2 1 8\nkey 3 1 9\nmoved 10 11\n";
    EXPECT_NE(std::string::npos, run({"--input", "in", "--record", "rec"}, 0).find(events));
    const std::string played = run({"--replay", "rec", "--check"}, 0);
    EXPECT_NE(std::string::npos, played.find(events));
    EXPECT_NE(std::string::npos, played.find("/rec: all 20 pictures are the recorded ones.\n"));
    EXPECT_NE(std::string::npos,
              run({"--replay", "rec", "--check", "--frames", "9"}, 0).find("all 9 pictures"));
    EXPECT_NE(std::string::npos, run({"--input", "in", "--frames", "12"}, 0)
                                     .find("ended with frame 12, its events from frame 20 on (1) have not"));
}

TEST_F(Replay, StopsAtTheFirstOtherPictureAndKeepsBoth) {
    run({"--input", "in", "--record", "rec"}, 0);
    script("play.lua", std::string("CHANGED = 14") + kScript);
    EXPECT_NE(std::string::npos,
              run({"--replay", "rec", "--check"}, 4).find("the picture of frame 14 is not"));
    sf::Image now, recorded;
    ASSERT_TRUE(now.loadFromFile(directory + "/rec-14-actual.png"));
    ASSERT_TRUE(recorded.loadFromFile(directory + "/rec-14-recorded.png"));
    EXPECT_EQ(255, now.getPixel(5, 5).b);
    EXPECT_EQ(0, recorded.getPixel(5, 5).b);
    EXPECT_EQ(now.getPixel(5, 5).r, recorded.getPixel(5, 5).r);
}

// A window that was resized in the middle of a frame gave torn pictures, and a replay began with the saves
// that its recording had left.
TEST_F(Replay, AgreesWhateverHappensToTheWindowAndTheSaves) {
    script("play.lua", R"(
function Init()
  best = tonumber(ReadSaveString("play", "sub/best #1")) or 7
  print("begun")
end
function Draw()
  best = best + 1
  WriteSaveString("play", "sub/best #1", best)
  SetCam(2, 0) Depth(0) Tex(-1) BackColor(0, best % 7 / 7, 0, 1)
  Move(0, 0.5) Rotate(best / 20) Scale(0.5, 0.2) Quad()
end)");
    std::filesystem::create_directory(directory + "/sub");
    {
        Program program("tarnplay", {"-r", "64", "48", "--record", "rec", "play.lua"}, directory);
        ASSERT_TRUE(program.WaitFor("begun"));
        for (int i = 0; i < 12; ++i) {
            const std::string width = std::to_string(90 + i % 5 * 60),
                              height = std::to_string(300 - i % 3 * 90);
            ASSERT_EQ(0, runCommand({"xdotool", "search", "--sync", "--onlyvisible", "--name", "tarnEngine",
                                     "windowsize", width, height}));
            ASSERT_TRUE(eventually([&] {
                return readText(directory + "/rec").find(" resize " + width + ' ' + height) !=
                       std::string::npos;
            }));
        }
        key("Escape");
        EXPECT_EQ(0, program.WaitForExit()) << program.Output();
    }
    const std::string saved = readText(directory + "/sub/best #1");
    EXPECT_GT(std::stoi(saved), 12 + 7);
    EXPECT_NE(std::string::npos,
              run({"--replay", "rec", "--check"}, 0).find(" pictures are the recorded ones"));
    EXPECT_EQ(saved, readText(directory + "/sub/best #1"));
}

TEST_F(Replay, AWrongLineIsToldWithItsPlace) {
    writeText(directory + "/in", "# keys\n3 key Spacebar down\n");
    EXPECT_NE(std::string::npos, run({"--input", "in"}, 64).find("/in:2: there is no key \"Spacebar\"\n"));
}

TEST_F(Replay, FilmsEveryFrameOrSaysWhatIsMissing) {
    EXPECT_NE(std::string::npos,
              run({"--film", "a.mp4"}, 1, {"PATH=/nowhere"}).find("ERR: --film needs ffmpeg"));
    if (runCommand({"sh", "-c", "command -v ffmpeg ffprobe >/dev/null"}) != 0)
        GTEST_SKIP() << "ffmpeg is not installed";
    run({"--film", "a.mp4", "--input", "in"}, 0);
    const std::string look =
        "ffprobe -v error -count_frames -show_entries stream=r_frame_rate,nb_read_frames "
        "-of csv=p=0 '" +
        directory + "/a.mp4' > '" + directory + "/looked'";
    ASSERT_EQ(0, runCommand({"sh", "-c", look}));
    EXPECT_EQ("60/1,20\n", readText(directory + "/looked"));
    run({"--film", "none/a.gif", "--frames", "300"}, 1);
    // Each picture of a GIF has a palette of its own: what stood still had indices into the one before.
    script("play.lua", R"(
frame = 0
function Init() end
function Draw()
  frame = frame + 1
  Depth(0) SetCam(2, 0) Tex(-1) BackColor(0.6, 0.6, 0, 1) Scale(0.1)
  for i = 1, 9 do Color(math.random(), math.random(), math.random()) Quad() Move(0.3, 0.2) end
end)");
    run({"--film", "a.gif", "--frames", "20"}, 0);
    ASSERT_EQ(0, runCommand({"ffmpeg", "-v", "error", "-i", directory + "/a.gif", "-vf", "select=eq(n\\,12)",
                             "-frames:v", "1", directory + "/gif.png"}));
    sf::Image picture;
    ASSERT_TRUE(picture.loadFromFile(directory + "/gif.png"));
    EXPECT_EQ(sf::Color(153, 153, 0), picture.getPixel(2, 2));
}

} // namespace
