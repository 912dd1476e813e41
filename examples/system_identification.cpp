// Identifies an unknown system from its input and its noisy output with five filters that see the same
// samples, and tells how many each needs.
//
// The input is coloured, as signals are: white noise through a pole at 0.95, whose spectrum spans 32 dB.
// The gradient filters learn the weak frequencies slowly; least squares does not care.
//
// The misalignment is the distance between the response of the filter, as it stands, and that of the
// system, relative to the latter. It is read off a copy of the filter: an impulse is sent through the
// frozen copy, so that lattices, which have no taps, are judged like the others.
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

constexpr char kUsage[] = "system_identification [--samples N] [--curves FILE]";

constexpr int32_t kOrder = 16;
constexpr double kPole = 0.95;
constexpr double kNoise = 1e-4;  // of the output's amplitude, so that -80 dB is about the end
constexpr double kLambda = 0.99; // of rls64f: what its first P weighs is forgotten as fast
// The lattice starts from next to nothing, so it can remember longer; with a short memory its
// reflection coefficients move so much that a frozen copy tells little of it.
constexpr double kLatticeLambda = 0.999999;
constexpr int kSettled = 2000;  // samples after which the gradient lattice is held
constexpr double kGoal = -60.0; // dB
constexpr int kEvery = 20;      // samples between two looks at the misalignment

using Response = std::array<double, kOrder>;

// A filter on buffers of its own. Copies of `coef` and `work` are all that it takes to go back.
template <class State>
struct Filter {
    State state;
    std::array<double, 3 * kOrder> coef;
    std::array<double, 6 * kOrder + kOrder*(kOrder + 1) / 2> work; // the longest of the five

    // What an impulse makes of the filter as it stands.
    template <class SetDelayLine, class FilterOnly>
    Response response(SetDelayLine setDelayLine, FilterOnly filterOnly) {
        const Filter before = *this;
        const Response zeros{};
        setDelayLine(&state, zeros.data(), 0, kOrder, 0);
        Response h;
        for (std::size_t k = 0; k < h.size(); ++k) {
            h[k] = filterOnly(&state, k == 0 ? 1.0 : 0.0);
        }
        state = before.state;
        coef = before.coef;
        work = before.work;
        return h;
    }
};

double misalignment(const Response& h, const Response& system) {
    double distance = 0.0;
    double size = 0.0;
    for (std::size_t k = 0; k < h.size(); ++k) {
        distance += (h[k] - system[k]) * (h[k] - system[k]);
        size += system[k] * system[k];
    }
    return host::decibels(distance / size);
}

struct Candidate {
    std::string name;
    std::vector<double> curve; // dB, every kEvery samples
};

// Runs one filter over the whole signal.
template <class State, class SetUp, class Update, class SetDelayLine, class FilterOnly>
Candidate identify(const std::string& name, const std::vector<double>& x,
                   const std::vector<double>& d, const Response& system, SetUp setUp, Update update,
                   SetDelayLine setDelayLine, FilterOnly filterOnly) {
    Filter<State> filter;
    if (setUp(&filter.state, filter.coef.data(), filter.work.data()) != STS_OK) {
        throw host::Failure(name + " cannot be set up");
    }
    Candidate result{name, {}};
    for (std::size_t n = 0; n < x.size(); ++n) {
        update(&filter.state, x[n], d[n]);
        if (n % kEvery == kEvery - 1) {
            result.curve.push_back(misalignment(filter.response(setDelayLine, filterOnly), system));
        }
    }
    return result;
}

