// Makes the input of the line enhancer and evaluates its outputs.
//
//   hum_scene make DIR [VOICE.wav ...]   writes voice and recording
//   hum_scene score DIR                  compares the outputs with the voice: undelayed.wav and
//                                        predicted.wav of the prediction, referred.wav
//
// A voice, recorded through a cable that picks up the mains: 50 Hz and multiples, as loud as the
// voice. The frequency wanders by 0.01 Hz.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <string>
#include <vector>

#include "audio_file.h"
#include "host.h"
#include "scene.h"

namespace {

using namespace scene;

constexpr int kRate = 8000;       // Hz
constexpr double kEnd = 20.0;     // s
constexpr double kJudged = 10.0;  // s, from here on the outputs are evaluated
constexpr double kHumLevel = 0.0; // dB re the voice
constexpr double kPeak = 0.7;     // of the recording, re full scale

Signal mainsHum(std::size_t length) {
    constexpr double kFrequency = 50.0, kWander = 0.01; // Hz
    constexpr double kPeriod = 8.0;                     // s, of the wander
    constexpr std::array kAmplitudes = {1.0, 0.25, 0.5, 0.1, 0.3, 0.05, 0.2, 0.0, 0.1};
    constexpr double kTurn = 2.0 * std::numbers::pi;
    Signal hum(length);
    double phase = 0.0;
    for (std::size_t n = 0; n < length; ++n) {
        const double t = static_cast<double>(n) / kRate;
        phase += kTurn * (kFrequency + kWander * std::sin(kTurn * t / kPeriod)) / kRate;
        for (std::size_t k = 0; k < kAmplitudes.size(); ++k) {
            const auto multiple = static_cast<double>(k + 1);
            hum[n] += kAmplitudes[k] * std::sin(multiple * (phase + multiple));
        }
    }
    return hum;
}

void makeScene(const std::string& dir, const std::vector<std::string>& recordings) {
    Signal voice = resampledVoice(recordings, kRate, kEnd, 1.0);
    Signal hum = mainsHum(voice.size());
    host::scale(hum, host::amplitude(kHumLevel + host::ratio(voice, hum)));
    Signal recording = host::sum(voice, hum);
    const auto [low, high] = std::ranges::minmax(recording);
    const double gain = kPeak / std::max(-low, high);
    host::scale(voice, gain);
    host::scale(recording, gain);
    store(dir + "/hum_voice.wav", kRate, voice);
    store(dir + "/humming.wav", kRate, recording);
    std::printf("scene: %.1f s at %d Hz, %s\n", kEnd, kRate, voiceSource(recordings));
}

// The difference between an output and the voice is what is left of the hum and what the filter has
// taken from the voice.
void scoreResult(const std::string& dir) {
    constexpr std::size_t kSegment = 4096;    // samples per spectrum
    constexpr double kHighest = 500.0;        // Hz, of the spectra
    constexpr std::size_t kFrame = kRate / 2; // samples per level
    audio::Reader voiceFile(dir + "/hum_voice.wav");
    const Signal voice = load(voiceFile);
    std::vector<Signal> signals = {voice};
    for (const char* name : {"humming", "undelayed", "predicted", "referred"}) {
        audio::Reader file(dir + "/" + name + ".wav");
        audio::requireSameShape(voiceFile, file);
        signals.push_back(load(file));
    }
    if (voiceFile.rate() != kRate) {
        host::fail(voiceFile.path(), "belongs to another scene");
    }
    const auto judged = [](const Signal& signal) {
        return std::span(signal).subspan(static_cast<std::size_t>(kJudged * kRate));
    };
    const Signal hum = host::difference(signals[1], voice);
    Signal reductions;
    std::vector<Signal> levels;
    for (std::size_t k = 2; k < signals.size(); ++k) {
        const Signal rest = host::difference(signals[k], voice);
        reductions.push_back(host::ratio(judged(hum), judged(rest)));
        Signal& level = levels.emplace_back();
        for (std::size_t from = 0; from + kFrame <= rest.size(); from += kFrame) {
            level.push_back(host::decibels(host::power(std::span(rest).subspan(from, kFrame)) /
                                           host::power(hum)));
        }
    }
    std::printf("hum over what is left of it and what is missing of the voice, after %g s:\n"
                "  prediction without a delay %6.1f dB\n"
                "  prediction                 %6.1f dB\n"
                "  reference                  %6.1f dB\n",
                kJudged, reductions[0], reductions[1], reductions[2]);
    host::saveColumn(dir + "/hum_reduction.txt",
                     std::array{reductions[1], reductions[2], reductions[0]});
    host::saveTable(dir + "/hum_levels.dat",
                    "time (s); what is left of the hum and missing of the voice (dB re the hum): "
                    "prediction without a delay, prediction, reference",
                    host::rowsOf(levels, 0.5, static_cast<double>(kFrame) / kRate));
    constexpr double kSpacing = static_cast<double>(kRate) / kSegment; // Hz
    std::vector<Signal> spectra;
    for (const Signal& signal : signals) {
        Signal& bins = spectra.emplace_back(host::binPowers(
            judged(signal), kSegment, static_cast<std::size_t>(kHighest / kSpacing)));
        std::transform(bins.begin(), bins.end(), bins.begin(), host::decibels);
    }
    host::saveTable(
        dir + "/hum_spectra.dat",
        "frequency (Hz); level per bin (dB re full scale): voice, recording, prediction "
        "without a delay, prediction, reference",
        host::rowsOf(spectra, 1.0, kSpacing));
}

} // namespace

int main(int argc, char** argv) {
    return runScene("hum_scene", argc, argv, makeScene, scoreResult);
}
