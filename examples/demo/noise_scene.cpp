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
#include <numbers>

#include "audio_file.h"
#include "filters.h"
#include "host.h"
#include "scene.h"

namespace {

using namespace scene;

constexpr double kVoiceToNoise = -5.0;              // dB, in the primary
constexpr double kShortest = 10.0, kLongest = 15.0; // s
constexpr double kPeak = 0.7;                       // of the louder microphone, re full scale

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

void makeScene(const std::string& dir, const std::vector<std::string>& recordings) {
    int rate = kOwnVoiceRate;
    Signal voice =
        recordings.empty() ? ownVoice(12.0) : recordedVoice(recordings, kShortest, kLongest, rate);

    Signal reference = fanNoise(voice.size(), rate);
    const auto path = acousticPath();
    const Signal heard = host::through(path, reference);

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
        scale(*signal, gain);
    }

    store(dir + "/voice.wav", rate, voice);
    store(dir + "/primary.wav", rate, primary);
    store(dir + "/reference.wav", rate, reference);
    host::saveColumn(dir + "/path.txt", path);
    std::printf("scene: %.1f s at %d Hz, %s\n", static_cast<double>(voice.size()) / rate, rate,
                voiceSource(recordings));
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

} // namespace

int main(int argc, char** argv) {
    return runScene("noise_scene", argc, argv, makeScene, scoreResult);
}
