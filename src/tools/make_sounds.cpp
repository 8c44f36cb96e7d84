// make_sounds OUTDIR: synthesises the sound effects (WAV, mono) into OUTDIR/sounds and the music loop
// (OGG, stereo) into OUTDIR/music. Every voice is a function of the time since its start, in seconds.
#include <SFML/Audio/OutputSoundFile.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace {

constexpr double kTurn = 6.28318530717959;
constexpr unsigned kRate = 44100;

using Samples = std::vector<double>;
using Voice = std::function<double(double t)>;

/// White noise -1..1, the same on every run.
class Noise {
public:
    double next() {
        state_ = state_ * 1664525u + 1013904223u;
        return double(state_ >> 8) / 8388608.0 - 1.0;
    }

private:
    std::uint32_t state_ = 12345;
};

double sine(double cycles) {
    return std::sin(kTurn * cycles);
}

double square(double cycles) {
    return cycles - std::floor(cycles) < 0.5 ? 1.0 : -1.0;
}

/// Linear attack, then exponential decay to a thousandth within `seconds`.
double decay(double t, double seconds, double attack = 0.004) {
    return std::min(1.0, t / attack) * std::exp(-6.9 * t / seconds);
}

/// Fades the last hundredth of a second, so that a cut-off tail does not click.
double fadeOut(double t, double seconds) {
    return std::clamp((seconds - t) * 100.0, 0.0, 1.0);
}

/// A sound that is meant to loop keeps its end, where others fade.
Samples render(double seconds, const Voice& voice, bool loops) {
    Samples out(std::size_t(seconds * kRate));
    for (std::size_t i = 0; i < out.size(); ++i) {
        const double t = double(i) / kRate;
        out[i] = voice(t) * (loops ? 1.0 : fadeOut(t, seconds));
    }
    return out;
}

/// Noise through a one-pole low pass whose cut-off (0..1) is a function of time.
Voice filteredNoise(const Voice& cutoff) {
    return [cutoff, noise = Noise(), level = 0.0](double t) mutable {
        level += cutoff(t) * (noise.next() - level);
        return level;
    };
}

/// Plucked string: a burst of noise in a delay line of one period that loses its highs on every pass.
/// The line runs at twice the sample rate, which halves the error of its whole-numbered length.
Voice pluckedString(double hertz) {
    Samples line(std::size_t(2 * kRate / hertz));
    Noise noise;
    for (double& sample : line)
        sample = noise.next();
    return [line, at = std::size_t(0)](double t) mutable {
        double out = 0.0;
        for (int half = 0; half < 2; ++half) {
            const std::size_t next = (at + 1) % line.size();
            out += 0.5 * line[at];
            line[at] = 0.4985 * (line[at] + line[next]);
            at = next;
        }
        return out * std::min(1.0, t * 300.0);
    };
}

double midi(double note) {
    return 440.0 * std::pow(2.0, (note - 69.0) / 12.0);
}

/// Writes interleaved samples, scaled so that the loudest one reaches `peak`.
bool save(const std::string& path, const Samples& samples, unsigned channels, double peak) {
    double loudest = 1e-9;
    for (double s : samples)
        loudest = std::max(loudest, std::abs(s));
    std::vector<sf::Int16> out;
    for (double s : samples)
        out.push_back(sf::Int16(std::lround(s / loudest * peak * 32767.0)));
    sf::OutputSoundFile file;
    if (!file.openFromFile(path, kRate, channels))
        return false;
    file.write(out.data(), out.size());
    return true;
}

bool makeEffects(const std::string& dir) {
    bool ok = true;
    auto effect = [&](const char* name, double seconds, const Voice& voice, double peak = 0.8,
                      bool loops = false) {
        ok = save(dir + "/" + name + ".wav", render(seconds, voice, loops), 1, peak) && ok;
    };
    effect(
        "click", 0.05, [](double t) { return sine(1800 * t) * decay(t, 0.04, 0.001); }, 0.5);
    effect(
        "blip", 0.12, [](double t) { return square(660 * t) * decay(t, 0.15); }, 0.4);
    effect("bounce", 0.18,
           [](double t) { return sine(190 * t + 6 * (1 - std::exp(-30 * t))) * decay(t, 0.2); });
    effect(
        "pickup", 0.35,
        [](double t) {
            const double note = t < 0.08 ? 988 : 1319;
            return (sine(note * t) + 0.3 * sine(2 * note * t)) * decay(t, 0.5);
        },
        0.6);
    effect(
        "laser", 0.3,
        [](double t) { return square(110 * t + 130 * (1 - std::exp(-9 * t))) * decay(t, 0.35); }, 0.4);
    effect("explosion", 1.1,
           [rumble = filteredNoise([](double t) { return 0.02 + 0.4 * std::exp(-5 * t); })](
               double t) mutable { return rumble(t) * decay(t, 1.3) * (1 + 2 * std::exp(-4 * t)); });
    effect("thrust", 0.5, filteredNoise([](double) { return 0.06; }), 0.5, true);
    effect("pluck", 1.2,
           [string = pluckedString(220)](double t) mutable { return string(t) * decay(t, 2.0); });
    effect("bell", 1.6, [](double t) {
        return sine(523 * t) * decay(t, 1.8) + 0.6 * sine(523 * 2.76 * t) * decay(t, 1.0) +
               0.4 * sine(523 * 5.4 * t) * decay(t, 0.5);
    });
    // Whole numbers of cycles per second, so that the one-second sound loops without a seam.
    effect(
        "drone", 1.0,
        [](double t) {
            return (sine(110 * t) + 0.6 * sine(165 * t) + 0.4 * sine(221 * t)) * (0.8 + 0.2 * sine(4 * t));
        },
        0.6, true);
    effect(
        "fanfare", 1.2,
        [](double t) {
            const double notes[] = {60, 64, 67, 72};
            const int step = std::min(3, int(t / 0.15));
            const double hertz = midi(notes[step]), since = t - 0.15 * step;
            return (square(hertz * t) + sine(2 * hertz * t)) * decay(since, step == 3 ? 1.0 : 0.4);
        },
        0.4);
    effect(
        "fail", 0.8, [](double t) { return square((220 - 90 * t) * t) * decay(t, 1.0); }, 0.4);
    return ok;
}

