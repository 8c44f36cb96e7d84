// Data blocks: growth, text, the cursor reader on sound and broken input, files and the log.
#include "datablock.h"

#include <climits>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <unistd.h>
#ifndef _WIN32
#include <sys/resource.h>
#include <sys/stat.h>
#endif

namespace fs = std::filesystem;

namespace {

std::string textOf(const DataBlock& block) {
    return std::string(reinterpret_cast<char*>(block.Ptr()), static_cast<size_t>(block.Len()));
}

std::string contentOf(const char* file) {
    std::ifstream stream(file); // as text: the log is one
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

/// Runs in a fresh working directory.
class DataBlockFiles : public testing::Test {
protected:
    const fs::path before = fs::current_path(),
                   directory = testing::TempDir() + "/datablock_" + std::to_string(getpid());

    void SetUp() override {
        fs::create_directory(directory);
        fs::current_path(directory);
    }
    void TearDown() override {
        fs::current_path(before);
        fs::remove_all(directory);
    }
};

} // namespace

TEST(DataBlock, GrowsByDoublingFrom32) {
    const int cases[][3] = {{0, 5, 32}, {0, 40, 64}, {48, 1, 96}, {0, 32, 32}, {5, INT_MAX, 5}, {5, -2, 5}};
    for (const auto& [start, added, dim] : cases) {
        DataBlock block;
        block.Resize(start);
        block.Append(static_cast<const unsigned char*>(nullptr), added);
        EXPECT_EQ(block.dim, dim);
        EXPECT_EQ(block.Len(), dim == 5 ? 5 : start + added); // what cannot be changes nothing
    }
}

TEST(DataBlock, KeepsTerminatorsWhereTheyBelong) {
    const char* paths[][3] = {{"data\\textures/stone.PNG", "data\\textures/", "PNG"},
                              {"dir.old/model", "dir.old/", "old/model"},
                              {"model", "", ""}};
    for (const auto& [path, folder, format] : paths) {
        DataBlock name;
        name.AssignFromDirectory(path);
        EXPECT_EQ(textOf(name), std::string(folder, strlen(folder) + 1));
        name.SetString(path);
        name.AssignFromFileFormat(name.CStr()); // its own bytes
        EXPECT_EQ(textOf(name), format);
    }
    DataBlock block("abc"), empty;
    EXPECT_TRUE(block.IsEqual("abc") && block.dim == 6 && empty.IsEqual(""));
    block.Append(&block);
    block.Append(&block); // its own bytes, while the storage moves
    EXPECT_TRUE(block.IsEqual("abcabcabcabc") && block.Len() == 12);
}

TEST(DataBlock, ReadsWordsAndTellsWhereLinesEnd) {
    std::mt19937 random(11);
    for (int round = 0; round < 3000; round++) {
        std::string text, joined, wanted;
        for (unsigned n = random() % 90; n > 0; n--)
            text +=
                "ab\tcdefghijklm \r\n"[random() % (round % 2 ? 16 : 13)]; // without separators: long words
        DataBlock block(text.c_str());
        for (int pos = 0, calls = 0; !block.EOFile() && calls < 100; calls++) {
            char word[32];
            const bool ended = block.GetData(&pos, "w", word);
            joined += word;
            if (word[0] != 0) {
                const bool complete = pos == block.Len() || strchr(" \r\n", text[size_t(pos)]);
                ASSERT_EQ(ended, strchr("\r\n", text[size_t(pos) - 1]) != nullptr) << text;
                ASSERT_TRUE(ended || complete || strlen(word) == 31) << text;
            }
        }
        for (char c : text)
            wanted += strchr(" \r\n", c) ? "" : std::string(1, c);
        ASSERT_TRUE(joined == wanted && block.EOFile()) << text;
    }
}

TEST(DataBlock, ReadsWhatItAppends) {
    DataBlock block;
    block.AppendData("cf?ic", 300, 1.5, INT_MIN, 'z');
    int pos = -3, i;
    char c[2];
    float f;
    EXPECT_FALSE(block.GetData(&pos, "cf?ic", &c[0], &f, &i, &c[1]));
    EXPECT_TRUE(c[0] == 44 && f == 1.5f && i == INT_MIN && c[1] == 'z' && pos == 10 && block.Len() == 10);
    for (int start : {7, 10, INT_MAX}) { // too little left
        pos = start;
        block.GetData(&pos, "fi", &f, &i);
        EXPECT_TRUE(f == 0.0f && i == 0 && pos == 10);
    }
    pos = 5;
    EXPECT_TRUE(block.SetData(&pos, "ic", 99, 'y') && !block.SetData(&pos, "c", 'x') && block.data[5] == 99);
    block.SkipData(&pos, "fff", INT_MAX);
    EXPECT_EQ(pos, INT_MAX);
}

TEST(DataBlock, WalksLines) {
    DataBlock block("ab\r\n\r\ncd");
    for (const auto& [from, next, beginning] : {std::tuple(1, 6, 0), {6, 8, 6}, {-5, 6, 0}, {99, 99, 6}}) {
        int forward = from, back = from;
        block.SkipToNextLine(&forward);
        block.ToBeginningOfLine(&back);
        EXPECT_TRUE(forward == next && back == beginning) << from;
    }
}

#ifndef _WIN32
TEST_F(DataBlockFiles, ReplacesThroughLinksButNotPipes) {
    fs::create_directory("sub");
    std::ofstream("sub/file") << "old content";
    fs::permissions("sub/file", fs::perms(0640));
    fs::create_symlink("sub/file", "link");
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    DataBlock block, read("old");
    block.SetString("new");
    for (const char* name : {"link", "pipe", "sub", "none/file", ""}) // the pipe would wait for a reader
        block.WriteFile(name);
    EXPECT_FALSE(read.ReadFile("pipe") || read.ReadFile("sub") || read.ReadFile("none") ||
                 !read.IsEqual("old"));
    EXPECT_TRUE(read.ReadFile("sub\\file") && textOf(read) == "new");
    EXPECT_TRUE(fs::is_symlink("link") && fs::status("link").permissions() == fs::perms(0640));
    DataBlock().WriteFile("link");
    EXPECT_TRUE(read.ReadFile("link") && read.Len() == 0);
}

TEST_F(DataBlockFiles, FailedWriteLeavesTheOldFile) {
    std::ofstream("file") << "old";
    rlimit limit;
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit small = {4096, limit.rlim_max}; // as if the disk were full
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    DataBlock(std::string(100000, 'x').c_str()).WriteFile("file");
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(contentOf("file"), "old");
    EXPECT_EQ(std::distance(fs::directory_iterator("."), {}), 1);
}

TEST_F(DataBlockFiles, WritesInPlaceWhereTheDirectoryForbidsNewFiles) {
    for (const char* name : {"file", "sealed"})
        std::ofstream(name) << "old text";
    fs::permissions("file", fs::perms(0666));
    fs::permissions("sealed", fs::perms(0444));
    fs::permissions(".", fs::perms(0555));
    const uid_t user = geteuid();
    ASSERT_EQ(user == 0 ? seteuid(65534) : 0, 0); // root may write anywhere
    for (const char* name : {"file", "sealed", "another"})
        DataBlock("new").WriteFile(name);
    ASSERT_EQ(seteuid(user), 0);
    fs::permissions(".", fs::perms(0755));
    EXPECT_EQ(contentOf("file") + contentOf("sealed") + contentOf("another"), "newold text");
}
#endif

TEST_F(DataBlockFiles, LogsFloats) {
    FloatDataBlock values;
    values.AddVal(1.5f);
    values.AddVal(1e-7f);
    values.Append('x'); // no whole float
    EXPECT_EQ(values.GetVal(0) + values.GetVal(2) + values.GetVal(-1), 1.5f);
    LogBuffFloats(&values, "pos");
    EXPECT_EQ(contentOf("TNLOG.txt"), "pos, Contains 2 floats.\n1.5 1e-07 ");
    ClearLog();
    EXPECT_EQ(contentOf("TNLOG.txt"), "");
}
