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
#include <type_traits>

namespace merlo {
namespace {

using namespace complex;
using complex::conjugate; // beside those for parts apart
using complex::timesI;

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

template <class V>
inline Apart<V> conjugate(Apart<V> z) {
    return {z.re, -z.im};
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
    return {loadWhole<V>(a), loadWhole<V>(a + l), loadWhole<V>(a + 2 * l), loadWhole<V>(a + 3 * l)};
}

template <class V>
inline void storeQuad(double* a, int32_t l, const Quad<V>& quad) {
    store(quad.a0, a);
    store(quad.a1, a + l);
    store(quad.a2, a + 2 * l);
    store(quad.a3, a + 3 * l);
}

// Consecutive numbers, a lane each.
template <class V>
inline Apart<V> loadApart(const double* from) {
    const V low = loadWhole<V>(from);
    const V high = loadWhole<V>(from + kLanesOf<V>);
    if constexpr (kLanesOf<V> == 2) {
        return {evens(low, high), odds(low, high)};
    } else {
        return {__builtin_shufflevector(low, high, 0, 2, 4, 6),
                __builtin_shufflevector(low, high, 1, 3, 5, 7)};
    }
}

// The factors of block b for butterflies side by side.
template <class V>
inline Factors<Factor<V>> factorsOf(const double* w, int32_t b) {
    const One half = loadWhole<One>(w + (b & ~1));
    const One t1 = loadWhole<One>(w + 2 * b);
    const One t2 = b % 2 == 0 ? half : timesI(half);
    const One twice = 2.0 * odds(t2, t2);
    const One t3 = conjugate(t1) + negateReal(twice * swapParts(t1));
    return {Factor<V>(repeat<V>(t1)), Factor<V>(repeat<V>(t2)), Factor<V>(repeat<V>(t3))};
}

// Neighbouring elements of the blocks from `block` on, a lane for each block: as many as make the
// rows of a square.
template <class V>
inline void loadAcross(Apart<V>* z, const double* block) {
    V rows[kLanesOf<V>];
    for (int32_t lane = 0; lane < kLanesOf<V>; ++lane) {
        rows[lane] = loadWhole<V>(block + 8 * lane);
    }
    transpose(rows);
    for (int32_t i = 0; i < kLanesOf<V> / 2; ++i) {
        z[i] = {rows[2 * i], rows[2 * i + 1]};
    }
}

template <class V>
inline void storeAcross(const Apart<V>* z, double* block) {
    V rows[kLanesOf<V>];
    for (int32_t i = 0; i < kLanesOf<V> / 2; ++i) {
        rows[2 * i] = z[i].re;
        rows[2 * i + 1] = z[i].im;
    }
    transpose(rows);
#pragma GCC unroll 4
    for (int32_t lane = 0; lane < kLanesOf<V>; ++lane) {
        store(rows[lane], block + 8 * lane);
    }
}

// The blocks b, b + 1, ... of stride 2, a lane each; b is even and not 0. Block 2q has t2 = W(q), the
// block after it i W(q). Factors are formed when they are needed and results leave at once: 16
// registers suffice then.
template <class V>
inline void firstStageBlocks(double* a, const double* w, int32_t b) {
    constexpr int32_t kTogether = kLanesOf<V> / 2;
    double* const block = a + 8 * b;
    Apart<V> z[4];
    for (int32_t i = 0; i < 4; i += kTogether) {
        loadAcross(z + i, block + 2 * i);
    }
    const auto finish = [&](int32_t i, const Apart<V>& result) {
        z[i] = result;
        if constexpr (kTogether == 1) {
            storeAcross(z + i, block + 2 * i);
        }
    };
    const auto [s0, s1, s2, s3] = crossSums<Apart<V>>({z[0], z[1], z[2], z[3]});
    finish(0, s0 + s2);
    const V half = loadWhole<V>(w + b);
    const Apart<V> t2{conjugate(half), swapParts(half)};
    finish(2, t2 * (s0 - s2));
    const Apart<V> t1 = loadApart<V>(w + 2 * b);
    finish(1, t1 * (s1 + timesI(s3)));
    const V twice = 2.0 * t2.im;
    const Apart<V> t3{t1.re - twice * t1.im, twice * t1.re - t1.im};
    finish(3, t3 * (s1 - timesI(s3)));
    if constexpr (kTogether == 2) {
        storeAcross(z, block);
        storeAcross(z + 2, block + 4);
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
    for (int32_t b = 4; 8 * b < n; b += kLanes) {
        firstStageBlocks<Wide>(a, w, b);
    }
}

// A radix-4 stage of stride l, in floats, with n / (4 l) blocks: butterflies run side by side.
// l >= 8, n >= 8 l.
void middleStage64f(int32_t n, int32_t l, double* a, const double* w) {
    constexpr int32_t step = kLanes;
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

// Two numbers at once for the real step: with parts apart, where a register holds but one of them.
using Two = std::conditional_t<kLanes == 2, Apart<One>, Wide>;

// The number at `a` or the two at a and a + step, where step is 2 or -2.
template <class Z>
inline Z loadFrom(const double* a, int32_t step) {
    if constexpr (std::is_same_v<Z, One>) {
        return loadWhole<One>(a);
    } else if constexpr (std::is_same_v<Z, Wide>) {
        return step > 0 ? loadWhole<Z>(a) : lastFirst(loadWhole<Z>(a + step));
    } else {
        const One first = loadWhole<One>(a);
        const One second = loadWhole<One>(a + step);
        return {evens(first, second), odds(first, second)};
    }
}

template <class Z>
inline void storeFrom(const Z& z, double* a, int32_t step) {
    if constexpr (std::is_same_v<Z, One>) {
        store(z, a);
    } else if constexpr (std::is_same_v<Z, Wide>) {
        step > 0 ? store(z, a) : store(lastFirst(z), a + step);
    } else {
        store(evens(z.re, z.im), a);
        store(odds(z.re, z.im), a + step);
    }
}

// One butterfly of the last stage, whose factors are all 1, in place in registers.
template <int32_t radix, class Z>
inline void lastButterfly(Z (&z)[radix]) {
    if constexpr (radix == 2) {
        const Z difference = z[0] - z[1];
        z[0] = z[0] + z[1];
        z[1] = difference;
    } else {
        const auto [a0, a1, a2, a3] = butterflyOne<Z>({z[0], z[1], z[2], z[3]});
        z[0] = a0;
        z[1] = a1;
        z[2] = a2;
        z[3] = a3;
    }
}

template <int32_t radix, class Z>
inline void loadColumn(Z (&z)[radix], const double* a, int32_t l, int32_t step) {
    for (int32_t i = 0; i < radix; ++i) {
        z[i] = loadFrom<Z>(a + i * l, step);
    }
}

template <int32_t radix, class Z>
inline void storeColumn(const Z (&z)[radix], double* a, int32_t l, int32_t step) {
    for (int32_t i = 0; i < radix; ++i) {
        storeFrom(z[i], a + i * l, step);
    }
}

template <int32_t radix, bool conjugated, class V>
inline void lastStage(int32_t l, double* a) {
    for (int32_t j = 0; j < l; j += kLanesOf<V>) {
        V z[radix];
        loadColumn(z, a + j, l, 2);
        lastButterfly(z);
        if constexpr (conjugated) {
            for (V& element : z) {
                element = conjugate(element);
            }
        }
        storeColumn(z, a + j, l, 2);
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

inline void swapPairs(double* p, double* q) {
    const One at = loadWhole<One>(p);
    store(loadWhole<One>(q), p);
    store(at, q);
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
#pragma GCC unroll 32
    for (const auto& [j, k] : kSwaps<n>) {
        swapPairs(a + j, a + k);
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
    const bool odd = 8 * m == l;
    const int64_t m2 = 2 * m;
    for (int32_t k = 0; k < m; ++k) {
        double* const p = a + work[k];
        double* const q = a + 2 * k;
        for (int32_t j = 0; j < k; ++j) {
            double* const pj = p + 2 * j;
            double* const qj = q + work[j];
            swapPairs(pj, qj);
            if (odd) {
                swapPairs(pj + m2, qj + 2 * m2);
                swapPairs(pj + 2 * m2, qj + m2);
                swapPairs(pj + 3 * m2, qj + 3 * m2);
            } else {
                swapPairs(pj + m2, qj + m2);
            }
        }
        if (odd) {
            swapPairs(p + 2 * k + m2, p + 2 * k + 2 * m2);
        }
    }
}

// Values of the cosine area, one per number: c[0] and c[step], for as many lanes as it takes.
template <class Z>
inline auto cosines(const double* c, int32_t step) {
    if constexpr (std::is_same_v<Z, One>) {
        return One{c[0], c[0]};
    } else if constexpr (std::is_same_v<Z, Wide>) {
        return Z{c[0], c[0], c[step], c[step]};
    } else {
        return One{c[0], c[step]};
    }
}

template <class V>
inline Factor<V> weight(V /*of*/, V re, V im) {
    return {re, im};
}

template <class V>
inline Apart<V> weight(Apart<V> /*of*/, V re, V im) {
    return {re, im};
}

// How far the cosines of neighbouring elements are apart, 2 cosLen / (n/2), without the division.
inline int32_t cosineStep(int32_t n, int32_t cosLen) {
    return 4 * cosLen >> std::countr_zero(static_cast<uint32_t>(n));
}

// Bins and their mirror images, from the transform of the even samples plus i times the odd ones.
template <class Z, class V>
inline void separate(Z& near, Z& far, V wr, V wi) {
    const Z y = weight(near, wr, wi) * (near - conjugate(far));
    near = near - y;
    far = far + conjugate(y);
}

// The other way round, and conjugated.
template <class Z, class V>
inline void join(Z& near, Z& far, V wr, V wi) {
    const Z y = weight(near, wr, -wi) * (near - conjugate(far));
    near = conjugate(near) - conjugate(y);
    far = conjugate(far) + y;
}

// Separates or joins the elements j = 2, 4, .. n/2 - 2 and their mirror images n - j.
template <bool inverse>
inline void realStep(int32_t n, double* a, int32_t cosLen, const double* c) {
    const int32_t h = n / 2;
    const int32_t ks = cosineStep(n, cosLen);
    const auto sideBySide = [=](int32_t j, auto lanes) {
        using Z = decltype(lanes);
        const int32_t kk = j / 2 * ks;
        double* const up = a + j;
        double* const down = a + n - j;
        Z near = loadFrom<Z>(up, 2);
        Z far = loadFrom<Z>(down, -2);
        const auto wr = 0.5 - cosines<Z>(c + cosLen - kk, -ks);
        const auto wi = cosines<Z>(c + kk, ks);
        if constexpr (inverse) {
            join(near, far, wr, wi);
        } else {
            separate(near, far, wr, wi);
        }
        storeFrom(near, up, 2);
        storeFrom(far, down, -2);
    };
    int32_t j = 2;
    for (; n > kNarrow && j + 4 <= h; j += 4) {
        sideBySide(j, Two{});
    }
    for (; j < h; j += 2) {
        sideBySide(j, One{});
    }
}

void realFwdPost64f(int32_t n, double* a, int32_t cosLen, const double* c) {
    realStep<false>(n, a, cosLen, c);
}

void realBwdPre64f(int32_t n, double* a, int32_t cosLen, const double* c) {
    store(conjugate(loadWhole<One>(a)), a);
    realStep<true>(n, a, cosLen, c);
    store(conjugate(loadWhole<One>(a + n / 2)), a + n / 2);
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
    loadColumn(z, a, l, 2);
    lastButterfly(z);
    if constexpr (radix == 4) {
        const One w = cosines<One>(c + s, 0);
        separate(z[1], z[3], 0.5 - w, w);
    }
    storeColumn(z, a, l, 2);

    loadColumn(z, a + l / 2, l, 2);
    lastButterfly(z);
    for (int32_t i = 0; i < pairs; ++i) {
        const One wr = 0.5 - cosines<One>(c + (pairs - i) * s - s / 2, 0);
        separate(z[i], z[radix - 1 - i], wr, cosines<One>(c + i * s + s / 2, 0));
    }
    storeColumn(z, a + l / 2, l, 2);

    const int32_t ks = cosineStep(n, cosLen);
    const auto sideBySide = [=](int32_t j, auto lanes) {
        using Z = decltype(lanes);
        const int32_t kk = j / 2 * ks;
        Z near[radix];
        Z far[radix];
        loadColumn(near, a + j, l, 2);
        lastButterfly(near);
        loadColumn(far, a + l - j, l, -2);
        lastButterfly(far);
        for (int32_t i = 0; i < pairs; ++i) {
            const auto rising = cosines<Z>(c + i * s + kk, ks);
            const auto falling = cosines<Z>(c + (pairs - i) * s - kk, -ks);
            separate(near[i], far[radix - 1 - i], 0.5 - falling, rising);
            separate(far[pairs - 1 - i], near[pairs + i], 0.5 - rising, falling);
        }
        storeColumn(near, a + j, l, 2);
        storeColumn(far, a + l - j, l, -2);
    };
    int32_t j = 2;
    for (; j + 4 <= l / 2; j += 4) {
        sideBySide(j, Two{});
    }
    for (; j < l / 2; j += 2) {
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
        store(One{a[0] + a[1], a[0] - a[1]}, a);
    } else {
        const double highest = 0.5 * (a[0] - a[1]);
        store(One{a[0] - highest, highest}, a);
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
