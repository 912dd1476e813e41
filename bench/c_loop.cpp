// What python_reach.py measures against: the same samples through the C functions, in one loop. Reads
// lines "FAMILY SAMPLES", answers each with the nanoseconds that a sample took, and keeps the filters.
#include "merlo64f.hpp"

#include <cstdio>
#include <ctime>
#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <string>

namespace {

struct Loop {
    virtual ~Loop() = default;
    virtual void run(const double* x, const double* d, double* y, double* e, size_t n) = 0;
};

template <class State>
class LoopOf : public Loop {
    using Family = merlo64f::Family<State>;

  public:
    template <class... Arguments>
    explicit LoopOf(Arguments... arguments) : filter_(arguments...) {}

    void run(const double* x, const double* d, double* y, double* e, size_t n) override {
        State* const s = &filter_.state();
        if constexpr (requires { Family::blockFilter; }) {
            Family::blockFilter(s, x, y, static_cast<int32_t>(n));
        } else if constexpr (requires { s->blockLen; }) {
            const auto length = static_cast<size_t>(s->blockLen);
            for (size_t i = 0; i < n; i += length) {
                Family::filterUpdate(s, x + i, d + i, y + i, e + i);
            }
        } else {
            for (size_t i = 0; i < n; ++i) {
                if constexpr (std::is_invocable_v<decltype(Family::filterUpdate), State*, double>) {
                    y[i] = Family::filterUpdate(s, x[i]);
                } else {
                    y[i] = Family::filterUpdate(s, x[i], d[i]);
                }
                e[i] = s->err;
            }
        }
    }

  private:
    merlo64f::Filter<State> filter_;
};

} // namespace

int main() {
    constexpr double coef[32] = {0.5, -0.25, 0.125};
    double fixed[32] = {0.5, -0.25, 0.125};
    const double* const path = coef;
    // The sizes and parameters of python_reach.py.
    std::map<std::string, std::unique_ptr<Loop>> loops;
    loops["Fir"] = std::make_unique<LoopOf<fir64fState>>(32, fixed);
    loops["Lms"] = std::make_unique<LoopOf<lms64fState>>(32, 0.003);
    loops["Nlms"] = std::make_unique<LoopOf<nlms64fState>>(32, 0.003);
    loops["Tdlms"] = std::make_unique<LoopOf<tdlms64fState>>(32, 0.003);
    loops["FxLms"] = std::make_unique<LoopOf<fxlms64fState>>(32, 0.0003, path, 8, path, 8);
    loops["AdjLms"] = std::make_unique<LoopOf<adjlms64fState>>(32, 0.0003, path, 8, path, 8);
    loops["Blms"] = std::make_unique<LoopOf<blms64fState>>(32, 16, 0.003);
    loops["Bnlms"] = std::make_unique<LoopOf<bnlms64fState>>(32, 16, 0.003);
    loops["Bfdaf"] = std::make_unique<LoopOf<bfdaf64fState>>(32, 16, 0.003, 1);
    loops["Pbfdaf"] = std::make_unique<LoopOf<pbfdaf64fState>>(16, 16, 16, 0.0003, 1);
    loops["LmsLattice"] = std::make_unique<LoopOf<lmslattice64fState>>(32, 0.001, 0.003);
    loops["LfPef"] = std::make_unique<LoopOf<lfpef64fState>>(10, 0.001);
    loops["LbPef"] = std::make_unique<LoopOf<lbpef64fState>>(10, 0.001);
    loops["Rls"] = std::make_unique<LoopOf<rls64fState>>(32, 0.999, 1.0);
    loops["RlsLattice"] = std::make_unique<LoopOf<rlslattice64fState>>(32, 0.999);
    loops["RlsLfPef"] = std::make_unique<LoopOf<rlslfpef64fState>>(10, 0.999);
    loops["RlsLbPef"] = std::make_unique<LoopOf<rlslbpef64fState>>(10, 0.999);

    constexpr size_t longest = 1000000;
    std::vector<double> x(longest), d(longest), y(longest), e(longest);
    std::mt19937_64 random(1);
    std::normal_distribution<double> normal;
    for (size_t i = 0; i < longest; ++i) {
        x[i] = normal(random);
        d[i] = 0.5 * x[i] + 0.1 * normal(random);
    }
    std::string family;
    for (size_t samples = 0; std::cin >> family >> samples;) {
        if (!loops.contains(family) || samples > longest) {
            std::fprintf(stderr, "c_loop: no such family, or too many samples\n");
            return 1;
        }
        const std::clock_t start = std::clock(); // processor time
        loops.at(family)->run(x.data(), d.data(), y.data(), e.data(), samples);
        const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
        std::printf("%.4f\n", 1e9 * seconds / static_cast<double>(samples));
        std::fflush(stdout);
    }
    return 0;
}
