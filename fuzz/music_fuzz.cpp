// Music files through the music manager: opened, streamed for a moment, started over, stopped.
#include "fuzz_audio.h"
#include "fuzz_common.h"
#include "manager.h"

#include <SFML/System/Sleep.hpp>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
    useSilentAudio();
    enterScratchDirectory();
    writeBytes("music", bytes, count);
    MusicManager music;
    music.SetMaxChannels(1);
    music.LoadFile(0, "music");
    music.SetMusicProps(0, 1.0f, 8.0f, count % 2 == 0, 0, 0, 0);
    music.Play(0);
    sf::sleep(sf::milliseconds(2)); // the stream reads on a thread of its own
    music.Stop(0);
    music.Play(0);
    music.LoadFile(0, "missing");
    music.Play(0);
    return 0;
}
