// The vector kernels. The dot products test nothing. The element-wise kernels return STS_NULL_PTR,
// with nothing written, if an array is null; they run upward and do nothing for n <= 0. The exported
// kernels (nextPow2, insertSampleLinBuf64f, reset64f, set64f, addIp64f) are declared in merlo64f.h and
// defined in kernels.cpp.
#pragma once

#include "frame/barriers.h"
#include "frame/lanes.h"
#include "frame/ring_line.h"
#include "merlo64f.h"

#include <cfloat>
#include <cstdint>

#ifdef __FAST_MATH__
#error "results must be bit-identical on every build: compile without -ffast-math"
#endif
#if FLT_EVAL_METHOD != 0
#error "double arithmetic must not be wider than double: on 32-bit x86 use -msse2 -mfpmath=sse"
#endif

namespace merlo {

// Adds a[i] * b[i] to sum for i = 0 .. n-1, upward and in one chain.
// The cost is the chain of additions, one adder latency per tap; loads and products overlap with it.
// Unrolled by 4, because one taken branch per tap is slower than the adder.
inline double chainDot(const double* a, const double* b, int32_t n, double sum) {
#pragma GCC unroll 4
    for (int32_t i = 0; i < n; ++i) {
        keepScalar();
        sum += a[i] * b[i];
    }
    return sum;
}

// The same for fixed coefficients, which are loaded in pairs to save every second load. A pair of
// samples, or of coefficients that the previous step has changed, would wait for two recent stores.
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

// chainDot with b read downward from its end: sum += a[i] * bEnd[-1 - i].
inline double chainDotRev(const double* a, const double* bEnd, int32_t n, double sum) {
#pragma GCC unroll 4
    for (int32_t i = 0; i < n; ++i) {
        keepScalar();
        sum += a[i] * bEnd[-1 - i];
    }
    return sum;
}

inline double dot64f(const double* a, const double* b, int32_t n) { return chainDot(a, b, n, 0.0); }

// Sum of coef[k] times the k-th element from `head` on, in tap order; 0 <= head < lineLen,
// n <= lineLen. coef[0] weights the element at `head`. kChain computes the sum of a run.
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

// insertDotCirc64f with the coefficients in reverse order: coef[n-1] weights the newest sample.
inline double insertDotCircRev64f(double x, double* line, const double* coef, int32_t lineLen,
                                  int32_t n, int32_t* head) {
    const int32_t newest = insertSample(x, line, lineLen, head);
    double sum = 0.0;
    forEachRun(lineLen, n, newest, [&](int32_t position, int32_t tap, int32_t length) {
        sum = chainDotRev(line + position, coef + (n - tap), length, sum);
    });
    return sum;
}

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

// out[i] = b[i] - a[i]: the subtrahend is the first argument
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
