// The four update rules of the LMS recursion, coef[k] += term(gain, x_k). Each has a gain, computed
// once per step from the true error, and a term, computed per tap.
// sgn(v) is +1 for v >= 0, zeros of either sign included, and -1 otherwise, NaN included.
#pragma once

#include "frame/lanes.h"
#include "frame/ring_line.h"

#include <cstdint>

namespace merlo {

inline double sgn(double v) { return v >= 0.0 ? 1.0 : -1.0; }

// sgn(e) * magnitude, as a lane select where there are vectors. The sign of an error is unpredictable,
// and compilers branch on it in the scalar form.
template <class V = Pair>
inline double withSign(double e, double magnitude) {
    if constexpr (kHasVectors) {
        // unreached: both values are computed, no branch is taken
        const V signs = all<V>(e) >= V{} ? all<V>(1.0) : all<V>(-1.0);
        return magnitude * signs[0];
    } else {
        return magnitude * sgn(e);
    }
}

// Widrow and Hoff 1960
struct PlainRule {
    static double gain(double mu, double e) { return mu * e; }
    static double term(double g, double x) { return g * x; }
};

// Gersho 1984
struct SignErrorRule {
    static double gain(double mu, double e) { return withSign(e, mu); }
    static double term(double g, double x) { return g * x; }
};

// Moschner 1970
struct SignRegressorRule {
    static double gain(double mu, double e) { return mu * e; }
    static double term(double g, double x) { return sgn(x) * g; }
};

// Lucky 1966
struct SignSignRule {
    static double gain(double mu, double e) { return withSign(e, mu); }
    static double term(double g, double x) { return sgn(x) * g; }
};

// coef[k] += term(g, x[k]) over a contiguous run. The taps are independent: the compiler vectorises.
template <class Rule>
inline void adaptRun(double* __restrict coef, const double* __restrict x, int32_t n, double g) {
    for (int32_t k = 0; k < n; ++k) {
        coef[k] += Rule::term(g, x[k]);
    }
}

// The same over n taps of a ring line; coef[0] belongs to the sample at `newest`.
template <class Rule>
inline void adaptRing(double* coef, const double* line, int32_t lineLen, int32_t n, int32_t newest,
                      double g) {
    forEachRun(lineLen, n, newest, [=](int32_t position, int32_t tap, int32_t length) {
        adaptRun<Rule>(coef + tap, line + position, length, g);
    });
}

} // namespace merlo
