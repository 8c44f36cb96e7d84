// Which channel a sound plays on, sample data, sound files and music players, on a device without a speaker.
#include "manager_audio.h"

#include "gl_files.h"
#include "manager.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <tuple>
#include <unistd.h>
#include <vector>

namespace {

const int useSilentDevice = setenv("ALSOFT_DRIVERS", "null", 1);

struct Channel {
    int owner = -1;
    float end = -1;
    bool looping = false;
};

int threadCount() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<int>(std::distance(begin(tasks), end(tasks)));
}

int threadsBefore = 0;

/// The channel rule as a ranking: the best class wins, within it the nearest in that class's direction.
int chooseChannel(const std::vector<Channel>& channels, int sound, int last, float now) {
    const int n = static_cast<int>(channels.size());
    std::tuple<int, int, int> best(9, 0, 0);
    for (int c = 0; c < n; c++) {
        const int up = ((c - last - 1) % n + n) % n;
        int rank = up == n - 1 ? 5 : 6;
        if (channels[c].owner < 0)
            rank = 3;
        else if (channels[c].end < now && !channels[c].looping)
            rank = channels[c].owner != sound ? 4 : c == last ? 1 : 2;
        best = std::min(best, std::make_tuple(rank, rank == 2 ? (n - up) % n : up, c));
    }
    return std::get<2>(best);
}

/// All that a channel tells of itself, but for how far it has come.
auto stateOf(AudioManager& manager, int channel) {
    const SoundSlot& slot = manager.channels[channel];
    const auto* sound = static_cast<const SoundBufferItem*>(slot.getBuffer());
    return std::make_tuple(slot.getStatus(), sound ? sound->itemIndex : -1, slot.getVolume(), slot.getPitch(),
                           slot.getLoop(), slot.getPosition().x, slot.ownerIndex, slot.endTime, slot.looping);
}

} // namespace

class ManagerAudioTest : public GlFilesTest {
protected:
    /// A 16-bit WAVE file of zeros; dataSize is what its header announces.
    static void writeWave(const char* file, unsigned channels, int samples, unsigned dataSize,
                          unsigned rate = 8000) {
        std::string bytes = "RIFF....WAVEfmt ";
        for (unsigned word : {16u, 1 | channels << 16, rate, 2 * rate * channels, 2 * channels | 16 << 16,
                              0x61746164u, dataSize})
            bytes.append(reinterpret_cast<char*>(&word), 4);
        write(file, bytes + std::string(samples * 2, '\0'));
    }
    int newSound(int samples, int rate) {
        const int index = audio.NewAudio("s", "");
        audio.SetAudioData(index, silence.data(), samples, 1, rate, 1);
        return index;
    }
    SoundBufferItem* sound(int index) { return reinterpret_cast<SoundBufferItem*>(audio.GetItem(index)); }
    std::vector<float> data(int index) {
        FloatDataBlock block;
        audio.GetAudioData(index, &block);
        return std::vector<float>(block.vals, block.vals + block.ValCount());
    }
    std::vector<float> silence = std::vector<float>(8000);
    AudioManager audio;
};

TEST_F(ManagerAudioTest, ChoosesChannelsByTheRule) {
    std::mt19937 random(11);
    std::vector<Channel> model(64);
    std::vector<int> last(6, -1);
    float now = 0;
    ASSERT_EQ(audio.channelCount, 64);
    for (int i = 0; i < 6; i++)
        newSound(50 + 80 * i, 100);
    for (int step = 0; step < 6000; step++) {
        if (step % 1000 == 999) { // also fewer than some sounds' last channels
            model.assign(3 + random() % 8, {});
            audio.SetMaxChannels(static_cast<int>(model.size()));
        }
        const int any = static_cast<int>(random() % model.size());
        const unsigned action = random() % 8;
        if (action == 0) {
            audio.StopAudio(any);
            model[any] = {model[any].owner, now, false};
        } else if (action == 1) {
            audio.SetAudProps(any, 0.5f, 1, model[any].looping = random() % 2, 0, 0, 0);
        } else if (action < 4) {
            audio.SetTime(now += static_cast<float>(random() % 100) / 50, 0);
        } else {
            const int played = static_cast<int>(random() % 6);
            const int c = last[played] = chooseChannel(model, played, last[played], now);
            model[c] = {played, now + sound(played)->duration, model[c].looping && model[c].owner < 0};
            audio.Use(played);
            ASSERT_EQ(audio.GetLastIndex(), c) << "step " << step;
        }
    }
    audio.SetMaxChannels(-3);
    audio.Use(0);
}

TEST_F(ManagerAudioTest, HeldStartsEndAsStartsAtOnce) {
    AudioManager held;
    for (AudioManager* manager : {&audio, &held}) {
        manager->SetMaxChannels(4);
        for (int i = 0; i < 6; i++) {
            manager->NewAudio("s", "");
            manager->SetAudioData(i, silence.data(), 8000, 1, 1600 * (i + 1), 1);
        }
    }
    std::mt19937 random(3);
    for (int frame = 0; frame < 200; frame++) {
        std::vector<std::array<unsigned, 2>> calls(random() % 8);
        for (auto& call : calls)
            call = {static_cast<unsigned>(random() % 8), static_cast<unsigned>(random())};
        held.HoldStarts();
        for (AudioManager* manager : {&audio, &held}) {
            manager->SetTime(frame * 0.2f, 0);
            for (const auto& [kind, which] : calls) {
                const int channel = static_cast<int>(which % 4);
                if (kind < 5)
                    manager->Use(static_cast<int>(which % 6));
                else if (kind == 5)
                    manager->StopAudio(channel);
                else if (kind == 6)
                    manager->SetAudProps(channel, which % 3 * 0.5f, 2, which % 2 != 0, 1, 2, 3);
                else
                    manager->SetAudioData(static_cast<int>(which % 6), silence.data(), 8000, 1, 5000, 1);
            }
        }
        held.ReleaseStarts();
        for (int c = 0; c < 4; c++)
            ASSERT_EQ(stateOf(audio, c), stateOf(held, c)) << "frame " << frame << " channel " << c;
    }
}

