// The launcher: settings, script list, choosing. Its drawing is in loadingscreeny_draw.cpp.
#include "loadingscreeny.h"

#include "dirent_shim.h"
#include "strfuncs.h"

#include <cstdint>
#include <cstdio>

namespace {

constexpr const char* kPrefsFile = "prefs.txt";
constexpr const char* kScriptsDir = ".\\scripts\\";
constexpr const char* kFontFile = "textures/font.png";
constexpr int kLastKeyboardCode = 99; // a key up to here starts the selected script

// Both lists are searched as plain text, so a name is found wherever it stands in them.

// Modules that other scripts require. Every ending of a name here is hidden as well ("s.lua"), so they share
// few endings, and none is what someone would call a script to play.
constexpr const char* kHiddenScripts =
    "hud.lua,hud.moon,keys.lua,keys.moon,palette.lua,palette.moon,shapes.lua,shapes.moon,"
    "colors.lua,colors.moon,utils.lua,utils.moon,helpers.lua,helpers.moon,settings.lua,settings.moon";

// What a newcomer should open first.
constexpr const char* kFeaturedScripts = "gallery.lua,shaders.lua,island.lua,bounce.lua,starship.moon";

bool listed(const char* list, const char* name) {
    return searchString(list, name, 0) != -1;
}

// A settings byte that the file lacks counts as 0.
int prefsByte(DataBlock& prefs, int index) {
    return index < prefs.Len() ? static_cast<signed char>(prefs.Ptr()[index]) : 0;
}

} // namespace

LoadingScreeny::LoadingScreeny()
    : selectedScript(0), displayChoice(0), shaderChoice(1), hoveredDisplay(-1), hoveredShader(-1),
      hoveredScript(-1), exitStatus(LAUNCHER_RUNNING) {
    scriptKinds.ownsItems = false;
}

LoadingScreeny::~LoadingScreeny() {
    privDropNames();
}

int LoadingScreeny::Init() {
    input.keys.SetDefaults();
    SetAmbientColorRGB(0, 0, 0);
    textureManager.AddContent(kFontFile, "", nullptr, nullptr);
    privReadPrefs();
    DIR* directory = opendir(nativePath(kScriptsDir).c_str());
    if (!directory) {
        perror("");
        return 1;
    }
    while (const dirent* entry = readdir(directory))
        privListScript(entry->d_name);
    closedir(directory);
    return 0;
}

void LoadingScreeny::privListScript(const char* name) {
    if (searchString(name, ".moon", 0) == -1 && searchString(name, ".lua", 0) == -1)
        return;
    if (listed(kHiddenScripts, name))
        return;
    const std::intptr_t kind = listed(kFeaturedScripts, name) ? SCRIPT_FEATURED : SCRIPT_ORDINARY;
    scriptNames.Add(new DataBlock(name));
    scriptKinds.Add(reinterpret_cast<void*>(kind));
}

// ---- Choosing ----

void LoadingScreeny::KeyHappen(int key, bool) {
    if (hoveredDisplay != -1)
        displayChoice = hoveredDisplay;
    if (hoveredShader != -1)
        shaderChoice = hoveredShader;
    if (hoveredScript != -1)
        selectedScript = hoveredScript;
    const bool selectionValid = selectedScript >= 0 && selectedScript < scriptNames.Count();
    if (selectionValid && (hoveredScript != -1 || key <= kLastKeyboardCode))
        privChooseScript();
    if (key == KEY_ESCAPE)
        exitStatus = LAUNCHER_ESCAPE;
}

void LoadingScreeny::GameKeyHappen(int, int) {}

void LoadingScreeny::privChooseScript() {
    chosenScript.Assign(static_cast<DataBlock*>(scriptNames.Get(selectedScript))->CStr());
    privDropNames();
    exitStatus = LAUNCHER_CHOSEN;
    privWritePrefs();
}

// The queue frees its entries as raw memory, which would leak what each block holds.
void LoadingScreeny::privDropNames() {
    while (scriptNames.Count() > 0)
        delete static_cast<DataBlock*>(scriptNames.Pop(-1));
}

// ---- Settings file ----

void LoadingScreeny::privReadPrefs() {
    DataBlock prefs;
    prefs.ReadFile(kPrefsFile);
    if (prefs.Len() == 0)
        return;
    selectedScript = prefsByte(prefs, 0);
    displayChoice = prefsByte(prefs, 1);
    shaderChoice = prefsByte(prefs, 2);
}

void LoadingScreeny::privWritePrefs() {
    DataBlock prefs;
    prefs.Append(static_cast<char>(selectedScript));
    prefs.Append(static_cast<char>(displayChoice));
    prefs.Append(static_cast<char>(shaderChoice));
    prefs.WriteFile(kPrefsFile);
}
