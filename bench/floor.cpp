#include "floor.h"

#include <cstring>

namespace bench::floor {
namespace {

using Pair = double __attribute__((vector_size(2 * sizeof(double))));

inline Pair load(const double* from) {
    Pair pair;
    std::memcpy(&pair, from, sizeof pair);
    return pair;
}

inline void store(double* to, Pair pair) { std::memcpy(to, &pair, sizeof pair); }

// The loads limit calls that overlap, hence products in pairs: two loads for two taps.
template <int kOrder>
double linearDot(const double* x, const double* coef) {
    double sum = 0.0;
#pragma GCC unroll 32
    for (int k = 0; k < kOrder; k += 2) {
        const Pair product = load(x + k) * load(coef + k);
        sum += product[0];
        sum += product[1];
    }
    return sum;
}

// g * sgn(v), exact: flips the sign where v >= 0 does not hold. The mask does not depend on g.
inline Pair timesSign(Pair g, Pair v) {
    using Bits = decltype(v >= v);
    const Bits flip = ~(v >= Pair{0.0, 0.0}) & reinterpret_cast<Bits>(Pair{-0.0, -0.0});
    return reinterpret_cast<Pair>(reinterpret_cast<Bits>(g) ^ flip);
}

// mu * sgn(e), exact. A lane select: a branch on noise is mispredicted every other time.
inline double gainOfSign(double mu, double e) {
    const Pair gain = Pair{e, e} >= Pair{0.0, 0.0} ? Pair{mu, mu} : Pair{-mu, -mu};
    return gain[0];
}

// The time of a step is the latency of the chain coefficient, product, sum, error, gain, coefficient.
// It is shortest with one tap at a time (the empty asm prevents vectorisation), since each product
// then depends on its own coefficient alone; only the sign of the sample is cheaper in pairs.
template <int kOrder, bool kSignOfError, bool kSignOfSample>
double linearStep(double* __restrict coef, const double* __restrict x, double d, double mu) {
    double sum = 0.0;
#pragma GCC unroll 32
    for (int k = 0; k < kOrder; ++k) {
        asm volatile("");
        sum += x[k] * coef[k];
    }
    const double e = d - sum;
    const double gain = kSignOfError ? gainOfSign(mu, e) : mu * e;
    if constexpr (kSignOfSample) {
#pragma GCC unroll 32
        for (int k = 0; k < kOrder; k += 2) {
            store(coef + k, load(coef + k) + timesSign(Pair{gain, gain}, load(x + k)));
        }
    } else {
#pragma GCC unroll 32
        for (int k = 0; k < kOrder; ++k) {
            asm volatile("");
            coef[k] += gain * x[k];
        }
    }
    return sum;
}

template <int kOrder>
Step stepOf(bool signOfError, bool signOfSample) {
    if (signOfError) {
        return signOfSample ? linearStep<kOrder, true, true> : linearStep<kOrder, true, false>;
    }
    return signOfSample ? linearStep<kOrder, false, true> : linearStep<kOrder, false, false>;
}

} // namespace

Dot dot(int order) {
    return order == 8 ? linearDot<8> : order == 16 ? linearDot<16> : linearDot<32>;
}

Step step(int order, bool signOfError, bool signOfSample) {
    const auto stepOfOrder = order == 8 ? stepOf<8> : order == 16 ? stepOf<16> : stepOf<32>;
    return stepOfOrder(signOfError, signOfSample);
}

} // namespace bench::floor
