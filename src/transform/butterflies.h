// The formulas of the transform, over the type Z of a complex number: one number, several interleaved, or
// several split.
#pragma once

#include "transform/complex_lanes.h"

#include <bit>
#include <cstdint>

namespace merlo::complex {

// Inputs or outputs of a radix-4 butterfly, and the twiddle factors of a block: t2 = t1^2, t3 = t1^3.
template <class Z>
struct Quad {
    Z a0, a1, a2, a3;
};

template <class T>
struct Twiddles {
    T t1, t2, t3;
};

template <class Z>
inline Quad<Z> crossSums(const Quad<Z>& a) {
    return {a.a0 + a.a1, a.a0 - a.a1, a.a2 + a.a3, a.a2 - a.a3};
}

template <class Z, class T>
inline Quad<Z> butterfly(const Quad<Z>& a, const Twiddles<T>& t) {
    const auto [s0, s1, s2, s3] = crossSums(a);
    const Z turned = timesI(s3);
    return {s0 + s2, t.t1 * (s1 + turned), t.t2 * (s0 - s2), t.t3 * (s1 - turned)};
}

// Block 0 of a stage: all factors are 1.
template <class Z>
inline Quad<Z> butterflyOne(const Quad<Z>& a) {
    const auto [s0, s1, s2, s3] = crossSums(a);
    const Z turned = timesI(s3);
    return {s0 + s2, s1 + turned, s0 - s2, s1 - turned};
}

// Block 1: factors (1 + i) r, i, (-1 + i) r with r = cos(pi/4).
template <class Z>
inline Quad<Z> butterflyEighth(const Quad<Z>& a, double r) {
    const auto [s0, s1, s2, s3] = crossSums(a);
    const Z turned = timesI(s3);
    const Z z1 = s1 + turned;
    const Z z3 = s1 - turned;
    return {s0 + s2, r * (z1 + timesI(z1)), timesI(s0 - s2), r * (timesI(z3) - z3)};
}

// The factors of block b >= 2, from the twiddle area w, whose pair q holds W(q): t1 = W(b), and t2 =
// W(b/2), turned by i for an odd b.
inline Twiddles<SplitComplex<double>> twiddlesOf(const double* w, int32_t b) {
    const SplitComplex<double> t1{w[2 * b], w[2 * b + 1]};
    const SplitComplex<double> half{w[b & ~1], w[b | 1]};
    const SplitComplex<double> t2 = b % 2 == 0 ? half : timesI(half);
    const double twice = 2.0 * t2.im;
    return {t1, t2, {t1.re - twice * t1.im, twice * t1.re - t1.im}};
}

// The distance between the cosines of consecutive elements, 2 cosLen / (n/2), without the division.
inline int32_t cosineStep(int32_t n, int32_t cosLen) {
    return 4 * cosLen >> std::countr_zero(static_cast<uint32_t>(n));
}

template <class V>
inline Factor<V> weight(V /*of*/, V re, V im) {
    return {re, im};
}
template <class V, class U>
inline SplitComplex<U> weight(SplitComplex<V> /*of*/, U re, U im) {
    return {re, im};
}

// A bin and its mirror image, from the transform of the even samples plus i times the odd ones.
template <class Z, class V>
inline void separate(Z& near, Z& far, V wr, V wi) {
    const Z y = weight(near, wr, wi) * (near - conjugate(far));
    near = near - y;
    far = far + conjugate(y);
}

// The reverse, conjugated.
template <class Z, class V>
inline void join(Z& near, Z& far, V wr, V wi) {
    const Z y = weight(near, wr, -wi) * (near - conjugate(far));
    near = conjugate(near) - conjugate(y);
    far = conjugate(far) + y;
}

} // namespace merlo::complex
