// Watching files through the system's notices, or by their times and sizes.
#include "watch.h"

#include <system_error>
#ifdef __linux__
#include <sys/inotify.h>
#include <unistd.h>
#endif

namespace fs = std::filesystem;

namespace {

// Without notices. Each comparison asks the system about every file.
constexpr std::chrono::milliseconds kComparisonTime(40);

constexpr auto kFollow =
    fs::directory_options::follow_directory_symlink | fs::directory_options::skip_permission_denied;

} // namespace

FileStamps ScanFiles(const std::vector<std::string>& roots) {
    FileStamps found;
    const auto note = [&found](const fs::directory_entry& entry) {
        std::error_code unreadable;
        const FileStamp stamp{entry.last_write_time(unreadable), entry.file_size(unreadable)};
        if (!unreadable && entry.is_regular_file(unreadable))
            found.emplace(entry.path().string(), stamp);
    };
    std::error_code error;
    for (const std::string& root : roots) {
        if (fs::is_regular_file(root, error))
            note(fs::directory_entry(root, error));
        fs::recursive_directory_iterator entry(root, kFollow, error);
        for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error))
            note(*entry);
    }
    return found;
}

FileWatch::FileWatch(std::vector<std::string> places, bool mayNotify)
    : roots(std::move(places)), notices(-1) {
#ifdef __linux__
    if (mayNotify)
        notices = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
#else
    (void)mayNotify;
#endif
    if (notices < 0)
        stamps = ScanFiles(roots);
    else
        for (const std::string& root : roots)
            privWatchRoot(root);
}

FileWatch::~FileWatch() {
#ifdef __linux__
    if (notices >= 0)
        close(notices);
#endif
}

std::vector<std::string> FileWatch::Changes() {
    const Clock::time_point now = Clock::now();
    if (notices >= 0)
        privReadNotices();
    else if (now >= nextComparison)
        privCompareFiles();
    std::vector<std::string> settled;
    if (changing.empty())
        quietUntil = now + 4 * kSettleTime;
    bool unsettled = false;
    for (const auto& change : changing)
        unsettled = unsettled || (open.count(change.first) == 0 && now - change.second < kSettleTime);
    unsettled = unsettled && now < quietUntil; // a file that is written all the time holds nobody up
    // Files that were saved together are told together.
    for (auto change = changing.begin(); change != changing.end() && !unsettled;) {
        if (open.count(change->first) == 0) {
            settled.push_back(change->first);
            change = changing.erase(change);
        } else {
            ++change;
        }
    }
    return settled;
}

std::vector<std::string> FileWatch::Settling() const {
    std::vector<std::string> paths;
    for (const auto& change : changing)
        if (open.count(change.first) == 0)
            paths.push_back(change.first);
    return paths;
}

// ---- By comparison

void FileWatch::privCompareFiles() {
    const Clock::time_point now = Clock::now();
    nextComparison = now + kComparisonTime;
    FileStamps found = ScanFiles(roots);
    for (const auto& file : found) {
        const auto before = stamps.find(file.first);
        if (before == stamps.end() || !(before->second == file.second))
            changing[file.first] = now;
    }
    for (const auto& file : stamps)
        if (found.count(file.first) == 0)
            changing[file.first] = now;
    stamps.swap(found);
}

// ---- By notices

#ifdef __linux__

namespace {

constexpr unsigned kKinds =
    IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE | IN_DELETE | IN_ONLYDIR;

}

void FileWatch::privWatchRoot(const std::string& root) {
    std::error_code error;
    if (fs::is_regular_file(root, error))
        privFollow(root);
    else
        privWatchTree(root, false);
}

// Watches a file where it lies, and where it leads to if it is a link: editors write there.
void FileWatch::privFollow(const std::string& path) {
    std::error_code error;
    const fs::path file(path);
    for (const fs::path& place :
         {fs::canonical(file.parent_path(), error) / file.filename(), fs::canonical(file, error)}) {
        const int number = inotify_add_watch(notices, place.parent_path().c_str(), kKinds);
        if (number >= 0)
            followed[{number, place.filename().string()}].insert(path);
    }
}

