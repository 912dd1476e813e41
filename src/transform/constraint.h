// The constraint of several partitions at once, one per lane: back to the time domain, the first `order`
// taps scaled and the rest zeroed, and forward again. Every partition is computed by the formulas of
// real_fft.cpp, number by number, so its bits are the same. The spectra are read and written in square
// tiles, which a transposition turns into vectors with one partition per lane.
//
// A partition of 64 points takes 57 ns with four lanes and 119 with two, where single transforms take 107
// and 129 (gcc 12, Zen 5).
#pragma once

#include "frame/kernels.h"
#include "frame/lanes.h"
#include "transform/butterflies.h"
#include "transform/complex_lanes.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace merlo {

// speed only: points; two arrays of so many vectors on the stack
constexpr int32_t kLongestBatch = 256;

namespace batch {

using namespace complex;

// As wide as an address: clang 14 extends a narrower index at every access.
using Index = std::ptrdiff_t;

// ---- Complex numbers in an array of vectors: element k is a[2k], a[2k+1].

template <class V>
inline SplitComplex<V> at(const V* a, Index k) {
    return {a[2 * k], a[2 * k + 1]};
}

template <class V>
inline void put(V* a, Index k, SplitComplex<V> z) {
    a[2 * k] = z.re;
    a[2 * k + 1] = z.im;
}

template <class V>
inline void putQuad(V* a, Index k, Index l, const Quad<SplitComplex<V>>& quad) {
    put(a, k, quad.a0);
    put(a, k + l, quad.a1);
    put(a, k + 2 * l, quad.a2);
    put(a, k + 3 * l, quad.a3);
}

// ---- Tiles: kLanes / 2 consecutive numbers of kLanes spectra, which lie `stride` doubles apart.

template <class V>
struct Tile {
    static constexpr int32_t kNumbers = kLanesOf<V> / 2;

    V rows[kLanesOf<V>];

    SplitComplex<V> operator[](int32_t i) const { return {rows[2 * i], rows[2 * i + 1]}; }
    void set(int32_t i, SplitComplex<V> z) {
        rows[2 * i] = z.re;
        rows[2 * i + 1] = z.im;
    }
};

template <class V>
[[gnu::always_inline]] inline Tile<V> loadTile(const double* spectra, int32_t stride) {
    Tile<V> tile;
    for (int32_t lane = 0; lane < kLanesOf<V>; ++lane) {
        tile.rows[lane] = loadWhole<V>(spectra + lane * stride);
    }
    transpose(tile.rows);
    return tile;
}

template <class V>
[[gnu::always_inline]] inline void storeTile(Tile<V> tile, double* spectra, int32_t stride) {
    transpose(tile.rows);
#pragma GCC unroll 8
    for (int32_t lane = 0; lane < kLanesOf<V>; ++lane) {
        store(tile.rows[lane], spectra + lane * stride);
    }
}

// A single number of each spectrum.
template <class V>
inline void storeNumber(SplitComplex<V> z, double* spectra, int32_t stride) {
    for (int32_t lane = 0; lane < kLanesOf<V>; ++lane) {
        spectra[lane * stride] = z.re[lane];
        spectra[lane * stride + 1] = z.im[lane];
    }
}

// visit(k) for tiles from k on that cover 1 .. h/2-1; the last one may overlap the one before.
template <class V, class Visit>
inline void forEachTile(Index h, Visit visit) {
    const Index last = h / 2 - Tile<V>::kNumbers;
    for (Index k = 1; k < last; k += Tile<V>::kNumbers) {
        visit(k);
    }
    visit(last);
}

// ---- The transform of h numbers

constexpr auto kReversals = [] { // 0 .. 127 with their seven bits reversed
    std::array<uint8_t, kLongestBatch / 2> reversals{};
    for (size_t k = 0; k < reversals.size(); ++k) {
        for (size_t bit = 0; bit < 7; ++bit) {
            reversals[k] = static_cast<uint8_t>(2 * reversals[k] + (k >> bit) % 2);
        }
    }
    return reversals;
}();

// k with its bits reversed, 0 <= k < h <= 128.
inline Index reversed(Index k, Index h) {
    return kReversals[static_cast<size_t>(k)] >> (7 - std::countr_zero(static_cast<size_t>(h)));
}

// One stage of stride l but the last, in place. kSparse: the elements of odd number are 0 and not read.
template <bool kSparse, class V>
[[gnu::always_inline]] inline void stage(V* a, Index h, Index l, const double* w) {
    const auto inputs = [=](Index k) -> Quad<SplitComplex<V>> {
        if constexpr (kSparse) {
            constexpr SplitComplex<V> zero{};
            return {at(a, k), zero, at(a, k + 2 * l), zero};
        } else {
            return {at(a, k), at(a, k + l), at(a, k + 2 * l), at(a, k + 3 * l)};
        }
    };
    for (Index k = 0; k < l; ++k) {
        putQuad(a, k, l, butterflyOne(inputs(k)));
    }
    for (Index k = 4 * l; k < 5 * l; ++k) {
        putQuad(a, k, l, butterflyEighth(inputs(k), w[2]));
    }
    for (int32_t b = 2; 4 * l * b < h; ++b) {
        const Twiddles<SplitComplex<double>> t = twiddlesOf(w, b);
        for (Index k = 4 * l * b; k < (4 * b + 1) * l; ++k) {
            putQuad(a, k, l, butterfly(inputs(k), t));
        }
    }
}

// From bit-reversed to natural order; the results go to emit(k, z) and not to the array. kForward: the
// upper half of the input, which has the odd numbers here, is 0. Otherwise only the lower half of the
// results is needed.
template <bool kForward, class V, class Emit>
[[gnu::always_inline]] inline void transform(V* a, Index h, const double* w, Emit emit) {
    stage<kForward>(a, h, 1, w);
    Index l = 4;
    for (; 4 * l < h; l *= 4) {
        stage<false>(a, h, l, w);
    }
    for (Index j = 0; j < l; ++j) {
        if (4 * l == h) {
            const auto [a0, a1, a2, a3] = butterflyOne<SplitComplex<V>>(
                {at(a, j), at(a, j + l), at(a, j + 2 * l), at(a, j + 3 * l)});
            emit(j, a0);
            emit(j + l, a1);
            if constexpr (kForward) {
                emit(j + 2 * l, a2);
                emit(j + 3 * l, a3);
            }
        } else {
            emit(j, at(a, j) + at(a, j + l));
            if constexpr (kForward) {
                emit(j + l, at(a, j) - at(a, j + l));
            }
        }
    }
}

} // namespace batch

