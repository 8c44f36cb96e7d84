// String functions: calls and their results, bounds, and the printed warning.
#include "strfuncs.h"

#include <climits>
#include <gtest/gtest.h>

TEST(Strfuncs, ComparesWithLimitAndCase) {
    EXPECT_TRUE(strequal("Texture", "TEXTURE", false) && strequal("abX", "abY", 2, true) &&
                strequal(nullptr, "", true));
    EXPECT_FALSE(strequal("Texture", "TEXTURE", true) || strequal("ab", "abc", 3, true) ||
                 strequal("abc", "ab", true));
    EXPECT_FALSE(strequal("@[", "`{", false)); // 32 apart like letters, but none
    EXPECT_TRUE(strBeginsWith("abc", "AB", false) && strBeginsWith("abc", "", true));
    EXPECT_FALSE(strBeginsWith("ab", "abc", true));
}

TEST(Strfuncs, CopiesAndWritesNumbersWithinBounds) {
    char text[16] = "###############";
    strcopy("abcdef", text, 3);
    StrAppend(text, "xyZ", 2);
    EXPECT_EQ(std::string(text, 7), std::string("abcxy\0#", 7));
    const std::tuple<int, int, const char*> numbers[] = {
        {7, 3, "007"}, {-7, 3, "-007"}, {0, -1, "0"}, {1234, 2, "1234"}, {INT_MIN, -1, "-2147483648"}};
    for (const auto& [value, width, wanted] : numbers) {
        IntToStr(value, text, width);
        EXPECT_STREQ(text, wanted);
    }
    EXPECT_TRUE(numeric("012345678901234567890123456789x"));
    EXPECT_FALSE(numeric("-1") || numeric("") || numeric("01234567890123456789012345678x"));
    EXPECT_EQ(toint("0042") + toint("4294967297"), 43); // wraps
}

TEST(Strfuncs, FindsWordsAndSubstrings) {
    EXPECT_FALSE(findString("GL_ARB_multi", "GL_ARB_multi_ext AGL_ARB_multi") || findString("", "a  b"));
    EXPECT_TRUE(findString("GL_ARB_multi", "GL_ARB_multi_ext GL_ARB_multi"));
    EXPECT_EQ(searchString("abcabc", "bc", 2), 4);
    EXPECT_EQ(searchString("abc", "abcd", -5), -1);
    EXPECT_EQ(searchString("abc", "", 3), 3);
    char word[16] = "kept";
    EXPECT_FALSE(GetLineWord("", word, 0));
    EXPECT_STREQ(word, "kept");
    EXPECT_TRUE(GetLineWord("  al\tpha beta", word, 1));
    EXPECT_STREQ(word, "beta");
    EXPECT_FALSE(GetLineWord("  alpha beta", word, 2));
    EXPECT_STREQ(word, "");
}

TEST(Strfuncs, CutsLines) {
    std::string lines;
    testing::internal::CaptureStdout();
    for (const char* text : {"one\r\n\r\ntwo", "abc\nabcdefg\nh", "abcd", "abc\n"}) {
        for (int cursor = 0, calls = 0; cursor != -1 && calls < 9; calls++) {
            char line[] = "####@"; // a buffer of 4 bytes and a guard
            GetNextLine(text, cursor, line, 4);
            lines += "[" + std::string(line) + "]" + line[4];
        }
    }
    EXPECT_EQ(lines, "[one]@[two]@[abc]@[abc]@[]@[h]@[abc]@[]@[abc]@[]@");
    const std::string warning = "WARNING: reached maxlinelen of 4, truncating line\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), warning + warning);
}

TEST(Strfuncs, TakesNamesFromPaths) {
    const char* cases[][2] = {
        {"data/textures/stone.png", "stone"},
        {"data\\a.b.png", "a.b"},
        {"a.b/file", ""},
        {"file.tar.", "file"},
        {"", ""},
        {"0123456789012345678901234567890123456789.obj", "01234567890123456789012345678901"}};
    for (const auto& [path, wanted] : cases) {
        char name[33];
        GetFileNameNoExt(path, name);
        EXPECT_STREQ(name, wanted);
    }
}
