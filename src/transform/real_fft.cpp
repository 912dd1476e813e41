// A real transform of n points as a complex one of n/2: the elements are brought into bit-reversed
// order, go through radix-4 stages and at most one radix-2 stage, and a last step separates the
// spectrum of the even samples from that of the odd ones. The inverse goes the same way on the
// conjugate spectrum, with the separating step first.
// Source: Sorensen, Jones, Heideman and Burrus 1987, Real-valued fast Fourier transform algorithms.
// Departs from the textbook in the sign of the exponent, which is positive in the forward direction:
// spectra are conjugate to the usual ones, and the inverse lacks a factor 2/n.
//
// Every butterfly and every pair of mirror bins is computed by its own formula, whatever stands
// beside it in a register: bits do not depend on the width.
#include "real_fft.h"

#include "complex_lanes.h"

#include <array>
#include <bit>

namespace merlo {
namespace {

using namespace complex;
using complex::timesI; // beside the one for parts apart

// Up to this length the passes follow one another so closely that a wide load would have to wait for
// the narrow stores before it.
constexpr int32_t kNarrow = 32;

// Complex numbers, or factors, with the real and the imaginary parts in a vector of their own.
template <class V>
struct Apart {
    V re, im;

    Apart operator+(Apart z) const { return {re + z.re, im + z.im}; }
    Apart operator-(Apart z) const { return {re - z.re, im - z.im}; }
    Apart operator*(Apart z) const { return {re * z.re - im * z.im, re * z.im + im * z.re}; }
};

template <class V>
inline Apart<V> timesI(Apart<V> z) {
    return {-z.im, z.re};
}

// What a radix-4 butterfly takes and gives, and the factors of a block: t2 = t1^2, t3 = t1^3.
template <class Z>
struct Quad {
    Z a0, a1, a2, a3;
};

template <class T>
struct Factors {
    T t1, t2, t3;
};

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
template <class V>
inline Quad<V> butterflyOne(const Quad<V>& a) {
    const auto [s0, s1, s2, s3] = crossSums(a);
    const V turned = timesI(s3);
    return {s0 + s2, s1 + turned, s0 - s2, s1 - turned};
}

// Block 1: factors (1 + i) r, i, (-1 + i) r with r = cos(pi/4).
template <class V>
inline Quad<V> butterflyEighth(const Quad<V>& a, double r) {
    const auto [s0, s1, s2, s3] = crossSums(a);
    const V turned = timesI(s3);
    const V z1 = s1 + turned;
    const V z3 = s1 - turned;
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

// As many rows as a row has lanes.
template <class V>
inline void transpose(V* rows) {
    if constexpr (kLanes<V> == 2) {
        const V a = rows[0];
        const V b = rows[1];
        rows[0] = __builtin_shufflevector(a, b, 0, 2);
        rows[1] = __builtin_shufflevector(a, b, 1, 3);
    } else {
        const V a = __builtin_shufflevector(rows[0], rows[1], 0, 4, 2, 6);
        const V b = __builtin_shufflevector(rows[0], rows[1], 1, 5, 3, 7);
        const V c = __builtin_shufflevector(rows[2], rows[3], 0, 4, 2, 6);
        const V d = __builtin_shufflevector(rows[2], rows[3], 1, 5, 3, 7);
        rows[0] = __builtin_shufflevector(a, c, 0, 1, 4, 5);
        rows[1] = __builtin_shufflevector(b, d, 0, 1, 4, 5);
        rows[2] = __builtin_shufflevector(a, c, 2, 3, 6, 7);
        rows[3] = __builtin_shufflevector(b, d, 2, 3, 6, 7);
    }
}

// Consecutive numbers, a lane each.
template <class V>
inline Apart<V> loadApart(const double* from) {
    const V low = load<V>(from);
    const V high = load<V>(from + kLanes<V>);
    if constexpr (kLanes<V> == 2) {
        return {__builtin_shufflevector(low, high, 0, 2), __builtin_shufflevector(low, high, 1, 3)};
    } else {
        return {__builtin_shufflevector(low, high, 0, 2, 4, 6),
                __builtin_shufflevector(low, high, 1, 3, 5, 7)};
    }
}

// The factors of the blocks b, b + 1, ..., a lane each; b is even. Block 2q has t2 = W(q), the block
// after it i W(q).
template <class V>
inline Factors<Apart<V>> factorsAcross(const double* w, int32_t b) {
    const V half = load<V>(w + b);
    const Apart<V> t1 = loadApart<V>(w + 2 * b);
    const Apart<V> t2{conjugate(half), swapParts(half)};
    const V twice = 2.0 * t2.im;
    return {t1, t2, {t1.re - twice * t1.im, twice * t1.re - t1.im}};
}

// The factors of block b for butterflies side by side.
template <class V>
inline Factors<Factor<V>> factorsOf(const double* w, int32_t b) {
    const One half = load<One>(w + (b & ~1));
    const One t1 = load<One>(w + 2 * b);
    const One t2 = b % 2 == 0 ? half : timesI(half);
    const One twice = 2.0 * imagParts(t2);
    const One t3 = conjugate(t1) + negateReal(twice * swapParts(t1));
    return {Factor<V>(repeat<V>(t1)), Factor<V>(repeat<V>(t2)), Factor<V>(repeat<V>(t3))};
}

// The blocks b, b + 1, ... of stride 2, a lane each; b is even and not 0.
template <class V>
inline void firstStageBlocks(double* a, const double* w, int32_t b) {
    constexpr int32_t lanes = kLanes<V>;
    double* const block = a + 8 * b;
    V part[8]; // part i of every block
    for (int32_t i = 0; i < 8; i += lanes) {
        for (int32_t lane = 0; lane < lanes; ++lane) {
            part[i + lane] = load<V>(block + 8 * lane + i);
        }
        transpose(part + i);
    }
    const auto [a0, a1, a2, a3] = butterfly<Apart<V>>(
        {{part[0], part[1]}, {part[2], part[3]}, {part[4], part[5]}, {part[6], part[7]}},
        factorsAcross<V>(w, b));
    V result[8] = {a0.re, a0.im, a1.re, a1.im, a2.re, a2.im, a3.re, a3.im};
    for (int32_t i = 0; i < 8; i += lanes) {
        transpose(result + i);
        for (int32_t lane = 0; lane < lanes; ++lane) {
            store(block + 8 * lane + i, result[i + lane]);
        }
    }
}

// The radix-4 stage of stride 2, where a block is a single butterfly: blocks run side by side.
// n >= 16.
void firstStage64f(int32_t n, double* a, const double* w) {
    storeQuad(a, 2, butterflyOne(loadQuad<One>(a, 2)));
    storeQuad(a + 8, 2, butterflyEighth(loadQuad<One>(a + 8, 2), w[2]));
    if (n > 16) {
        firstStageBlocks<One>(a, w, 2);
    }
    for (int32_t b = 4; 8 * b < n; b += kLanes<Wide>) {
        firstStageBlocks<Wide>(a, w, b);
    }
}

// A radix-4 stage of stride l, in floats, with n / (4 l) blocks: butterflies run side by side.
// l >= 8, n >= 8 l.
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
        const Factors<Factor<Wide>> t = factorsOf<Wide>(w, b);
        for (int32_t j = 0; j < l; j += step) {
            storeQuad(a + j, l, butterfly(loadQuad<Wide>(a + j, l), t));
        }
    }
}

// All stages but the last, n >= 16. Returns the stride of the last, n/4 or n/2.
inline int32_t stagesBeforeLast(int32_t n, double* a, const double* w) {
    firstStage64f(n, a, w);
    int32_t l = 8;
    for (; 4 * l < n; l *= 4) {
        middleStage64f(n, l, a, w);
    }
    return l;
}

// One butterfly of the last stage, whose factors are all 1, in place in registers.
template <int32_t radix, class V>
inline void lastButterfly(V (&z)[radix]) {
    if constexpr (radix == 2) {
        const V difference = z[0] - z[1];
        z[0] = z[0] + z[1];
        z[1] = difference;
    } else {
        const auto [a0, a1, a2, a3] = butterflyOne<V>({z[0], z[1], z[2], z[3]});
        z[0] = a0;
        z[1] = a1;
        z[2] = a2;
        z[3] = a3;
    }
}

template <int32_t radix, class V>
inline void loadColumn(V (&z)[radix], const double* a, int32_t l) {
    for (int32_t i = 0; i < radix; ++i) {
        z[i] = load<V>(a + i * l);
    }
}

template <int32_t radix, class V>
inline void storeColumn(double* a, int32_t l, const V (&z)[radix]) {
    for (int32_t i = 0; i < radix; ++i) {
        store(a + i * l, z[i]);
    }
}

template <int32_t radix, bool conjugated, class V>
inline void lastStage(int32_t l, double* a) {
    for (int32_t j = 0; j < l; j += kLanes<V>) {
        V z[radix];
        loadColumn(z, a + j, l);
        lastButterfly(z);
        if constexpr (conjugated) {
            for (V& element : z) {
                element = conjugate(element);
            }
        }
        storeColumn(a + j, l, z);
    }
}

template <bool conjugated, class V>
inline void lastStage(int32_t n, int32_t l, double* a) {
    if (4 * l == n) {
        lastStage<4, conjugated, V>(l, a);
    } else {
        lastStage<2, conjugated, V>(l, a);
    }
}

// From bit-reversed to natural order; the inverse direction wants the result conjugated.
template <bool conjugated>
inline void cplxTransform(int32_t n, double* a, const double* w) {
    const int32_t l = n > 8 ? stagesBeforeLast(n, a, w) : 2;
    if (n <= kNarrow) {
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

// The swaps of a length, as positions of the pairs in floats; n <= 256.
template <int32_t n>
constexpr auto swapsOf() {
    constexpr int32_t bits = std::countr_zero(static_cast<uint32_t>(n / 2));
    constexpr int32_t unmoved = 1 << (bits + 1) / 2;
    std::array<std::array<uint8_t, 2>, (n / 2 - unmoved) / 2> swaps{};
    auto* swap = swaps.data();
    for (int32_t j = 0; j < n / 2; ++j) {
        int32_t k = 0;
        for (int32_t bit = 0; bit < bits; ++bit) {
            k = 2 * k + (j >> bit) % 2;
        }
        if (j < k) {
            *swap++ = {static_cast<uint8_t>(2 * j), static_cast<uint8_t>(2 * k)};
        }
    }
    return swaps;
}

template <int32_t n>
constexpr auto kSwaps = swapsOf<n>();

template <int32_t n>
inline void bitReverseShort(double* a) {
#pragma GCC unroll 8
    for (const auto& [j, k] : kSwaps<n>) {
        swapPairs(a, j, k);
    }
}

// Brings the n/2 complex elements into bit-reversed order by swaps; n >= 8. For a short length the
// swaps are known beforehand. For others, `work` becomes the table of the reversed upper bits.
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

// Values of the cosine area, one per complex number: c[0], c[0], c[step], c[step].
template <class V>
inline V cosines(const double* c, int32_t step) {
    if constexpr (kLanes<V> == 2) {
        return V{c[0], c[0]};
    } else {
        return V{c[0], c[0], c[step], c[step]};
    }
}

// How far the cosines of neighbouring elements are apart, 2 cosLen / (n/2), without the division.
inline int32_t cosineStep(int32_t n, int32_t cosLen) {
    return 4 * cosLen >> std::countr_zero(static_cast<uint32_t>(n));
}

// Bins and their mirror images, from the transform of the even samples plus i times the odd ones.
template <class V>
inline void separate(V& near, V& far, V wr, V wi) {
    const V y = Factor<V>(wr, wi) * (near - conjugate(far));
    near = near - y;
    far = far + conjugate(y);
}

// The other way round, and conjugated.
template <class V>
inline void join(V& near, V& far, V wr, V wi) {
    const V y = Factor<V>(wr, -wi) * (near - conjugate(far));
    near = conjugate(near) - conjugate(y);
    far = conjugate(far) + y;
}

// Separates or joins the elements j = 2, 4, .. n/2 - 2 and their mirror images n - j.
template <bool inverse>
inline void realStep(int32_t n, double* a, int32_t cosLen, const double* c) {
    const int32_t h = n / 2;
    const int32_t ks = cosineStep(n, cosLen);
    const auto sideBySide = [=](int32_t j, auto lanes) {
        using V = decltype(lanes);
        const int32_t kk = j / 2 * ks;
        double* const up = a + j;
        double* const down = a + n - j + (2 - kLanes<V>);
        V near = load<V>(up);
        V far = lastFirst(load<V>(down));
        const V wr = 0.5 - cosines<V>(c + cosLen - kk, -ks);
        const V wi = cosines<V>(c + kk, ks);
        if constexpr (inverse) {
            join(near, far, wr, wi);
        } else {
            separate(near, far, wr, wi);
        }
        store(up, near);
        store(down, lastFirst(far));
    };
    int32_t j = 2;
    for (; n > kNarrow && j + kLanes<Wide> <= h; j += kLanes<Wide>) {
        sideBySide(j, Wide{});
    }
    for (; j < h; j += kLanes<One>) {
        sideBySide(j, One{});
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

// The last stage of cplxFwd64f and realFwdPost64f in one pass, n >= 16. The mirror images of column
// j, which is the elements j, j + l, ..., are those of column l - j, upside down; the columns 0 and
// l/2 mirror themselves. A stride in the cosine area is `s` long.
template <int32_t radix>
inline void lastStageAndPost(int32_t n, double* a, int32_t cosLen, const double* c) {
    constexpr int32_t pairs = radix / 2;
    const int32_t l = n / radix;
    const int32_t s = cosLen / pairs;

    One z[radix];
    loadColumn(z, a, l);
    lastButterfly(z);
    if constexpr (radix == 4) {
        const One w = cosines<One>(c + s, 0);
        separate(z[1], z[3], 0.5 - w, w);
    }
    storeColumn(a, l, z);

    loadColumn(z, a + l / 2, l);
    lastButterfly(z);
    for (int32_t i = 0; i < pairs; ++i) {
        const One wr = 0.5 - cosines<One>(c + (pairs - i) * s - s / 2, 0);
        separate(z[i], z[radix - 1 - i], wr, cosines<One>(c + i * s + s / 2, 0));
    }
    storeColumn(a + l / 2, l, z);

    const int32_t ks = cosineStep(n, cosLen);
    const auto sideBySide = [=](int32_t j, auto lanes) {
        using V = decltype(lanes);
        const int32_t kk = j / 2 * ks;
        double* const up = a + j;
        double* const down = a + l - j + (2 - kLanes<V>);
        V near[radix];
        V far[radix];
        loadColumn(near, up, l);
        loadColumn(far, down, l);
        lastButterfly(near);
        lastButterfly(far);
        for (V& element : far) {
            element = lastFirst(element);
        }
        for (int32_t i = 0; i < pairs; ++i) {
            const V rising = cosines<V>(c + i * s + kk, ks);
            const V falling = cosines<V>(c + (pairs - i) * s - kk, -ks);
            separate(near[i], far[radix - 1 - i], 0.5 - falling, rising);
            separate(far[pairs - 1 - i], near[pairs + i], 0.5 - rising, falling);
        }
        for (V& element : far) {
            element = lastFirst(element);
        }
        storeColumn(up, l, near);
        storeColumn(down, l, far);
    };
    int32_t j = 2;
    for (; j + kLanes<Wide> <= l / 2; j += kLanes<Wide>) {
        sideBySide(j, Wide{});
    }
    for (; j < l / 2; j += kLanes<One>) {
        sideBySide(j, One{});
    }
}

} // namespace

void realFft64f(int32_t n, int32_t sign, double* a, int32_t* fftTable, const double* fftTwiddles) {
    const int32_t cosLen = fftTable[1];
    const double* const w = fftTwiddles;
    const double* const c = fftTwiddles + fftTable[0];
    if (sign < 0) {
        if (n > 8) {
            bitReverse64f(n, fftTable + 2, a);
            if (4 * stagesBeforeLast(n, a, w) == n) {
                lastStageAndPost<4>(n, a, cosLen, c);
            } else {
                lastStageAndPost<2>(n, a, cosLen, c);
            }
        } else if (n == 8) {
            bitReverse64f(n, fftTable + 2, a);
            cplxFwd64f(n, a, w);
            realFwdPost64f(n, a, cosLen, c);
        } else if (n == 4) {
            cplxFwd64f(n, a, w);
        }
        store(a, One{a[0] + a[1], a[0] - a[1]});
    } else {
        const double highest = 0.5 * (a[0] - a[1]);
        store(a, One{a[0] - highest, highest});
        if (n > 4) {
            realBwdPre64f(n, a, cosLen, c);
            bitReverse64f(n, fftTable + 2, a);
            cplxBwd64f(n, a, w);
        } else if (n == 4) {
            cplxFwd64f(n, a, w);
        }
    }
}

} // namespace merlo