TEST_F(ManagerAudioTest, SetsPropertiesThatAreNumbers) {
    audio.Use(newSound(8000, 8000));
    SoundSlot& slot = audio.channels[0];
    audio.SetAudioData(0, silence.data(), 100, 1, 8000, 1); // while it plays
    for (int channel : {0, -1, 64}) {
        audio.SetAudProps(channel, 0.5f, 2, true, 1, 2, 3);
        audio.SetAudProps(channel, NAN, NAN, true, NAN, 0, 0);
        audio.SetAudProps(channel, -1, -1, true, 1, 2, 3);
        audio.StopAudio(channel - 1);
    }
    EXPECT_EQ(slot.getVolume(), 0);
    EXPECT_EQ(slot.getPitch(), 2);
    EXPECT_EQ(slot.getPosition(), sf::Vector3f(1, 2, 3));
    EXPECT_TRUE(slot.getLoop());
}

TEST_F(ManagerAudioTest, ConvertsSampleData) {
    const int item = audio.NewAudio("tone", "made");
    EXPECT_TRUE(data(item).empty());
    float values[] = {0.5f, 0.25f, -1, -0.5f, 3, INFINITY, -9, -9, NAN, 1, 1};
    audio.SetAudioData(item, values, 11, 1, 5, 2);
    std::vector<float> expected = {6143, -12287, 32767, -32768, 0};
    for (float& sample : expected)
        sample /= 16383;
    EXPECT_EQ(data(item), expected);
    EXPECT_EQ(sound(item)->duration, 1.0f);
    const std::string message = printed([&] {
        audio.SetAudioData(item, values, 2, 3, 9, 1);
        audio.SetAudioData(item, values, 1, 1, 9, 2);
        audio.SetAudioData(item, values, -2, 1, 0, 1);
    });
    EXPECT_EQ(message, "Error: audio data not set (2 samples, 3 channels, rate 9).\n"
                       "Error: audio data not set (0 samples, 1 channels, rate 9).\n"
                       "Error: audio data not set (0 samples, 1 channels, rate 0).\n");
    EXPECT_EQ(data(item), expected);
    std::vector<float> all; // every sample survives reading and writing back
    for (int sample = -32768; sample < 32768; sample++)
        all.push_back(static_cast<float>(sample) / 16383.0f);
    audio.SetAudioData(item, all.data(), 65536, 1, 44100, 0);
    EXPECT_EQ(data(item), all);
}

TEST_F(ManagerAudioTest, OpensTheDeviceWithTheFirstSound) {
    const auto threads = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
    };
    const auto before = threads();
    audio.Use(audio.NewAudio("s", ""));
    EXPECT_GT(threads(), before) << "the device mixes on a thread of its own";
}

TEST_F(ManagerAudioTest, LoadsFilesAtRegistration) {
    writeWave("second.wav", 1, 8000, 16000);
    audio.AddContent("second.wav", "", nullptr, nullptr);
    EXPECT_NE(audio.GetLoadedItem(0), nullptr);
    // A header of 4 GB, a channel count without a format and a directory: each hung the audio library.
    writeWave("huge.wav", 1, 50, 0xfffffff0u);
    writeWave("wide.wav", 4095, 50, 100);
    for (const char* file : {"missing.wav", "huge.wav", "wide.wav", "."}) {
        int index = 0;
        EXPECT_EQ(printed([&] {
                      audio.AddContent(file, "", &index, nullptr);
                      audio.Use(index);
                  }),
                  "Error: Audio File Not Loaded.\nError: Audio File Not Loaded.\n");
    }
    writeWave("missing.wav", 2, 8, 16);
    audio.Use(1);
    EXPECT_EQ(audio.GetLastIndex(), 0) << "what was missing is tried again";
}

TEST_F(ManagerAudioTest, StreamsMusic) {
    MusicManager music;
    writeWave("tune.wav", 1, 8000, 16000);
    writeWave("rate.wav", 2, 50, 100, 0x2e2e2e2e); // a second of it would be 3 GB
    // Looping a file that failed went on for ever.
    for (const char* file : {"tune.wav", "none.wav", "rate.wav", "."}) {
        const bool good = file[0] == 't';
        EXPECT_EQ(printed([&] { music.LoadFile(7, file); }), good ? "" : "Error: Music failed to load\n");
        music.SetMusicProps(7, 1, 1, true, 0, 0, 0);
        music.Play(7);
        EXPECT_EQ(music.musics[7].getStatus(), good ? sf::Music::Playing : sf::Music::Stopped);
        music.Play(8);
    }
}

// A script's os.exit while music played aborted the program now and then: the players' threads used the audio
// library while it was taken down.
TEST_F(ManagerAudioTest, MusicEndsBeforeTheProcessDoes) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    writeWave("tune.wav", 1, 8000, 16000);
    const auto exitWithMusic = [] {
        threadsBefore = threadCount();
        std::atexit([] { _exit(threadCount() - threadsBefore); }); // runs after what is registered later
        MusicManager music;
        for (int i = 0; i < music.musicCount; ++i) {
            music.LoadFile(i, "tune.wav");
            music.Play(i);
        }
        std::exit(99);
    };
    EXPECT_EXIT(exitWithMusic(), testing::ExitedWithCode(0), "");
}
