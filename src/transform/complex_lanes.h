// Complex numbers side by side in the target's registers. Each number is computed by its own formula,
// whatever stands beside it: bits do not depend on the width.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace merlo::complex {

// Complex numbers, real part first: one, and as many side by side as the target's registers hold.
using One = double __attribute__((vector_size(16)));
#ifdef __AVX__
using Wide = double __attribute__((vector_size(32)));
#else
using Wide = One;
#endif

template <class V>
constexpr int32_t kLanes = sizeof(V) / sizeof(double);

// gcc for x86 would fetch a number anew for each of its uses, and the loads, not the adders, would
// set the pace; so it must lose sight of where the number came from.
template <class V>
inline V load(const double* from) {
    V v;
    std::memcpy(&v, from, sizeof v);
#if defined(__x86_64__) && !defined(__clang__)
    asm("" : "+x"(v));
#endif
    return v;
}

template <class V>
inline void store(double* to, V v) {
    std::memcpy(to, &v, sizeof v);
}

template <class V>
inline V repeat(One z) {
    if constexpr (kLanes<V> == 2) {
        return z;
    } else {
        return __builtin_shufflevector(z, z, 0, 1, 0, 1);
    }
}

template <class V>
inline V swapParts(V z) {
    if constexpr (kLanes<V> == 2) {
        return __builtin_shufflevector(z, z, 1, 0);
    } else {
        return __builtin_shufflevector(z, z, 1, 0, 3, 2);
    }
}

template <class V>
inline V realParts(V z) {
    if constexpr (kLanes<V> == 2) {
        return __builtin_shufflevector(z, z, 0, 0);
    } else {
        return __builtin_shufflevector(z, z, 0, 0, 2, 2);
    }
}

template <class V>
inline V imagParts(V z) {
    if constexpr (kLanes<V> == 2) {
        return __builtin_shufflevector(z, z, 1, 1);
    } else {
        return __builtin_shufflevector(z, z, 1, 1, 3, 3);
    }
}

template <class V>
inline V lastFirst(V z) {
    if constexpr (kLanes<V> == 2) {
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
    explicit Factor(V t) : Factor(realParts(t), imagParts(t)) {}
    V operator*(V z) const { return re * z + im * swapParts(z); }
};

} // namespace merlo::complex
