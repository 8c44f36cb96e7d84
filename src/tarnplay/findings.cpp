// The list of findings.
#include "findings.h"

#include <algorithm>
#include <cstdio>

void Findings::Add(ExitStatus status, const std::string& text) {
    const std::lock_guard<std::mutex> lock(guard);
    const auto known = std::find_if(found.begin(), found.end(),
                                    [status](const Finding& finding) { return finding.status == status; });
    if (known == found.end())
        found.push_back({status, text});
    else if (known->text.empty())
        known->text = text;
}

void Findings::Tell(ExitStatus status, const std::string& text) {
    fprintf(stderr, "ERR: %s.\n", text.c_str());
    Add(status, text);
}

ExitStatus Findings::Status() const {
    const std::lock_guard<std::mutex> lock(guard);
    return found.empty() ? STATUS_FINE : found.front().status;
}

std::vector<Finding> Findings::All() const {
    const std::lock_guard<std::mutex> lock(guard);
    return found;
}
