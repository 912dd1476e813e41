// Complex numbers in vector registers: interleaved, with the real parts in the even lanes, or split, with
// a vector for the real and one for the imaginary parts. Each number is computed by its own formula, so
// the bits do not depend on the number of lanes.
#pragma once

#include "frame/lanes.h"

#include <bit>
#include <cstdint>

namespace merlo::complex {

// ---- Interleaved: one complex number, and as many as a register of the target holds
using One = Pair;
using Wide = Lanes;

constexpr int32_t alternating(int32_t lane, int32_t) { return lane % 2; }
constexpr int32_t swappedParts(int32_t lane, int32_t) { return lane ^ 1; }
constexpr int32_t lastNumberFirst(int32_t lane, int32_t lanes) { return (lanes - 1 - lane) ^ 1; }

template <class V>
inline V repeat(One z) {
    return shuffle<alternating, V>(z, z);
}

// Two lanes are shuffled as integers: in SSE2 that instruction does not overwrite its source.
template <class V>
inline V swapParts(V z) {
    if constexpr (kHasVectors && kLanesOf<V> == 2) { // speed only: both ways give the same bits
        using Words = int32_t __attribute__((vector_size(16)));
        const auto words = std::bit_cast<Words>(z);
        return std::bit_cast<V>(__builtin_shufflevector(words, words, 2, 3, 0, 1));
    } else {
        return shuffle<swappedParts>(z);
    }
}

template <class V>
inline V lastFirst(V z) {
    return shuffle<lastNumberFirst>(z);
}

// Changes the sign of the parts where `signs` is -0.0.
template <class V>
inline V flip(V z, One signs) {
    using Bits = decltype(z < V{});
    return std::bit_cast<V>(std::bit_cast<Bits>(z) ^ std::bit_cast<Bits>(repeat<V>(signs)));
}

template <class V>
inline V negateReal(V z) {
    if constexpr (kHasVectors) {
        return flip(z, One{-0.0, 0.0});
    } else {
        return {-z[0], z[1]};
    }
}

template <class V>
inline V conjugate(V z) {
    if constexpr (kHasVectors) {
        return flip(z, One{0.0, -0.0});
    } else {
        return {z[0], -z[1]};
    }
}

template <class V>
inline V timesI(V z) {
    return negateReal(swapParts(z));
}

// Factors in a form in which a product takes two multiplications and an addition:
// (re * zr - im * zi, re * zi + im * zr).
template <class V>
struct Factor {
    V re; // re, re
    V im; // -im, im

    Factor(V r, V i) : re(r), im(negateReal(i)) {}
    explicit Factor(V t) : Factor(evens(t, t), odds(t, t)) {}
    V operator*(V z) const { return re * z + im * swapParts(z); }
};

// The conjugates of factors: (re * zr + im * zi, re * zi - im * zr).
template <class V>
struct ConjugateFactor {
    V re; // re, re
    V im; // im, -im

    explicit ConjugateFactor(V t) : re(evens(t, t)), im(conjugate(odds(t, t))) {}
    V operator*(V z) const { return re * z + im * swapParts(z); }
};

// ---- Split. V is double or a vector.

template <class V>
struct SplitComplex {
    V re, im;

    SplitComplex operator+(SplitComplex z) const { return {re + z.re, im + z.im}; }
    SplitComplex operator-(SplitComplex z) const { return {re - z.re, im - z.im}; }
    template <class U>
    SplitComplex<U>
    operator*(SplitComplex<U> z) const { // by a number, or by one factor for all lanes
        return {re * z.re - im * z.im, re * z.im + im * z.re};
    }
};

// A factor for all numbers of an interleaved vector.
template <class V>
inline Factor<V> factorOf(SplitComplex<double> t) {
    return {all<V>(t.re), all<V>(t.im)};
}

template <class V>
inline SplitComplex<V> operator*(double r, SplitComplex<V> z) {
    return {r * z.re, r * z.im};
}

template <class V>
inline SplitComplex<V> timesI(SplitComplex<V> z) {
    return {-z.im, z.re};
}

template <class V>
inline SplitComplex<V> conjugate(SplitComplex<V> z) {
    return {z.re, -z.im};
}

} // namespace merlo::complex
