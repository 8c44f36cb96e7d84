// The program: first the launcher, then the chosen script. Each phase has an engine object, and so a window,
// of its own; only the choices pass from one to the other.
#include "display.h"
#include "loadingscreeny.h"
#include "luathingy.h"

namespace {

void runScript(LoadingScreeny& launcher) {
    LuaThingy host;
    host.maxRes = launcher.displayChoice > 0;
    host.fullscreen = launcher.displayChoice == 2;
    host.shaderManager.SetShadersEnabled(launcher.shaderChoice == 1);
    host.SetLoadScript(launcher.chosenScript.CStr());
    host.SetupStandardWindow();
    int result = host.Init();
    while (result == 0)
        result = host.TimeStep();
}

} // namespace

int main() {
    if (!StartConsole())
        return 1;
    LoadingScreeny launcher;
    launcher.SetupStandardWindow();
    launcher.Init();
    while (launcher.exitStatus == LAUNCHER_RUNNING)
        launcher.TimeStep();
    launcher.Close();
    if (launcher.exitStatus == LAUNCHER_CHOSEN && launcher.chosenScript.Len() > 0)
        runScript(launcher);
    return 0;
}
