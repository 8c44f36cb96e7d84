// Processes, display and files behind the end-to-end tests.
#include "driver.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr int kStepsPerSecond = 50; // a step of waiting is 20 ms
constexpr int kLimitSteps = 30 * kStepsPerSecond;

std::unique_ptr<DisplayServer> display;

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

int Program::LastRate() const {
    const std::string output = Output();
    const std::size_t line = output.rfind("FPS: ");
    return line == std::string::npos ? 0 : atoi(output.c_str() + line + 5);
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

int Program::WaitForExit(int seconds) {
    for (int i = -seconds * kStepsPerSecond; i < kLimitSteps && running(); ++i)
        sleepStep();
    return !running() && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// ---- Display, working directory, devices ----

DisplayServer::DisplayServer(const std::vector<std::string>& options) : pid(0) {
    int ends[2];
    if (pipe(ends) != 0)
        return;
    const std::string screen = std::to_string(kScreenWidth) + "x" + std::to_string(kScreenHeight) + "x24";
    std::vector<std::string> command{"Xvfb",      "-displayfd", std::to_string(ends[1]),
                                     "-screen",   "0",          screen,
                                     "-nolisten", "tcp",        "-noreset"};
    command.insert(command.end(), options.begin(), options.end());
    pid = fork();
    if (pid == 0) {
        close(ends[0]);
        freopen("/dev/null", "w", stderr);
        execvp(command[0].c_str(), pointers(command).data());
        _exit(127);
    }
    close(ends[1]);
    for (char c = 0; read(ends[0], &c, 1) == 1 && c != '\n';)
        name += (name.empty() ? ":" : "") + std::string(1, c);
    close(ends[0]);
}

DisplayServer::~DisplayServer() {
    kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
}

void EndToEnd::SetUpTestSuite() {
    display = std::make_unique<DisplayServer>();
    ASSERT_FALSE(display->name.empty()) << "Xvfb did not start";
    setenv("DISPLAY", display->name.c_str(), 1);
    setenv("ALSOFT_DRIVERS", "null", 1);
}

void EndToEnd::TearDownTestSuite() {
    display.reset();
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

std::array<int, 2> EndToEnd::pointerPosition() {
    Display* const server = XOpenDisplay(nullptr);
    Window root = 0, child = 0;
    std::array<int, 2> position{};
    int inside[2];
    unsigned buttons = 0;
    XQueryPointer(server, DefaultRootWindow(server), &root, &child, &position[0], &position[1], &inside[0],
                  &inside[1], &buttons);
    XCloseDisplay(server);
    return position;
}

std::array<int, 3> EndToEnd::screenPixel(int x, int y) {
    Display* const server = XOpenDisplay(nullptr);
    XImage* image = XGetImage(server, DefaultRootWindow(server), x, y, 1, 1, AllPlanes, ZPixmap);
    const unsigned long value = XGetPixel(image, 0, 0);
    XDestroyImage(image);
    XCloseDisplay(server);
    return {static_cast<int>(value >> 16 & 255), static_cast<int>(value >> 8 & 255),
            static_cast<int>(value & 255)};
}

void EndToEnd::pause(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

void EndToEnd::expectWholeAfterKills(const std::string& program, const std::vector<std::string>& arguments,
                                     const std::string& file, const std::string& before,
                                     const std::string& after, int usual) {
    const char* wanted = std::getenv("TARN_KILLS");
    std::mt19937 random(3);
    for (int kills = wanted ? atoi(wanted) : usual; kills > 0; --kills) {
        writeText(directory + "/" + file, before);
        {
            Program killed(program, arguments, directory);
            pause(static_cast<int>(random() % 300));
        }
        const std::string left = readText(directory + "/" + file);
        EXPECT_TRUE(left == before || left == after) << left.size() << " bytes";
        const auto unfinished = [](const fs::directory_entry& entry) {
            return entry.path().filename().string().rfind(".unfinished-", 0) == 0;
        };
        EXPECT_LE(std::count_if(fs::directory_iterator(directory), {}, unfinished), 1);
    }
}
