// Instructions per sample of every family and of its plain recursion, compiled by the same flags, and the
// bytes of its record and buffers. SysTick counts them: with -icount shift=0 qemu executes one instruction
// per nanosecond, and the boards' 25 MHz tick every 40. Cycles are another matter.
// Fails if a family takes more than 1.1 of the plain recursion.
#include "families.h"

#include <cstdio>
#include <cstdlib>

namespace {

constexpr int kSamples = 256; // a multiple of the block
constexpr int kBlock = 32;
constexpr double kMost = 1.1;

double x[kSamples], d[kSamples], y[kBlock], e[kBlock];

// 24 bits, enough for 600 million instructions
uint32_t ticks() { return 0xffffff - *reinterpret_cast<volatile uint32_t*>(0xE000E018); }

void startTicks() {
    auto* const sysTick = reinterpret_cast<volatile uint32_t*>(0xE000E010);
    sysTick[1] = 0xffffff; // reload
    sysTick[2] = 0;
    sysTick[0] = 5; // on, by the processor's clock
}

template <class State, class Function>
int step(Function function, State* s, int i) {
    if constexpr (requires { function(s, x, d, y, e); }) {
        function(s, x + i, d + i, y, e);
        return s->blockLen;
    } else if constexpr (requires { function(s, *x, *d); }) {
        function(s, x[i], d[i]);
    } else {
        function(s, x[i]);
    }
    return 1;
}

template <class State, class Function>
int32_t countAll(Function function, State* s) {
    // Not inlined, as the library's functions are not.
    const volatile Function called = function;
    startTicks();
    const uint32_t before = ticks();
    for (int i = 0; i < kSamples;) {
        i += step(Function{called}, s, i);
    }
    const uint64_t instructions = 40 * uint64_t{(ticks() - before) & 0xffffff};
    return static_cast<int32_t>(instructions / kSamples);
}

template <class F, class Function>
int32_t count(Function function, int32_t order) {
    static typename F::State state;
    static double coefBuf[1024], workBuf[2048];
    static Lent lent;
    double* const buffers[] = {coefBuf, workBuf};
    Shape shape = shapeOf<F>(order);
    shape.blockLen = kBlock;
    shape.parts = 8;
    shape.secLen = shape.estLen = 16;
    if (initStatic<F>(&state, shape, lent, buffers) != STS_OK) {
        std::abort();
    }
    countAll(function, &state); // until the lines are full
    return countAll(function, &state);
}

template <class F, class Function>
bool row(Function library, Function plain) {
    bool good = true;
    for (int32_t order : {8, 16, 32}) {
        if (order / 2 > F::Api::maxOrder) {
            continue;
        }
        Shape shape = clamped<F>(shapeOf<F>(order));
        shape.blockLen = kBlock;
        shape.parts = 8;
        shape.secLen = shape.estLen = 16;
        int64_t buffers = 0;
        for (const int64_t length : F::lengths(shape)) {
            buffers += static_cast<int64_t>(sizeof(double)) * length;
        }
        const int32_t taken = count<F>(library, order);
        const int32_t plainly = count<F>(plain, order);
        std::printf("%s %d %d %d %d %d\n", F::Api::name, static_cast<int>(shape.order),
                    static_cast<int>(taken), static_cast<int>(plainly),
                    static_cast<int>(sizeof(typename F::State)), static_cast<int>(buffers));
        good = good && taken <= kMost * plainly;
    }
    return good;
}

} // namespace

int main() {
    Signal signal(1);
    signal.fill(x, kSamples);
    signal.fill(d, kSamples);
    const bool good[] = {
        row<Fir>(fir64fFilter, plain::fir64fFilter),
        row<Lms>(lms64fFilterUpdate, plain::lmsUpdate<plain::Classic>),
        row<Nlms>(nlms64fFilterUpdate, plain::nlms64fFilterUpdate),
        row<Adjlms>(adjlms64fFilterUpdate, plain::adjlms64fFilterUpdate),
        row<Fxlms>(fxlms64fFilterUpdate, plain::fxlms64fFilterUpdate),
        row<Blms>(blms64fFilterUpdate, plain::blmsUpdate<plain::Classic>),
        row<Bnlms>(bnlms64fFilterUpdate, plain::bnlms64fFilterUpdate),
        row<Lbpef>(lbpef64fFilterUpdate, plain::lbpef64fFilterUpdate),
        row<Lfpef>(lfpef64fFilterUpdate, plain::lfpef64fFilterUpdate),
        row<Lmslattice>(lmslattice64fFilterUpdate, plain::lmslattice64fFilterUpdate),
        row<Bfdaf>(bfdaf64fFilterUpdate, plain::bfdaf64fFilterUpdate),
        row<Pbfdaf>(pbfdaf64fFilterUpdate, plain::pbfdaf64fFilterUpdate),
        row<Tdlms>(tdlms64fFilterUpdate, plain::tdlms64fFilterUpdate),
        row<Rls>(rls64fFilterUpdate, plain::rls64fFilterUpdate),
        row<Rlslattice>(rlslattice64fFilterUpdate, plain::rlslattice64fFilterUpdate),
        row<Rlslbpef>(rlslbpef64fFilterUpdate, plain::rlslbpef64fFilterUpdate),
        row<Rlslfpef>(rlslfpef64fFilterUpdate, plain::rlslfpef64fFilterUpdate),
    };
    return std::find(std::begin(good), std::end(good), false) == std::end(good) ? EXIT_SUCCESS
                                                                                : EXIT_FAILURE;
}
