// Products and updates of the matrix P of rls64f: symmetric, its lower triangle packed by rows, row i
// from rowStart(i) on. The rows are independent sums, so kRows of them are computed at once, and P is
// processed in square tiles whose side is the number of lanes of V. The order % side leading rows and
// columns, which are short, are the remainder. Line, gain and P are loaded in the same pieces in which
// they are stored, because a load that spans two recent stores waits for both.
#pragma once

#include "frame/barriers.h"
#include "frame/kernels.h"
#include "frame/lanes.h"

#include <algorithm>
#include <cstdint>

namespace merlo {

template <class V>
constexpr int32_t kSide = kLanesOf<V>;
template <class V>
constexpr int32_t
    kRows = std::max<int32_t>(4, kSide<V>); // speed only: as many chains as the adder overlaps

// Row i of the triangle has i + 1 elements.
constexpr int32_t rowStart(int32_t i) { return i * (i + 1) / 2; }

// The distance in P from row `first` to the row n rows further down.
constexpr int32_t rowsDown(int32_t n, int32_t first) { return n * first + rowStart(n); }

// Shifts a linear line up by one sample and stores x at its start.
template <class V>
inline void insertInTiles(double x, double* line, int32_t order) {
    const int32_t remainder = order % kSide<V>;
    for (int32_t j = order - kSide<V>; j > 0; j -= kSide<V>) {
        store(load<V>(line + j - 1), line + j);
    }
    if (remainder == 0) {
        store(behind(all<V>(x), load<V>(line)), line);
    } else {
        for (int32_t j = remainder - 1; j > 0; --j) {
            line[j] = line[j - 1];
        }
        line[0] = x;
    }
}

// ---- gain = P x

// A tile left of the diagonal, columns j .. j + side - 1 of the rows r: continues the sums of the rows,
// and adds P[k][j] * x[k], row by row, to the gains g of the columns, which are complete up to these
// rows. xOfRow holds x[k] in every lane.
template <class V>
[[gnu::always_inline]] inline void addTile(const double* const* r, const V* xOfRow, const double* x,
                                           int32_t j, V& g, V& sum) {
    const V xs = load<V>(x + j);
    V term[kSide<V>];
    for (int32_t c = 0; c < kSide<V>; ++c) {
        const V element = loadWhole<V>(r[c] + j);
        g += element * xOfRow[c];
        term[c] = element * xs;
    }
    transpose(term);
    for (int32_t c = 0; c < kSide<V>; ++c) {
        sum += term[c];
    }
}

// A tile on the diagonal, which completes the sums: by symmetry the elements right of the diagonal are
// those below it, and the last column is the last row.
template <class V>
[[gnu::always_inline]] inline V addDiagonalTile(const double* const* r, const V* xOfRow,
                                                int32_t first, V sum) {
    int32_t c = 0;
#pragma GCC unroll 8
    for (; c + 1 < kSide<V>; ++c) {
        V column{};
#pragma GCC unroll 8
        for (int32_t i = 0; i < kSide<V>; ++i) {
            column[i] = r[std::max(i, c)][first + std::min(i, c)];
        }
        sum += column * xOfRow[c];
    }
    sum += load<V>(r[c] + first) * xOfRow[c];
    return sum;
}

// Tiles kFrom .. kTo - 1 of the column of tiles at j.
template <int32_t kFrom, int32_t kTo, class V>
[[gnu::always_inline]] inline void addTiles(const double* const* r, const V* xOfRow,
                                            const double* x, int32_t j, double* gain, V* sum) {
    V g = load<V>(gain + j);
#pragma GCC unroll 2
    for (int32_t t = kFrom; t < kTo; ++t) {
        addTile(r + t * kSide<V>, xOfRow + t * kSide<V>, x, j, g, sum[t]);
    }
    store(g, gain + j);
}

// Rows first .. first + kTiles * side - 1 of P x; p points at the first of them.
template <class V, int32_t kTiles>
[[gnu::always_inline]] inline void addRows(const double* p, int32_t first, const double* x,
                                           double* gain) {
    constexpr int32_t kCount = kTiles * kSide<V>;
    const int32_t remainder = first % kSide<V>;
    const double* r[kCount] = {};
    V xOfRow[kCount];
    V sum[kTiles] = {};
    for (int32_t i = 0; i < kCount; ++i) {
        r[i] = p + rowsDown(i, first);
        xOfRow[i] = all<V>(x[first + i]);
    }
    for (int32_t j = 0; j < remainder; ++j) {
        double g = gain[j];
        for (int32_t t = 0; t < kTiles; ++t) {
            V column{};
            for (int32_t i = 0; i < kSide<V>; ++i) {
                column[i] = r[t * kSide<V> + i][j];
                g += column[i] * x[first + t * kSide<V> + i];
            }
            sum[t] += column * x[j];
        }
        gain[j] = g;
    }
    for (int32_t j = remainder; j < first; j += kSide<V>) {
        addTiles<0, kTiles>(r, xOfRow, x, j, gain, sum);
    }
    store(addDiagonalTile(r, xOfRow, first, sum[0]), gain + first);
    if constexpr (kTiles == 2) {
        const int32_t second = first + kSide<V>;
        addTiles<1, 2>(r, xOfRow, x, first, gain, sum);
        store(addDiagonalTile(r + kSide<V>, xOfRow + kSide<V>, second, sum[1]), gain + second);
    }
}

// gain = P x: every element is a sum over the columns 0 .. order-1, upward.
template <class V>
inline void formGain(const double* invCorr, int32_t order, const double* x, double* gain) {
    const double* r = invCorr;
    int32_t i = 0;
    for (; i < order % kSide<V>; ++i) {
        gain[i] = dot64f(r, x, i + 1);
        for (int32_t j = 0; j < i; ++j) {
            gain[j] += r[j] * x[i];
        }
        r += rowsDown(1, i);
    }
    if constexpr (kSide<V> < kRows<V>) { // speed only: otherwise no rows are left over
        if ((order - i) % kRows<V> != 0) {
            addRows<V, 1>(r, i, x, gain);
            r += rowsDown(kSide<V>, i);
            i += kSide<V>;
        }
    }
    for (; i < order; i += kRows<V>) {
        addRows<V, kRows<V> / kSide<V>>(r, i, x, gain);
        r += rowsDown(kRows<V>, i);
    }
}

// ---- k = gain / (q + lambda), coef += k * err, P = invLambda * P - k gain'

struct UpdateFactors {
    double denominator; // q + lambda
    double invLambda;
    double err;
};

template <class V>
[[gnu::always_inline]] inline void updateElements(double* p, const double* gain, V k,
                                                  double invLambda) {
    store(invLambda * load<V>(p) - k * load<V>(gain), p);
}

// The last n elements of a row, n <= the number of lanes: vectors of V and of halves of it.
template <class V>
[[gnu::always_inline]] inline void updateRowEnd(double* p, const double* gain, double k,
                                                double invLambda, int32_t n) {
    if ((n & kLanesOf<V>) != 0) {
        updateElements(p, gain, all<V>(k), invLambda);
        p += kLanesOf<V>;
        gain += kLanesOf<V>;
    }
    if constexpr (kLanesOf < V >> 1) {
        updateRowEnd<Half<V>>(p, gain, k, invLambda, n);
    }
}

// Returns k of the rows at coef and gain.
template <bool kAdapt, class V>
[[gnu::always_inline]] inline V updateCoef(double* coef, const double* gain,
                                           const UpdateFactors& factors) {
    const V k = load<V>(gain) / factors.denominator;
    if constexpr (kAdapt) {
        store(k * factors.err + load<V>(coef), coef);
    }
    return k;
}

// Rows first .. first + side - 1; p points at the first of them.
template <bool kAdapt, class V>
[[gnu::always_inline]] inline void updateRows(double* p, int32_t first, const double* gain,
                                              double* coef, const UpdateFactors& factors) {
    const int32_t remainder = first % kSide<V>;
    const double invLambda = factors.invLambda;
    const V ks = updateCoef<kAdapt, V>(coef + first, gain + first, factors);
    double* r[kSide<V>];
    V k[kSide<V>];
    for (int32_t i = 0; i < kSide<V>; ++i) {
        r[i] = p + rowsDown(i, first);
        k[i] = all<V>(ks[i]);
    }
    for (int32_t j = 0; j < remainder; ++j) {
        for (int32_t i = 0; i < kSide<V>; ++i) {
            updateElements(r[i] + j, gain + j, ks[i], invLambda);
        }
    }
    for (int32_t j = remainder; j < first; j += kSide<V>) {
#pragma GCC unroll 8
        for (int32_t i = 0; i < kSide<V>; ++i) {
            updateElements(r[i] + j, gain + j, k[i], invLambda);
        }
    }
#pragma GCC unroll 8
    for (int32_t i = 0; i < kSide<V>; ++i) {
        updateRowEnd<V>(r[i] + first, gain + first, ks[i], invLambda, i + 1);
    }
}

template <bool kAdapt, class V>
inline void updateMatrix(double* invCorr, const double* gain, double* coef, int32_t order,
                         const UpdateFactors& factors) {
    double* r = invCorr;
    int32_t i = 0;
    for (; i < order % kSide<V>; ++i) {
        const double k = updateCoef<kAdapt, double>(coef + i, gain + i, factors);
        for (int32_t j = 0; j <= i; ++j) {
            updateElements(r + j, gain + j, k, factors.invLambda);
        }
        r += rowsDown(1, i);
    }
    for (; i < order; i += kSide<V>) {
        updateRows<kAdapt, V>(r, i, gain, coef, factors);
        r += rowsDown(kSide<V>, i);
    }
}

} // namespace merlo
