#include "inputscript.h"
#include "picturehash.h"
#include "picturelog.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <random>
#include <sstream>

namespace {

struct Wrong {
    const char* line;
    const char* message;
};

class WrongLine : public testing::TestWithParam<Wrong> {};

TEST_P(WrongLine, IsToldWithWhatIsWrong) {
    EXPECT_EQ(GetParam().message, InputScript().Read(GetParam().line));
}

INSTANTIATE_TEST_SUITE_P(
    InputScript, WrongLine,
    testing::Values(
        Wrong{"3 key Spacebar down", "there is no key \"Spacebar\""},
        Wrong{"3 key 101 up", "there is no key \"101\""},
        Wrong{"3 key A press", "neither \"down\" nor \"up\": \"press\""},
        Wrong{"3 key A", "wanted is: FRAME key NAME down|up"},
        Wrong{"3 button fourth down", "there is no button \"fourth\""},
        Wrong{"3 pointer 3 0x10", "no pixel: \"0x10\""}, Wrong{"3 wheel", "wanted is: FRAME wheel up|down"},
        Wrong{"3 resize 0 9", "no size: \"0\""}, Wrong{"0 key A up", "no frame: \"0\""},
        Wrong{"99999999999 key A up", "no frame: \"99999999999\""},
        Wrong{"7 # what?", "nothing happens in this frame"},
        Wrong{"3 hash 12", "wanted is: FRAME hash and 16 hexadecimal digits"},
        Wrong{"save best %+4",
              "neither a frame nor seed N, size WIDTH HEIGHT, shaders off, frames N, save KEY TEXT: "
              "\"save\""},
        Wrong{"3 \x1b[2J", "there is no event \"?[2J\""}));

TEST(InputScript, WritesTheLinesThatItReads) {
    InputScript script;
    for (const char* line :
         {"1 key A down", "2 key F15 up", "3 pointer -4 200", "4 button x2 down", "5 button left up",
          "6 wheel up", "7 wheel down", "8 resize 30 40", "9 key Unknown down"}) {
        ASSERT_EQ("", script.Read(line));
        EXPECT_EQ(line, InputLine(script.events.back()));
    }
    EXPECT_EQ("", script.Read("  12\tkey return down # the other name of Enter\r"));
    EXPECT_EQ("12 key Enter down", InputLine(script.events.back()));
    EXPECT_EQ("", script.Read("seed 4294967295"));
    EXPECT_EQ(4294967295u, script.seed);
}

TEST(InputScript, KeepsSavesOfAnyTextAndLength) {
    const std::map<std::string, std::string> saves{{"my best #1.txt", "100 %\n\t# \xc3\xa4 \x80\x01"},
                                                   {"none", ""},
                                                   {"long", std::string(999, '#') + 'x'}};
    InputScript script;
    for (const auto& [key, text] : saves) {
        std::istringstream lines(SaveLines(key, text));
        for (std::string line; std::getline(lines, line);)
            ASSERT_EQ("", script.Read(line)) << line;
    }
    EXPECT_EQ(saves, script.saves);
    EXPECT_EQ("", SaveLines(std::string(5000, 'k'), "no path is that long"));
}

// The numbers are those of the hash's own library.
TEST(PictureHash, IsTheWellKnownOne) {
    unsigned char bytes[101];
    for (int i = 0; i < 101; ++i)
        bytes[i] = static_cast<unsigned char>(i * 7);
    EXPECT_EQ(0xef46db3751d8e999, PictureHash(bytes, 0));
    EXPECT_EQ(0x42312f4d55d9bd17, PictureHash(bytes, 101));
}

// Pictures of noise, of few colours and of small changes; then the file cut anywhere and with wrong bytes.
TEST(PictureLog, GivesBackEveryPictureAndSurvivesDamage) {
    const std::string path = testing::TempDir() + "tarn_picturelog";
    std::mt19937 random(5);
    std::vector<Picture> pictures(12);
    {
        PictureLog log(path, 1 << 20);
        for (int i = 0; i < 12; ++i) {
            Picture& now = pictures[i];
            now.width = i < 6 ? 17 : 9, now.height = 11;
            for (int pixel = 0; pixel < now.width * now.height; ++pixel)
                now.pixels.push_back(0xff000000 | random() % (i % 3 == 0 ? 1 << 24 : i % 3 == 1 ? 2 : 1));
            log.Add(i * 2 + 1, now);
        }
    }
    Picture read;
    EXPECT_FALSE(ReadLoggedPicture(path, 0, read));
    for (int i = 0; i < 12; ++i)
        EXPECT_TRUE(ReadLoggedPicture(path, i * 2 + 2, read) && read.Hash() == pictures[i].Hash()) << i;
    for (auto size = std::filesystem::file_size(path); size > 40; size -= 40) {
        std::filesystem::resize_file(path, size - 1);
        FILE* file = fopen(path.c_str(), "r+b");
        fseek(file, static_cast<long>(random() % size), SEEK_SET);
        fputc(static_cast<int>(random() % 256), file);
        fclose(file);
        Picture damaged;
        ReadLoggedPicture(path, 99, damaged);
    }
    std::filesystem::resize_file(path, 15);
    EXPECT_FALSE(ReadLoggedPicture(path, 99, read));
}

} // namespace
