// The recursive least-squares filter. With x the line, newest sample first:
// y = coef . x, e = d - y, gain = P x, q = x . gain, k[i] = gain[i] / (q + lambda),
// coef[i] = k[i] * e + coef[i], P[i][j] = invLambda * P[i][j] - k[i] * gain[j] for j <= i.
// Sources: Haykin, Adaptive Filter Theory; Sayed, Fundamentals of Adaptive Filtering.
// Departs from the textbook in P(0) = delta * I and in that only the first term of the matrix update
// carries 1 / lambda.
#include "rls64f.h"

#include "accessors.h"
#include "kernels.h"
#include "lanes.h"
#include "lifecycle.h"

#include <algorithm>

using namespace merlo;

namespace {

constexpr double kResizeDelta = 0.01F; // 0.009999999776482582: the first delta is not kept

// P is worked on kRows rows side by side, since every row sum is a chain of its own, and in squares
// whose side is the length of a vector V. The order % side rows and columns that fill no square, the
// loose ones, come first, where rows are short. Line, gain and P are loaded in the pieces in which
// they were stored, since a load that spans two fresh stores waits for both.
constexpr int32_t kRows = 4;

template <class V>
constexpr int32_t kSide = kLanesOf<V>;
constexpr int32_t kWideFrom = 16; // a smaller triangle has too little that fills wide squares

// Row i of the triangle has i + 1 elements.
constexpr int32_t rowStart(int32_t i) { return i * (i + 1) / 2; }

// From a row to the one that lies n rows on; `first` is its number.
constexpr int32_t rowsOn(int32_t n, int32_t first) { return n * first + rowStart(n); }

// first, v[0], v[1], ...: the last element drops off.
template <class V>
V behind(double first, V v) {
    if constexpr (kSide<V> == 2) {
        return V{first, v[0]};
    } else {
        return __builtin_shufflevector(all<V>(first), v, 0, 4, 5, 6);
    }
}

// Moves the line one place up and stores x at its start.
template <class V>
void insert(double x, double* line, int32_t order) {
    const int32_t loose = order % kSide<V>;
    for (int32_t j = order - kSide<V>; j > 0; j -= kSide<V>) {
        store(load<V>(line + j - 1), line + j);
    }
    if (loose == 0) {
        store(behind(x, load<V>(line)), line);
        return;
    }
    for (int32_t j = loose - 1; j > 0; --j) {
        line[j] = line[j - 1];
    }
    line[0] = x;
}

// A square of P x left of the diagonal, columns j .. j + side - 1 of the rows r: the rows go on with
// their sums, and the gains g of the columns, which are complete up to these rows, take in
// P[k][j] * x[k] row by row. xOfRow holds x[k] in every lane.
template <class V>
[[gnu::always_inline]] inline void addSquare(const double* const* r, const V* xOfRow,
                                             const double* x, int32_t j, V& g, V& sum) {
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

// A square on the diagonal completes the sums: right of the diagonal stands what lies below it, and
// the last column is the last row.
template <class V>
[[gnu::always_inline]] inline V addCorner(const double* const* r, const V* xOfRow, int32_t first,
                                          V sum) {
    int32_t c = 0;
#pragma GCC unroll 4
    for (; c + 1 < kSide<V>; ++c) {
        V column{};
#pragma GCC unroll 4
        for (int32_t i = 0; i < kSide<V>; ++i) {
            column[i] = r[std::max(i, c)][first + std::min(i, c)];
        }
        sum += column * xOfRow[c];
    }
    sum += load<V>(r[c] + first) * xOfRow[c];
    return sum;
}

// Squares kFrom .. kTo - 1 of a column of them.
template <int32_t kFrom, int32_t kTo, class V>
[[gnu::always_inline]] inline void addSquares(const double* const* r, const V* xOfRow,
                                              const double* x, int32_t j, double* gain, V* sum) {
    V g = load<V>(gain + j);
#pragma GCC unroll 2
    for (int32_t s = kFrom; s < kTo; ++s) {
        addSquare(r + s * kSide<V>, xOfRow + s * kSide<V>, x, j, g, sum[s]);
    }
    store(g, gain + j);
}

// Rows first .. first + kSquares * side - 1 of P x; p is the first of them.
template <class V, int32_t kSquares>
[[gnu::always_inline]] inline void addRows(const double* p, int32_t first, const double* x,
                                           double* gain) {
    constexpr int32_t kCount = kSquares * kSide<V>;
    const int32_t loose = first % kSide<V>;
    const double* r[kCount] = {};
    V xOfRow[kCount];
    V sum[kSquares] = {};
    for (int32_t i = 0; i < kCount; ++i) {
        r[i] = p + rowsOn(i, first);
        xOfRow[i] = all<V>(x[first + i]);
    }
    for (int32_t j = 0; j < loose; ++j) {
        double g = gain[j];
        for (int32_t s = 0; s < kSquares; ++s) {
            V column{};
            for (int32_t i = 0; i < kSide<V>; ++i) {
                column[i] = r[s * kSide<V> + i][j];
                g += column[i] * x[first + s * kSide<V> + i];
            }
            sum[s] += column * x[j];
        }
        gain[j] = g;
    }
    for (int32_t j = loose; j < first; j += kSide<V>) {
        addSquares<0, kSquares>(r, xOfRow, x, j, gain, sum);
    }
    store(addCorner(r, xOfRow, first, sum[0]), gain + first);
    if constexpr (kSquares == 2) {
        const int32_t second = first + kSide<V>;
        addSquares<1, 2>(r, xOfRow, x, first, gain, sum);
        store(addCorner(r + kSide<V>, xOfRow + kSide<V>, second, sum[1]), gain + second);
    }
}

// gain = P x: every element is summed up over the columns 0 .. order-1, upward.
template <class V>
void formGain(const double* invCorr, int32_t order, const double* x, double* gain) {
    const double* r = invCorr;
    int32_t i = 0;
    for (; i < order % kSide<V>; ++i) {
        gain[i] = dot64f(r, x, i + 1);
        for (int32_t j = 0; j < i; ++j) {
            gain[j] += r[j] * x[i];
        }
        r += rowsOn(1, i);
    }
    if constexpr (kSide<V> < kRows) {
        if ((order - i) % kRows != 0) {
            addRows<V, 1>(r, i, x, gain);
            r += rowsOn(kSide<V>, i);
            i += kSide<V>;
        }
    }
    for (; i < order; i += kRows) {
        addRows<V, kRows / kSide<V>>(r, i, x, gain);
        r += rowsOn(kRows, i);
    }
}

struct Outputs {
    double y;
    double q;
};

// Both sums are chains; they go side by side.
Outputs dots(const double* x, const double* coef, const double* gain, int32_t order) {
    double y = 0.0;
    double q = 0.0;
#pragma GCC unroll 4
    for (int32_t i = 0; i < order; ++i) {
        asm volatile("");
        y += x[i] * coef[i];
        q += x[i] * gain[i];
    }
    return {y, q};
}

// What the update of P and coef rests on; k = gain / denominator.
struct Factors {
    double denominator; // q + lambda
    double invLambda;
    double e;
};

template <class V>
[[gnu::always_inline]] inline void updateElements(double* p, const double* gain, V k,
                                                  double invLambda) {
    store(invLambda * load<V>(p) - k * load<V>(gain), p);
}

template <bool kAdapt, class V>
[[gnu::always_inline]] inline V updateCoef(double* coef, const double* gain,
                                           const Factors& factors) {
    const V k = load<V>(gain) / factors.denominator;
    if constexpr (kAdapt) {
        store(k * factors.e + load<V>(coef), coef);
    }
    return k;
}

// Rows first .. first + side - 1 of the update; p is the first of them.
template <bool kAdapt, class V>
[[gnu::always_inline]] inline void updateRows(double* p, int32_t first, const double* gain,
                                              double* coef, const Factors& factors) {
    const int32_t loose = first % kSide<V>;
    const double invLambda = factors.invLambda;
    const V ks = updateCoef<kAdapt, V>(coef + first, gain + first, factors);
    double* r[kSide<V>];
    V k[kSide<V>];
    double* next = p;
    for (int32_t i = 0; i < kSide<V>; ++i) {
        r[i] = next;
        next += first + i + 1;
        k[i] = all<V>(ks[i]);
    }
    for (int32_t j = 0; j < loose; ++j) {
        for (int32_t i = 0; i < kSide<V>; ++i) {
            updateElements(r[i] + j, gain + j, ks[i], invLambda);
        }
    }
    for (int32_t j = loose; j < first; j += kSide<V>) {
#pragma GCC unroll 4
        for (int32_t i = 0; i < kSide<V>; ++i) {
            updateElements(r[i] + j, gain + j, k[i], invLambda);
        }
    }
#pragma GCC unroll 4
    for (int32_t i = 0; i < kSide<V>; ++i) { // i + 1 elements
        int32_t j = first;
        if (i + 1 == kSide<V>) {
            updateElements(r[i] + j, gain + j, k[i], invLambda);
            continue;
        }
        if (i > 0) {
            updateElements(r[i] + j, gain + j, all<Pair>(ks[i]), invLambda);
            j += 2;
        }
        if (i % 2 == 0) {
            updateElements(r[i] + j, gain + j, ks[i], invLambda);
        }
    }
}

template <bool kAdapt, class V>
void update(const rls64fState* state, double denominator, double e) {
    const Factors factors{denominator, state->invLambda, e};
    const int32_t order = state->order;
    const double* const gain = state->gain;
    double* const coef = state->coef;
    double* r = state->invCorr;
    int32_t i = 0;
    for (; i < order % kSide<V>; ++i) {
        const double k = updateCoef<kAdapt, double>(coef + i, gain + i, factors);
        for (int32_t j = 0; j <= i; ++j) {
            updateElements(r + j, gain + j, k, factors.invLambda);
        }
        r += rowsOn(1, i);
    }
    for (; i < order; i += kSide<V>) {
        updateRows<kAdapt, V>(r, i, gain, coef, factors);
        r += rowsOn(kSide<V>, i);
    }
}

// The sequence of all four operations: kInsert stores x, kAdapt forms the error and moves coef.
template <bool kInsert, bool kAdapt, class V>
double stepBy(rls64fState* state, double x, double d) {
    const int32_t order = state->order;
    const double* const line = state->delayLine;
    if constexpr (kInsert) {
        insert<V>(x, state->delayLine, order);
    }
    formGain<V>(state->invCorr, order, line, state->gain);
    const auto [y, q] = dots(line, state->coef, state->gain, order);
    const double e = d - y;
    if constexpr (kAdapt) {
        state->err = e;
    }
    update<kAdapt, V>(state, q + state->lambda, e);
    return y;
}

template <bool kInsert, bool kAdapt>
double step(rls64fState* state, double x, double d) {
    return state->order < kWideFrom ? stepBy<kInsert, kAdapt, Pair>(state, x, d)
                                    : stepBy<kInsert, kAdapt, Lanes>(state, x, d);
}

template <class Provide>
int32_t setUp(rls64fState* state, int32_t order, double lambda, double delta, Provide provide) {
    order = std::min<int32_t>(order, MAX_TAPS);
    if (order < 1 || !(delta >= 0.0 && delta <= 1.0)) {
        return fail(state, STS_BAD_SIZE);
    }
    const int64_t work = 2 * order + order * (order + 1) / 2;
    if (const int32_t status = provide({{&state->coef, order}, {&state->delayLine, work}});
        status != STS_OK) {
        return fail(state, status);
    }
    state->gain = state->delayLine + order;
    state->invCorr = state->gain + order;
    for (int32_t i = 0; i < order; ++i) {
        state->invCorr[rowStart(i) + i] = delta;
    }
    state->order = order;
    state->lambda = lambda;
    state->invLambda = 1.0 / lambda;
    return STS_OK;
}

} // namespace

int32_t rls64fInit(rls64fState* state, int32_t order, double lambda, double delta) {
    return setUp(state, order, lambda, delta, fromHeap);
}

int32_t rls64fInitStatic(rls64fState* state, int32_t order, double lambda, double delta,
                         double* coefBuf, double* workBuf) {
    return setUp(state, order, lambda, delta, FromHost(coefBuf, workBuf));
}

void rls64fFree(rls64fState* state) {
    release(state->coef);
    release(state->delayLine);
    state->order = 0;
}

double rls64fFilterUpdate(rls64fState* state, double x, double d) {
    return step<true, true>(state, x, d);
}

double rls64fFilterOnly(rls64fState* state, double x) { return step<true, false>(state, x, 0.0); }

double rls64fLCFilterUpdate(rls64fState* state, double d) {
    return step<false, true>(state, 0.0, d);
}

double rls64fLCFilterOnly(rls64fState* state) { return step<false, false>(state, 0.0, 0.0); }

int32_t rls64fReset(rls64fState* state) { return reset64f(state->coef, state->order); }

int32_t rls64fResetDelayLine(rls64fState* state) {
    return reset64f(state->delayLine, state->order);
}

int32_t rls64fGetCoef(const rls64fState* state, double* buf, int32_t start, int32_t count,
                      int32_t reversed) {
    return readArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t rls64fSetCoef(rls64fState* state, const double* buf, int32_t start, int32_t count,
                      int32_t reversed) {
    return writeArray(state->coef, state->order, buf, start, count, reversed);
}

int32_t rls64fGetDelayLine(const rls64fState* state, double* buf, int32_t start, int32_t count,
                           int32_t reversed) {
    return readArray(state->delayLine, state->order, buf, start, count, reversed);
}

int32_t rls64fSetDelayLine(rls64fState* state, const double* buf, int32_t start, int32_t count,
                           int32_t reversed) {
    return writeArray(state->delayLine, state->order, buf, start, count, reversed);
}

int32_t rls64fResize(rls64fState* state, int32_t order) {
    if (order == state->order) {
        return STS_OK;
    }
    rls64fState next = *state;
    if (const int32_t status = rls64fInit(&next, order, state->lambda, kResizeDelta);
        status != STS_OK) {
        return status;
    }
    return replace(state, next, rls64fFree, [&] {
        const int32_t kept = std::min(order, state->order);
        const int32_t taps = writeArray(next.coef, next.order, state->coef, 0, kept, 0);
        return taps == kept ? writeArray(next.delayLine, next.order, state->delayLine, 0, kept, 0)
                            : taps;
    });
}
