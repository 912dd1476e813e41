// Complex numbers side by side in the target's registers. Each number is computed by its own formula,
// whatever stands beside it: bits do not depend on the width.
#pragma once

#include "lanes.h"

#include <bit>
#include <cstdint>

namespace merlo::complex {

// Complex numbers, real part first: one, and as many side by side as the target's registers hold.
using One = Pair;
using Wide = Lanes;

template <class V>
inline V repeat(One z) {
    if constexpr (kLanesOf<V> == 2) {
        return z;
    } else {
        return __builtin_shufflevector(z, z, 0, 1, 0, 1);
    }
}

// As integers, whose shuffle in SSE2 does not destroy what it shuffles.
template <class V>
inline V swapParts(V z) {
    if constexpr (kLanesOf<V> == 2) {
        using Words = int32_t __attribute__((vector_size(16)));
        const auto words = std::bit_cast<Words>(z);
        return std::bit_cast<V>(__builtin_shufflevector(words, words, 2, 3, 0, 1));
    } else {
        return __builtin_shufflevector(z, z, 1, 0, 3, 2);
    }
}

template <class V>
inline V lastFirst(V z) {
    if constexpr (kLanesOf<V> == 2) {
        return z;
    } else {
        return __builtin_shufflevector(z, z, 2, 3, 0, 1);
    }
}

// Changes the sign of the parts where `signs` holds -0.0.
template <class V>
inline V flip(V z, One signs) {
    using Bits = decltype(z < V{});
    return std::bit_cast<V>(std::bit_cast<Bits>(z) ^ std::bit_cast<Bits>(repeat<V>(signs)));
}

template <class V>
inline V negateReal(V z) {
    return flip(z, One{-0.0, 0.0});
}

template <class V>
inline V conjugate(V z) {
    return flip(z, One{0.0, -0.0});
}

template <class V>
inline V timesI(V z) {
    return negateReal(swapParts(z));
}

// Factors held so that a product costs two multiplications and an addition:
// (re * zr - im * zi, re * zi + im * zr).
template <class V>
struct Factor {
    V re; // re, re
    V im; // -im, im

    Factor(V r, V i) : re(r), im(negateReal(i)) {}
    explicit Factor(V t) : Factor(evens(t, t), odds(t, t)) {}
    V operator*(V z) const { return re * z + im * swapParts(z); }
};

} // namespace merlo::complex
