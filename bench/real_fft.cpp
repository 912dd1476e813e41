// The transform by the call, in place. Every call begins with a fresh copy of its input, here and at
// the peer, so that values neither grow nor fade.
#include "transform/real_fft.h"

#include "fft_tables.h"
#include "table.h"

#ifdef BENCH_HAS_FFTW
#include <fftw3.h>
#endif

#include <cstdint>
#include <cstring>
#include <vector>

namespace bench {
namespace {

constexpr int32_t kLongest = 8192;
constexpr int kCalls = 16; // per pass
constexpr int32_t kForward = -1;
constexpr int32_t kInverse = 1;

// On cache lines of their own: a short copy must not straddle them in one candidate only.
struct Buffers {
    alignas(64) double x[kLongest + 2];
    alignas(64) double a[kLongest + 2];

    Buffers() {
        std::mt19937 generator(1);
        std::uniform_real_distribution<double> uniform(-1.0, 1.0);
        for (double& value : x) {
            value = uniform(generator);
        }
    }
};

Timed ours(int32_t n, int32_t sign) {
    return [=](benchmark::State& run) {
        std::vector<int32_t> table(static_cast<size_t>(fftTableLen(kLongest)));
        std::vector<double> twiddles(static_cast<size_t>(fftTwiddlesLen(kLongest)));
        fillFftTables(kLongest, table.data(), twiddles.data());
        const auto buffers = std::make_unique<Buffers>();
        double* const a = buffers->a;
        for (auto _ : run) {
            for (int i = 0; i < kCalls; ++i) {
                std::memcpy(a, buffers->x, static_cast<size_t>(n) * sizeof(double));
                merlo::realFft64f(n, sign, a, table.data(), twiddles.data());
                benchmark::ClobberMemory();
            }
        }
    };
}

#ifdef BENCH_HAS_FFTW
Timed fftw(int32_t n, int32_t sign) {
    return [=](benchmark::State& run) {
        const auto buffers = std::make_unique<Buffers>();
        double* const a = buffers->a;
        auto* const bins = reinterpret_cast<fftw_complex*>(a);
        auto* const plan = sign < 0 ? fftw_plan_dft_r2c_1d(n, a, bins, FFTW_ESTIMATE)
                                    : fftw_plan_dft_c2r_1d(n, bins, a, FFTW_ESTIMATE);
        const auto length = static_cast<size_t>(sign < 0 ? n : n + 2);
        for (auto _ : run) {
            for (int i = 0; i < kCalls; ++i) {
                std::memcpy(a, buffers->x, length * sizeof(double));
                fftw_execute(plan);
                benchmark::ClobberMemory();
            }
        }
        fftw_destroy_plan(plan);
    };
}
#endif

void add(int32_t n, int32_t sign) {
    const Row row{.family = "realFft64f",
                  .operation = sign < 0 ? "forward, per call" : "inverse, per call",
                  .size = n,
                  .sizeName = "points",
                  .unitsPerPass = kCalls};
    row.subject(ours(n, sign));
    const std::string peer = "FFTW 3, double precision, in place, estimated plan";
#ifdef BENCH_HAS_FFTW
    row.peer(peer, fftw(n, sign));
#else
    row.peerNotInstalled(peer);
#endif
}

} // namespace

void registerRealFft64f() {
    for (int32_t n = 8; n <= kLongest; n *= 2) {
        add(n, kForward);
        add(n, kInverse);
    }
}

} // namespace bench
