// Runs whole programs against each other and prints what they needed, one sample a line:
//   SIDE <tab> MEASURE <tab> VALUE
// usage: whole_program ROUNDS SIDE COMMAND [SIDE COMMAND ...]
// The sides take turns in each round. A command is words between blanks, run without a shell. Measures are
//   frame       ms from starting the process to its output line "frame"
//   end         ms from starting the process to its end
//   memory      MiB, the largest resident set
//   result ...  the last word of an output line that begins with "result"
//   check ...   the same for "check"
// A command that fails or hangs ends everything with status 1.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr unsigned kLongestRun = 300; // seconds
constexpr double kMillisecond = 1e-3;

using Clock = std::chrono::steady_clock;

struct Side {
    std::string name;
    std::string command;
};

double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count() / kMillisecond;
}

void sample(const Side& side, const std::string& measure, const std::string& value) {
    printf("%s\t%s\t%s\n", side.name.c_str(), measure.c_str(), value.c_str());
}

void sample(const Side& side, const std::string& measure, double value) {
    sample(side, measure, std::to_string(value));
}

// The child's part: never returns.
[[noreturn]] void become(const std::string& command, int output) {
    dup2(output, STDOUT_FILENO);
    std::istringstream text(command);
    std::vector<std::string> words;
    for (std::string word; text >> word;)
        words.push_back(word);
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(&word[0]);
    arguments.push_back(nullptr);
    alarm(kLongestRun); // outlives exec
    execvp(arguments[0], arguments.data());
    perror(arguments[0]);
    _exit(127);
}

void readLine(const Side& side, const std::string& line, Clock::time_point start) {
    if (line == "frame")
        sample(side, line, millisecondsSince(start));
    if (line.rfind("result ", 0) != 0 && line.rfind("check ", 0) != 0)
        return;
    const std::size_t value = line.rfind(' ');
    sample(side, line.substr(0, value), line.substr(value + 1));
}

// Reads the child's lines as they come, until it closes its output.
void readOutput(const Side& side, int input, Clock::time_point start) {
    std::string line;
    char text[4096];
    for (ssize_t got; (got = read(input, text, sizeof text)) > 0;)
        for (ssize_t i = 0; i < got; ++i) {
            if (text[i] != '\n') {
                line += text[i];
                continue;
            }
            readLine(side, line, start);
            line.clear();
        }
}

bool runOnce(const Side& side) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return false;
    const Clock::time_point start = Clock::now();
    const pid_t child = fork();
    if (child == 0)
        become(side.command, ends[1]);
    close(ends[1]);
    readOutput(side, ends[0], start);
    close(ends[0]);
    int status = 0;
    rusage usage = {};
    wait4(child, &status, 0, &usage);
    sample(side, "end", millisecondsSince(start));
    sample(side, "memory", static_cast<double>(usage.ru_maxrss) / 1024);
    if (child > 0 && status == 0)
        return true;
    fprintf(stderr, "ERR: %s failed: %s\n", side.name.c_str(), side.command.c_str());
    return false;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<Side> sides;
    for (int i = 2; i + 1 < argc; i += 2)
        sides.push_back({argv[i], argv[i + 1]});
    if (sides.empty()) {
        fputs("usage: whole_program ROUNDS SIDE COMMAND [SIDE COMMAND ...]\n", stderr);
        return 2;
    }
    setvbuf(stdout, nullptr, _IOLBF, 0); // a child must not inherit a full buffer
    for (int round = std::atoi(argv[1]); round > 0; --round)
        for (const Side& side : sides)
            if (!runOnce(side))
                return 1;
    return 0;
}
