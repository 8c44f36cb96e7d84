// The two Texture operations that take their size from the engine's screen.
// They sit at the engine's level so that the texture module stays below it.
#include "corethingy.h"
#include "materials.h"

void Texture::DrawRTTFull(CoreThingy* engine) {
    DrawForScreen(engine ? engine->GetScreenHeight() : height);
}

void Texture::BeginRTTFull(CoreThingy* engine) {
    if (engine)
        FitToScreen(engine->GetScreenWidth(), engine->GetScreenHeight());
}
