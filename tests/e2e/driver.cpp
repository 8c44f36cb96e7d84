// Processes, display and files behind the end-to-end tests.
#include "driver.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr int kLimitSteps = 1500; // of 20 ms each

pid_t displayServer = 0;

std::vector<char*> pointers(const std::vector<std::string>& words) {
    std::vector<char*> result;
    for (const std::string& word : words)
        result.push_back(const_cast<char*>(word.c_str()));
    result.push_back(nullptr);
    return result;
}

void sleepStep() {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

int countOf(const std::string& text, const std::string& part) {
    int count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size())
        ++count;
    return count;
}

} // namespace

int runCommand(const std::vector<std::string>& command) {
    const pid_t child = fork();
    if (child == 0) {
        execvp(command[0].c_str(), pointers(command).data());
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) != 127 ? WEXITSTATUS(status) : -1;
}

std::string readText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void writeText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

// ---- Program ----

Program::Program(const std::string& name, const std::vector<std::string>& arguments,
                 const std::string& directory, const std::vector<std::string>& environment)
    : pid(0), status(0), outputFile(directory + "/" + name + ".out") {
    std::vector<std::string> words{std::string(TARN_BINARY_DIR) + "/" + name};
    words.insert(words.end(), arguments.begin(), arguments.end());
    pid = fork();
    if (pid != 0)
        return;
    const int out = open(outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(out, 1);
    dup2(out, 2);
    for (const std::string& setting : environment)
        putenv(const_cast<char*>(setting.c_str()));
    if (chdir(directory.c_str()) == 0)
        execv(words[0].c_str(), pointers(words).data());
    perror(words[0].c_str());
    _exit(127);
}

Program::~Program() {
    if (running())
        kill(pid, SIGKILL), waitpid(pid, &status, 0);
}

std::string Program::Output() const {
    return readText(outputFile);
}

bool Program::running() {
    if (pid > 0 && waitpid(pid, &status, WNOHANG) == pid)
        pid = 0;
    return pid > 0;
}

testing::AssertionResult Program::WaitFor(const std::string& text, int count) {
    for (int i = 0; i < kLimitSteps; ++i) {
        const bool alive = running();
        if (countOf(Output(), text) >= count)
            return testing::AssertionSuccess();
        if (!alive)
            return testing::AssertionFailure()
                   << "the program ended (status " << status << ") after " << Output();
        sleepStep();
    }
    return testing::AssertionFailure() << "nothing like it in " << Output();
}

int Program::WaitForExit() {
    for (int i = 0; i < kLimitSteps && running(); ++i)
        sleepStep();
    return !running() && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// ---- Display, working directory, devices ----

void EndToEnd::SetUpTestSuite() {
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    const std::string screen = std::to_string(kScreenWidth) + "x" + std::to_string(kScreenHeight) + "x24";
    displayServer = fork();
    if (displayServer == 0) {
        close(ends[0]);
        const std::string writeEnd = std::to_string(ends[1]);
        freopen("/dev/null", "w", stderr);
        execlp("Xvfb", "Xvfb", "-displayfd", writeEnd.c_str(), "-screen", "0", screen.c_str(), "-nolisten",
               "tcp", "-noreset", nullptr);
        _exit(127);
    }
    close(ends[1]);
    std::string number;
    for (char c = 0; read(ends[0], &c, 1) == 1 && c != '\n';)
        number += c;
    close(ends[0]);
    ASSERT_FALSE(number.empty()) << "Xvfb did not start";
    setenv("DISPLAY", (":" + number).c_str(), 1);
    setenv("ALSOFT_DRIVERS", "null", 1);
}

void EndToEnd::TearDownTestSuite() {
    kill(displayServer, SIGTERM);
    waitpid(displayServer, nullptr, 0);
}

void EndToEnd::SetUp() {
    std::string name = (fs::temp_directory_path() / "tarn_e2e_XXXXXX").string();
    directory = mkdtemp(name.data());
    fs::create_directory(directory + "/scripts");
    fs::create_directory_symlink(std::string(TARN_SOURCE_DIR) + "/media", directory + "/media");
}

void EndToEnd::TearDown() {
    fs::remove_all(directory);
}

void EndToEnd::movePointerBy(int x, int y) {
    ASSERT_EQ(0, runCommand({"xdotool", "mousemove_relative", "--", std::to_string(x), std::to_string(y)}));
}

std::array<int, 3> EndToEnd::screenPixel(int x, int y) {
    Display* display = XOpenDisplay(nullptr);
    XImage* image = XGetImage(display, DefaultRootWindow(display), x, y, 1, 1, AllPlanes, ZPixmap);
    const unsigned long value = XGetPixel(image, 0, 0);
    XDestroyImage(image);
    XCloseDisplay(display);
    return {static_cast<int>(value >> 16 & 255), static_cast<int>(value >> 8 & 255),
            static_cast<int>(value & 255)};
}

void EndToEnd::pause() {
    sleepStep();
}
