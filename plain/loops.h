// The loops of the plain recursions, written from the formulas. Sums run in tap order.
#pragma once

#include <cstdint>

namespace plain {

inline double sgn(double v) { return v >= 0.0 ? 1.0 : -1.0; }

inline int32_t stepBack(int32_t head, int32_t length) { return head == 0 ? length - 1 : head - 1; }

// Inserts x into a ring line; returns its position.
inline int32_t insert(double* line, int32_t length, int32_t* head, double x) {
    const int32_t position = *head;
    line[position] = x;
    *head = stepBack(position, length);
    return position;
}

// visit(k, sample k steps back), k = 0 .. n-1, over a ring line whose newest sample is at `newest`.
template <class Visit>
inline void forEachTap(const double* line, int32_t length, int32_t n, int32_t newest, Visit visit) {
    int32_t k = 0;
    for (int32_t i = newest; i < length && k < n; ++i) {
        visit(k++, line[i]);
    }
    for (int32_t i = 0; k < n; ++i) {
        visit(k++, line[i]);
    }
}

// y = sum of coef[k] * x(n-k)
inline double dotRing(const double* line, int32_t length, const double* coef, int32_t n,
                      int32_t newest) {
    double y = 0.0;
    forEachTap(line, length, n, newest, [&](int32_t k, double x) { y += x * coef[k]; });
    return y;
}

inline double dotLinear(const double* line, const double* coef, int32_t n) {
    double y = 0.0;
    for (int32_t k = 0; k < n; ++k) {
        y += line[k] * coef[k];
    }
    return y;
}

// coef[0] = k[0]; then for m = 1, 2, ..: coef[j] -= k[m] * coef[m-1-j], j < m, and coef[m] = k[m].
inline void stepUp(const double* k, int32_t order, double* coef) {
    double before[32];
    for (int32_t m = 0; m < order; ++m) {
        for (int32_t j = 0; j < m; ++j) {
            before[j] = coef[j];
        }
        for (int32_t j = 0; j < m; ++j) {
            coef[j] = before[j] - k[m] * before[m - 1 - j];
        }
        coef[m] = k[m];
    }
}

} // namespace plain
