// Makes the input of the noise canceller and evaluates its output.
//
//   noise_scene make DIR [VOICE.wav ...]   writes voice, primary and reference signal, and the
//                                          response of the acoustic path
//   noise_scene score DIR                  compares cleaned.wav and taps.txt with voice and path, and
//                                          ungated.wav, the output of a filter that always adapts
//
// A person speaks near a fan. The reference microphone is at the fan. The primary microphone picks
// up the voice and, through the acoustic path, the fan noise, 5 dB above the voice.
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

constexpr double kVoiceToNoise = -5.0;              // dB, in the primary signal
constexpr double kShortest = 10.0, kLongest = 15.0; // s
constexpr double kPeak = 0.7;                       // re full scale, of the louder microphone
constexpr double kSelfNoise = -90.0;                // dB re full scale, of the reference microphone

// The fan runs for kRuns and then pauses for kPauses, in s.
constexpr double kRuns = 2.5, kPauses = 0.7, kCycle = kRuns + kPauses;
constexpr double kOnset = 0.05; // s after each pause, evaluated on its own

// ---- the scene -------------------------------------------------------------------------------

// White noise through a pole, modulated at the blade rate, with pauses. The spectrum spans no more than
// ((1 + a) / (1 - a))^2 = 12 dB, so that the noise identifies the path at all frequencies.
Signal fanNoise(std::size_t length, int rate) {
    constexpr double kPole = 0.6, kBladeRate = 23.0 /* Hz */, kModulation = 0.25;
    host::WhiteNoise white(20);
    Signal noise(length);
    double coloured = 0.0;
    for (std::size_t n = 0; n < length; ++n) {
        coloured = white.next() + kPole * coloured;
        const double phase = 2.0 * std::numbers::pi * kBladeRate * static_cast<double>(n) / rate;
        const bool pause = std::fmod(static_cast<double>(n) / rate, kCycle) >= kRuns;
        noise[n] = pause ? 0.0 : coloured * (1.0 + kModulation * std::sin(phase));
    }
    return noise;
}

// Four samples of delay, the direct sound, and decaying reflections.
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
    int rate = kSyntheticRate;
    Signal voice = recordings.empty() ? syntheticVoice(12.0)
                                      : recordedVoice(recordings, kShortest, kLongest, rate);
    Signal reference = fanNoise(voice.size(), rate);
    const auto path = acousticPath();
    Signal heard = host::through(path, reference);

    // The noise is scaled at the input of the path, so that the response stays as it is. Then all
    // signals get the same gain.
    const double noiseGain =
        std::sqrt(host::power(voice) / host::power(heard) / std::pow(10.0, kVoiceToNoise / 10.0));
    host::scale(heard, noiseGain);
    host::scale(reference, noiseGain);
    Signal primary = host::sum(voice, heard);
    double peak = 0.0;
    for (std::size_t n = 0; n < voice.size(); ++n) {
        peak = std::max({peak, std::abs(primary[n]), std::abs(reference[n])});
    }
    for (Signal* signal : {&voice, &primary, &reference}) {
        host::scale(*signal, kPeak / peak);
    }

    host::WhiteNoise white(21);
    for (double& x : reference) {
        x += std::sqrt(3.0) * host::amplitude(kSelfNoise) * white.next();
    }

    store(dir + "/voice.wav", rate, voice);
    store(dir + "/primary.wav", rate, primary);
    store(dir + "/reference.wav", rate, reference);
    host::saveColumn(dir + "/path.txt", path);
    std::printf("scene: %.1f s at %d Hz, %s\n", static_cast<double>(voice.size()) / rate, rate,
                voiceSource(recordings));
}

// ---- the score -------------------------------------------------------------------------------

// Mean power of a signal over the first kOnset seconds after each pause.
double onsetPower(std::span<const double> signal, int rate) {
    const auto length = static_cast<std::size_t>(kOnset * rate);
    host::MeanSquare power;
    for (double at = kCycle;; at += kCycle) {
        const auto from = static_cast<std::size_t>(std::ceil(at * rate));
        if (from + length > signal.size()) {
            return power.value();
        }
        power.add(signal.subspan(from, length));
    }
}

void scoreResult(const std::string& dir) {
    audio::Reader voiceFile(dir + "/voice.wav"), primaryFile(dir + "/primary.wav"),
        cleanedFile(dir + "/cleaned.wav"), ungatedFile(dir + "/ungated.wav");
    for (const auto* file : {&primaryFile, &cleanedFile, &ungatedFile}) {
        audio::requireSameShape(voiceFile, *file);
    }
    const int rate = voiceFile.rate();
    const Signal voice = load(voiceFile), primary = load(primaryFile), cleaned = load(cleanedFile);
    const Signal path = loadColumn(dir + "/path.txt");
    Signal taps = loadColumn(dir + "/taps.txt");
    taps.resize(path.size());

    const Signal noise = host::difference(primary, voice), rest = host::difference(cleaned, voice);
    std::printf("signal-to-noise ratio   primary   cleaned   improvement\n");
    double improvement = 0.0;
    for (const bool secondHalf : {true, false}) {
        const auto part = [&](const Signal& signal) {
            return std::span(signal).subspan(secondHalf ? signal.size() / 2 : 0);
        };
        const double before = host::ratio(part(voice), part(noise));
        const double after = host::ratio(part(voice), part(rest));
        improvement = after - before;
        std::printf("%-20s %7.1f dB %6.1f dB %10.1f dB\n",
                    secondHalf ? "second half" : "whole file", before, after, improvement);
    }
    const Signal restUngated = host::difference(load(ungatedFile), voice);
    const auto onset = [&](const Signal& left) {
        return host::decibels(onsetPower(left, rate) / onsetPower(noise, rate));
    };
    const double gated = onset(rest), ungated = onset(restUngated);
    std::printf("residual noise re noise, first %.0f ms after each pause of the fan:\n",
                1e3 * kOnset);
    std::printf("  adapting while the reference is above the floor %6.1f dB\n", gated);
    std::printf("  adapting always                                 %6.1f dB\n", ungated);
    std::printf("misalignment of the final taps re the acoustic path: %.1f dB\n",
                host::ratio(host::difference(taps, path), path));
    host::saveColumn(dir + "/improvement.txt", std::array{improvement, -gated, -ungated});

    saveWaveforms(dir + "/waveforms.dat", rate, {&voice, &primary, &cleaned});
    host::saveTable(dir + "/taps.dat", "tap; acoustic path, filter",
                    host::rowsOf({path, taps}, 0.0, 1.0));

    const auto frame = static_cast<std::size_t>(rate / 20); // 50 ms
    const double start = host::power(std::span(noise).first(std::min(noise.size(), 20 * frame)));
    std::vector<Signal> columns;
    for (const Signal& signal : {rest, restUngated}) {
        Signal& column = columns.emplace_back();
        for (std::size_t from = 0; from + frame <= signal.size(); from += frame) {
            const double left = host::power(std::span(signal).subspan(from, frame));
            column.push_back(host::decibels(left / start));
        }
    }
    host::saveTable(dir + "/learning.dat",
                    "time (s); residual noise (dB re the primary noise of the first second): with "
                    "the floor, without",
                    host::rowsOf(columns, 0.5, static_cast<double>(frame) / rate));
}

} // namespace

int main(int argc, char** argv) {
    return runScene("noise_scene", argc, argv, makeScene, scoreResult);
}
