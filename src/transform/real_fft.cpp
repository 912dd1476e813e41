// Real transform of n points as a complex one of n/2: bit-reversed order, radix-4 stages, at most one
// radix-2 stage, and a last step that separates the spectra of the even and the odd samples. The inverse
// transforms the conjugate spectrum in the same way, with the separating step first.
// Source: Sorensen, Jones, Heideman and Burrus 1987, Real-valued fast Fourier transform algorithms.
// Departs from the textbook in the sign of the exponent, which is positive in the forward direction:
// spectra are conjugate to the usual ones. The inverse lacks a factor 2/n.
//
// Every butterfly and every pair of mirror bins is computed by its own formula, in any lane, so the bits
// do not depend on the number of lanes.
#include "transform/real_fft.h"

#include "transform/bit_reversal.h"
#include "transform/butterflies.h"
#include "transform/complex_lanes.h"

#include <bit>
#include <type_traits>

namespace merlo {
namespace {

using namespace complex;

// Up to this length a pass follows so soon on the previous one that a wide load would wait for the
// narrow stores before it.
constexpr int32_t kNarrow = 32; // speed only: both widths give the same bits

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

// Consecutive complex numbers, one per lane.
template <class V>
inline SplitComplex<V> loadSplit(const double* from) {
    const V low = loadWhole<V>(from);
    const V high = loadWhole<V>(from + kLanesOf<V>);
    return {shuffle<evenLanes, V>(low, high), shuffle<oddLanes, V>(low, high)};
}

// Consecutive elements of consecutive blocks, one lane per block: as many as fill a square of lanes.
template <class V>
inline void loadAcross(SplitComplex<V>* z, const double* block) {
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
inline void storeAcross(const SplitComplex<V>* z, double* block) {
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

// The blocks b, b + 1, ... of stride 2, one per lane; b is even and not 0. Block 2q has t2 = W(q), block
// 2q + 1 has i W(q). Factors are computed where they are needed and results stored at once, so that 16
// registers suffice.
template <class V>
inline void firstStageBlocks(double* a, const double* w, int32_t b) {
    constexpr int32_t kTogether = kLanesOf<V> / 2;
    double* const block = a + 8 * b;
    SplitComplex<V> z[4];
    for (int32_t i = 0; i < 4; i += kTogether) {
        loadAcross(z + i, block + 2 * i);
    }
    const auto finish = [&](int32_t i, const SplitComplex<V>& result) {
        z[i] = result;
        if constexpr (kTogether == 1) {
            storeAcross(z + i, block + 2 * i);
        }
    };
    const auto [s0, s1, s2, s3] = crossSums<SplitComplex<V>>({z[0], z[1], z[2], z[3]});
    finish(0, s0 + s2);
    const V half = loadWhole<V>(w + b);
    const SplitComplex<V> t2{conjugate(half), swapParts(half)};
    finish(2, t2 * (s0 - s2));
    const SplitComplex<V> t1 = loadSplit<V>(w + 2 * b);
    finish(1, t1 * (s1 + timesI(s3)));
    const V twice = 2.0 * t2.im;
    const SplitComplex<V> t3{t1.re - twice * t1.im, twice * t1.re - t1.im};
    finish(3, t3 * (s1 - timesI(s3)));
    if constexpr (kTogether == 2) {
        storeAcross(z, block);
        storeAcross(z + 2, block + 4);
    }
}

// The radix-4 stage of stride 2, where a block is a single butterfly: one block per lane. n >= 16.
void firstStage64f(int32_t n, double* a, const double* w) {
    storeQuad(a, 2, butterflyOne(loadQuad<One>(a, 2)));
    storeQuad(a + 8, 2, butterflyEighth(loadQuad<One>(a + 8, 2), w[2]));
    if (n > 16) {
        firstStageBlocks<One>(a, w, 2);
    }
    for (int32_t b = 4; 8 * b < n; b += kLanesOf<Wide>) {
        firstStageBlocks<Wide>(a, w, b);
    }
}

// A radix-4 stage of stride l, in doubles, with n / (4 l) blocks: one butterfly per lane or pair of
// lanes. l >= 8, n >= 8 l.
void middleStage64f(int32_t n, int32_t l, double* a, const double* w) {
    constexpr int32_t step = kLanesOf<Wide>;
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
        const auto [t1, t2, t3] = twiddlesOf(w, b);
        const Twiddles<Factor<Wide>> t{factorOf<Wide>(t1), factorOf<Wide>(t2), factorOf<Wide>(t3)};
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

// Two complex numbers for the real step: split where a register holds only one.
using Two = std::conditional_t<kLanesOf<Wide> == 2, SplitComplex<One>, Wide>;

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

// One butterfly of the last stage, whose factors are all 1, in place.
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

// From bit-reversed to natural order, with a conjugated result for the inverse direction.
template <bool conjugated>
inline void cplxTransform(int32_t n, double* a, const double* w) {
    const int32_t l = n > 8 ? stagesBeforeLast(n, a, w) : 2;
    if (n <= kNarrow) { // speed only: as at kNarrow
        lastStage<conjugated, One>(n, l, a);
    } else {
        lastStage<conjugated, Wide>(n, l, a);
    }
}

void cplxFwd64f(int32_t n, double* a, const double* w) { cplxTransform<false>(n, a, w); }

void cplxBwd64f(int32_t n, double* a, const double* w) { cplxTransform<true>(n, a, w); }

// Values of the cosine area, one per complex number: c[0] and c[step].
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

// Separates or joins the elements j = 2, 4, .. n/2 - 2 and their mirror images n - j.
template <bool inverse>
inline void realStep(int32_t n, double* a, int32_t cosLen, const double* c) {
    const int32_t h = n / 2;
    const int32_t ks = cosineStep(n, cosLen);
    const auto mirrorPairs = [=](int32_t j, auto lanes) {
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
    for (; n > kNarrow && j + 4 <= h; j += 4) { // speed only: as at kNarrow
        mirrorPairs(j, Two{});
    }
    for (; j < h; j += 2) {
        mirrorPairs(j, One{});
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

// The last stage of cplxFwd64f and realFwdPost64f in one pass, n >= 16. The mirror images of column j,
// the elements j, j + l, ..., are those of column l - j in reverse order. The columns 0 and l/2 are
// their own mirror images. Stride l corresponds to `s` elements of the cosine area.
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
    const auto mirrorPairs = [=](int32_t j, auto lanes) {
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
    for (; j + 4 <= l / 2; j += 4) { // speed only: as at kNarrow
        mirrorPairs(j, Two{});
    }
    for (; j < l / 2; j += 2) {
        mirrorPairs(j, One{});
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
            bitReverseShort<8>(a);
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
