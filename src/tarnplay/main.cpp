// tarnplay: runs one script without the launcher, for script authors and for tests of games.
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
#include "session.h"
#include "stuckscript.h"
#include "virtualclock.h"
#include "watchdog.h"

int main(int argc, char** argv) {
    const ProgramStart start(argc, argv);
    Options options;
    if (const auto status = ReadOptions(argc, argv, options))
        return *status;
    InputScript script;
    if (const auto status = PrepareSession(options, script))
        return *status;
    if (!EnterGame(options))
        return STATUS_USAGE;
    if (!StartDisplayWhereMissing(options) || !StartConsole())
        return STATUS_SCRIPT_ERROR;
    DropCodePages();
    Player player(options);
    player.Add(MakeRepeatable(player));
    player.Add(MakeTimeLimit(player));
    player.Add(MakeErrorReports());
    if (options.watch)
        player.Add(MakeLive(start)); // after the reports, which it shows
    if (options.hud)
        player.Add(MakeHud());
    player.Add(MakeShots());
    if (!AddSession(player, script))
        return STATUS_SCRIPT_ERROR;
    player.Add(MakeReport()); // last: it tells what the others have found
    return player.Run();
}