// @param report whether the files that are there have just come to be
void FileWatch::privWatchTree(const std::string& directory, bool report) {
    const int number = inotify_add_watch(notices, directory.c_str(), kKinds);
    if (number < 0)
        return;
    watched[number] = directory;
    privWatchFiles(directory, report);
}

// Of a directory that has just been put under watch: what came before that has no notice.
void FileWatch::privWatchFiles(const std::string& directory, bool report) {
    std::error_code error;
    fs::directory_iterator entry(directory, kFollow, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        std::error_code unreadable;
        if (entry->is_directory(unreadable))
            privWatchTree(entry->path().string(), report);
        else if (report)
            changing[entry->path().string()] = Clock::now();
        if (entry->is_symlink(unreadable) && entry->is_regular_file(unreadable))
            privFollow(entry->path().string());
    }
}

void FileWatch::privReadNotices() {
    alignas(inotify_event) char buffer[16384];
    for (ssize_t length; (length = read(notices, buffer, sizeof buffer)) > 0;) {
        for (ssize_t at = 0; at < length;) {
            const auto* notice = reinterpret_cast<const inotify_event*>(buffer + at);
            at += static_cast<ssize_t>(sizeof(inotify_event) + notice->len);
            if (notice->mask & IN_Q_OVERFLOW)
                privNoteAll();
            const auto directory = watched.find(notice->wd);
            if (notice->len > 0)
                privTakeNoticeOfFollowed(notice->wd, notice->mask, notice->name);
            if (directory == watched.end())
                continue;
            if (notice->mask & IN_IGNORED)
                watched.erase(directory);
            else if (notice->len > 0)
                privTakeNotice(directory->second, notice->mask, notice->name);
        }
    }
}

void FileWatch::privTakeNoticeOfFollowed(int number, unsigned kind, const std::string& name) {
    const auto paths = followed.find({number, name});
    if (paths == followed.end() || kind & (IN_ISDIR | IN_CREATE))
        return;
    for (const std::string& path : paths->second)
        privNote(path, kind);
}

void FileWatch::privTakeNotice(const std::string& directory, unsigned kind, const std::string& name) {
    const std::string path = directory + '/' + name;
    if (kind & IN_ISDIR) {
        if (kind & (IN_CREATE | IN_MOVED_TO))
            privWatchTree(path, true);
        return;
    }
    std::error_code error;
    const bool isLink = kind & (IN_CREATE | IN_MOVED_TO) && fs::is_symlink(path, error);
    if (isLink)
        privFollow(path);
    if (isLink || !(kind & IN_CREATE)) // the writer of a new file has yet to close it
        privNote(path, kind);
}

void FileWatch::privNote(const std::string& path, unsigned kind) {
    changing[path] = Clock::now();
    if (kind & IN_MODIFY)
        open.insert(path);
    else
        open.erase(path);
}

// So much has happened that notices were lost.
void FileWatch::privNoteAll() {
    open.clear();
    for (const auto& file : ScanFiles(roots))
        changing[file.first] = Clock::now();
}

#else

void FileWatch::privReadNotices() {}
void FileWatch::privWatchTree(const std::string&, bool) {}
void FileWatch::privWatchFiles(const std::string&, bool) {}
void FileWatch::privTakeNotice(const std::string&, unsigned, const std::string&) {}
void FileWatch::privTakeNoticeOfFollowed(int, unsigned, const std::string&) {}
void FileWatch::privNote(const std::string&, unsigned) {}
void FileWatch::privWatchRoot(const std::string&) {}
void FileWatch::privFollow(const std::string&) {}
void FileWatch::privNoteAll() {}

#endif
