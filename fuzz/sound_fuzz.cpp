// Sound files through the audio manager: loaded, played, read back as samples and set again.
#include "fuzz_audio.h"
#include "fuzz_common.h"
#include "manager.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
    useSilentAudio();
    enterScratchDirectory();
    writeBytes("file.sound", bytes, count);
    AudioManager sounds;
    sounds.SetMaxChannels(2);
    int item = -1, added = 0;
    sounds.AddContent("file.sound", "", &item, &added);
    FUZZ_CHECK(item == 0 && added == 1);
    sounds.Use(item);
    sounds.SetAudProps(sounds.GetLastIndex(), 0.5f, 2.0f, true, 1, 2, 3);
    FloatDataBlock samples;
    sounds.GetAudioData(item, &samples);
    if (samples.ValCount() > 0) {
        sounds.Use("file");
        sounds.SetAudioData(item, samples.GetPointer(), samples.ValCount(), 1, 22050,
                            1 + static_cast<int>(count % 3));
    }
    return 0;
}
