// The real transform by its formulas, one complex number at a time.
#pragma once

#include <cstdint>
#include <utility>

namespace plain {

struct Complex {
    double re, im;

    Complex operator+(Complex z) const { return {re + z.re, im + z.im}; }
    Complex operator-(Complex z) const { return {re - z.re, im - z.im}; }
    Complex operator*(Complex z) const { return {re * z.re - im * z.im, re * z.im + im * z.re}; }
};
inline Complex operator*(double r, Complex z) { return {r * z.re, r * z.im}; }
inline Complex timesI(Complex z) { return {-z.im, z.re}; }
inline Complex conjugate(Complex z) { return {z.re, -z.im}; }

inline Complex get(const double* a, int32_t k) { return {a[2 * k], a[2 * k + 1]}; }
inline void put(double* a, int32_t k, Complex z) {
    a[2 * k] = z.re;
    a[2 * k + 1] = z.im;
}

// The successor of k when the bits of 0 .. n-1 are counted in reverse order.
inline int32_t nextReversed(int32_t k, int32_t n) {
    int32_t bit = n / 2;
    for (; (k & bit) != 0; bit /= 2) {
        k ^= bit;
    }
    return k | bit;
}

// The radix-4 butterfly at k with stride l, of block b; w holds the twiddle factors.
inline void butterfly(double* a, int32_t k, int32_t l, int32_t b, const double* w) {
    const Complex s0 = get(a, k) + get(a, k + l);
    const Complex s1 = get(a, k) - get(a, k + l);
    const Complex s2 = get(a, k + 2 * l) + get(a, k + 3 * l);
    const Complex s3 = get(a, k + 2 * l) - get(a, k + 3 * l);
    Complex z1 = s1 + timesI(s3);
    Complex z2 = s0 - s2;
    Complex z3 = s1 - timesI(s3);
    if (b == 1) {
        z1 = w[2] * (z1 + timesI(z1));
        z2 = timesI(z2);
        z3 = w[2] * (timesI(z3) - z3);
    } else if (b > 1) {
        const Complex t1 = get(w, b);
        const Complex t2 = b % 2 == 0 ? get(w, b / 2) : timesI(get(w, b / 2));
        const double p = 2 * t2.im;
        z1 = t1 * z1;
        z2 = t2 * z2;
        z3 = Complex{t1.re - p * t1.im, p * t1.re - t1.im} * z3;
    }
    put(a, k, s0 + s2);
    put(a, k + l, z1);
    put(a, k + 2 * l, z2);
    put(a, k + 3 * l, z3);
}

// The complex transform of h elements.
inline void complexFft(double* a, int32_t h, const double* w) {
    for (int32_t j = 0, k = 0; j < h; ++j, k = nextReversed(k, h)) {
        if (j < k) {
            const Complex z = get(a, j);
            put(a, j, get(a, k));
            put(a, k, z);
        }
    }
    int32_t l = 1;
    for (; 4 * l <= h; l *= 4) {
        for (int32_t block = 0; 4 * l * block < h; ++block) {
            for (int32_t j = 0; j < l; ++j) {
                butterfly(a, 4 * l * block + j, l, block, w);
            }
        }
    }
    for (int32_t j = 0; 2 * l == h && j < l; ++j) {
        const Complex z = get(a, j);
        put(a, j, z + get(a, j + l));
        put(a, j + l, z - get(a, j + l));
    }
}

// sign < 0: samples to packed spectrum; sign >= 0: back, times n/2. fftTable is only read.
inline void realFft64f(int32_t n, int32_t sign, double* a, const int32_t* fftTable,
                       const double* fftTwiddles) {
    const int32_t h = n / 2;
    const int32_t cosLen = fftTable[1];
    const double* const c = fftTwiddles + fftTable[0];
    const auto forEachPair = [=](auto step) {
        for (int32_t k = 1; 2 * k < h; ++k) {
            const int32_t kk = k * (2 * cosLen / h);
            const auto [near, far] =
                step(get(a, k), get(a, h - k), Complex{0.5 - c[cosLen - kk], c[kk]});
            put(a, k, near);
            put(a, h - k, far);
        }
    };
    if (sign < 0) {
        complexFft(a, h, fftTwiddles);
        forEachPair([](Complex near, Complex far, Complex weight) {
            const Complex y = weight * (near - conjugate(far));
            return std::pair(near - y, far + conjugate(y));
        });
        put(a, 0, {a[0] + a[1], a[0] - a[1]});
        return;
    }
    const double highest = 0.5 * (a[0] - a[1]);
    put(a, 0, {a[0] - highest, highest});
    if (h <= 2) {
        return complexFft(a, h, fftTwiddles);
    }
    put(a, 0, conjugate(get(a, 0)));
    forEachPair([](Complex near, Complex far, Complex weight) {
        const Complex y = conjugate(weight) * (near - conjugate(far));
        return std::pair(conjugate(near) - conjugate(y), conjugate(far) + y);
    });
    put(a, h / 2, conjugate(get(a, h / 2)));
    complexFft(a, h, fftTwiddles);
    for (int32_t k = 0; k < h; ++k) {
        put(a, k, conjugate(get(a, k)));
    }
}

} // namespace plain
