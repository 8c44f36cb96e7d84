// What has gone wrong in a run, for the exit status and for reports.
#pragma once

#include "options.h"

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

/// One thing that went wrong.
struct Finding {
    ExitStatus status;
    std::string text; ///< of any bytes; empty where nobody said more
};

/// The findings of a run in their order, at most one of each status. Any thread may ask.
class Findings {
public:
    /// A status that is known already keeps its text, unless that is empty.
    void Add(ExitStatus status, const std::string& text);
    /// Adds it, and prints one line of it to standard error.
    void Tell(ExitStatus status, const std::string& text);
    /// The run has come to its end: what was not found has not happened.
    void Complete() { complete = true; }
    bool IsComplete() const { return complete; }
    /// @return the first finding's, STATUS_FINE without any
    ExitStatus Status() const;
    std::vector<Finding> All() const;

private:
    mutable std::mutex guard;
    std::vector<Finding> found;
    std::atomic<bool> complete = false;
};
