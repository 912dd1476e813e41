// The scene for the noise canceller, and the judge of its result.
//
//   noise_scene make DIR [VOICE.wav ...]   writes voice, primary and reference, and the path between
//                                          the microphones
//   noise_scene score DIR                  compares cleaned.wav and taps.txt with the truth
//
// A fan runs beside a speaker. The reference microphone stands at the fan; the primary one hears the
// voice and, through a decaying response, the fan, 5 dB above the voice.
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <numbers>

#include <fir64f.h>

#include "audio_file.h"
#include "host.h"

namespace {

using Signal = std::vector<double>;

constexpr char kUsage[] = "noise_scene make DIR [VOICE.wav ...] | noise_scene score DIR";

constexpr double kVoiceToNoise = -5.0;              // dB, in the primary
constexpr double kShortest = 10.0, kLongest = 15.0; // s
constexpr double kPause = 0.15;                     // s, between two recordings
constexpr double kPeak = 0.7;                       // of the louder microphone, re full scale
constexpr int kOwnVoiceRate = 48000;                // Hz

Signal difference(std::span<const double> a, std::span<const double> b) {
    Signal result(a.begin(), a.end());
    for (std::size_t n = 0; n < result.size(); ++n) {
        result[n] -= b[n];
    }
    return result;
}

Signal load(audio::Reader& file) {
    Signal samples(static_cast<std::size_t>(file.frames()));
    file.read(samples);
    return samples;
}

void store(const std::string& path, int rate, std::span<const double> samples) {
    audio::Writer file(path, rate, SF_FORMAT_WAV | SF_FORMAT_FLOAT);
    file.write(samples);
    file.close();
}

Signal loadColumn(const std::string& path) {
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

// ---- the scene -------------------------------------------------------------------------------

// A fan: noise that falls towards high frequencies and swells with the passing blades. The pole
// bounds the spread of the spectrum by ((1 + a) / (1 - a))^2 = 12 dB: taps that act where the noise
// is weakest still get a quarter of the mean power, and so all of them are learned.
Signal fanNoise(std::size_t length, int rate) {
    constexpr double kPole = 0.6, kBladeRate = 23.0 /* Hz */, kSwell = 0.25;
    host::WhiteNoise white(20);
    Signal noise(length);
    double coloured = 0.0;
    for (std::size_t n = 0; n < length; ++n) {
        coloured = white.next() + kPole * coloured;
        const double phase = 2.0 * std::numbers::pi * kBladeRate * static_cast<double>(n) /
                             static_cast<double>(rate);
        noise[n] = coloured * (1.0 + kSwell * std::sin(phase));
    }
    return noise;
}

// Four samples of flight, the direct sound, then reflections that ring and die away.
std::array<double, MAX_TAPS> acousticPath() {
    constexpr std::size_t kDelay = 4;
    std::array<double, MAX_TAPS> path{};
    for (std::size_t k = kDelay; k < path.size(); ++k) {
        const auto t = static_cast<double>(k - kDelay);
        path[k] = 0.8 * std::exp(-t / 6.0) * std::cos(0.9 * t) +
                  0.12 * std::exp(-t / 12.0) * std::sin(2.3 * t);
    }
    return path;
}

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
Signal ownVoice(int rate) {
    constexpr double kVowels[][3] = {{730, 1090, 2440},
                                     {270, 2290, 3010},
                                     {300, 870, 2240},
                                     {530, 1840, 2480},
                                     {570, 840, 2410}}; // Hz
    constexpr double kSyllable = 0.28, kSilent = 0.08;  // s
    const double hz = static_cast<double>(rate);
    const auto length = static_cast<std::size_t>(12.0 * hz);
    const auto period = static_cast<std::size_t>(kSyllable * hz);
    Signal voice;
    voice.reserve(length);
    double cycle = 0.0;
    for (std::size_t count = 0; voice.size() < length; ++count) {
        const auto& vowel = kVowels[(count * 3 + count / 7) % std::size(kVowels)];
        Formant first(vowel[0], 80, hz), second(vowel[1], 100, hz), third(vowel[2], 140, hz);
        const bool breath = count % 8 == 7;
        for (std::size_t n = 0; n < period && voice.size() < length; ++n) {
            const double t = static_cast<double>(n) / hz;
            cycle += (115.0 + 18.0 * std::cos(0.7 * static_cast<double>(count) + 6.0 * t)) / hz;
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

// The recordings one after another, from the first again until the scene is long enough.
Signal recordedVoice(const std::vector<std::string>& paths, int& rate) {
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
            if (seconds() >= kLongest) {
                break;
            }
        }
    } while (seconds() < kShortest);
    if (seconds() > kLongest) {
        voice.resize(static_cast<std::size_t>(kLongest * rate));
    }
    return voice;
}

void makeScene(const std::string& dir, const std::vector<std::string>& recordings) {
    int rate = kOwnVoiceRate;
    Signal voice = recordings.empty() ? ownVoice(rate) : recordedVoice(recordings, rate);
    if (host::power(voice) < host::kSilence) {
        host::fail(recordings.front(), "is silent");
    }

    Signal reference = fanNoise(voice.size(), rate);
    Signal heard(reference.size());
    auto path = acousticPath();
    std::array<double, MAX_TAPS> delayLine;
    fir64fState room;
    if (fir64fInitStatic(&room, MAX_TAPS, path.data(), delayLine.data()) != STS_OK) {
        throw host::Failure("the path cannot be set up");
    }
    fir64fBlockFilter(&room, reference.data(), heard.data(), static_cast<int32_t>(heard.size()));

    // The path is kept, so the level is set at its input; then all three signals share one gain.
    const double noiseGain =
        std::sqrt(host::power(voice) / host::power(heard) / std::pow(10.0, kVoiceToNoise / 10.0));
    Signal primary(voice);
    double loudest = 0.0;
    for (std::size_t n = 0; n < voice.size(); ++n) {
        primary[n] += noiseGain * heard[n];
        reference[n] *= noiseGain;
        loudest = std::max({loudest, std::abs(primary[n]), std::abs(reference[n])});
    }
    const double gain = kPeak / loudest;
    for (Signal* signal : {&voice, &primary, &reference}) {
        for (double& x : *signal) {
            x *= gain;
        }
    }

    store(dir + "/voice.wav", rate, voice);
    store(dir + "/primary.wav", rate, primary);
    store(dir + "/reference.wav", rate, reference);
    host::saveColumn(dir + "/path.txt", path);
    std::printf("scene: %.1f s at %d Hz, %s\n", static_cast<double>(voice.size()) / rate, rate,
                recordings.empty() ? "a voice made by the program, since no recording was given"
                                   : "recorded voice");
}

// ---- the score -------------------------------------------------------------------------------

struct Result {
    double before, after; // signal-to-noise ratio, dB
};

Result signalToNoise(std::span<const double> voice, std::span<const double> primary,
                     std::span<const double> cleaned) {
    return {host::decibels(host::power(voice) / host::power(difference(primary, voice))),
            host::decibels(host::power(voice) / host::power(difference(cleaned, voice)))};
}

// Time in s, then the lowest and the highest sample of every signal in each stretch.
void saveWaveforms(const std::string& path, int rate,
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

// Time in s against what is left of the noise, in dB re the noise in the first second.
void saveLearningCurve(const std::string& path, int rate, std::span<const double> noise,
                       std::span<const double> residual) {
    const auto frame = static_cast<std::size_t>(rate / 20); // 50 ms
    const double start = host::power(noise.first(std::min(noise.size(), 20 * frame)));
    host::Table table(path);
    for (std::size_t from = 0; from + frame <= residual.size(); from += frame) {
        table.row(std::array{static_cast<double>(from + frame / 2) / rate,
                             host::decibels(host::power(residual.subspan(from, frame)) / start)});
    }
    table.close();
}

void scoreResult(const std::string& dir) {
    audio::Reader voiceFile(dir + "/voice.wav"), primaryFile(dir + "/primary.wav"),
        cleanedFile(dir + "/cleaned.wav");
    audio::requireSameShape(voiceFile, primaryFile);
    audio::requireSameShape(voiceFile, cleanedFile);
    const int rate = voiceFile.rate();
    const Signal voice = load(voiceFile), primary = load(primaryFile), cleaned = load(cleanedFile);
    const Signal path = loadColumn(dir + "/path.txt");
    Signal taps = loadColumn(dir + "/taps.txt");
    taps.resize(path.size());

    const std::size_t half = voice.size() / 2;
    const Result whole = signalToNoise(voice, primary, cleaned);
    const Result second =
        signalToNoise(std::span(voice).subspan(half), std::span(primary).subspan(half),
                      std::span(cleaned).subspan(half));
    const double distance = host::decibels(host::power(difference(taps, path)) / host::power(path));

    std::printf("                        before     after   improvement\n");
    std::printf("SNR, whole file      %6.1f dB %6.1f dB     %6.1f dB\n", whole.before, whole.after,
                whole.after - whole.before);
    std::printf("SNR, second half     %6.1f dB %6.1f dB     %6.1f dB\n", second.before,
                second.after, second.after - second.before);
    std::printf("learned path to true path, at the end of the file: %.1f dB\n", distance);
    host::saveColumn(dir + "/improvement.txt", std::array{whole.after - whole.before});

    saveWaveforms(dir + "/waveforms.dat", rate, {&voice, &primary, &cleaned});
    saveLearningCurve(dir + "/learning.dat", rate, difference(primary, voice),
                      difference(cleaned, voice));
    host::Table tapTable(dir + "/taps.dat");
    for (std::size_t k = 0; k < path.size(); ++k) {
        tapTable.row(std::array{static_cast<double>(k), path[k], taps[k]});
    }
    tapTable.close();
}

void run(int argc, char** argv) {
    const std::string command = argc > 2 ? argv[1] : "";
    if (command == "make") {
        makeScene(argv[2], {argv + 3, argv + argc});
    } else if (command == "score" && argc == 3) {
        scoreResult(argv[2]);
    } else {
        throw host::UsageError(std::string("usage: ") + kUsage);
    }
}

} // namespace

int main(int argc, char** argv) {
    return host::runHost("noise_scene", [&] { run(argc, argv); });
}
