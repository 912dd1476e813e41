// The real transform pass after pass and one number at a time: the order and grouping of every operation.
#pragma once

#include <cstdint>
#include <vector>

namespace plain {

struct Complex {
    double re, im;
};

inline Complex operator+(Complex a, Complex b) { return {a.re + b.re, a.im + b.im}; }
inline Complex operator-(Complex a, Complex b) { return {a.re - b.re, a.im - b.im}; }
inline Complex operator*(Complex t, Complex z) {
    return {t.re * z.re - t.im * z.im, t.re * z.im + t.im * z.re};
}
inline Complex operator*(double r, Complex z) { return {r * z.re, r * z.im}; }
inline Complex timesI(Complex z) { return {-z.im, z.re}; }

inline void stage(int32_t l, std::vector<Complex>& z, const double* w) {
    const auto n = static_cast<int32_t>(z.size());
    const auto twiddle = [&](int32_t r) { return Complex{w[2 * r], w[2 * r + 1]}; };
    for (int32_t b = 0; 4 * l * b < n; ++b) {
        for (int32_t j = 4 * l * b; j < 4 * l * b + l; ++j) {
            Complex& a0 = z[j];
            Complex& a1 = z[j + l];
            Complex& a2 = z[j + 2 * l];
            Complex& a3 = z[j + 3 * l];
            const Complex s0 = a0 + a1;
            const Complex s1 = a0 - a1;
            const Complex s2 = a2 + a3;
            const Complex s3 = a2 - a3;
            const Complex z1 = s1 + timesI(s3);
            const Complex z2 = s0 - s2;
            const Complex z3 = s1 - timesI(s3);
            a0 = s0 + s2;
            if (b == 0) {
                a1 = z1;
                a2 = z2;
                a3 = z3;
            } else if (b == 1) {
                a1 = w[2] * (z1 + timesI(z1));
                a2 = timesI(z2);
                a3 = w[2] * (timesI(z3) - z3);
            } else {
                const Complex t1 = twiddle(b);
                const Complex t2 = b % 2 == 0 ? twiddle(b / 2) : timesI(twiddle(b / 2));
                const double p = t2.im;
                a1 = t1 * z1;
                a2 = t2 * z2;
                a3 = Complex{t1.re - 2 * p * t1.im, 2 * p * t1.re - t1.im} * z3;
            }
        }
    }
}

// On h complex numbers in natural order.
inline std::vector<Complex> transform(const std::vector<Complex>& natural, const double* w) {
    const auto h = static_cast<int32_t>(natural.size());
    std::vector<Complex> z(natural.size());
    for (int32_t j = 0; j < h; ++j) {
        int32_t reversed = 0;
        for (int32_t bit = 1; bit < h; bit *= 2) {
            reversed = 2 * reversed + ((j & bit) != 0 ? 1 : 0);
        }
        z[reversed] = natural[j];
    }
    int32_t l = 1;
    for (; 4 * l <= h; l *= 4) {
        stage(l, z, w);
    }
    for (int32_t j = 0; 2 * l == h && j < l; ++j) {
        const Complex a = z[j];
        const Complex b = z[j + l];
        z[j] = a + b;
        z[j + l] = a - b;
    }
    return z;
}

inline std::vector<double> realFft(const std::vector<double>& in, int32_t sign,
                                   const int32_t* table, const double* w) {
    const auto n = static_cast<int32_t>(in.size());
    const int32_t h = n / 2;
    const int32_t cosLen = table[1];
    const double* const c = w + table[0];
    const auto weight = [&](int32_t k) {
        const int32_t kk = k * (2 * cosLen / h);
        return Complex{0.5 - c[cosLen - kk], c[kk]};
    };
    std::vector<Complex> z(h);
    for (int32_t k = 0; k < h; ++k) {
        z[k] = {in[2 * k], in[2 * k + 1]};
    }
    if (sign < 0) {
        if (n > 2) {
            z = transform(z, w);
        }
        for (int32_t k = 1; 2 * k < h; ++k) {
            Complex& near = z[k];
            Complex& far = z[h - k];
            const Complex y = weight(k) * Complex{near.re - far.re, near.im + far.im};
            near = {near.re - y.re, near.im - y.im};
            far = {far.re + y.re, far.im - y.im};
        }
        z[0] = {z[0].re + z[0].im, z[0].re - z[0].im};
    } else {
        z[0].im = 0.5 * (z[0].re - z[0].im);
        z[0].re = z[0].re - z[0].im;
        if (n > 4) {
            z[0].im = -z[0].im;
            for (int32_t k = 1; 2 * k < h; ++k) {
                Complex& near = z[k];
                Complex& far = z[h - k];
                const double xr = near.re - far.re;
                const double xi = near.im + far.im;
                const auto [wr, wi] = weight(k);
                const double yr = wr * xr + wi * xi;
                const double yi = wr * xi - wi * xr;
                near = {near.re - yr, yi - near.im};
                far = {far.re + yr, yi - far.im};
            }
            z[h / 2].im = -z[h / 2].im;
        }
        if (n > 2) {
            z = transform(z, w);
        }
        for (Complex& element : z) {
            element.im = n > 4 ? -element.im : element.im;
        }
    }
    std::vector<double> out;
    for (const Complex& element : z) {
        out.insert(out.end(), {element.re, element.im});
    }
    return out;
}

} // namespace plain
