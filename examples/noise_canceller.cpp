// Takes the noise out of a recording with the help of a second microphone.
//
// The primary microphone hears a voice and, through an acoustic path that nobody has measured, a
// noise; the reference microphone hears the noise alone. The filter learns the path: it forms from
// the reference what the primary hears of the noise, and what is left of the primary, the error of
// the filter, is the voice. Widrow et al. 1975, Adaptive noise cancelling: principles and
// applications.
//
// For the filter the voice is the disturbance. A larger --step learns the path sooner and lets the
// voice shake the coefficients more: what remains in the end is about step / 2 times the power of
// the voice (-28 dB at 0.003) where both signals are white, and some dB more where their spectra
// crowd into the same band.
#include <array>
#include <cmath>
#include <cstdio>

#include <lms64f.h>

#include "audio_file.h"
#include "host.h"

namespace {

constexpr char kUsage[] = "noise_canceller PRIMARY.wav REFERENCE.wav CLEANED.wav"
                          " [--taps N] [--step S] [--save-taps FILE]";

constexpr double kDefaultStep = 0.003;

void cancelNoise(const host::Arguments& arguments) {
    const auto& files = arguments.files(3);
    const int32_t taps = arguments.integer("--taps", MAX_TAPS, 1, MAX_TAPS);
    const double step = arguments.positive("--step", kDefaultStep, 1.0);
    const std::string tapsPath = arguments.text("--save-taps");

    audio::Reader primary(files[0]), reference(files[1]);
    audio::requireSameShape(primary, reference);
    host::requireNotOneOf(files[2], {files[0], files[1]});
    host::requireNotOneOf(tapsPath, {files[0], files[1], files[2]});
    audio::Writer cleaned(files[2], primary.rate(), audio::formatLike(files[2], primary));

    // Once over the reference for its level, once over both to clean.
    host::ProgressBar progress("cleaning", 2 * primary.frames(), primary.rate());
    std::array<double, audio::kBlockFrames> primaryBlock, referenceBlock, cleanedBlock;

    host::MeanSquare referencePower;
    for (;;) {
        const auto x = reference.read(referenceBlock);
        if (x.empty()) {
            break;
        }
        referencePower.add(x);
        progress.advance(x.size());
    }
    reference.rewind();

    // In a silent reference there is nothing to learn from: the primary passes as it is.
    const double power = referencePower.value();
    const double mu = power > host::kSilence ? step / (taps * power) : 0.0;

    std::array<double, MAX_TAPS> coefficients, delayLine;
    lms64fState filter;
    if (lms64fInitStatic(&filter, taps, mu, coefficients.data(), delayLine.data()) != STS_OK) {
        throw host::Failure("the filter cannot be set up");
    }

    host::MeanSquare primaryPower, cleanedPower;
    for (;;) {
        const auto d = primary.read(primaryBlock);
        const auto x = reference.read(referenceBlock);
        if (d.empty()) {
            break;
        }
        const auto e = std::span(cleanedBlock).first(d.size());
        for (std::size_t n = 0; n < d.size(); ++n) {
            lms64fFilterUpdate(&filter, x[n], d[n]);
            e[n] = filter.err;
        }
        primaryPower.add(d);
        cleanedPower.add(e);
        if (!std::isfinite(cleanedPower.value())) {
            host::fail(files[0], "the filter diverged; take a smaller --step");
        }
        cleaned.write(e);
        progress.advance(d.size());
    }
    cleaned.close();
    if (!tapsPath.empty()) {
        host::saveColumn(tapsPath, std::span(coefficients).first(static_cast<std::size_t>(taps)));
    }

    std::printf("taps %d, %d Hz, %.2f s -> %s\n", taps, primary.rate(), primary.seconds(),
                files[2].c_str());
    if (primaryPower.value() > 0.0 && cleanedPower.value() > 0.0) {
        std::printf("power from primary to output: %+.1f dB\n",
                    host::decibels(cleanedPower.value() / primaryPower.value()));
    }
    if (mu == 0.0) {
        std::printf("the reference is silent: nothing was taken out\n");
    }
}

} // namespace

int main(int argc, char** argv) {
    return host::runHost("noise_canceller", [&] {
        cancelNoise({argc, argv, kUsage, {"--taps", "--step", "--save-taps"}});
    });
}