void run(const host::Arguments& arguments) {
    arguments.files(0);
    const auto length =
        static_cast<std::size_t>(arguments.integer("--samples", 100000, 1000, 10000000));

    host::WhiteNoise white(1);
    host::WhiteNoise other(2);
    Response system;
    for (std::size_t k = 0; k < system.size(); ++k) {
        system[k] = white.next() * std::exp(-static_cast<double>(k) / 6.0);
    }
    std::vector<double> x(length);
    double last = 0.0;
    for (double& sample : x) {
        last = kPole * last + std::sqrt(1.0 - kPole * kPole) * white.next();
        sample = last;
    }
    std::vector<double> d = host::through(system, x);
    const double amplitude = std::sqrt(host::power(d));
    for (double& sample : d) {
        sample += kNoise * amplitude * other.next();
    }

    // Steps near the fastest that each bears on this input.
    const double inputPower = host::power(x);
    std::vector<Candidate> candidates;
    candidates.push_back(identify<lms64fState>(
        "lms64f", x, d, system,
        [=](auto* s, double* coef, double* work) {
            return lms64fInitStatic(s, kOrder, 0.1 / (kOrder * inputPower), coef, work);
        },
        lms64fFilterUpdate, lms64fSetDelayLine, lms64fFilterOnly));
    candidates.push_back(identify<nlms64fState>(
        "nlms64f", x, d, system,
        [](auto* s, double* coef, double* work) {
            return nlms64fInitStatic(s, kOrder, 0.5 / kOrder, coef, work);
        },
        nlms64fFilterUpdate, nlms64fSetDelayLine, nlms64fFilterOnly));
    candidates.push_back(identify<lmslattice64fState>(
        "lmslattice64f", x, d, system,
        [](auto* s, double* coef, double* work) {
            return lmslattice64fInitStatic(s, kOrder, 0.001, 0.02, coef, work);
        },
        // Moving stages shake the coefficients behind them, so they are held once they have settled.
        [n = 0](auto* s, double input, double desired) mutable {
            s->adaptParcor = n++ < kSettled ? 1 : 0;
            return lmslattice64fFilterUpdate(s, input, desired);
        },
        lmslattice64fSetDelayLine, lmslattice64fFilterOnly));
    candidates.push_back(identify<rlslattice64fState>(
        "rlslattice64f", x, d, system,
        [](auto* s, double* coef, double* work) {
            return rlslattice64fInitStatic(s, kOrder, kLatticeLambda, coef, work);
        },
        rlslattice64fFilterUpdate, rlslattice64fSetDelayLine, rlslattice64fFilterOnly));
    candidates.push_back(identify<rls64fState>(
        "rls64f", x, d, system,
        [](auto* s, double* coef, double* work) {
            return rls64fInitStatic(s, kOrder, kLambda, 1.0, coef, work);
        },
        rls64fFilterUpdate, rls64fSetDelayLine, rls64fFilterOnly));

    std::printf("%d taps, input with a spectrum of 32 dB, output noise %.0f dB below the output\n",
                kOrder, -20.0 * std::log10(kNoise));
    std::printf("%-16s %24s %22s\n", "", "below -60 dB from sample", "misalignment at the end");
    for (const Candidate& c : candidates) {
        // Behind the last look that found it above.
        const auto above = std::find_if(c.curve.rbegin(), c.curve.rend(),
                                        [](double level) { return !(level < kGoal); });
        if (!std::isfinite(c.curve.back())) {
            throw host::Failure(c.name + ": diverged");
        }
        const std::string samples = above == c.curve.rbegin()
                                        ? "not in " + std::to_string(length)
                                        : std::to_string(kEvery * (c.curve.rend() - above + 1));
        std::printf("%-16s %24s %19.1f dB\n", c.name.c_str(), samples.c_str(), c.curve.back());
    }

    const std::string path = arguments.text("--curves");
    if (!path.empty()) {
        host::Table table(path);
        table.heading("samples, misalignment in dB of lms64f nlms64f lmslattice64f rlslattice64f "
                      "rls64f");
        for (std::size_t i = 0; i < candidates[0].curve.size(); ++i) {
            std::vector<double> row = {static_cast<double>(kEvery * (i + 1))};
            for (const Candidate& c : candidates) {
                row.push_back(c.curve[i]);
            }
            table.row(row);
        }
        table.close();
    }
}

} // namespace

int main(int argc, char** argv) {
    return host::runHost("system_identification", [&] {
        run({argc, argv, kUsage, {"--samples", "--curves"}});
    });
}
