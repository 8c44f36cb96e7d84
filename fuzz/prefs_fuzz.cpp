// prefs.txt through the launcher's own reader, beside scripts with awkward names: the menu drawn with what
// was read, then a choice made and written back. The first byte picks pointer and key, the rest is the file.
#include "fuzz_common.h"
#include "fuzz_gl.h"
#include "loadingscreeny.h"

namespace {

bool makeFiles() {
    enterScratchDirectory();
    std::filesystem::create_directories("scripts/folder.lua");
    std::filesystem::create_directories("media/geom");
    std::filesystem::create_directories("media/textures");
    std::filesystem::copy(TARN_SOURCE_DIR "/media/geom/quad.obj", "media/geom/quad.obj");
    std::filesystem::copy(TARN_SOURCE_DIR "/media/textures/white.png", "media/textures/font.png");
    for (const char* name :
         {"a.lua", "b c.moon", "\"x\".lua", "gallery.lua", "hud.lua", "\xc3\xa9.lua", "x.txt"})
        writeBytes(std::string("scripts/") + name, "", 0);
    return true;
}

bool isListed(const LoadingScreeny& launcher, const std::string& name) {
    for (int i = 0; i < launcher.scriptNames.Count(); ++i)
        if (name == static_cast<DataBlock*>(launcher.scriptNames.Get(i))->CStr())
            return true;
    return false;
}

void drawMenu(LoadingScreeny& launcher, int place) {
    for (int frame = 0; frame < 3; ++frame) {
        launcher.mouseTotalX = static_cast<float>(place % 16 - 8) / 8;
        launcher.mouseTotalY = static_cast<float>(place / 16 - 8) / 8;
        launcher.TimeStep();
    }
    dropTextures();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
    static const bool prepared = makeFiles();
    if (!prepared || count < 1)
        return 0;
    useHiddenContext();
    writeBytes("prefs.txt", bytes + 1, count - 1);
    LoadingScreeny launcher;
    launcher.limitFps = false;
    FUZZ_CHECK(launcher.Init() == 0 && launcher.scriptNames.Count() == 6);
    // No byte may choose what is not there; prefs.txt holds three, signed, and a missing one is 0.
    FUZZ_CHECK(launcher.selectedScript == (count > 1 ? static_cast<signed char>(bytes[1]) : 0));
    drawMenu(launcher, bytes[0]);
    const bool valid = launcher.selectedScript >= 0 && launcher.selectedScript < launcher.scriptNames.Count();
    const bool chooses = valid || launcher.hoveredScript != -1;
    const int pointed = launcher.hoveredScript != -1 ? launcher.hoveredScript : launcher.selectedScript;
    const std::string name =
        chooses ? static_cast<DataBlock*>(launcher.scriptNames.Get(pointed))->CStr() : std::string();
    FUZZ_CHECK(!chooses || isListed(launcher, name));
    launcher.KeyHappen(bytes[0] % 110, (bytes[0] & 1) != 0);
    const bool chosen = launcher.chosenScript.Len() > 0;
    FUZZ_CHECK(!chosen || name == launcher.chosenScript.CStr());
    if (chosen) {
        LoadingScreeny next;
        next.Init();
        FUZZ_CHECK(next.selectedScript == launcher.selectedScript &&
                   next.shaderChoice == launcher.shaderChoice &&
                   next.displayChoice == launcher.displayChoice);
    }
    return 0;
}
