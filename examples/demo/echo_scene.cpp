// Makes the input of the echo canceller and evaluates its output.
//
//   echo_scene make DIR [VOICE.wav ...]   writes far end, near end and microphone signal, and the
//                                         response of the room
//   echo_scene score DIR                  compares echo_free.wav with the near end, also
//                                         echo_ungated.wav, the output of a canceller that always
//                                         adapts, and echo_taps.txt with the response
//
// A telephone call in a living room: the loudspeaker plays the far end. The microphone picks up its
// echo, the near-end voice and noise.
#include <array>
#include <cmath>
#include <cstdio>

#include "audio_file.h"
#include "filters.h"
#include "host.h"
#include "scene.h"

namespace {

using namespace scene;

constexpr int kRate = 16000; // Hz

// Far end alone, double talk, near end alone, far end alone again.
constexpr double kBothFrom = 24.0, kNearFrom = 27.5, kFarAgain = 29.5, kEnd = 33.0; // s
constexpr double kJudged = 2.0; // s, length of the intervals that are evaluated

constexpr double kFarPeak = 0.7;      // re full scale
constexpr double kEchoLevel = -6.0;   // dB re the far end
constexpr double kNearLevel = 0.0;    // dB re the echo
constexpr double kNoiseLevel = -45.0; // dB re the echo
constexpr double kLineNoise = -75.0;  // dB re full scale, of the far end, in its pause too
constexpr double kOnset = 0.05;       // s after the pause, evaluated on its own

std::size_t samples(double seconds) { return static_cast<std::size_t>(seconds * kRate); }

std::span<const double> interval(std::span<const double> signal, double from, double to) {
    return signal.subspan(samples(from), samples(to) - samples(from));
}

// ---- the scene -------------------------------------------------------------------------------

// The direct sound after 2 ms, six reflections, and reverberation that decays by 60 dB in 150 ms.
Signal roomResponse() {
    constexpr double kT60 = 0.15;                                           // s
    constexpr double kTailFrom = 0.004, kTailGain = 0.12;                   // s, gain
    constexpr std::array kDelays = {2.0, 5.3, 7.9, 11.2, 14.6, 19.1, 24.8}; // ms
    constexpr std::array kGains = {1.0, -0.45, 0.38, -0.3, 0.26, 0.2, -0.16};
    Signal response(samples(1.2 * kT60));
    host::WhiteNoise white(30);
    for (std::size_t n = samples(kTailFrom); n < response.size(); ++n) {
        const double t = static_cast<double>(n) / kRate;
        response[n] = kTailGain * white.next() * host::amplitude(-60.0 * t / kT60);
    }
    for (std::size_t k = 0; k < kDelays.size(); ++k) {
        response[samples(kDelays[k] / 1000.0)] += kGains[k];
    }
    return response;
}

void makeScene(const std::string& dir, const std::vector<std::string>& recordings) {
    // The far end continues after its pause. The near end is a voice of lower pitch.
    const auto at = [](Signal& signal, double seconds) {
        return signal.begin() + static_cast<std::ptrdiff_t>(samples(seconds));
    };
    Signal farVoice = resampledVoice(recordings, kRate, kNearFrom + kEnd - kFarAgain, 1.0);
    const Signal nearVoice =
        resampledVoice({recordings.rbegin(), recordings.rend()}, kRate, kFarAgain - kBothFrom, 0.8);
    Signal farEnd(samples(kEnd)), nearEnd(samples(kEnd));
    std::copy(farVoice.begin(), at(farVoice, kNearFrom), farEnd.begin());
    std::copy(at(farVoice, kNearFrom), farVoice.end(), at(farEnd, kFarAgain));
    std::copy(nearVoice.begin(), nearVoice.end(), at(nearEnd, kBothFrom));

    const auto [low, high] = std::ranges::minmax(farEnd);
    host::scale(farEnd, kFarPeak / std::max(-low, high));
    host::WhiteNoise line(32);
    for (double& x : farEnd) {
        x += std::sqrt(3.0) * host::amplitude(kLineNoise) * line.next();
    }
    Signal response = roomResponse();
    const Signal unscaled = host::through(response, farEnd);
    host::scale(response, host::amplitude(kEchoLevel) *
                              std::sqrt(host::power(farEnd) / host::power(unscaled)));
    const Signal echo = host::through(response, farEnd);
    const double echoPower = host::power(interval(echo, 0.0, kNearFrom));
    const double nearPower = host::power(interval(nearEnd, kBothFrom, kFarAgain));
    host::scale(nearEnd, host::amplitude(kNearLevel) * std::sqrt(echoPower / nearPower));

    host::WhiteNoise white(31);
    const double noise = host::amplitude(kNoiseLevel) * std::sqrt(3.0 * echoPower);
    Signal microphone = host::sum(echo, nearEnd);
    for (double& x : microphone) {
        x += noise * white.next();
    }

    store(dir + "/far_end.wav", kRate, farEnd);
    store(dir + "/near_end.wav", kRate, nearEnd);
    store(dir + "/microphone.wav", kRate, microphone);
    host::saveColumn(dir + "/room.txt", response);
    std::printf("scene: %.1f s at %d Hz, %s\n", kEnd, kRate, voiceSource(recordings));
}

// ---- the score -------------------------------------------------------------------------------

void scoreResult(const std::string& dir) {
    audio::Reader farFile(dir + "/far_end.wav"), nearFile(dir + "/near_end.wav"),
        microphoneFile(dir + "/microphone.wav"), outputFile(dir + "/echo_free.wav"),
        ungatedFile(dir + "/echo_ungated.wav");
    for (const auto* file : {&nearFile, &microphoneFile, &outputFile, &ungatedFile}) {
        audio::requireSameShape(farFile, *file);
    }
    if (farFile.rate() != kRate || static_cast<std::size_t>(farFile.frames()) != samples(kEnd)) {
        host::fail(farFile.path(), "belongs to another scene");
    }
    const Signal farEnd = load(farFile), nearEnd = load(nearFile), output = load(outputFile),
                 microphone = load(microphoneFile);

    // Echo and noise before and after the canceller.
    const Signal before = host::difference(microphone, nearEnd);
    const Signal after = host::difference(output, nearEnd);
    const auto enhancement = [&](double from, double to) {
        return host::ratio(interval(before, from, to), interval(after, from, to));
    };
    const Signal enhancements = {enhancement(kBothFrom - kJudged, kBothFrom),
                                 enhancement(kBothFrom, kNearFrom),
                                 enhancement(kEnd - kJudged, kEnd)};
    std::printf("echo return loss enhancement (level difference without the near-end voice):\n");
    const auto print = [](const char* who, double from, double to, double value) {
        std::printf("  %-15s %5.2f .. %5.2f s  %6.1f dB\n", who, from, to, value);
    };
    print("far end alone,", kBothFrom - kJudged, kBothFrom, enhancements[0]);
    print("double talk,", kBothFrom, kNearFrom, enhancements[1]);
    print("far end alone,", kEnd - kJudged, kEnd, enhancements[2]);
    print("after the pause", kFarAgain, kFarAgain + kOnset,
          enhancement(kFarAgain, kFarAgain + kOnset));
    const Signal ungated = host::difference(load(ungatedFile), nearEnd);
    print("- without floor", kFarAgain, kFarAgain + kOnset,
          host::ratio(interval(before, kFarAgain, kFarAgain + kOnset),
                      interval(ungated, kFarAgain, kFarAgain + kOnset)));

    std::printf("near-end voice re echo and noise:     microphone   output\n");
    for (const auto& [who, from, to] : {std::tuple{"double talk,", kBothFrom, kNearFrom},
                                        {"near end alone,", kNearFrom + 0.5, kFarAgain}}) {
        const auto voice = interval(nearEnd, from, to);
        std::printf("  %-15s %5.2f .. %5.2f s  %6.1f dB  %6.1f dB\n", who, from, to,
                    host::ratio(voice, interval(before, from, to)),
                    host::ratio(voice, interval(after, from, to)));
    }
    Signal room = loadColumn(dir + "/room.txt"), taps = loadColumn(dir + "/echo_taps.txt");
    taps.resize(room.size());
    std::printf("misalignment of the final taps re the response of the room: %.1f dB\n",
                host::ratio(host::difference(taps, room), room));
    host::saveColumn(dir + "/erle.txt", enhancements);

    saveWaveforms(dir + "/echo_waveforms.dat", kRate, {&farEnd, &microphone, &output});
    host::saveTable(dir + "/intervals.txt", "", {{kBothFrom, kNearFrom, kFarAgain}});
    constexpr double kFrame = 0.1; // s
    const double quiet = 1e-3 * host::power(before);
    std::vector<Signal> curve;
    for (int frame = 0; (frame + 1) * kFrame <= kEnd; ++frame) {
        const double from = frame * kFrame, to = from + kFrame;
        const bool loud = host::power(interval(before, from, to)) > quiet;
        curve.push_back({from + kFrame / 2, loud ? enhancement(from, to) : NAN});
    }
    host::saveTable(
        dir + "/erle.dat",
        "time (s); echo return loss enhancement (dB), nan where the echo is 30 dB below "
        "its mean power or weaker",
        curve);
}

} // namespace

int main(int argc, char** argv) {
    return runScene("echo_scene", argc, argv, makeScene, scoreResult);
}
