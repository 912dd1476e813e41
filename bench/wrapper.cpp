// Measures what merlo64f::Filter costs: a loop over an array in C, and the same through the filter, in
// turn. Prints medians in ns per sample and the median ratio.
#include "signals.h"

#include "merlo64f.hpp"

#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <sched.h>
#include <vector>

namespace {

constexpr int kRounds = 101;
constexpr int kPass = 4096; // samples

struct Arrays : bench::Signals {
    double e[bench::kSamples];
};

// As a host in C writes it.
template <auto update, class State>
[[gnu::noinline]] void loop(State* state, const double* x, const double* d, double* y, double* e) {
    if constexpr (requires { state->blockLen; }) {
        for (int i = 0; i < kPass; i += state->blockLen) {
            update(state, x + i, d + i, y + i, e + i);
        }
    } else {
        for (int i = 0; i < kPass; ++i) {
            y[i] = update(state, x[i], d[i]);
            e[i] = state->err;
        }
    }
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + kRounds / 2, values.end());
    return values[kRounds / 2];
}

template <class Body>
double nanoseconds(Body body) { // per sample
    const auto began = std::chrono::steady_clock::now();
    body();
    const std::chrono::duration<double, std::nano> time = std::chrono::steady_clock::now() - began;
    return time.count() / kPass;
}

template <class State, class... Arguments>
void compare(Arguments... arguments) {
    using Family = merlo64f::Family<State>;
    const auto arrays = std::make_unique<Arrays>();
    merlo64f::Filter<State> filter(arguments...); // one record for both, so that both do the same
    std::array<std::vector<double>, 3> times;     // C, C++, ratio
    for (int round = 0; round < kRounds; ++round) {
        const double* const x = arrays->x + round % 8 * kPass;
        const double* const d = arrays->d + round % 8 * kPass;
        double* const y = arrays->y;
        double* const e = arrays->e;
        const auto inC = [&] { loop<Family::filterUpdate>(&filter.state(), x, d, y, e); };
        const auto through = [&] { filter.update({x, kPass}, {d, kPass}, {y, kPass}, {e, kPass}); };
        double c, cpp;
        if (round % 2 == 0) {
            c = nanoseconds(inC);
            cpp = nanoseconds(through);
        } else {
            cpp = nanoseconds(through);
            c = nanoseconds(inC);
        }
        times[0].push_back(c);
        times[1].push_back(cpp);
        times[2].push_back(cpp / c);
    }
    std::printf("%-14s %5d %8.2f %8.2f %7.3f\n", Family::name, filter->order, median(times[0]),
                median(times[1]), median(times[2]));
}

} // namespace

int main() {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(sched_getcpu(), &one);
    sched_setaffinity(0, sizeof one, &one);
    std::printf("%-14s %5s %8s %8s %7s\n", "family", "order", "C (ns)", "C++ (ns)", "ratio");
    for (int32_t order : {8, 32}) {
        const double mu = 0.1 / order;
        compare<lms64fState>(order, mu);
        compare<nlms64fState>(order, mu);
        compare<tdlms64fState>(order, mu);
        compare<rls64fState>(order, 0.99, 0.5);
        compare<blms64fState>(order, 256, mu);
        compare<bfdaf64fState>(order, order, mu, 1);
        compare<pbfdaf64fState>(order, order, 8, mu / 8, 1);
    }
}