/// A stereo loop: what rings past the end is added to the beginning.
class Loop {
public:
    explicit Loop(double seconds) : samples_(2 * std::size_t(seconds * kRate)) {}

    /// Adds a voice from `start` for `seconds`; `pan` runs from 0 (left) to 1 (right).
    void add(double start, double seconds, double volume, double pan, Voice voice) {
        const std::size_t first = std::size_t(start * kRate), frames = samples_.size() / 2;
        for (std::size_t i = 0; i < std::size_t(seconds * kRate); ++i) {
            const double s = volume * voice(double(i) / kRate) * fadeOut(double(i) / kRate, seconds);
            const std::size_t at = (first + i) % frames * 2;
            samples_[at] += s * std::sqrt(1 - pan);
            samples_[at + 1] += s * std::sqrt(pan);
        }
    }
    const Samples& samples() const { return samples_; }

private:
    Samples samples_;
};

/// Soft pad: three slightly detuned voices that swell and fade over the bar.
Voice pad(double note, double seconds) {
    const double hertz = midi(note);
    return [=](double t) {
        double sum = 0;
        for (double detune : {0.997, 1.0, 1.004})
            sum += sine(hertz * detune * t) + 0.35 * sine(2 * hertz * detune * t) +
                   0.12 * sine(3 * hertz * detune * t);
        return sum * std::sin(kTurn / 2 * std::min(1.0, t / seconds));
    };
}

Voice bass(double note) {
    return [hertz = midi(note)](double t) {
        return (sine(hertz * t) + 0.3 * sine(2 * hertz * t)) * decay(t, 1.2, 0.02);
    };
}

Voice kick() {
    return [](double t) { return sine(48 * t + 2.4 * (1 - std::exp(-35 * t))) * decay(t, 0.3); };
}

Voice hat() {
    return [noise = Noise(), last = 0.0](double t) mutable {
        const double now = noise.next(), high = now - last;
        last = now;
        return high * decay(t, 0.06, 0.001);
    };
}

bool makeMusic(const std::string& dir) {
    const double beat = 60.0 / 104.0, bar = 4 * beat;
    const double chords[][4] = {{57, 64, 67, 72}, {53, 60, 64, 69}, {60, 64, 67, 71}, {55, 62, 67, 71}};
    const int melody[] = {76, 74, 72, 67, 69, 72, 74, 72, 71, 67, 64, 67, 74, 71, 69, 67};
    const int bars = 16;
    Loop loop(bars * bar);
    for (int b = 0; b < bars; ++b) {
        const double start = b * bar, *chord = chords[b % 4];
        for (int n = 0; n < 4; ++n)
            loop.add(start, bar * 1.25, 0.05, 0.2 + 0.2 * n, pad(chord[n], bar * 1.25));
        for (int n : {0, 3})
            loop.add(start + n * beat, 1.2, 0.35, 0.5, bass(chord[0] - 12 - (chord[0] > 56 ? 12 : 0)));
        for (int n = 0; n < 8; ++n) { // arpeggio up and down the chord
            const int step[] = {0, 2, 1, 3, 2, 3, 1, 2};
            loop.add(start + n * beat / 2, 2.0, 0.16, n % 2 ? 0.75 : 0.25,
                     pluckedString(midi(chord[step[n]] + 12)));
        }
        if (b >= 8) // the second half brings a melody and a light beat
            for (int n = 0; n < 4; ++n) {
                const double note = melody[b % 4 * 4 + n];
                loop.add(start + n * beat, 1.6, 0.13, 0.5, [hertz = midi(note)](double t) {
                    return (sine(hertz * t) + 0.25 * sine(4 * hertz * t) * std::exp(-8 * t)) *
                           decay(t, 1.6, 0.01);
                });
                loop.add(start + n * beat, 0.3, n % 2 ? 0.0 : 0.5, 0.5, kick());
                loop.add(start + (n + 0.5) * beat, 0.1, 0.05, 0.6, hat());
            }
    }
    return save(dir + "/drift.ogg", loop.samples(), 2, 0.85);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_sounds OUTDIR (with the directories sounds and music in it)\n");
        return 1;
    }
    const std::string dir = argv[1];
    return makeEffects(dir + "/sounds") && makeMusic(dir + "/music") ? 0 : 1;
}
