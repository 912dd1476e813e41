// What the scenes share: voices, signals in files, the waveforms of a picture.
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
#include "host.h"

namespace scene {

using Signal = std::vector<double>;

// ---- signals ---------------------------------------------------------------------------------

inline Signal difference(std::span<const double> a, std::span<const double> b) {
    Signal result(a.begin(), a.end());
    for (std::size_t n = 0; n < result.size(); ++n) {
        result[n] -= b[n];
    }
    return result;
}

inline void scale(std::span<double> signal, double gain) {
    for (double& x : signal) {
        x *= gain;
    }
}

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
    Signal values;
    for (double value = 0.0; file >> value;) {
        values.push_back(value);
    }
    if (values.empty() || !file.eof()) {
        host::fail(path, "cannot be read as a column of numbers");
    }
    return values;
}

// ---- voices ----------------------------------------------------------------------------------

constexpr int kOwnVoiceRate = 48000; // Hz

// A resonance of unit gain at 0 Hz: centre and width in Hz.
class Formant {
  public:
    Formant(double centre, double width, double rate) {
        const double radius = std::exp(-std::numbers::pi * width / rate);
        a1_ = 2.0 * radius * std::cos(2.0 * std::numbers::pi * centre / rate);
        a2_ = -radius * radius;
    }
    double next(double x) {
        const double y = (1.0 - a1_ - a2_) * x + a1_ * y1_ + a2_ * y2_;
        y2_ = y1_;
        return y1_ = y;
    }

  private:
    double a1_, a2_, y1_ = 0.0, y2_ = 0.0;
};

// Something like a voice, where no recording can be had: a gliding train of pulses through the
// resonances of one vowel after another, each under the envelope of a syllable.
inline Signal ownVoice(double seconds) {
    constexpr double kVowels[][3] = {{730, 1090, 2440},
                                     {270, 2290, 3010},
                                     {300, 870, 2240},
                                     {530, 1840, 2480},
                                     {570, 840, 2410}}; // Hz
    constexpr double kSyllable = 0.28, kSilent = 0.08;  // s
    constexpr double kRate = kOwnVoiceRate;
    const auto length = static_cast<std::size_t>(seconds * kRate);
    const auto period = static_cast<std::size_t>(kSyllable * kRate);
    Signal voice;
    voice.reserve(length);
    double cycle = 0.0;
    for (std::size_t count = 0; voice.size() < length; ++count) {
        const auto& vowel = kVowels[(count * 3 + count / 7) % std::size(kVowels)];
        Formant first(vowel[0], 80, kRate), second(vowel[1], 100, kRate),
            third(vowel[2], 140, kRate);
        const bool breath = count % 8 == 7;
        for (std::size_t n = 0; n < period && voice.size() < length; ++n) {
            const double t = static_cast<double>(n) / kRate;
            cycle += (115.0 + 18.0 * std::cos(0.7 * static_cast<double>(count) + 6.0 * t)) / kRate;
            const double pulse = cycle >= 1.0 ? 1.0 : 0.0;
            cycle -= pulse;
            const double open = t / (kSyllable - kSilent);
            const double envelope = open < 1.0 ? std::pow(std::sin(std::numbers::pi * open), 2) : 0;
            const double x = third.next(second.next(first.next(pulse)));
            voice.push_back(breath ? 0.0 : envelope * x);
        }
    }
    return voice;
}

// The recordings one after another, from the first again until there are `shortest` seconds, then
// up to `longest` of them.
inline Signal recordedVoice(const std::vector<std::string>& paths, double shortest, double longest,
                            int& rate) {
    constexpr double kPause = 0.15; // s, between two recordings
    Signal voice;
    const auto seconds = [&] { return static_cast<double>(voice.size()) / rate; };
    do {
        for (const std::string& path : paths) {
            audio::Reader file(path);
            if (voice.empty()) {
                rate = file.rate();
            }
            if (file.rate() != rate) {
                host::fail(path, "has another sample rate than " + paths.front());
            }
            const Signal samples = load(file);
            voice.insert(voice.end(), samples.begin(), samples.end());
            voice.resize(voice.size() + static_cast<std::size_t>(kPause * rate));
            if (seconds() >= longest) {
                break;
            }
        }
    } while (seconds() < shortest);
    if (seconds() > longest) {
        voice.resize(static_cast<std::size_t>(longest * rate));
    }
    if (host::power(voice) < host::kSilence) {
        host::fail(paths.front(), "is silent");
    }
    return voice;
}

// For the line that tells what a scene is.
inline const char* voiceSource(const std::vector<std::string>& recordings) {
    return recordings.empty() ? "a voice made by the program, since no recording was given"
                              : "recorded voice";
}

// ---- pictures --------------------------------------------------------------------------------

// Time in s, then the lowest and the highest sample of every signal in each stretch.
inline void saveWaveforms(const std::string& path, int rate,
                          std::initializer_list<const Signal*> signals) {
    constexpr std::size_t kStretches = 1600;
    const std::size_t length = (*signals.begin())->size();
    const std::size_t stretch = std::max<std::size_t>(1, length / kStretches);
    host::Table table(path);
    for (std::size_t from = 0; from + stretch <= length; from += stretch) {
        Signal row{static_cast<double>(from) / rate};
        for (const Signal* signal : signals) {
            const auto [low, high] =
                std::minmax_element(signal->begin() + static_cast<std::ptrdiff_t>(from),
                                    signal->begin() + static_cast<std::ptrdiff_t>(from + stretch));
            row.push_back(*low);
            row.push_back(*high);
        }
        table.row(row);
    }
    table.close();
}

// ---- the program -----------------------------------------------------------------------------

// main of a scene: it makes the files in a directory, and later scores what lies there.
inline int runScene(const std::string& name, int argc, char** argv,
                    void (*make)(const std::string& directory,
                                 const std::vector<std::string>& recordings),
                    void (*score)(const std::string& directory)) {
    return host::runHost(name.c_str(), [&] {
        const std::string command = argc > 2 ? argv[1] : "";
        if (command == "make") {
            make(argv[2], {argv + 3, argv + argc});
        } else if (command == "score" && argc == 3) {
            score(argv[2]);
        } else {
            throw host::UsageError("usage: " + name + " make DIR [VOICE.wav ...] | " + name +
                                   " score DIR");
        }
    });
}

} // namespace scene

#endif
