// Times filters of 32 taps over whole arrays, for bench/web.mjs: prints a line "family nanoseconds" for each
// family, the median over passes.
#include "merlo64f.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <vector>

namespace {

constexpr size_t kSamples = 4096, kPasses = 15;

template <class State, class... Arguments>
void time(Arguments... arguments) {
    merlo64f::Filter<State> filter(arguments...);
    std::mt19937 random(1);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    std::vector<double> x(kSamples), d(kSamples), y(kSamples), e(kSamples), passes;
    std::generate(x.begin(), x.end(), [&] { return uniform(random); });
    std::generate(d.begin(), d.end(), [&] { return uniform(random); });
    for (size_t pass = 0; pass < kPasses; ++pass) {
        const auto begin = std::chrono::steady_clock::now();
        filter.update(x, d, y, e);
        const std::chrono::duration<double, std::nano> taken =
            std::chrono::steady_clock::now() - begin;
        passes.push_back(taken.count() / kSamples);
    }
    std::nth_element(passes.begin(), passes.begin() + kPasses / 2, passes.end());
    std::printf("%s %.3f\n", merlo64f::Family<State>::name, passes[kPasses / 2]);
}

} // namespace

int main() {
    time<lms64fState>(32, 0.01);
    time<nlms64fState>(32, 0.01);
    time<rls64fState>(32, 0.999, 1.0);
    time<pbfdaf64fState>(32, 32, 64, 0.0005, 1);
}
