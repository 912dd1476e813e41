// The sizes, parameters and borrowed arrays with which a host sets up a record.
#pragma once

#include "exact_tables.h"

#include <cstdint>

// Sizes and parameters. A family uses what it has.
struct Shape {
    int32_t order = 5, blockLen = 9, parts = 3, constrained = 1, secLen = 3, estLen = 5;
    double rate = 0.01, second = 0.5; // mu or lambda; muCoef or delta
};

// The arrays that a record borrows. All hosts share the twiddle factors.
struct Lent {
    static constexpr int32_t longest = 64; // path
    static constexpr int32_t longestFft = 1024;
    static inline const ExactTables<longestFft> tables;

    double coef[32] = {0.5, -0.25, 1.0, 0.125, -0.75, 0.0625, 0.375, -1.0};
    double secCoef[longest] = {0.0, 0.75, -0.25};
    double estCoef[longest] = {0.0, 0.5, -0.25, 0.125, 0.0625};
    int32_t table[FFT_TABLE_LEN(longestFft)] = {tables.table[0], tables.table[1]};
    const double* twiddles = tables.twiddles;
};