// Whether there are vector registers, points enough for tiles and few enough for the stack, and half of
// them at most are taps.
template <class V, class State>
inline bool canConstrainTogether(const State* state) {
    const int32_t n = state->fftLen;
    // speed only: single transforms give the same bits
    return kHasVectors && n >= 32 && n <= kLongestBatch && 2 * state->order <= n;
}

// The spectra at coef, as many as V has lanes, fftLen doubles each.
template <class V, class State>
inline void constrainTogether(const State* state, double* coef) {
    using namespace batch;
    const int32_t n = state->fftLen;
    const Index h = n / 2;
    const double* const w = state->fftTwiddles;
    const int32_t cosLen = state->fftTable[1];
    const double* const c = w + state->fftTable[0];
    const int32_t ks = cosineStep(n, cosLen);
    constexpr int32_t kNumbers = Tile<V>::kNumbers;
    static_assert(4 * kNumbers < 32, "a quarter of the points holds a tile");
    V spectrum[kLongestBatch];
    V taps[kLongestBatch];

    // realBwdPre64f, in bit-reversed order
    const SplitComplex<V> ends = loadTile<V>(coef, n)[0];
    const V highest = 0.5 * (ends.re - ends.im);
    put(spectrum, 0, conjugate(SplitComplex<V>{ends.re - highest, highest}));
    forEachTile<V>(h, [&](Index k) {
        const Tile<V> low = loadTile<V>(coef + 2 * k, n);
        const Tile<V> high = loadTile<V>(coef + 2 * (h - k - kNumbers + 1), n);
        for (int32_t i = 0; i < kNumbers; ++i) {
            SplitComplex<V> near = low[i];
            SplitComplex<V> far = high[kNumbers - 1 - i];
            const Index kk = (k + i) * ks;
            join(near, far, 0.5 - c[cosLen - kk], c[kk]);
            put(spectrum, reversed(k + i, h), near);
            put(spectrum, reversed(h - k - i, h), far);
        }
    });
    put(spectrum, reversed(h / 2, h), conjugate(loadTile<V>(coef + h, n)[0]));

    // The result is conjugate; the taps are scaled, again in bit-reversed order. Its upper half is 0.
    transform<false>(spectrum, h, w, [&](Index k, SplitComplex<V> z) {
        const Index tap = 2 * k;
        put(taps, reversed(k, h),
            {tap < state->order ? state->invScale * z.re : V{},
             tap + 1 < state->order ? state->invScale * -z.im : V{}});
    });

    // realFwdPost64f
    transform<true>(taps, h, w, [&](Index k, SplitComplex<V> z) { put(spectrum, k, z); });
    forEachTile<V>(h, [&](Index k) {
        Tile<V> low, high;
        for (int32_t i = 0; i < kNumbers; ++i) {
            SplitComplex<V> near = at(spectrum, k + i);
            SplitComplex<V> far = at(spectrum, h - k - i);
            const Index kk = (k + i) * ks;
            separate(near, far, 0.5 - c[cosLen - kk], c[kk]);
            low.set(i, near);
            high.set(kNumbers - 1 - i, far);
        }
        storeTile(low, coef + 2 * k, n);
        storeTile(high, coef + 2 * (h - k - kNumbers + 1), n);
    });
    const SplitComplex<V> first = at(spectrum, 0);
    storeNumber(SplitComplex<V>{first.re + first.im, first.re - first.im}, coef, n);
    storeNumber(at(spectrum, h / 2), coef + h, n);
}

} // namespace merlo
