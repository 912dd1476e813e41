// The signals of the tour, without a unit. Each seed gives another realisation.
#ifndef MERLO64F_EXAMPLES_DEMO_TOUR_SCENES_H
#define MERLO64F_EXAMPLES_DEMO_TOUR_SCENES_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <utility>

#include "filters.h"
#include "host.h"

namespace tour {

using host::Signal;

constexpr double kNoise = 1e-3; // amplitude of the noise re the output of a system: -60 dB

// ---- signals ---------------------------------------------------------------------------------

struct Scene {
    Signal x, d;   // input and desired signal
    Signal wanted; // the ideal output
};

// White noise of power 1.
inline Signal white(std::size_t length, std::uint64_t seed) {
    host::WhiteNoise noise(seed);
    Signal x(length);
    std::generate(x.begin(), x.end(), [&] { return std::numbers::sqrt3 * noise.next(); });
    return x;
}

// White noise through a pole, power 1. The spectrum spans 20 log((1 + pole) / (1 - pole)) dB.
inline Signal coloured(std::size_t length, std::uint64_t seed, double pole) {
    Signal x = white(length, seed);
    double last = x[0];
    for (double& sample : x) {
        sample = last = pole * last + std::sqrt(1.0 - pole * pole) * sample;
    }
    return x;
}

// Coloured noise whose level varies by 20 dB, as that of speech does from syllable to syllable.
inline Signal syllables(std::size_t length, std::uint64_t seed) {
    Signal x = coloured(length, seed, 0.7);
    for (std::size_t n = 0; n < length; ++n) {
        x[n] *= std::pow(10.0, -1.0 * std::pow(std::cos(static_cast<double>(n) / 1000.0), 2));
    }
    return x;
}

// White noise through two resonances.
inline Signal resonant(std::size_t length, std::uint64_t seed) {
    Signal x = white(length, seed);
    // Radius and frequency (cycles per sample) of the poles.
    for (const auto& [radius, frequency] : {std::pair{0.97, 0.06}, std::pair{0.9, 0.21}}) {
        const double a = 2.0 * radius * std::cos(2.0 * std::numbers::pi * frequency);
        double before = 0.0, last = 0.0;
        for (double& sample : x) {
            sample += a * last - radius * radius * before;
            before = std::exchange(last, sample);
        }
    }
    return x;
}

// A random response with a time constant of an eighth of its length and an energy of 1.
inline Signal decaying(int32_t taps, std::uint64_t seed) {
    Signal h = white(static_cast<std::size_t>(taps), seed);
    double energy = 0.0;
    for (std::size_t k = 0; k < h.size(); ++k) {
        h[k] *= std::exp(-8.0 * static_cast<double>(k) / taps);
        energy += h[k] * h[k];
    }
    host::scale(h, 1.0 / std::sqrt(energy));
    return h;
}

inline Signal withNoise(Signal signal, std::uint64_t seed, double amplitude) {
    Signal noise = white(signal.size(), seed);
    host::scale(noise, amplitude);
    return host::sum(std::move(signal), noise);
}

// ---- jobs ------------------------------------------------------------------------------------

// A system with noise at its output. With two systems, the second replaces the first at half of the
// length.
inline Scene identification(Signal x, std::uint64_t seed, int32_t taps, int systems = 1) {
    Signal wanted = host::through(decaying(taps, 1000 + seed), x);
    if (systems == 2) {
        const Signal later = host::through(decaying(taps, 2000 + seed), x);
        const auto half = std::ssize(later) / 2;
        std::copy(later.begin() + half, later.end(), wanted.begin() + half);
    }
    const double amplitude = kNoise * std::sqrt(host::power(wanted));
    return {std::move(x), withNoise(wanted, 3000 + seed, amplitude), wanted};
}

inline Signal delayed(Signal h, std::size_t samples) {
    h.insert(h.begin(), samples, 0.0);
    return h;
}

// The secondary path and its estimate, whose relative error is -20 dB.
constexpr int32_t kPathLength = 16;
inline const Signal kSecondary = delayed(decaying(kPathLength - 4, 8), 4);
inline const Signal kEstimate = [] {
    Signal error = decaying(kPathLength, 9);
    host::scale(error, 0.1);
    return host::sum(kSecondary, error);
}();

// Noise control: the primary path is eight samples longer than the secondary path.
inline Scene duct(std::size_t length, std::uint64_t seed) {
    const Signal x = coloured(length, seed, 0.5);
    const Signal d = host::through(delayed(decaying(12, 7), 12), x);
    Signal wanted = d;
    host::scale(wanted, -1.0);
    return {x, withNoise(d, 3000 + seed, kNoise), wanted};
}

// The desired output is the input, delayed by `delay` samples.
inline Scene prediction(const Signal& x, std::size_t delay) {
    Signal wanted = delayed(x, delay);
    wanted.resize(x.size());
    return {x, x, std::move(wanted)};
}

} // namespace tour

#endif
