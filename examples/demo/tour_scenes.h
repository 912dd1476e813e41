// The signals of the tour, in double and without a unit; every seed gives others.
#ifndef MERLO64F_EXAMPLES_DEMO_TOUR_SCENES_H
#define MERLO64F_EXAMPLES_DEMO_TOUR_SCENES_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <utility>
#include <vector>

#include "filters.h"
#include "host.h"

namespace tour {

using Signal = std::vector<double>;

constexpr double kNoise = 1e-3; // at the output of a system, re its amplitude: -60 dB

// ---- signals ---------------------------------------------------------------------------------

struct Scene {
    Signal x, d;   // what the filter gets
    Signal wanted; // of its output
};

// Of power 1.
inline Signal white(std::size_t length, std::uint64_t seed) {
    host::WhiteNoise noise(seed);
    Signal x(length);
    std::generate(x.begin(), x.end(), [&] { return std::numbers::sqrt3 * noise.next(); });
    return x;
}

// White noise through a pole; of power 1. The spectrum spans 20 log((1 + pole) / (1 - pole)) dB.
inline Signal coloured(std::size_t length, std::uint64_t seed, double pole) {
    Signal x = white(length, seed);
    double last = x[0];
    for (double& sample : x) {
        last = pole * last + std::sqrt(1.0 - pole * pole) * sample;
        sample = last;
    }
    return x;
}

// Levels that come and go as those of syllables do, over 20 dB.
inline Signal syllables(std::size_t length, std::uint64_t seed) {
    Signal x = coloured(length, seed, 0.7);
    for (std::size_t n = 0; n < length; ++n) {
        x[n] *= std::pow(10.0, -1.0 * std::pow(std::cos(static_cast<double>(n) / 1000.0), 2));
    }
    return x;
}

// Noise through two resonances, given by their poles' radius and frequency in cycles per sample.
inline Signal resonant(std::size_t length, std::uint64_t seed) {
    Signal x = white(length, seed);
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

// Noise that dies away with a time constant of an eighth of the length; of energy 1.
inline Signal decaying(int32_t taps, std::uint64_t seed) {
    Signal h = white(static_cast<std::size_t>(taps), seed);
    double energy = 0.0;
    for (std::size_t k = 0; k < h.size(); ++k) {
        h[k] *= std::exp(-8.0 * static_cast<double>(k) / taps);
        energy += h[k] * h[k];
    }
    for (double& tap : h) {
        tap /= std::sqrt(energy);
    }
    return h;
}

// ---- jobs ------------------------------------------------------------------------------------

// A system behind x, or one and then another, and faint noise at its output.
inline Scene identification(Signal x, std::uint64_t seed, int32_t taps, int systems = 1) {
    Scene scene{std::move(x), {}, {}};
    scene.wanted = host::through(decaying(taps, 1000 + seed), scene.x);
    if (systems == 2) {
        const Signal later = host::through(decaying(taps, 2000 + seed), scene.x);
        const auto half = static_cast<std::ptrdiff_t>(later.size() / 2);
        std::copy(later.begin() + half, later.end(), scene.wanted.begin() + half);
    }
    scene.d = scene.wanted;
    const Signal noise = white(scene.x.size(), 3000 + seed);
    const double amplitude = kNoise * std::sqrt(host::power(scene.wanted));
    for (std::size_t n = 0; n < noise.size(); ++n) {
        scene.d[n] += amplitude * noise[n];
    }
    return scene;
}

inline Signal delayed(Signal h, std::size_t samples) {
    h.insert(h.begin(), samples, 0.0);
    return h;
}

// The path from the loudspeaker to the error microphone, and what is known of it: 20 dB off.
constexpr int32_t kPathLength = 16;
inline const Signal kSecondary = delayed(decaying(kPathLength - 4, 8), 4);
inline const Signal kEstimate = [] {
    Signal h = decaying(kPathLength, 9);
    for (std::size_t k = 0; k < h.size(); ++k) {
        h[k] = kSecondary[k] + 0.1 * h[k];
    }
    return h;
}();

// The noise takes eight samples longer to the error microphone than the loudspeaker's sound does.
inline Scene duct(std::size_t length, std::uint64_t seed) {
    Scene scene{coloured(length, seed, 0.5), {}, {}};
    scene.d = host::through(delayed(decaying(12, 7), 12), scene.x);
    const Signal noise = white(length, 3000 + seed);
    for (std::size_t n = 0; n < length; ++n) {
        scene.wanted.push_back(-scene.d[n]);
        scene.d[n] += kNoise * noise[n];
    }
    return scene;
}

// The sample itself, or the one `delay` samples back.
inline Scene prediction(const Signal& x, std::size_t delay) {
    Signal wanted(delay);
    wanted.insert(wanted.end(), x.begin(), x.end() - static_cast<std::ptrdiff_t>(delay));
    return {x, x, std::move(wanted)};
}

} // namespace tour

#endif
