// Shared by the scenes of the demo: voices, signals in files, waveforms for the pictures.
#ifndef MERLO64F_EXAMPLES_DEMO_SCENE_H
#define MERLO64F_EXAMPLES_DEMO_SCENE_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <numbers>
#include <span>
#include <string>
#include <vector>

#include "audio_file.h"
#include "filters.h"
#include "host.h"

namespace scene {

using host::Signal;

// ---- files -----------------------------------------------------------------------------------

inline Signal load(audio::Reader& file) {
    Signal samples(static_cast<std::size_t>(file.frames()));
    file.read(samples);
    return samples;
}

inline void store(const std::string& path, int rate, std::span<const double> samples) {
    audio::Writer file(path, rate, SF_FORMAT_WAV | SF_FORMAT_FLOAT);
    file.write(samples);
    file.close();
}

inline Signal loadColumn(const std::string& path) {
    std::ifstream file(path);
    Signal values{std::istream_iterator<double>(file), {}};
    if (values.empty() || !file.eof()) {
        host::fail(path, "cannot be read as a column of numbers");
    }
    return values;
}

// ---- voices ----------------------------------------------------------------------------------

constexpr int kSyntheticRate = 48000; // Hz

// A two-pole resonance with unit gain at 0 Hz. Centre frequency and bandwidth in Hz.
struct Formant {
    Formant(double centre, double width)
        : radius(std::exp(-std::numbers::pi * width / kSyntheticRate)),
          a1(2.0 * radius * std::cos(2.0 * std::numbers::pi * centre / kSyntheticRate)),
          a2(-radius * radius) {}
    double next(double x) {
        const double y = (1.0 - a1 - a2) * x + a1 * y1 + a2 * y2;
        y2 = y1;
        return y1 = y;
    }

    double radius, a1, a2, y1 = 0.0, y2 = 0.0;
};

// A synthetic voice for machines without recordings: a pulse train of varying pitch through the
// formants of one vowel per syllable.
inline Signal syntheticVoice(double seconds) {
    constexpr double kVowels[][3] = {{730, 1090, 2440},
                                     {270, 2290, 3010},
                                     {300, 870, 2240},
                                     {530, 1840, 2480},
                                     {570, 840, 2410}}; // Hz
    constexpr double kSyllable = 0.28, kSilent = 0.08;  // s
    constexpr double kRate = kSyntheticRate;
    const auto period = static_cast<std::size_t>(kSyllable * kRate);
    Signal voice(static_cast<std::size_t>(seconds * kRate));
    double cycle = 0.0;
    for (std::size_t from = 0, count = 0; from < voice.size(); from += period, ++count) {
        const auto& vowel = kVowels[(count * 3 + count / 7) % std::size(kVowels)];
        Formant first(vowel[0], 80), second(vowel[1], 100), third(vowel[2], 140);
        const bool pause = count % 8 == 7;
        for (std::size_t n = 0; n < std::min(period, voice.size() - from); ++n) {
            const double t = static_cast<double>(n) / kRate;
            cycle += (115.0 + 18.0 * std::cos(0.7 * static_cast<double>(count) + 6.0 * t)) / kRate;
            const double pulse = cycle >= 1.0 ? 1.0 : 0.0;
            cycle -= pulse;
            const double open = t / (kSyllable - kSilent);
            const double envelope = open < 1.0 ? std::pow(std::sin(std::numbers::pi * open), 2) : 0;
            const double x = third.next(second.next(first.next(pulse)));
            voice[from + n] = pause ? 0.0 : envelope * x;
        }
    }
    return voice;
}

// The recordings one after another, repeated until there are `shortest` seconds, cut at `longest`
// seconds.
inline Signal recordedVoice(const std::vector<std::string>& paths, double shortest, double longest,
                            int& rate) {
    constexpr double kPause = 0.15; // s, after each recording
    Signal voice;
    const auto seconds = [&] { return static_cast<double>(voice.size()) / rate; };
    do {
        for (const std::string& path : paths) {
            audio::Reader file(path);
            if (voice.empty()) {
                rate = file.rate();
            }
            if (file.rate() != rate) {
                host::fail(path, "has another sampling rate than " + paths.front());
            }
            const Signal samples = load(file);
            voice.insert(voice.end(), samples.begin(), samples.end());
            voice.resize(voice.size() + static_cast<std::size_t>(kPause * rate));
            if (seconds() >= longest) {
                break;
            }
        }
    } while (seconds() < shortest);
    voice.resize(std::min(voice.size(), static_cast<std::size_t>(longest * rate)));
    if (host::power(voice) < host::kSilence) {
        host::fail(paths.front(), "is silent");
    }
    return voice;
}

// `seconds` of a voice at the rate `rate`, in Hz. A pitch other than 1 also changes the speed.
// Resampling is linear interpolation after a low-pass, which is accurate enough for a voice.
inline Signal resampledVoice(const std::vector<std::string>& recordings, int rate, double seconds,
                             double pitch) {
    const double needed = seconds * pitch + 0.1; // s
    int voiceRate = kSyntheticRate;
    const Signal voice = recordings.empty() ? syntheticVoice(needed)
                                            : recordedVoice(recordings, needed, needed, voiceRate);
    const double advance = pitch * voiceRate / rate;
    const Signal smooth = host::through(host::lowPass(0.425 / std::max(1.0, advance), 0.5), voice);
    Signal result;
    const double last = static_cast<double>(smooth.size() - 1);
    for (double at = 0.0; at < last; at = advance * static_cast<double>(result.size())) {
        const auto before = static_cast<std::size_t>(at);
        result.push_back(std::lerp(smooth[before], smooth[before + 1], at - std::floor(at)));
    }
    result.resize(static_cast<std::size_t>(seconds * rate));
    return result;
}

inline const char* voiceSource(const std::vector<std::string>& recordings) {
    return recordings.empty() ? "synthetic voice (no recording was given)" : "recorded voice";
}

// ---- pictures --------------------------------------------------------------------------------

// Saves time in s and the lowest and the highest sample of each signal in about 1600 intervals.
inline void saveWaveforms(const std::string& path, int rate,
                          std::initializer_list<const Signal*> signals) {
    const std::size_t length = (*signals.begin())->size();
    const std::size_t interval = std::max<std::size_t>(1, length / 1600);
    std::vector<Signal> rows;
    for (std::size_t from = 0; from + interval <= length; from += interval) {
        rows.push_back({static_cast<double>(from) / rate});
        for (const Signal* signal : signals) {
            const auto [low, high] =
                std::ranges::minmax(std::span(*signal).subspan(from, interval));
            rows.back().insert(rows.back().end(), {low, high});
        }
    }
    host::saveTable(path, "time (s); lowest and highest sample (1 = full scale) of each signal",
                    rows);
}

// ---- the program -----------------------------------------------------------------------------

// main of a scene: `make` writes the input files of a host to a directory, `score` evaluates its
// output there.
inline int runScene(const char* name, int argc, char** argv,
                    void (*make)(const std::string& directory,
                                 const std::vector<std::string>& recordings),
                    void (*score)(const std::string& directory)) {
    const std::string command = argc > 2 ? argv[1] : "";
    if (command != "make" && (command != "score" || argc != 3)) {
        std::fprintf(stderr, "usage: %s make DIR [VOICE.wav ...] | %s score DIR\n", name, name);
        return 2;
    }
    return host::runHost(name, [&] {
        command == "make" ? make(argv[2], {argv + 3, argv + argc}) : score(argv[2]);
    });
}

} // namespace scene

#endif
