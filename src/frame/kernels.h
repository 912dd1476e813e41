// The vector kernels that the families stand on. Those on the signal path are inline and test
// nothing; the exported ones are declared in merlo64f.h and defined in kernels.cpp.
#pragma once

#include "lanes.h"
#include "merlo64f.h"
#include "ring_line.h"

#include <cfloat>
#include <cstdint>

#ifdef __FAST_MATH__
#error "the bits of every result are part of the contract: build without -ffast-math"
#endif
#if FLT_EVAL_METHOD != 0
#error "doubles must be evaluated as doubles: on 32-bit x86 build with -msse2 -mfpmath=sse"
#endif

namespace merlo {

// Adds a[i] * b[i] to sum for i = 0 .. n-1, upward and in one chain.
// The chain of additions is the cost (one adder latency a tap), so everything must stay off it. The
// empty asm keeps the compiler from widening the products: packing and unpacking them costs more
// than the whole loop. Unrolled by 4, since a taken branch a tap is slower than the adder.
inline double chainDot(const double* a, const double* b, int32_t n, double sum) {
#pragma GCC unroll 4
    for (int32_t i = 0; i < n; ++i) {
        asm volatile("");
        sum += a[i] * b[i];
    }
    return sum;
}

// The same for coefficients that stand still: they are loaded in pairs, which leaves the second load
// of every tap to the samples. (Samples come into the line one by one, and a pair of them would wait
// for two stores; so would coefficients that the last step has changed.)
inline double chainDotSettled(const double* samples, const double* coef, int32_t n, double sum) {
    int32_t i = 0;
    for (; i + 2 <= n; i += 2) {
        const Pair c = loadWhole<Pair>(coef + i);
        sum += samples[i] * c[0];
        sum += samples[i + 1] * c[1];
    }
    if (i < n) {
        sum += samples[i] * coef[i];
    }
    return sum;
}

// The same with b read from its end downward: sum += a[i] * bEnd[-1 - i].
inline double chainDotRev(const double* a, const double* bEnd, int32_t n, double sum) {
#pragma GCC unroll 4
    for (int32_t i = 0; i < n; ++i) {
        asm volatile("");
        sum += a[i] * bEnd[-1 - i];
    }
    return sum;
}

inline double dot64f(const double* a, const double* b, int32_t n) { return chainDot(a, b, n, 0.0); }

// Sum of coef[k] times the k-th element from `head` on, in tap order; 0 <= head < lineLen,
// n <= lineLen. The element at `head` itself meets coef[0]. kChain is how a run is summed up.
template <auto kChain = chainDot>
inline double dotCirc64f(const double* line, const double* coef, int32_t lineLen, int32_t n,
                         int32_t head) {
    double sum = 0.0;
    forEachRun(lineLen, n, head, [&](int32_t position, int32_t tap, int32_t length) {
        sum = kChain(line + position, coef + tap, length, sum);
    });
    return sum;
}

// Stores x at the head, returns the dot product from there and leaves the head one step back.
template <auto kChain = chainDot>
inline double insertDotCirc64f(double x, double* line, const double* coef, int32_t lineLen,
                               int32_t n, int32_t* head) {
    const int32_t position = insertSample(x, line, lineLen, head);
    return dotCirc64f<kChain>(line, coef, lineLen, n, position);
}

// insertDotCirc64f with the coefficients from their end: the newest sample meets coef[n-1].
inline double insertDotCircRev64f(double x, double* line, const double* coef, int32_t lineLen,
                                  int32_t n, int32_t* head) {
    const int32_t newest = insertSample(x, line, lineLen, head);
    double sum = 0.0;
    forEachRun(lineLen, n, newest, [&](int32_t position, int32_t tap, int32_t length) {
        sum = chainDotRev(line + position, coef + (n - tap), length, sum);
    });
    return sum;
}

// The element-wise kernels run upward, do nothing for n <= 0 and return STS_NULL_PTR, with nothing
// touched, if an array is null.

// dst[i] = src[i]
inline int32_t copy64f(const double* src, double* dst, int32_t n) {
    if (src == nullptr || dst == nullptr) {
        return STS_NULL_PTR;
    }
    for (int32_t i = 0; i < n; ++i) {
        dst[i] = src[i];
    }
    return STS_OK;
}

// buf[i] = s * buf[i]
inline int32_t scaleIp64f(double s, double* buf, int32_t n) {
    if (buf == nullptr) {
        return STS_NULL_PTR;
    }
    for (int32_t i = 0; i < n; ++i) {
        buf[i] = s * buf[i];
    }
    return STS_OK;
}

// out[i] = b[i] - a[i]: the subtrahend comes first
inline int32_t sub64f(const double* a, const double* b, double* out, int32_t n) {
    if (a == nullptr || b == nullptr || out == nullptr) {
        return STS_NULL_PTR;
    }
    for (int32_t i = 0; i < n; ++i) {
        out[i] = b[i] - a[i];
    }
    return STS_OK;
}

// y[i] = a * x[i] + b * y[i]; x must not be y
inline int32_t smooth64f(double a, const double* x, double b, double* y, int32_t n) {
    if (x == nullptr || y == nullptr) {
        return STS_NULL_PTR;
    }
    for (int32_t i = 0; i < n; ++i) {
        y[i] = a * x[i] + b * y[i];
    }
    return STS_OK;
}

} // namespace merlo
