// FileWatch with the system's notices and without them.
#include "watch.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>

namespace fs = std::filesystem;

namespace {

class FileWatchTest : public testing::TestWithParam<bool> {
protected:
    FileWatchTest() : root(mkdtemp((fs::temp_directory_path() / "tarn_watch_XXXXXX").string().data())) {
        write("old.lua", "1");
    }
    ~FileWatchTest() override { fs::remove_all(root); }

    void write(const std::string& name, const std::string& text) { std::ofstream(root + '/' + name) << text; }
    /// The changes up to the one of that file; empty when it is not told within seconds.
    static std::vector<std::string> until(FileWatch& watch, const std::string& path) {
        std::vector<std::string> told;
        for (int i = 0; i < 1000 && std::count(told.begin(), told.end(), path) == 0; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            for (const std::string& changed : watch.Changes())
                told.push_back(changed);
        }
        return told;
    }
    const std::string root;
};

} // namespace

TEST_P(FileWatchTest, TellsWrittenRenamedRemovedAndNewDirectories) {
    using List = std::vector<std::string>;
    FileWatch watch({root}, GetParam());
    EXPECT_EQ(List(), watch.Changes()) << "what was there before";
    write("old.lua", "22");
    EXPECT_EQ(List({root + "/old.lua"}), until(watch, root + "/old.lua"));
    write("new.tmp", "333");
    fs::rename(root + "/new.tmp", root + "/old.lua");
    EXPECT_EQ(root + "/old.lua", until(watch, root + "/old.lua").back());
    until(watch, "nothing more");
    fs::remove(root + "/old.lua");
    EXPECT_EQ(List({root + "/old.lua"}), until(watch, root + "/old.lua"));
    fs::create_directories(root + "/a/b");
    write("a/b/deep.lua", "1");
    EXPECT_EQ(List({root + "/a/b/deep.lua"}), until(watch, root + "/a/b/deep.lua"));
}

TEST_P(FileWatchTest, TellsAFileThatIsWrittenInStepsOnce) {
    FileWatch watch({root}, GetParam());
    std::ofstream file(root + "/steps.lua");
    for (int i = 0; i < 5; ++i)
        file << std::string(100, 'x') << std::flush;
    if (GetParam()) {
        std::this_thread::sleep_for(2 * FileWatch::kSettleTime);
        EXPECT_TRUE(watch.Changes().empty()) << "its writer has not closed it";
    }
    file.close();
    EXPECT_EQ(1u, until(watch, root + "/steps.lua").size());
}

TEST_P(FileWatchTest, TellsOfFilesAloneAndOfWhatLinksLeadTo) {
    fs::create_directory(root + "/watched");
    fs::create_symlink("../old.lua", root + "/watched/link.lua");
    write("alone.lua", "1");
    FileWatch watch({root + "/watched", root + "/alone.lua"}, GetParam());
    EXPECT_TRUE(watch.Changes().empty());
    write("old.lua", "22");
    EXPECT_EQ(1u, until(watch, root + "/watched/link.lua").size());
    write("alone.lua", "22");
    EXPECT_EQ(1u, until(watch, root + "/alone.lua").size());
}

INSTANTIATE_TEST_SUITE_P(, FileWatchTest, testing::Bool(),
                         [](const auto& notices) { return notices.param ? "Notices" : "Comparison"; });
