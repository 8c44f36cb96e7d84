// Directory listing on every platform, over files that data blocks write and replace.
#include "dirent_shim.h"

#include "datablock.h"
#include "strfuncs.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <vector>

TEST(DirentShim, ListsWhatWasWritten) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(testing::TempDir());
    std::filesystem::create_directory("listed");
    const std::vector<std::string> written = {".", "..", "a b.lua", "\xc3\xa4\xe2\x82\xac.moon"};
    for (const char* content : {"first", "second, longer"}) {
        for (std::size_t i = 2; i < written.size(); ++i)
            DataBlock(content).WriteFile(("listed\\" + written[i]).c_str());
    }
    for (const char* name : {"listed", ".\\listed\\"}) {
        DIR* directory = opendir(nativePath(name).c_str());
        ASSERT_NE(nullptr, directory);
        std::vector<std::string> names;
        while (const dirent* entry = readdir(directory))
            names.push_back(entry->d_name);
        EXPECT_EQ(nullptr, readdir(directory));
        EXPECT_EQ(0, closedir(directory));
        std::sort(names.begin(), names.end());
        EXPECT_EQ(written, names);
    }
    for (std::size_t i = 2; i < written.size(); ++i) {
        DataBlock read;
        EXPECT_TRUE(read.ReadFile(("listed/" + written[i]).c_str()) && read.IsEqual("second, longer"));
    }
    EXPECT_EQ(nullptr, opendir("absent"));
    EXPECT_EQ(ENOENT, errno);
    std::filesystem::remove_all("listed");
    std::filesystem::current_path(before);
}
