#include "floor.h"

#include "table.h"

#include <cstdlib>
#include <cstring>

namespace bench::floor {
namespace {

using Pair = double __attribute__((vector_size(2 * sizeof(double))));

inline Pair load(const double* from) {
    Pair pair;
    std::memcpy(&pair, from, sizeof pair);
    return pair;
}

// Overlapping calls are bound by the loads, hence products in pairs, two loads for two taps.
template <int kOrder>
double straightDot(const double* x, const double* coef) {
    double sum = 0.0;
#pragma GCC unroll 32
    for (int k = 0; k < kOrder; k += 2) {
        const Pair product = load(x + k) * load(coef + k);
        sum += product[0];
        sum += product[1];
    }
    return sum;
}

inline void store(double* to, Pair pair) { std::memcpy(to, &pair, sizeof pair); }

// g * sgn(v), exactly: the sign is flipped where v >= 0 does not hold. The mask does not wait for g.
inline Pair timesSign(Pair g, Pair v) {
    using Bits = decltype(v >= v);
    const Bits flip = ~(v >= Pair{0.0, 0.0}) & reinterpret_cast<Bits>(Pair{-0.0, -0.0});
    return reinterpret_cast<Pair>(reinterpret_cast<Bits>(g) ^ flip);
}

// mu * sgn(e), exactly. A lane select, since a branch on noise is guessed wrong every other time.
inline double stepOfSign(double mu, double e) {
    const Pair gain = Pair{e, e} >= Pair{0.0, 0.0} ? Pair{mu, mu} : Pair{-mu, -mu};
    return gain[0];
}

// A step that feeds the next one is bound by the chain: coefficient, product, sum, error, gain,
// coefficient. One tap at a time is shortest (the empty asm forbids packing), since the next product
// then waits for its own coefficient alone; only the sign of the sample is cheaper in pairs.
template <int kOrder, Gradient kGradient>
double straightStep(double* __restrict coef, const double* __restrict x, double d, double mu) {
    constexpr bool kSignErr = kGradient == Gradient::SignErr || kGradient == Gradient::SignSign;
    constexpr bool kSignReg = kGradient == Gradient::SignReg || kGradient == Gradient::SignSign;
    double sum = 0.0;
#pragma GCC unroll 32
    for (int k = 0; k < kOrder; ++k) {
        asm volatile("");
        sum += x[k] * coef[k];
    }
    const double e = d - sum;
    const double gain = kSignErr ? stepOfSign(mu, e) : mu * e;
    if constexpr (kSignReg) {
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

// Calls pick(constant) with the order as a compile-time constant.
template <int kOrder>
struct Constant {
    static constexpr int value = kOrder;
};

template <class Pick>
auto withOrder(int order, Pick pick) {
    static_assert(kOrders[0] == 8 && kOrders[1] == 16 && kOrders[2] == 32);
    switch (order) {
    case 8:
        return pick(Constant<8>{});
    case 16:
        return pick(Constant<16>{});
    case 32:
        return pick(Constant<32>{});
    default:
        std::abort();
    }
}

} // namespace

Dot dot(int order) {
    return withOrder(order, [](auto n) -> Dot { return straightDot<decltype(n)::value>; });
}

Step step(int order, Gradient gradient) {
    return withOrder(order, [gradient](auto n) -> Step {
        constexpr int kOrder = decltype(n)::value;
        switch (gradient) {
        case Gradient::Plain:
            return straightStep<kOrder, Gradient::Plain>;
        case Gradient::SignErr:
            return straightStep<kOrder, Gradient::SignErr>;
        case Gradient::SignReg:
            return straightStep<kOrder, Gradient::SignReg>;
        case Gradient::SignSign:
            return straightStep<kOrder, Gradient::SignSign>;
        }
        std::abort();
    });
}

} // namespace bench::floor
