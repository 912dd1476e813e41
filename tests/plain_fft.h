// The real transform by its formulas, one number at a time: order and grouping of every operation.
#pragma once

#include <complex>
#include <cstdint>
#include <utility>
#include <vector>

namespace plain {

using Complex = std::complex<double>;

// Without the second thoughts that operator* has on NaN.
inline Complex product(Complex a, Complex b) {
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

// j of 0 .. n-1 with its bits in reverse order
inline int32_t reversed(int32_t j, int32_t n) {
    int32_t result = 0;
    for (int32_t bit = 1; bit < n; bit *= 2) {
        result = 2 * result + ((j & bit) != 0 ? 1 : 0);
    }
    return result;
}

inline Complex timesI(Complex z) { return {-z.imag(), z.real()}; }

inline void butterfly(Complex* a, int32_t l, int32_t b, const double* w) {
    const Complex s0 = a[0] + a[l];
    const Complex s1 = a[0] - a[l];
    const Complex s2 = a[2 * l] + a[3 * l];
    const Complex s3 = a[2 * l] - a[3 * l];
    a[0] = s0 + s2;
    a[l] = s1 + timesI(s3);
    a[2 * l] = s0 - s2;
    a[3 * l] = s1 - timesI(s3);
    if (b == 1) {
        a[l] = w[2] * (a[l] + timesI(a[l]));
        a[2 * l] = timesI(a[2 * l]);
        a[3 * l] = w[2] * (timesI(a[3 * l]) - a[3 * l]);
    } else if (b > 1) {
        const Complex t1{w[2 * b], w[2 * b + 1]};
        const Complex half{w[b & ~1], w[b | 1]};
        const Complex t2 = b % 2 == 0 ? half : timesI(half);
        const double p = 2 * t2.imag();
        a[l] = product(t1, a[l]);
        a[2 * l] = product(t2, a[2 * l]);
        const Complex t3{t1.real() - p * t1.imag(), p * t1.real() - t1.imag()};
        a[3 * l] = product(t3, a[3 * l]);
    }
}

// From natural order to natural order.
inline void transform(std::vector<Complex>& z, const double* w) {
    const auto h = static_cast<int32_t>(z.size());
    for (int32_t j = 0; j < h; ++j) {
        if (j < reversed(j, h)) {
            std::swap(z[j], z[reversed(j, h)]);
        }
    }
    int32_t l = 1;
    for (; 4 * l <= h; l *= 4) {
        for (int32_t j = 0; j < h; ++j) {
            if (j / l % 4 == 0) {
                butterfly(&z[j], l, j / (4 * l), w);
            }
        }
    }
    for (int32_t j = 0; 2 * l == h && j < l; ++j) {
        const Complex a = z[j];
        z[j] = a + z[j + l];
        z[j + l] = a - z[j + l];
    }
}

inline std::vector<double> realFft(const std::vector<double>& in, int32_t sign,
                                   const int32_t* table, const double* w) {
    const auto h = static_cast<int32_t>(in.size() / 2);
    const double* const c = w + table[0];
    std::vector<Complex> z;
    for (int32_t k = 0; k < h; ++k) {
        z.emplace_back(in[2 * k], in[2 * k + 1]);
    }
    const auto forEachPair = [&](auto step) {
        for (int32_t k = 1; 2 * k < h; ++k) {
            const int32_t kk = k * (2 * table[1] / h);
            step(z[k], z[h - k], Complex{0.5 - c[table[1] - kk], c[kk]});
        }
    };
    if (sign < 0) {
        transform(z, w);
        forEachPair([](Complex& near, Complex& far, Complex weight) {
            const Complex y = product(weight, near - std::conj(far));
            near = near - y;
            far = far + std::conj(y);
        });
        z[0] = {z[0].real() + z[0].imag(), z[0].real() - z[0].imag()};
    } else {
        const double highest = 0.5 * (z[0].real() - z[0].imag());
        z[0] = {z[0].real() - highest, highest};
        if (h > 2) {
            z[0] = std::conj(z[0]);
            forEachPair([](Complex& near, Complex& far, Complex weight) {
                const Complex y = product(std::conj(weight), near - std::conj(far));
                near = std::conj(near) - std::conj(y);
                far = std::conj(far) + y;
            });
            z[h / 2] = std::conj(z[h / 2]);
        }
        transform(z, w);
    }
    std::vector<double> out;
    for (const Complex& element : z) {
        const bool conjugated = sign >= 0 && h > 2;
        out.insert(out.end(), {element.real(), conjugated ? -element.imag() : element.imag()});
    }
    return out;
}

} // namespace plain
