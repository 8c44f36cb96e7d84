// FileWatch: tells which files, or files below which directories, have been written.
#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

// A file counts as written once its writer has closed it or another file was renamed to its name, and then
// nothing has happened to it for kSettleTime: editors write in several steps, and save several files at once.
// Directories may come and go. Where the system does not tell about changes, times and sizes of all files are
// compared a few times a second.

/// What tells one state of a file from another.
struct FileStamp {
    std::filesystem::file_time_type time;
    std::uintmax_t size;
    bool operator==(const FileStamp& other) const { return time == other.time && size == other.size; }
};

/// By path.
using FileStamps = std::map<std::string, FileStamp>;

/// @param roots files, and directories with all below them; links to either are followed
FileStamps ScanFiles(const std::vector<std::string>& roots);

/// See the top of this file. Links are followed: a file is told by the path of each link to it.
class FileWatch {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::milliseconds kSettleTime{15};

    /// @param places files, and directories with all below them
    /// @param mayNotify false: compare times and sizes
    explicit FileWatch(std::vector<std::string> places, bool mayNotify = true);
    ~FileWatch();
    FileWatch(const FileWatch&) = delete;
    FileWatch& operator=(const FileWatch&) = delete;

    /// Waits for nothing.
    /// @return the files that were written or removed since the last call, as paths that begin with one of
    ///         the places
    std::vector<std::string> Changes();

    /// @return the files that Changes will tell soon unless they are written again
    std::vector<std::string> Settling() const;

private:
    void privWatchRoot(const std::string& root);
    void privFollow(const std::string& path);
    void privWatchTree(const std::string& directory, bool report);
    void privWatchFiles(const std::string& directory, bool report);
    void privReadNotices();
    void privTakeNotice(const std::string& directory, unsigned kind, const std::string& name);
    void privTakeNoticeOfFollowed(int number, unsigned kind, const std::string& name);
    void privNote(const std::string& path, unsigned kind);
    void privCompareFiles();
    void privNoteAll();

    const std::vector<std::string> roots;
    int notices;                        // descriptor of the system's notices; -1: there are none
    std::map<int, std::string> watched; // directory of each of the system's watch numbers
    // By watch number and name in its directory: the paths that lead there.
    std::map<std::pair<int, std::string>, std::set<std::string>> followed;
    FileStamps stamps;                                 // without notices: of each file
    Clock::time_point nextComparison;                  // without notices
    std::map<std::string, Clock::time_point> changing; // when something happened to it last
    std::set<std::string> open;                        // of these: writers have not closed them yet
    Clock::time_point quietUntil;                      // until then, changes wait for each other
};
