// What scripts play, heard: the mix recorded by the audio library's wave writer and measured.
#include "driver.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace {

/// The recorded mix: 16-bit stereo frames at a fixed rate.
struct Recording {
    static constexpr int kRate = 44100;
    std::vector<std::int16_t> frames; ///< left, right, left, ...

    int at(std::size_t frame, int side) const {
        return frames.at(2 * frame + static_cast<std::size_t>(side));
    }
    int seconds() const { return static_cast<int>(frames.size() / 2 / kRate); }
    /// Mean square of one side over part of the recording, in full-scale units.
    double power(int side, double from, double to) const {
        double sum = 0;
        const auto first = static_cast<std::size_t>(from * kRate),
                   last = static_cast<std::size_t>(to * kRate);
        for (std::size_t i = first; i < last; ++i)
            sum += std::pow(at(i, side) / 32768.0, 2);
        return sum / static_cast<double>(last - first);
    }
    /// Frequency by counting the upward zero crossings of one side.
    double frequency(int side, double from, double to) const {
        int crossings = 0;
        const auto first = static_cast<std::size_t>(from * kRate),
                   last = static_cast<std::size_t>(to * kRate);
        for (std::size_t i = first + 1; i < last; ++i)
            crossings += at(i - 1, side) < 0 && at(i, side) >= 0;
        return crossings / (to - from);
    }
    /// When the first sample above a whisper is heard, in seconds.
    double start() const {
        const auto loud = std::find_if(frames.begin(), frames.end(), [](int v) { return std::abs(v) > 300; });
        return static_cast<double>(loud - frames.begin()) / 2 / kRate;
    }
};

class Sound : public EndToEnd {
protected:
    /// Plays a script for so many seconds of its time and returns what was to be heard. A number of frames
    /// may pass in no time when the start has been slow.
    Recording record(const std::string& text, const char* seconds) {
        script("sound.lua", text + "\nlocal draw = Draw\nfunction Draw(time) draw(time) if time > " +
                                seconds + " then error('recorded') end end");
        writeText(
            directory + "/alsoft.conf",
            "drivers = wave\nchannels = stereo\nfrequency = 44100\nsample-type = int16\n[wave]\nfile = " +
                directory + "/mix.wav\n");
        Program player("tarnplay", {"-r", "64", "64", "sound.lua"}, directory,
                       {"ALSOFT_CONF=" + directory + "/alsoft.conf", "ALSOFT_DRIVERS=wave"});
        EXPECT_EQ(1, player.WaitForExit()) << player.Output();
        const std::string bytes = readText(directory + "/mix.wav");
        const std::size_t data = bytes.find("data");
        Recording recording;
        if (data == std::string::npos)
            return recording;
        recording.frames.resize((bytes.size() - data - 8) / 4 * 2);
        std::memcpy(recording.frames.data(), bytes.data() + data + 8, recording.frames.size() * 2);
        return recording;
    }
};

/// A script that has one second of a 441 Hz tone at half of full scale as sound item `tone`.
const char kTone[] = R"(
function Init()
  tone = GetNewAudio("tone")
  local samples = {}
  for i = 1, 44100 do samples[i] = math.sin(i * 2 * math.pi * 441 / 44100) end
  SetAudioData(tone, samples, 1, 44100, 1)
end
)";

} // namespace

TEST_F(Sound, AMadeToneHasItsFrequencyLevelAndLength) {
    const Recording mix = record(std::string(kTone) + R"(
local started
function Draw(time) if not started and time > 0.2 then started = Audio(tone) end end)",
                                 "2.3");
    const double start = mix.start();
    ASSERT_LT(start + 1.3, mix.seconds() + 1.0);
    EXPECT_NEAR(441, mix.frequency(0, start + 0.1, start + 0.9), 2);
    // 1.0 is 16383 of 32768; a mono sound straight ahead reaches both sides alike.
    EXPECT_NEAR(mix.power(0, start + 0.1, start + 0.9), mix.power(1, start + 0.1, start + 0.9), 1e-3);
    EXPECT_GT(mix.power(0, start + 0.1, start + 0.9), 0.02);
    EXPECT_LT(mix.power(0, start + 1.1, start + 1.3), 1e-6) << "one second, then silence";
}

TEST_F(Sound, PropertiesChangeVolumePitchAndSide) {
    const Recording mix = record(std::string(kTone) + R"(
local channel
function Draw(time)
  if not channel and time > 0.2 then channel = Audio(tone) AudioProps(channel, 1, 1, 1) end
  if time > 1.2 then AudioProps(channel, 0.25, 2, 1, 5, 0, 0) end
  if time > 2.2 then StopAudio(channel) end
end)",
                                 "3.2");
    const double start = mix.start();
    ASSERT_GE(mix.seconds(), 3);
    EXPECT_NEAR(882, mix.frequency(1, start + 1.3, start + 1.8), 4);
    const double before = mix.power(1, start + 0.2, start + 0.8),
                 after = mix.power(1, start + 1.3, start + 1.8);
    EXPECT_LT(after, before / 4) << "a quarter of the volume";
    EXPECT_GT(after, 4 * mix.power(0, start + 1.3, start + 1.8)) << "five units to the right";
    EXPECT_LT(mix.power(0, start + 2.3, start + 2.6), 1e-6) << "stopped";
}

TEST_F(Sound, MusicStreamsWithItsVolume) {
    const Recording mix = record(R"(
function Init() AddMusic(0, "music/drift.ogg") Music(0) end
function Draw(time) if time > 1 then MusicProps(0, 0.1, 1, 1) end if time > 2 then StopMusic(0) end end)",
                                 "2.7");
    ASSERT_GE(mix.seconds(), 2);
    const double start = mix.start(), loud = mix.power(0, start + 0.2, start + 0.8);
    EXPECT_GT(loud, 1e-5);
    EXPECT_LT(mix.power(0, start + 1.3, start + 1.7), loud / 5);
    EXPECT_LT(mix.power(0, start + 2.3, start + 2.5), 1e-8);
}
