// Starting a display in memory.
#include "privatedisplay.h"

#include "display.h"
#include "findings.h"

#ifdef __linux__

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kLeastWidth = 1920; // what "-r max" gets
constexpr int kLeastHeight = 1080;
constexpr int kPatience = 30000; // ms
constexpr int kNotFound = 127;   // exit status of a child that could not become the server

std::string screenFor(const Options& options) {
    int width = kLeastWidth;
    int height = kLeastHeight;
    if (options.sizeWords.size() >= 3) {
        width = std::max(width, atoi(options.sizeWords[1].c_str()));
        height = std::max(height, atoi(options.sizeWords[2].c_str()));
    }
    return std::to_string(width) + 'x' + std::to_string(height) + "x24";
}

// In the child process. It is never ended from here: libraries still talk to the display when the program's
// own code has ended. The parent may have gone before its end could be asked for.
[[noreturn]] void becomeServer(int output, const std::string& screen, pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent)
        _exit(kNotFound);
    setsid(); // or a Ctrl-C would end it before this program has closed its window
    const int nowhere = open("/dev/null", O_RDWR);
    for (const int standard : {0, 1, 2})
        dup2(nowhere, standard);
    const std::string number = std::to_string(output);
    execlp("Xvfb", "Xvfb", "-displayfd", number.c_str(), "-screen", "0", screen.c_str(), "-noreset",
           "-nolisten", "tcp", static_cast<char*>(nullptr));
    _exit(kNotFound);
}

// The display's number, which the server writes when it is ready; empty when it does not get there.
std::string readNumber(int input) {
    std::string number;
    for (char c = 0; c != '\n'; number += c) {
        pollfd ready{input, POLLIN, 0};
        if (poll(&ready, 1, kPatience) != 1 || read(input, &c, 1) != 1)
            return "";
    }
    number.pop_back();
    return number;
}

// @return the exit status, -1 for a signal
int endProcess(pid_t process) {
    int status = 0;
    kill(process, SIGTERM);
    waitpid(process, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

bool StartDisplayWhereMissing(const Options& options, Findings& findings) {
    int ends[2];
    if (HasDisplay() || pipe(ends) != 0)
        return true;
    const std::string screen = screenFor(options);
    const pid_t parent = getpid();
    const pid_t server = fork();
    if (server == 0) {
        close(ends[0]);
        becomeServer(ends[1], screen, parent);
    }
    close(ends[1]);
    const std::string number = server > 0 ? readNumber(ends[0]) : "";
    close(ends[0]);
    if (!number.empty()) {
        setenv("DISPLAY", (":" + number).c_str(), 1);
        if (options.frames == 0 && options.timeLimit == 0 && options.input.empty())
            fprintf(stderr,
                    "No display: the script runs in memory, where nobody can press Escape. --frames or "
                    "--time-limit ends it.\n");
        return true;
    }
    const bool missing = server > 0 && endProcess(server) == kNotFound;
    findings.Tell(STATUS_SCRIPT_ERROR,
                  std::string("there is no display here, and Xvfb, which ") +
                      (missing
                           ? "would make one in memory, is missing: install it (Debian: apt install xvfb) "
                             "or set DISPLAY"
                           : "makes one in memory, did not start"));
    return false;
}

#else

bool StartDisplayWhereMissing(const Options&, Findings&) {
    return true;
}

#endif
