// The scene for the echo canceller, and the judge of its result.
//
//   echo_scene make DIR [VOICE.wav ...]   writes far end, near end and microphone, and the response
//                                         of the room
//   echo_scene score DIR                  compares echo_free.wav with the truth
//
// Someone is called in a living room. The loudspeaker plays the far end; the microphone hears it
// through the room, the person called, and its own faint noise.
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

constexpr int kRate = 16000; // Hz

// The far end speaks alone, then both speak, then the near end alone, then the far end again.
constexpr double kBothFrom = 9.0, kNearFrom = 12.5, kFarAgain = 14.5, kEnd = 18.0; // s
constexpr double kJudged = 2.0; // s at the end of a stretch, over which the result is judged

constexpr double kFarPeak = 0.7;      // re full scale
constexpr double kEchoLevel = -6.0;   // dB re the far end
constexpr double kNearLevel = 0.0;    // dB re the echo
constexpr double kNoiseLevel = -45.0; // dB re the echo

std::size_t samples(double seconds) { return static_cast<std::size_t>(seconds * kRate); }

std::span<const double> stretch(std::span<const double> signal, double from, double to) {
    return signal.subspan(samples(from), samples(to) - samples(from));
}

double amplitude(double decibels) { return std::pow(10.0, decibels / 20.0); }

// ---- the scene -------------------------------------------------------------------------------

// From `rate` to kRate. At a `pitch` other than 1 the voice is also played slower or faster; then
// samples between samples lie on a straight line, which is near enough for a voice.
Signal resample(std::span<const double> voice, int rate, double pitch) {
    const double advance = pitch * rate / kRate;
    // A sinc under a Hann window: the upper half of the transition band folds into its lower half.
    constexpr int32_t kTaps = MAX_TAPS;
    Signal lowPass(kTaps);
    double gain = 0.0;
    for (std::size_t k = 0; k < lowPass.size(); ++k) {
        const double t = std::numbers::pi * (static_cast<double>(k) - (kTaps - 1) / 2.0);
        lowPass[k] =
            std::sin(0.85 * t / std::max(1.0, advance)) / t * (1.0 + std::cos(2.0 * t / kTaps));
        gain += lowPass[k];
    }
    scale(lowPass, 1.0 / gain);
    const Signal smooth = host::through(lowPass, voice);

    Signal result;
    const double last = static_cast<double>(smooth.size() - 1);
    for (double at = 0.0; at < last; at = advance * static_cast<double>(result.size())) {
        const auto before = static_cast<std::size_t>(at);
        result.push_back(std::lerp(smooth[before], smooth[before + 1], at - std::floor(at)));
    }
    return result;
}

// `seconds` of a voice at kRate.
Signal voiceOf(const std::vector<std::string>& recordings, double seconds, double pitch) {
    const double source = seconds * pitch + 0.1;
    int rate = kOwnVoiceRate;
    const Signal voice =
        recordings.empty() ? ownVoice(source) : recordedVoice(recordings, source, source, rate);
    Signal result = resample(voice, rate, pitch);
    result.resize(samples(seconds));
    return result;
}

// The direct sound after 2 ms, six reflections, then a tail of many that falls by 60 dB in 200 ms.
Signal roomResponse() {
    constexpr double kT60 = 0.2; // s
    constexpr std::array<std::array<double, 2>, 7> kPaths = {{{2.0, 1.0},
                                                              {5.3, -0.45},
                                                              {7.9, 0.38},
                                                              {11.2, -0.3},
                                                              {14.6, 0.26},
                                                              {19.1, 0.2},
                                                              {24.8, -0.16}}}; // ms, gain
    constexpr double kTailFrom = 0.004, kTailGain = 0.12;
    Signal response(samples(1.2 * kT60));
    host::WhiteNoise white(30);
    for (std::size_t n = samples(kTailFrom); n < response.size(); ++n) {
        const double t = static_cast<double>(n) / kRate;
        response[n] = kTailGain * white.next() * amplitude(-60.0 * t / kT60);
    }
    for (const auto& [delay, gain] : kPaths) {
        response[samples(delay / 1000.0)] += gain;
    }
    return response;
}

