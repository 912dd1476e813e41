// A real transform of n points as a complex one of n/2: the elements are brought into bit-reversed
// order, go through radix-4 stages and at most one radix-2 stage, and a last step separates the
// spectrum of the even samples from that of the odd ones. The inverse goes the same way on the
// conjugate spectrum, with the separating step first.
// Source: Sorensen, Jones, Heideman and Burrus 1987, Real-valued fast Fourier transform algorithms.
// Departs from the textbook in the sign of the exponent, which is positive in the forward direction:
// spectra are conjugate to the usual ones, and the inverse lacks a factor 2/n.
#include "real_fft.h"

#include <bit>
#include <cstring>
#include <utility>

namespace merlo {
namespace {

// One or two complex numbers side by side, real part first, as the target's registers allow.
using One = double __attribute__((vector_size(16)));
#if __BIGGEST_ALIGNMENT__ >= 32
using Wide = double __attribute__((vector_size(32)));
#else
using Wide = One;
#endif

template <class V>
inline V load(const double* from) {
    V v;
    std::memcpy(&v, from, sizeof v);
    return v;
}

template <class V>
inline void store(double* to, V v) {
    std::memcpy(to, &v, sizeof v);
}

template <class V>
inline V swapParts(V v) {
    if constexpr (sizeof(V) == sizeof(One)) {
        return __builtin_shufflevector(v, v, 1, 0);
    } else {
        return __builtin_shufflevector(v, v, 1, 0, 3, 2);
    }
}

template <class V>
inline V spread(double re, double im) {
    if constexpr (sizeof(V) == sizeof(One)) {
        return V{re, im};
    } else {
        return V{re, im, re, im};
    }
}

template <class V>
inline V flip(V v, V signs) { // negative zeros flip, zeros leave alone
    using Bits = decltype(v < v);
    return std::bit_cast<V>(std::bit_cast<Bits>(v) ^ std::bit_cast<Bits>(signs));
}

template <class V>
inline V timesI(V v) {
    return flip(swapParts(v), spread<V>(-0.0, 0.0));
}

template <class V>
inline V conjugate(V v) {
    return flip(v, spread<V>(0.0, -0.0));
}

// A factor held so that a product costs two multiplications and an addition:
// (re * zr - im * zi, re * zi + im * zr).
template <class V>
struct Factor {
    V re; // re, re
    V im; // -im, im
    Factor(double r, double i) : re(spread<V>(r, r)), im(spread<V>(-i, i)) {}
    V operator*(V z) const { return re * z + im * swapParts(z); }
};

template <class V>
struct Quad {
    V a0, a1, a2, a3;
};

// The sums and differences that a radix-4 butterfly starts with.
template <class V>
inline Quad<V> crossSums(const double* a, int32_t l) {
    const V a0 = load<V>(a);
    const V a1 = load<V>(a + l);
    const V a2 = load<V>(a + 2 * l);
    const V a3 = load<V>(a + 3 * l);
    return {a0 + a1, a0 - a1, a2 + a3, a2 - a3};
}

// Block 0 of a stage: all factors are 1.
template <class V, bool conjugated = false>
inline void butterflyOne(double* a, int32_t l) {
    const auto [s0, s1, s2, s3] = crossSums<V>(a, l);
    const V turned = timesI(s3);
    const auto put = [](double* to, V v) { store(to, conjugated ? conjugate(v) : v); };
    put(a, s0 + s2);
    put(a + l, s1 + turned);
    put(a + 2 * l, s0 - s2);
    put(a + 3 * l, s1 - turned);
}

// Block 1: factors (1 + i) r, i, (-1 + i) r with r = cos(pi/4).
template <class V>
inline void butterflyEighth(double* a, int32_t l, double r) {
    const auto [s0, s1, s2, s3] = crossSums<V>(a, l);
    const V turned = timesI(s3);
    const V z1 = s1 + turned;
    const V z3 = s1 - turned;
    store(a, s0 + s2);
    store(a + l, r * (z1 + timesI(z1)));
    store(a + 2 * l, timesI(s0 - s2));
    store(a + 3 * l, r * (timesI(z3) - z3));
}

// The three factors of a block. t2 = t1^2, t3 = t1^3 follows from them.
template <class V>
struct Factors {
    Factor<V> t1, t2, t3;
    Factors(double r1, double i1, double r2, double i2)
        : t1(r1, i1), t2(r2, i2), t3(r1 - 2 * i2 * i1, 2 * i2 * r1 - i1) {}
};

template <class V>
inline void butterfly(double* a, int32_t l, const Factors<V>& t) {
    const auto [s0, s1, s2, s3] = crossSums<V>(a, l);
    const V turned = timesI(s3);
    store(a, s0 + s2);
    store(a + l, t.t1 * (s1 + turned));
    store(a + 2 * l, t.t2 * (s0 - s2));
    store(a + 3 * l, t.t3 * (s1 - turned));
}

// A radix-4 stage of stride l, in floats: blocks of 4 l floats, in pairs; n >= 8 l.
template <class V>
inline void radix4Stage(int32_t n, int32_t l, double* a, const double* w) {
    constexpr int32_t step = sizeof(V) / sizeof(double);
    for (int32_t j = 0; j < l; j += step) {
        butterflyOne<V>(a + j, l);
    }
    for (int32_t j = 0; j < l; j += step) {
        butterflyEighth<V>(a + 4 * l + j, l, w[2]);
    }
    const double* half = w + 2; // W(q)
    const double* full = w + 4; // W(2q), W(2q + 1)
    for (double* block = a + 8 * l; block < a + n; block += 8 * l, half += 2, full += 4) {
        const Factors<V> even(full[0], full[1], half[0], half[1]);
        const Factors<V> odd(full[2], full[3], -half[1], half[0]);
        for (int32_t j = 0; j < l; j += step) {
            butterfly<V>(block + j, l, even);
        }
        for (int32_t j = 0; j < l; j += step) {
            butterfly<V>(block + 4 * l + j, l, odd);
        }
    }
}

void firstStage64f(int32_t n, double* a, const double* w) { radix4Stage<One>(n, 2, a, w); }

void middleStage64f(int32_t n, int32_t l, double* a, const double* w) {
    radix4Stage<Wide>(n, l, a, w);
}

// From bit-reversed to natural order; the inverse direction wants the result conjugated.
template <bool conjugated>
void cplxTransform(int32_t n, double* a, const double* w) {
    int32_t l = 2;
    if (n > 8) {
        firstStage64f(n, a, w);
        for (l = 8; 4 * l < n; l *= 4) {
            middleStage64f(n, l, a, w);
        }
    }
    if (4 * l == n) {
        for (int32_t j = 0; j < l; j += 2) {
            butterflyOne<One, conjugated>(a + j, l);
        }
    } else {
        for (int32_t j = 0; j < l; j += 2) {
            const One sum = load<One>(a + j) + load<One>(a + j + l);
            const One difference = load<One>(a + j) - load<One>(a + j + l);
            store(a + j, conjugated ? conjugate(sum) : sum);
            store(a + j + l, conjugated ? conjugate(difference) : difference);
        }
    }
}

void cplxFwd64f(int32_t n, double* a, const double* w) { cplxTransform<false>(n, a, w); }

void cplxBwd64f(int32_t n, double* a, const double* w) { cplxTransform<true>(n, a, w); }

inline void swapPairs(double* a, int32_t j, int32_t k) {
    const One at = load<One>(a + j);
    store(a + j, load<One>(a + k));
    store(a + k, at);
}

// Brings the n/2 complex elements into bit-reversed order by swaps; work is an index table.
void bitReverse64f(int32_t n, int32_t* work, double* a) {
    int32_t l = n;
    int32_t m = 1;
    work[0] = 0;
    while (8 * m < l) {
        l /= 2;
        for (int32_t j = 0; j < m; ++j) {
            work[m + j] = work[j] + l;
        }
        m *= 2;
    }
    const int32_t m2 = 2 * m;
    if (8 * m == l) {
        for (int32_t k = 0; k < m; ++k) {
            for (int32_t j = 0; j < k; ++j) {
                const int32_t j1 = 2 * j + work[k];
                const int32_t k1 = 2 * k + work[j];
                swapPairs(a, j1, k1);
                swapPairs(a, j1 + m2, k1 + 2 * m2);
                swapPairs(a, j1 + 2 * m2, k1 + m2);
                swapPairs(a, j1 + 3 * m2, k1 + 3 * m2);
            }
            const int32_t j1 = 2 * k + m2 + work[k];
            swapPairs(a, j1, j1 + m2);
        }
    } else {
        for (int32_t k = 1; k < m; ++k) {
            for (int32_t j = 0; j < k; ++j) {
                const int32_t j1 = 2 * j + work[k];
                const int32_t k1 = 2 * k + work[j];
                swapPairs(a, j1, k1);
                swapPairs(a, j1 + m2, k1 + m2);
            }
        }
    }
}

// Separates the spectrum of a real sequence from that of its even and odd samples taken as real and
// imaginary parts.
void realFwdPost64f(int32_t n, double* a, int32_t cosLen, const double* c) {
    const int32_t h = n / 2;
    const int32_t ks = 2 * cosLen / h;
    for (int32_t j = 2, kk = ks; j < h; j += 2, kk += ks) {
        const int32_t k = n - j;
        const double wr = 0.5 - c[cosLen - kk];
        const double wi = c[kk];
        const double xr = a[j] - a[k];
        const double xi = a[j + 1] + a[k + 1];
        const double yr = wr * xr - wi * xi;
        const double yi = wr * xi + wi * xr;
        a[j] -= yr;
        a[j + 1] -= yi;
        a[k] += yr;
        a[k + 1] -= yi;
    }
}

void realBwdPre64f(int32_t n, double* a, int32_t cosLen, const double* c) {
    const int32_t h = n / 2;
    const int32_t ks = 2 * cosLen / h;
    a[1] = -a[1];
    for (int32_t j = 2, kk = ks; j < h; j += 2, kk += ks) {
        const int32_t k = n - j;
        const double wr = 0.5 - c[cosLen - kk];
        const double wi = c[kk];
        const double xr = a[j] - a[k];
        const double xi = a[j + 1] + a[k + 1];
        const double yr = wr * xr + wi * xi;
        const double yi = wr * xi - wi * xr;
        a[j] -= yr;
        a[j + 1] = yi - a[j + 1];
        a[k] += yr;
        a[k + 1] = yi - a[k + 1];
    }
    a[h + 1] = -a[h + 1];
}

} // namespace

void realFft64f(int32_t n, int32_t sign, double* a, int32_t* fftTable, const double* fftTwiddles) {
    const int32_t twiddleLen = fftTable[0];
    const int32_t cosLen = fftTable[1];
    const double* const cosines = fftTwiddles + twiddleLen;
    if (sign < 0) {
        if (n > 4) {
            bitReverse64f(n, fftTable + 2, a);
            cplxFwd64f(n, a, fftTwiddles);
            realFwdPost64f(n, a, cosLen, cosines);
        } else if (n == 4) {
            cplxFwd64f(4, a, fftTwiddles);
        }
        const double difference = a[0] - a[1];
        a[0] = a[0] + a[1];
        a[1] = difference;
    } else {
        a[1] = 0.5 * (a[0] - a[1]);
        a[0] = a[0] - a[1];
        if (n > 4) {
            realBwdPre64f(n, a, cosLen, cosines);
            bitReverse64f(n, fftTable + 2, a);
            cplxBwd64f(n, a, fftTwiddles);
        } else if (n == 4) {
            cplxFwd64f(4, a, fftTwiddles);
        }
    }
}

} // namespace merlo
