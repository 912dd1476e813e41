// Removes noise from a recording by means of a second microphone.
//
// The primary microphone picks up a voice and, through an unknown acoustic path, a noise. The
// reference microphone picks up the noise only. The filter identifies the path: its output is the
// estimate of the noise in the primary signal, and its error, primary minus estimate, is the voice.
// Widrow et al. 1975, Adaptive noise cancelling: principles and applications.
//
// To the filter the voice is a disturbance. A larger --step converges sooner but increases the
// misadjustment: with white signals the residual noise is about step / 2 times the power of the
// voice (-28 dB at 0.003), and some dB more if the two spectra share one band.
//
// The normalised LMS filter divides its step by the power of the reference. While the noise pauses,
// the reference is only the noise of its microphone, the step becomes very large, and the voice
// drives the coefficients away. So the filter adapts only while the power of the reference is above
// --floor, and otherwise filters only.
#include <array>
#include <cmath>
#include <cstdio>

#include <nlms64f.h>

#include "audio_file.h"
#include "host.h"

namespace {

struct Settings {
    int32_t taps = MAX_TAPS;
    double step = 0.003;
    int32_t floor = -50; // dB re full scale
    std::string tapsPath;
};

void cancelNoise(const std::vector<std::string>& files, const Settings& settings) {
    audio::Reader primary(files[0]), reference(files[1]);
    audio::requireSameShape(primary, reference);
    host::checkOutputs({files[0], files[1]}, {files[2], settings.tapsPath});
    primary.requireFinite();
    reference.requireFinite();

    std::array<double, MAX_TAPS> coefficients, delayLine;
    nlms64fState filter;
    host::require(nlms64fInitStatic(&filter, settings.taps, settings.step / settings.taps,
                                    coefficients.data(), delayLine.data()),
                  "nlms64f");

    audio::Writer cleaned(files[2], primary.rate(), audio::formatLike(files[2], primary));
    const double floor = host::fromDecibels(settings.floor);
    std::size_t adapted = 0; // samples
    host::ProgressBar progress("cleaning", primary.frames(), primary.rate());
    std::array<double, audio::kBlockFrames> primaryBlock, referenceBlock, cleanedBlock;
    host::MeanSquare referencePower, primaryPower, cleanedPower;
    for (auto d = primary.read(primaryBlock); !d.empty(); d = primary.read(primaryBlock)) {
        const auto x = reference.read(referenceBlock);
        const auto e = std::span(cleanedBlock).first(d.size());
        for (std::size_t n = 0; n < d.size(); ++n) {
            if (filter.power >= floor) {
                nlms64fFilterUpdate(&filter, x[n], d[n]);
                e[n] = filter.err;
                ++adapted;
            } else {
                e[n] = d[n] - nlms64fFilterOnly(&filter, x[n]);
            }
        }
        referencePower.add(x);
        primaryPower.add(d);
        cleanedPower.add(e);
        if (!std::isfinite(cleanedPower.value())) {
            host::fail(files[0], "the filter diverged; use a smaller --step");
        }
        cleaned.write(e);
        progress.advance(d.size());
    }
    cleaned.close();
    if (!settings.tapsPath.empty()) {
        const auto taps = static_cast<std::size_t>(settings.taps);
        host::saveColumn(settings.tapsPath, std::span(coefficients).first(taps));
    }

    std::printf("%d taps, %d Hz, %.2f s -> %s\n", settings.taps, primary.rate(), primary.seconds(),
                files[2].c_str());
    if (primaryPower.value() > 0.0 && cleanedPower.value() > 0.0) {
        std::printf("output power re primary power: %+.1f dB over the whole file\n",
                    host::decibels(cleanedPower.value() / primaryPower.value()));
    }
    if (referencePower.value() < host::kSilence) {
        std::printf("the reference is silent: the output is the primary signal\n");
    } else {
        std::printf("adapted %.2f s, while the reference was above %d dB re full scale\n",
                    static_cast<double>(adapted) / primary.rate(), settings.floor);
    }
}

} // namespace

int main(int argc, char** argv) {
    Settings s;
    const auto files = host::commandLine(
        argc, argv, "Removes noise from a recording by means of a second microphone.",
        {"PRIMARY.wav", "REFERENCE.wav", "CLEANED.wav"},
        {{"taps", "length of the filter in samples", &s.taps, 1, MAX_TAPS},
         {"step", "step size mu times taps", &s.step, 0.0, 1.0},
         {"floor",
          "power of the reference in dB re full scale, below which the filter does not adapt",
          &s.floor, -200, 0},
         {"save-taps", "output file for the final taps, one per line", &s.tapsPath}});
    return host::runHost(argv[0], [&] { cancelNoise(files, s); });
}
