// Identifies an unknown system from its input and its noisy output with five filters on the same
// signals, and prints how many samples each filter needs.
//
// The input is coloured: white noise through a pole at 0.95, whose spectrum spans 32 dB. Gradient
// filters converge slowly at the frequencies with little power; least squares does not.
//
// The misalignment is the squared distance between the impulse responses of filter and system over
// the energy of the latter. The response of the filter is measured: an impulse is sent through the
// filter while it does not adapt, because the coefficients of a lattice are not its response.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include <lms64f.h>
#include <lmslattice64f.h>
#include <nlms64f.h>
#include <rls64f.h>
#include <rlslattice64f.h>

#include "filters.h"
#include "host.h"

namespace {

using host::Signal;

constexpr int32_t kOrder = 16;
constexpr double kPole = 0.95;
constexpr double kNoise = 1e-4; // amplitude re that of the output: -80 dB
constexpr double kLambda = 0.99;
// A longer memory than that of rls64f: with a short one the reflection coefficients fluctuate, so
// that the impulse response of a frozen lattice differs from what the adaptive lattice does.
constexpr double kLatticeLambda = 0.999999;
constexpr int kSettled = 2000;  // samples until the stages of the gradient lattice are frozen
constexpr double kGoal = -60.0; // dB
constexpr int kEvery = 20;      // samples between two points of a curve

using Response = std::array<double, kOrder>;

// A filter on its own buffers, of the lengths that rls64f and rlslattice64f need, the longest here.
template <class State>
struct Filter {
    State state;
    std::array<double, 3 * kOrder> coef;
    std::array<double, 6 * kOrder + kOrder*(kOrder + 1) / 2> work;

    template <class SetDelayLine, class FilterOnly>
    Response response(SetDelayLine setDelayLine, FilterOnly filterOnly) {
        const Filter before = *this;
        const Response zeros{};
        setDelayLine(&state, zeros.data(), 0, kOrder, 0);
        Response h;
        for (std::size_t k = 0; k < h.size(); ++k) {
            h[k] = filterOnly(&state, k == 0 ? 1.0 : 0.0);
        }
        *this = before; // the pointers in `state` still point to the buffers of this object
        return h;
    }
};

struct Scene {
    Signal x, d;
    Response system;
};

struct Candidate {
    std::string name;
    Signal curve; // dB, every kEvery samples
};

// Runs one filter over the whole signal.
template <class State, auto kInitStatic, auto kSetDelayLine, auto kFilterOnly, class Update,
          class... Parameters>
Candidate identify(const std::string& name, const Scene& scene, Update update,
                   Parameters... parameters) {
    Filter<State> filter;
    host::require(
        kInitStatic(&filter.state, kOrder, parameters..., filter.coef.data(), filter.work.data()),
        name);
    Candidate result{name, {}};
    for (std::size_t n = 0; n < scene.x.size(); ++n) {
        update(&filter.state, scene.x[n], scene.d[n]);
        if (n % kEvery == kEvery - 1) {
            const Response h = filter.response(kSetDelayLine, kFilterOnly);
            const Signal error = host::difference(h, scene.system);
            result.curve.push_back(host::ratio(error, scene.system));
        }
    }
    if (!std::isfinite(result.curve.back())) {
        host::fail(name, "diverged");
    }
    return result;
}

Scene makeScene(std::size_t length) {
    host::WhiteNoise white(1), other(2);
    Scene scene{Signal(length), {}, {}};
    for (std::size_t k = 0; k < scene.system.size(); ++k) {
        scene.system[k] = white.next() * std::exp(-static_cast<double>(k) / 6.0);
    }
    double last = 0.0;
    for (double& sample : scene.x) {
        sample = last = kPole * last + std::sqrt(1.0 - kPole * kPole) * white.next();
    }
    scene.d = host::through(scene.system, scene.x);
    const double amplitude = std::sqrt(host::power(scene.d));
    for (double& sample : scene.d) {
        sample += kNoise * amplitude * other.next();
    }
    return scene;
}

struct Settings {
    int32_t samples = 100000;
    std::string curvesPath;
};

void identifySystem(const Settings& settings) {
    const Scene scene = makeScene(static_cast<std::size_t>(settings.samples));
    // Stages that still adapt disturb the regression coefficients, which depend on them.
    const auto freezingUpdate = [n = 0](lmslattice64fState* s, double x, double d) mutable {
        s->adaptParcor = n++ < kSettled ? 1 : 0;
        return lmslattice64fFilterUpdate(s, x, d);
    };
    // Step sizes near the largest that are stable on this input.
    const std::array candidates = {
        identify<lms64fState, lms64fInitStatic, lms64fSetDelayLine, lms64fFilterOnly>(
            "lms64f", scene, lms64fFilterUpdate, 0.1 / (kOrder * host::power(scene.x))),
        identify<nlms64fState, nlms64fInitStatic, nlms64fSetDelayLine, nlms64fFilterOnly>(
            "nlms64f", scene, nlms64fFilterUpdate, 0.5 / kOrder),
        identify<lmslattice64fState, lmslattice64fInitStatic, lmslattice64fSetDelayLine,
                 lmslattice64fFilterOnly>("lmslattice64f", scene, freezingUpdate, 0.001, 0.02),
        identify<rlslattice64fState, rlslattice64fInitStatic, rlslattice64fSetDelayLine,
                 rlslattice64fFilterOnly>("rlslattice64f", scene, rlslattice64fFilterUpdate,
                                          kLatticeLambda),
        identify<rls64fState, rls64fInitStatic, rls64fSetDelayLine, rls64fFilterOnly>(
            "rls64f", scene, rls64fFilterUpdate, kLambda, 1.0)};

    std::printf(
        "%d taps, the spectrum of the input spans 32 dB, output noise %.0f dB below the output\n",
        kOrder, -20.0 * std::log10(kNoise));
    std::printf("%-16s %24s %24s\n", "family", "below -60 dB (samples)", "final misalignment (dB)");
    for (const Candidate& c : candidates) {
        const auto above = std::find_if(c.curve.rbegin(), c.curve.rend(),
                                        [](double level) { return !(level < kGoal); });
        const std::string samples = above == c.curve.rbegin()
                                        ? "never"
                                        : std::to_string(kEvery * (c.curve.rend() - above + 1));
        std::printf("%-16s %24s %24.1f\n", c.name.c_str(), samples.c_str(), c.curve.back());
    }

    std::string heading = "samples; misalignment (dB):";
    std::vector<Signal> curves;
    for (const Candidate& c : candidates) {
        heading += " " + c.name;
        curves.push_back(c.curve);
    }
    host::saveTable(settings.curvesPath, heading, host::rowsOf(curves, 1.0, kEvery));
}

} // namespace

int main(int argc, char** argv) {
    Settings s;
    host::commandLine(
        argc, argv, "Identifies a system from a coloured input with five adaptive filters.", {},
        {{"samples", "length of the input in samples", &s.samples, 1000, 10000000},
         {"curves", "output file for misalignments in dB every 20 samples", &s.curvesPath}});
    return host::runHost(argv[0], [&] { identifySystem(s); });
}
