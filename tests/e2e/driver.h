// Drives the built programs from outside, as a user at a desktop would: a private display, a working
// directory of its own, real key and pointer events, the programs' output, exit status, files and the
// screen's pixels.
#pragma once

#include <array>
#include <gtest/gtest.h>
#include <string>
#include <sys/types.h>
#include <vector>

constexpr int kScreenWidth = 1280;
constexpr int kScreenHeight = 1280;

/// Runs a command to its end and returns its exit status, -1 when it could not be started.
int runCommand(const std::vector<std::string>& command);

/// Reads a whole file; "" when there is none.
std::string readText(const std::string& path);
void writeText(const std::string& path, const std::string& text);

/// One program under test. Its standard output and error go to one file, so lines keep their order.
class Program {
public:
    /// Starts a built program ("tarnEngine", "tarnplay", ...) in directory, with extra environment settings.
    Program(const std::string& name, const std::vector<std::string>& arguments, const std::string& directory,
            const std::vector<std::string>& environment = {});
    ~Program(); ///< kills what still runs
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    std::string Output() const;
    /// Waits until the output holds text (count times); fails, showing the output, when the program ends or
    /// the time limit passes first.
    testing::AssertionResult WaitFor(const std::string& text, int count = 1);
    /// Frames that the last rate line counts, 0 before the first.
    int LastRate() const;
    /// Waits for the end; returns the exit status, or -1 after a signal or the time limit, which is for a
    /// program of so many seconds.
    int WaitForExit(int seconds = 0);

private:
    bool running();

    pid_t pid;
    int status;
    std::string outputFile;
};

/// An X server of its own; ends with the object.
class DisplayServer {
public:
    explicit DisplayServer(const std::vector<std::string>& options = {});
    ~DisplayServer();
    DisplayServer(const DisplayServer&) = delete;
    DisplayServer& operator=(const DisplayServer&) = delete;

    std::string name; ///< what DISPLAY is to be set to; "" when the server did not start

private:
    pid_t pid;
};

/// A test with its own display and working directory (media/ is the product's own, scripts/ is empty).
class EndToEnd : public testing::Test {
protected:
    static void SetUpTestSuite();
    static void TearDownTestSuite();
    void SetUp() override;
    void TearDown() override;

    void script(const std::string& name, const std::string& text) {
        writeText(directory + "/scripts/" + name, text);
    }
    /// Presses and releases a key by its X11 name.
    void key(const std::string& name) { ASSERT_EQ(0, runCommand({"xdotool", "key", name})); }
    void keyDown(const std::string& name) { ASSERT_EQ(0, runCommand({"xdotool", "keydown", name})); }
    void keyUp(const std::string& name) { ASSERT_EQ(0, runCommand({"xdotool", "keyup", name})); }
    void click(int button = 1) { ASSERT_EQ(0, runCommand({"xdotool", "click", std::to_string(button)})); }
    void movePointerBy(int x, int y);
    /// Where the pointer is on the screen.
    static std::array<int, 2> pointerPosition();
    /// RGB of one pixel of the screen, counted from the top left.
    static std::array<int, 3> screenPixel(int x, int y);
    /// Waits until check() holds; false after the time limit.
    template <typename Check>
    static bool eventually(Check check) {
        for (int i = 0; i < 500; ++i) {
            if (check())
                return true;
            pause();
        }
        return false;
    }
    static void pause(int milliseconds = 20);
    /// Lets a program turn a file's content from one into the other, or back and forth, and kills it at
    /// random moments: usual times, or as often as TARN_KILLS says. The file must be whole every time, and
    /// temporary files must not pile up.
    void expectWholeAfterKills(const std::string& program, const std::vector<std::string>& arguments,
                               const std::string& file, const std::string& before, const std::string& after,
                               int usual);

    std::string directory;
};
