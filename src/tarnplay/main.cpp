// tarnplay: runs one script without the launcher, for script authors and for tests of games.
#include "canvas.h"
#include "display.h"
#include "errorreport.h"
#include "gameroot.h"
#include "hud.h"
#include "junit.h"
#include "live.h"
#include "memoryuse.h"
#include "options.h"
#include "pictures.h"
#include "player.h"
#include "privatedisplay.h"
#include "quietsound.h"
#include "session.h"
#include "shadererrors.h"
#include "stuckscript.h"
#include "virtualclock.h"
#include "watchdog.h"

namespace {

// @return false when no window can be opened
bool startConsole(Findings& findings) {
    const bool started = StartConsole(); // which prints the problem
    if (!started)
        findings.Add(STATUS_SCRIPT_ERROR, DisplayProblem());
    return started;
}

// The findings tell how it went, also when something is missing before the script can run.
void run(Options& options, const ProgramStart& start, Findings& findings) {
    InputScript script;
    if (!PrepareSession(options, script, findings) || !EnterGame(options, findings) ||
        !StartDisplayWhereMissing(options, findings) || !startConsole(findings))
        return;
    QuietSound();
    DropCodePages();
    Player player(options, findings);
    player.Add(MakeRepeatable(player));
    if (NeedsCanvas(options))
        player.Add(MakeCanvas());
    player.Add(MakeTimeLimit(player));
    player.Add(MakeErrorReports());
    player.Add(MakeShaderErrors());
    if (options.hud)
        player.Add(MakeHud());
    if (options.watch)
        player.Add(MakeLive(start, options)); // after the reports, which it shows, over all that is drawn
    player.Add(MakeShots());
    if (AddSession(player, script))
        player.Run();
}

} // namespace

int main(int argc, char** argv) {
    const ProgramStart start(argc, argv);
    Options options;
    if (const auto status = ReadOptions(argc, argv, options)) {
        if (*status != STATUS_FINE)
            RemoveOldReport(argc, argv);
        return *status;
    }
    Findings findings;
    if (!BeginReport(options))
        return STATUS_SCRIPT_ERROR;
    run(options, start, findings);
    return EndReport(options, findings);
}
