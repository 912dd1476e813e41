// A real transform of n points as a complex one of n/2: the elements are brought into bit-reversed
// order, go through radix-4 stages and at most one radix-2 stage, and a last step separates the
// spectrum of the even samples from that of the odd ones. The inverse goes the same way on the
// conjugate spectrum, with the separating step first.
// Source: Sorensen, Jones, Heideman and Burrus 1987, Real-valued fast Fourier transform algorithms.
// Departs from the textbook in the sign of the exponent, which is positive in the forward direction:
// spectra are conjugate to the usual ones, and the inverse lacks a factor 2/n.
#include "real_fft.h"

#include <array>
#include <bit>
#include <cstring>
#include <utility>

#ifndef FUSE
#define FUSE 16
#endif
namespace merlo {
namespace {

// Complex numbers, real part first: one, and as many side by side as the target's registers hold.
using One = double __attribute__((vector_size(16)));
#if __BIGGEST_ALIGNMENT__ >= 32
using Wide = double __attribute__((vector_size(32)));
#else
using Wide = One;
#endif

template <class V>
constexpr int32_t kLanes = sizeof(V) / sizeof(double);

template <class V>
inline V load(const double* from) {
    V v;
    std::memcpy(&v, from, sizeof v);
    return v;
}

// For what is shuffled next: gcc would take the load apart into two of halves.
template <class V>
inline V loadWhole(const double* from) {
    V v = load<V>(from);
#if !defined(__clang__) && defined(__x86_64__)
    asm("" : "+x"(v));
#endif
    return v;
}

template <class V>
inline void store(double* to, V v) {
    std::memcpy(to, &v, sizeof v);
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
inline V reversed(V z) { // the last number first
    if constexpr (kLanes<V> == 2) {
        return z;
    } else {
        return __builtin_shufflevector(z, z, 2, 3, 0, 1);
    }
}

template <class V>
inline V spread(double re, double im) {
    if constexpr (kLanes<V> == 2) {
        return V{re, im};
    } else {
        return V{re, im, re, im};
    }
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
inline V flip(V v, V signs) { // changes signs where `signs` holds -0.0
    using Bits = decltype(v < v);
    return std::bit_cast<V>(std::bit_cast<Bits>(v) ^ std::bit_cast<Bits>(signs));
}

template <class V>
inline V negateReal(V z) {
    return flip(z, spread<V>(-0.0, 0.0));
}

template <class V>
inline V conjugate(V z) {
    return flip(z, spread<V>(0.0, -0.0));
}

template <class V>
inline V timesI(V z) {
    return negateReal(swapParts(z));
}

// A factor held so that a product costs two multiplications and an addition:
// (re * zr - im * zi, re * zi + im * zr).
template <class V>
struct Factor {
    V re; // re, re
    V im; // -im, im

    explicit Factor(V t) : Factor(realParts(t), imagParts(t)) {}
    Factor(V r, V i) : re(r), im(negateReal(i)) {}
    V operator*(V z) const { return re * z + im * swapParts(z); }
};

// Complex numbers with real and imaginary parts in vectors of their own, and factors likewise.
template <class V>
struct Apart {
    V re{}, im{};

    Apart operator+(Apart z) const { return {re + z.re, im + z.im}; }
    Apart operator-(Apart z) const { return {re - z.re, im - z.im}; }
    Apart operator*(Apart z) const { return {re * z.re - im * z.im, re * z.im + im * z.re}; }
};

template <class V>
inline Apart<V> timesI(Apart<V> z) {
    return {-z.im, z.re};
}

// The elements of a radix-4 butterfly, and the factors of a block. t2 = t1^2, t3 = t1^3.
template <class Z>
struct Quad {
    Z a0, a1, a2, a3;
};

template <class T>
struct Factors {
    T t1, t2, t3;
};

// The sums and differences that a butterfly starts with: a0 + a1, a0 - a1, a2 + a3, a2 - a3.
template <class Z>
inline Quad<Z> crossSums(const Quad<Z>& a) {
    return {a.a0 + a.a1, a.a0 - a.a1, a.a2 + a.a3, a.a2 - a.a3};
}

template <class Z, class T>
inline Quad<Z> butterfly(const Quad<Z>& a, const Factors<T>& t) {
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

template <class V>
inline Quad<V> loadQuad(const double* a, int32_t l) {
    return {load<V>(a), load<V>(a + l), load<V>(a + 2 * l), load<V>(a + 3 * l)};
}

template <class V>
inline void storeQuad(double* a, int32_t l, const Quad<V>& quad) {
    store(a, quad.a0);
    store(a + l, quad.a1);
    store(a + 2 * l, quad.a2);
    store(a + 3 * l, quad.a3);
}

// t1^3 = (r1 - 2 i2 i1, 2 i2 r1 - i1), made once per block.
template <class V>
inline Factors<Factor<V>> blockFactors(One t1, One t2) {
    const One twice = 2.0 * imagParts(t2);
    const One t3 = conjugate(t1) + negateReal(twice * swapParts(t1));
    return {Factor<V>(repeat<V>(t1)), Factor<V>(repeat<V>(t2)), Factor<V>(repeat<V>(t3))};
}

inline void transpose(One* rows) {
    One a = rows[0];
    One b = rows[1];
    rows[0] = __builtin_shufflevector(a, b, 0, 2);
    rows[1] = __builtin_shufflevector(a, b, 1, 3);
}

#if __BIGGEST_ALIGNMENT__ >= 32
inline void transpose(Wide* rows) {
    const Wide a = __builtin_shufflevector(rows[0], rows[1], 0, 4, 2, 6);
    const Wide b = __builtin_shufflevector(rows[0], rows[1], 1, 5, 3, 7);
    const Wide c = __builtin_shufflevector(rows[2], rows[3], 0, 4, 2, 6);
    const Wide d = __builtin_shufflevector(rows[2], rows[3], 1, 5, 3, 7);
    rows[0] = __builtin_shufflevector(a, c, 0, 1, 4, 5);
    rows[1] = __builtin_shufflevector(b, d, 0, 1, 4, 5);
    rows[2] = __builtin_shufflevector(a, c, 2, 3, 6, 7);
    rows[3] = __builtin_shufflevector(b, d, 2, 3, 6, 7);
}
#endif

// The blocks b, b + 1, ... of the first stage side by side, a lane each; b is even and not 0.
template <class V>
inline void firstStageBlocks(double* a, const double* w, int32_t b) {
    constexpr int32_t lanes = kLanes<V>;
    V t[2]; // W(b), W(b + 1), ...
    V column[8];
    double* const block = a + 8 * b;
    for (int32_t part = 0; part < 8; part += lanes) {
        for (int32_t lane = 0; lane < lanes; ++lane) {
            column[part + lane] = loadWhole<V>(block + 8 * lane + part);
        }
        transpose(column + part);
    }
    V signs;
    if constexpr (lanes == 2) {
        t[0] = loadWhole<V>(w + 2 * b);
        t[1] = loadWhole<V>(w + 2 * b + 2);
        transpose(t);
        signs = V{0.0, -0.0};
    } else {
        const V t01 = load<V>(w + 2 * b);
        const V t23 = load<V>(w + 2 * b + 4);
        t[0] = __builtin_shufflevector(t01, t23, 0, 2, 4, 6);
        t[1] = __builtin_shufflevector(t01, t23, 1, 3, 5, 7);
        signs = V{0.0, -0.0, 0.0, -0.0};
    }
    // W(q) for an even block, i W(q) for an odd one.
    const V half = load<V>(w + b);
    const Apart<V> t1{t[0], t[1]};
    const Apart<V> t2{flip(half, signs), swapParts(half)};
    const V twice = 2.0 * t2.im;
    const Apart<V> t3{t1.re - twice * t1.im, twice * t1.re - t1.im};
    const Factors<Apart<V>> factors{t1, t2, t3};
    const Quad<Apart<V>> in{{column[0], column[1]},
                            {column[2], column[3]},
                            {column[4], column[5]},
                            {column[6], column[7]}};
    const Quad<Apart<V>> out = butterfly(in, factors);
    V result[8] = {out.a0.re, out.a0.im, out.a1.re, out.a1.im,
                   out.a2.re, out.a2.im, out.a3.re, out.a3.im};
    for (int32_t part = 0; part < 8; part += lanes) {
        transpose(result + part);
        for (int32_t lane = 0; lane < lanes; ++lane) {
            store(block + 8 * lane + part, result[part + lane]);
        }
    }
}

// The radix-4 stage of stride 2; n >= 16.
void firstStage64f(int32_t n, double* a, const double* w) {
    storeQuad(a, 2, butterflyOne(loadQuad<One>(a, 2)));
    storeQuad(a + 8, 2, butterflyEighth(loadQuad<One>(a + 8, 2), w[2]));
    if (n >= 32) {
        firstStageBlocks<One>(a, w, 2);
    }
    for (int32_t b = 4; 8 * b < n; b += kLanes<Wide>) {
        firstStageBlocks<Wide>(a, w, b);
    }
}

// A radix-4 stage of stride l, in floats: blocks of 4 l floats, in pairs; l >= 8, n >= 8 l.
void middleStage64f(int32_t n, int32_t l, double* a, const double* w) {
    constexpr int32_t step = kLanes<Wide>;
    for (int32_t j = 0; j < l; j += step) {
        storeQuad(a + j, l, butterflyOne(loadQuad<Wide>(a + j, l)));
    }
    a += 4 * l;
    for (int32_t j = 0; j < l; j += step) {
        storeQuad(a + j, l, butterflyEighth(loadQuad<Wide>(a + j, l), w[2]));
    }
    const int32_t blocks = n / (4 * l);
    for (int32_t b = 2; b < blocks; ++b) {
        a += 4 * l;
        const One half = load<One>(w + (b & ~1));
        const auto t = blockFactors<Wide>(load<One>(w + 2 * b), b % 2 == 0 ? half : timesI(half));
        for (int32_t j = 0; j < l; j += step) {
            storeQuad(a + j, l, butterfly(loadQuad<Wide>(a + j, l), t));
        }
    }
}

template <bool conjugated, class V>
inline V finished(V z) {
    return conjugated ? conjugate(z) : z;
}

// The last stage, whose factors are all 1: radix 4 if 4 l == n, radix 2 if 2 l == n.
template <bool conjugated, class V>
inline void lastStage(int32_t n, int32_t l, double* a) {
    if (4 * l == n) {
        for (int32_t j = 0; j < l; j += kLanes<V>) {
            const auto [a0, a1, a2, a3] = butterflyOne(loadQuad<V>(a + j, l));
            storeQuad<V>(a + j, l,
                         {finished<conjugated>(a0), finished<conjugated>(a1),
                          finished<conjugated>(a2), finished<conjugated>(a3)});
        }
    } else {
        for (int32_t j = 0; j < l; j += kLanes<V>) {
            const V a0 = load<V>(a + j);
            const V a1 = load<V>(a + j + l);
            store(a + j, finished<conjugated>(a0 + a1));
            store(a + j + l, finished<conjugated>(a0 - a1));
        }
    }
}

inline int32_t stages(int32_t n, double* a, const double* w) {
    firstStage64f(n, a, w);
    int32_t l = 8;
    for (; 4 * l < n; l *= 4) {
        middleStage64f(n, l, a, w);
    }
    return l;
}

// From bit-reversed to natural order; the inverse direction wants the result conjugated.
template <bool conjugated>
inline void cplxTransform(int32_t n, double* a, const double* w) {
    if (n <= 8) {
        lastStage<conjugated, One>(n, 2, a);
        return;
    }
    const int32_t l = stages(n, a, w);
    if (n <= 32) { // a wide load would wait for the narrow stores before it
        lastStage<conjugated, One>(n, l, a);
    } else {
        lastStage<conjugated, Wide>(n, l, a);
    }
}

void cplxFwd64f(int32_t n, double* a, const double* w) { cplxTransform<false>(n, a, w); }

void cplxBwd64f(int32_t n, double* a, const double* w) { cplxTransform<true>(n, a, w); }

inline void swapPairs(double* a, int32_t j, int32_t k) {
    const One at = load<One>(a + j);
    store(a + j, load<One>(a + k));
    store(a + k, at);
}

// The swaps for a short length, as positions of the pairs.
template <int32_t n>
constexpr auto kSwaps = [] {
    constexpr int32_t bits = std::countr_zero(uint32_t{n / 2});
    constexpr int32_t count = (n / 2 - (1 << (bits + 1) / 2)) / 2; // all but the palindromes
    std::array<std::array<uint8_t, 2>, count> swaps{};
    int32_t found = 0;
    for (int32_t j = 0; j < n / 2; ++j) {
        int32_t k = 0;
        for (int32_t bit = 0; bit < bits; ++bit) {
            k |= (j >> bit & 1) << (bits - 1 - bit);
        }
        if (j < k) {
            swaps[found++] = {static_cast<uint8_t>(2 * j), static_cast<uint8_t>(2 * k)};
        }
    }
    return swaps;
}();

template <int32_t n>
inline void bitReverseShort(double* a) {
#pragma GCC unroll 8
    for (const auto [j, k] : kSwaps<n>) {
        swapPairs(a, j, k);
    }
}

// Brings the n/2 complex elements into bit-reversed order by swaps; work is an index table.
void bitReverse64f(int32_t n, int32_t* work, double* a) {
    switch (n) {
    case 8:
        return bitReverseShort<8>(a);
    case 16:
        return bitReverseShort<16>(a);
    case 32:
        return bitReverseShort<32>(a);
    case 64:
        return bitReverseShort<64>(a);
    case 128:
        return bitReverseShort<128>(a);
    default:
        break;
    }
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

// c[0], c[0], c[step], c[step], ...
template <class V>
inline V doubled(const double* c, int32_t step) {
    if constexpr (kLanes<V> == 2) {
        return V{c[0], c[0]};
    } else {
        return V{c[0], c[0], c[step], c[step]};
    }
}

// Separates the spectrum of a real sequence from that of its even and odd samples taken as real and
// imaginary parts, or the other way round, at an element and its mirror image.
template <bool inverse, class V>
inline void separate(V& near, V& far, V wr, V wi) {
    const V x = near - conjugate(far);
    if constexpr (inverse) {
        const V y = Factor<V>(wr, -wi) * x;
        near = conjugate(near) - conjugate(y);
        far = conjugate(far) + y;
    } else {
        const V y = Factor<V>(wr, wi) * x;
        near -= y;
        far += conjugate(y);
    }
}

template <bool inverse>
inline void realStep(int32_t n, double* a, int32_t cosLen, const double* c) {
    const int32_t h = n / 2;
    const int32_t ks = 2 * cosLen / h;
    int32_t j = 2;
    int32_t kk = ks;
    const auto step = [&]<class V>(V) {
        const V wr = 0.5 - doubled<V>(c + cosLen - kk, -ks);
        const V wi = doubled<V>(c + kk, ks);
        double* const mirror = a + n - j - (kLanes<V> - 2);
        V near = load<V>(a + j);
        V far = reversed(load<V>(mirror));
        separate<inverse>(near, far, wr, wi);
        store(a + j, near);
        store(mirror, reversed(far));
        j += kLanes<V>;
        kk += kLanes<V> / 2 * ks;
    };
    while (j + kLanes<Wide> <= h) {
        step(Wide{});
    }
    while (j < h) {
        step(One{});
    }
}

template <int32_t radix, class V>
inline void lastButterfly(V (&z)[radix]) {
    if constexpr (radix == 2) {
        const V sum = z[0] + z[1];
        z[1] = z[0] - z[1];
        z[0] = sum;
    } else {
        const auto [a0, a1, a2, a3] = butterflyOne<V>({z[0], z[1], z[2], z[3]});
        z[0] = a0;
        z[1] = a1;
        z[2] = a2;
        z[3] = a3;
    }
}

template <int32_t radix>
inline void lastStageAndPost(int32_t n, double* a, int32_t cosLen, const double* c) {
    const int32_t l = n / radix;
    const int32_t s = cosLen / (radix / 2); // l in the cosine area
    const int32_t ks = 2 * s / l;
    constexpr int32_t pairs = radix / 2;
    {
        One z[radix];
        for (int32_t i = 0; i < radix; ++i) {
            z[i] = load<One>(a + i * l);
        }
        lastButterfly<radix>(z);
        if constexpr (radix == 4) {
            separate<false>(z[1], z[3], 0.5 - doubled<One>(c + s, 0), doubled<One>(c + s, 0));
        }
        for (int32_t i = 0; i < radix; ++i) {
            store(a + i * l, z[i]);
        }
        double* const m = a + l / 2;
        for (int32_t i = 0; i < radix; ++i) {
            z[i] = load<One>(m + i * l);
        }
        lastButterfly<radix>(z);
        for (int32_t i = 0; i < pairs; ++i) {
            separate<false>(z[i], z[radix - 1 - i], 0.5 - doubled<One>(c + (pairs - i) * s - s / 2, 0),
                            doubled<One>(c + i * s + s / 2, 0));
        }
        for (int32_t i = 0; i < radix; ++i) {
            store(m + i * l, z[i]);
        }
    }
    int32_t j = 2;
    int32_t kk = ks;
    const auto step = [&]<class V>(V) {
        double* const up = a + j;
        double* const down = a + l - j - (kLanes<V> - 2);
        V near[radix];
        V far[radix];
        for (int32_t i = 0; i < radix; ++i) {
            near[i] = load<V>(up + i * l);
            far[i] = reversed(load<V>(down + i * l));
        }
        lastButterfly<radix>(near);
        lastButterfly<radix>(far);
        for (int32_t i = 0; i < pairs; ++i) {
            V wi = doubled<V>(c + i * s + kk, ks);
            V wr = doubled<V>(c + (pairs - i) * s - kk, -ks);
            separate<false>(near[i], far[radix - 1 - i], 0.5 - wr, wi);
            separate<false>(far[pairs - 1 - i], near[pairs + i], 0.5 - wi, wr);
        }
        for (int32_t i = 0; i < radix; ++i) {
            store(up + i * l, near[i]);
            store(down + i * l, reversed(far[i]));
        }
        j += kLanes<V>;
        kk += kLanes<V> / 2 * ks;
    };
    while (j + kLanes<Wide> <= l / 2) {
        step(Wide{});
    }
    while (j < l / 2) {
        step(One{});
    }
}

void realFwdPost64f(int32_t n, double* a, int32_t cosLen, const double* c) {
    realStep<false>(n, a, cosLen, c);
}

void realBwdPre64f(int32_t n, double* a, int32_t cosLen, const double* c) {
    store(a, conjugate(load<One>(a)));
    realStep<true>(n, a, cosLen, c);
    store(a + n / 2, conjugate(load<One>(a + n / 2)));
}

} // namespace

void realFft64f(int32_t n, int32_t sign, double* a, int32_t* fftTable, const double* fftTwiddles) {
    const int32_t twiddleLen = fftTable[0];
    const int32_t cosLen = fftTable[1];
    const double* const cosines = fftTwiddles + twiddleLen;
    if (sign < 0) {
        if (n > 4) {
            bitReverse64f(n, fftTable + 2, a);
            if (n >= FUSE) {
                if (4 * stages(n, a, fftTwiddles) == n) {
                    lastStageAndPost<4>(n, a, cosLen, cosines);
                } else {
                    lastStageAndPost<2>(n, a, cosLen, cosines);
                }
            } else {
                cplxFwd64f(n, a, fftTwiddles);
                realFwdPost64f(n, a, cosLen, cosines);
            }
        } else if (n == 4) {
            cplxFwd64f(4, a, fftTwiddles);
        }
        store(a, One{a[0] + a[1], a[0] - a[1]});
    } else {
        const double highest = 0.5 * (a[0] - a[1]);
        store(a, One{a[0] - highest, highest});
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