void makeScene(const std::string& dir, const std::vector<std::string>& recordings) {
    // The far end goes on after its pause where it stopped. The near end is a deeper voice.
    const Signal farVoice = voiceOf(recordings, kNearFrom + kEnd - kFarAgain, 1.0);
    const Signal nearVoice =
        voiceOf({recordings.rbegin(), recordings.rend()}, kFarAgain - kBothFrom, 0.8);
    Signal farEnd(samples(kEnd)), nearEnd(samples(kEnd));
    const auto again = farVoice.begin() + static_cast<std::ptrdiff_t>(samples(kNearFrom));
    std::copy(farVoice.begin(), again, farEnd.begin());
    std::copy(again, farVoice.end(),
              farEnd.begin() + static_cast<std::ptrdiff_t>(samples(kFarAgain)));
    std::copy(nearVoice.begin(), nearVoice.end(),
              nearEnd.begin() + static_cast<std::ptrdiff_t>(samples(kBothFrom)));

    const auto [low, high] = std::minmax_element(farEnd.begin(), farEnd.end());
    scale(farEnd, kFarPeak / std::max(-*low, *high));
    Signal response = roomResponse();
    const Signal unscaled = host::through(response, farEnd);
    scale(response, amplitude(kEchoLevel) * std::sqrt(host::power(farEnd) / host::power(unscaled)));
    const Signal echo = host::through(response, farEnd);
    const double echoPower = host::power(stretch(echo, 0.0, kNearFrom));
    scale(nearEnd, amplitude(kNearLevel) *
                       std::sqrt(echoPower / host::power(stretch(nearEnd, kBothFrom, kFarAgain))));

    host::WhiteNoise white(31);
    const double noise = amplitude(kNoiseLevel) * std::sqrt(3.0 * echoPower);
    Signal microphone = echo;
    addIp64f(nearEnd.data(), microphone.data(), static_cast<int32_t>(microphone.size()));
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

double ratio(std::span<const double> above, std::span<const double> below) {
    return host::decibels(host::power(above) / host::power(below));
}

void scoreResult(const std::string& dir) {
    audio::Reader farFile(dir + "/far_end.wav"), nearFile(dir + "/near_end.wav"),
        microphoneFile(dir + "/microphone.wav"), outputFile(dir + "/echo_free.wav");
    for (const auto* file : {&nearFile, &microphoneFile, &outputFile}) {
        audio::requireSameShape(farFile, *file);
    }
    if (farFile.rate() != kRate || static_cast<std::size_t>(farFile.frames()) != samples(kEnd)) {
        host::fail(farFile.path(), "is of another scene");
    }
    const Signal farEnd = load(farFile), nearEnd = load(nearFile), output = load(outputFile),
                 microphone = load(microphoneFile);

    // What is not the near end: the echo before, its rest after, and the noise in both. Where only
    // the far end speaks this is all there is.
    const Signal before = difference(microphone, nearEnd), after = difference(output, nearEnd);
    const auto enhancement = [&](double from, double to) {
        return ratio(stretch(before, from, to), stretch(after, from, to));
    };
    const double first = enhancement(kBothFrom - kJudged, kBothFrom);
    const double last = enhancement(kEnd - kJudged, kEnd);
    std::printf("echo return loss enhancement\n");
    std::printf("  far end alone, %4.1f .. %4.1f s  %6.1f dB\n", kBothFrom - kJudged, kBothFrom,
                first);
    std::printf("  both speak,    %4.1f .. %4.1f s  %6.1f dB\n", kBothFrom, kNearFrom,
                enhancement(kBothFrom, kNearFrom));
    std::printf("  far end alone, %4.1f .. %4.1f s  %6.1f dB\n", kEnd - kJudged, kEnd, last);

    const auto distortion = [&](const Signal& rest, double from, double to) {
        return ratio(stretch(nearEnd, from, to), stretch(rest, from, to));
    };
    std::printf("near-end voice to all else    microphone    output\n");
    std::printf("  both speak,    %4.1f .. %4.1f s  %6.1f dB %6.1f dB\n", kBothFrom, kNearFrom,
                distortion(before, kBothFrom, kNearFrom), distortion(after, kBothFrom, kNearFrom));
    std::printf("  near end alone,%4.1f .. %4.1f s  %6.1f dB %6.1f dB\n", kNearFrom + 0.5,
                kFarAgain, distortion(before, kNearFrom + 0.5, kFarAgain),
                distortion(after, kNearFrom + 0.5, kFarAgain));
    Signal room = loadColumn(dir + "/room.txt"), taps = loadColumn(dir + "/echo_taps.txt");
    taps.resize(room.size());
    std::printf("misalignment of the taps, re the response of the room: %.1f dB\n",
                ratio(difference(taps, room), room));
    host::saveColumn(dir + "/erle.txt", std::array{first, last});

    saveWaveforms(dir + "/echo_waveforms.dat", kRate, {&farEnd, &microphone, &output});
    host::Table stretches(dir + "/stretches.txt");
    stretches.row(std::array{kBothFrom, kNearFrom, kFarAgain});
    stretches.close();
    constexpr double kFrame = 0.1; // s
    host::Table curve(dir + "/erle.dat");
    curve.heading("time (s); echo return loss enhancement (dB), nan where hardly any echo");
    const double quiet = 1e-3 * host::power(before);
    for (int frame = 0; (frame + 1) * kFrame <= kEnd; ++frame) {
        const double from = frame * kFrame, to = from + kFrame;
        const bool heard = host::power(stretch(before, from, to)) > quiet;
        curve.row(std::array{from + kFrame / 2, heard ? enhancement(from, to) : NAN});
    }
    curve.close();
}

} // namespace

int main(int argc, char** argv) {
    return runScene("echo_scene", argc, argv, makeScene, scoreResult);
}
