// Arithmetic on packed spectra. A spectrum of `bins` bins takes n = 2 * (bins - 1) doubles: slot 0 is
// bin 0 and slot 1 bin n/2, both real; slots 2k and 2k+1 are the real and imaginary part of bin k.
// A power array is in bin order: the power of slot 1 is power[bins-1].
// All return STS_NULL_PTR, with nothing written, if an array is null. bins >= 2.
#pragma once

#include "merlo64f.h"
#include "transform/complex_lanes.h"

#include <cstdint>

namespace merlo {

// power = squared magnitude of each bin of spec
inline int32_t powerSpecPacked64f(const double* spec, double* power, int32_t bins) {
    if (spec == nullptr || power == nullptr) {
        return STS_NULL_PTR;
    }
    for (int32_t k = 1; k < bins - 1; ++k) {
        power[k] = spec[2 * k] * spec[2 * k] + spec[2 * k + 1] * spec[2 * k + 1];
    }
    power[0] = spec[0] * spec[0];
    power[bins - 1] = spec[1] * spec[1];
    return STS_OK;
}

// Conjugates spec; the two real bins stay.
inline int32_t conjPackedIp64f(double* spec, int32_t bins) {
    if (spec == nullptr) {
        return STS_NULL_PTR;
    }
    for (int32_t k = 1; k < bins - 1; ++k) {
        spec[2 * k + 1] = -spec[2 * k + 1];
    }
    return STS_OK;
}

// visit(slot, vector of the type to use there) for all pairs of slots in vectors. Pair 0 holds two real
// bins and no complex number: the caller corrects its result. A transform of at most 32 points stores
// single numbers or pairs, and a wider load would wait for two of these stores.
template <class Visit>
inline void forEachVector(int32_t bins, Visit visit) {
    const int32_t n = 2 * (bins - 1);
    if (n <= 32) { // speed only: any limit of at least kLanes - 1 gives the same bits
        for (int32_t i = 0; i < n; i += kLanesOf<Pair>) {
            visit(i, Pair{});
        }
        return;
    }
    // Unrolled: the end of a loop of 32 iterations is often mispredicted, 6 ns per spectrum of 64 points.
#pragma GCC unroll 4
    for (int32_t i = 0; i < n; i += kLanes) {
        visit(i, Lanes{});
    }
}

// dst = conjugate of src
inline int32_t conjPacked64f(const double* src, double* dst, int32_t bins) {
    if (src == nullptr || dst == nullptr) {
        return STS_NULL_PTR;
    }
    forEachVector(bins, [=]<class V>(int32_t slot, V) {
        store(complex::conjugate(loadWhole<V>(src + slot)), dst + slot);
    });
    dst[1] = src[1];
    return STS_OK;
}

template <class V>
inline V productAt(const double* a, const double* b, int32_t slot) {
    return complex::Factor(loadWhole<V>(a + slot)) * loadWhole<V>(b + slot);
}

// out = a * b bin by bin; out must overlap neither
inline int32_t mulPacked64f(const double* a, const double* b, double* out, int32_t bins) {
    if (a == nullptr || b == nullptr || out == nullptr) {
        return STS_NULL_PTR;
    }
    forEachVector(bins,
                  [=]<class V>(int32_t slot, V) { store(productAt<V>(a, b, slot), out + slot); });
    out[0] = a[0] * b[0];
    out[1] = a[1] * b[1];
    return STS_OK;
}

// acc += a * b bin by bin; acc must overlap neither
inline int32_t macPacked64f(const double* a, const double* b, double* acc, int32_t bins) {
    if (a == nullptr || b == nullptr || acc == nullptr) {
        return STS_NULL_PTR;
    }
    const double lowest = acc[0] + a[0] * b[0];
    const double highest = acc[1] + a[1] * b[1];
    forEachVector(bins, [=]<class V>(int32_t slot, V) {
        store(loadWhole<V>(acc + slot) + productAt<V>(a, b, slot), acc + slot);
    });
    acc[0] = lowest;
    acc[1] = highest;
    return STS_OK;
}

// acc += a * conjugate of b, bin by bin; acc must overlap neither. The same bits as conjPacked64f and then
// macPacked64f, since negation is exact.
inline int32_t macConjPacked64f(const double* a, const double* b, double* acc, int32_t bins) {
    if (a == nullptr || b == nullptr || acc == nullptr) {
        return STS_NULL_PTR;
    }
    const double lowest = acc[0] + a[0] * b[0];
    const double highest = acc[1] + a[1] * b[1];
    forEachVector(bins, [=]<class V>(int32_t slot, V) {
        const V product = complex::ConjugateFactor(loadWhole<V>(b + slot)) * loadWhole<V>(a + slot);
        store(loadWhole<V>(acc + slot) + product, acc + slot);
    });
    acc[0] = lowest;
    acc[1] = highest;
    return STS_OK;
}

// Multiplies `pairs` pairs of slots by s; a whole spectrum has bins - 1 of them.
inline int32_t scaleCplxIp64f(double s, double* spec, int32_t pairs) {
    if (spec == nullptr) {
        return STS_NULL_PTR;
    }
    for (int64_t i = 0; i < 2 * int64_t{pairs}; ++i) {
        spec[i] = s * spec[i];
    }
    return STS_OK;
}

// Divides each bin of spec by eps plus its power.
inline int32_t normPackedIp64f(const double* power, double eps, double* __restrict spec,
                               int32_t bins) {
    if (power == nullptr || spec == nullptr) {
        return STS_NULL_PTR;
    }
    for (int32_t k = 1; k < bins - 1; ++k) {
        const double divisor = eps + power[k];
        spec[2 * k] = spec[2 * k] / divisor;
        spec[2 * k + 1] = spec[2 * k + 1] / divisor;
    }
    spec[0] = spec[0] / (eps + power[0]);
    spec[1] = spec[1] / (eps + power[bins - 1]);
    return STS_OK;
}

} // namespace merlo
