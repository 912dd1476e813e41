// The transform: its definition in quadruple precision, its formulas to the bit, its tables.
#include "fft_tables.h"
#include "real_fft.h"
#include "signal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace {

using merlo::realFft64f;

constexpr int32_t kLongest = 8192;
constexpr int32_t kForward = -1;
constexpr int32_t kInverse = 1;
constexpr double kUnit = 0x1p-53;

#ifdef __SIZEOF_FLOAT128__
__extension__ using Quad = __float128;
#else
using Quad = long double; // quadruple on AArch64
#endif

size_t at(int32_t i) { return static_cast<size_t>(i); }

struct Tables {
    std::vector<int32_t> table;
    std::vector<double> twiddles;

    explicit Tables(int32_t nMax)
        : table(at(fftTableLen(nMax))), twiddles(at(fftTwiddlesLen(nMax))) {
        EXPECT_EQ(fillFftTables(nMax, table.data(), twiddles.data()), STS_OK);
    }
    std::vector<double> transform(std::vector<double> a, int32_t sign) {
        realFft64f(static_cast<int32_t>(a.size()), sign, a.data(), table.data(), twiddles.data());
        return a;
    }
};

// cos(2 pi k / kLongest) for every k, from the power series over the first octant.
const std::vector<Quad>& exactCosines() {
    static const std::vector<Quad> cosines = [] {
        // pi in three doubles
        const Quad pi = static_cast<Quad>(0x1.921fb54442d18p1) +
                        static_cast<Quad>(0x1.1a62633145c07p-53) +
                        static_cast<Quad>(-0x1.f1976b7ed8fbcp-109);
        const auto series = [](Quad term, Quad angle, int first) {
            Quad sum = 0;
            for (int i = first; i < first + 60; i += 2) {
                sum += term;
                term *= -angle * angle / ((i + 1) * (i + 2));
            }
            return sum;
        };
        std::vector<Quad> c(at(kLongest));
        for (int32_t k = 0; k <= kLongest / 8; ++k) {
            const Quad angle = 2 * pi * k / kLongest;
            const Quad cosine = series(1, angle, 0);
            const Quad sine = series(angle, angle, 1);
            for (const auto& [position, value] :
                 {std::pair(k, cosine), std::pair(kLongest / 4 - k, sine)}) {
                c[at(position)] = value;
                c[at(kLongest / 2 - position)] = -value;
                c[at(kLongest / 2 + position)] = -value;
                c[at((kLongest - position) % kLongest)] = value;
            }
        }
        c[at(kLongest / 4)] = c[at(3 * kLongest / 4)] = 0;
        return c;
    }();
    return cosines;
}

// cos and sin of 2 pi j k / n
struct Turn {
    Quad re, im;
};

Turn turn(int64_t j, int64_t k, int32_t n) {
    const int32_t angle = static_cast<int32_t>(j * k % n) * (kLongest / n);
    return {exactCosines()[at(angle)], exactCosines()[at((angle + 3 * kLongest / 4) % kLongest)]};
}

Turn exactBin(const std::vector<double>& x, int32_t k) {
    const auto n = static_cast<int32_t>(x.size());
    Turn sum{0, 0};
    for (int32_t j = 0; j < n; ++j) {
        const auto [re, im] = turn(j, k, n);
        sum.re += x[at(j)] * re;
        sum.im += x[at(j)] * im;
    }
    return sum;
}

Quad exactSample(const std::vector<double>& spectrum, int32_t j) {
    const auto n = static_cast<int32_t>(spectrum.size());
    Quad sum = (static_cast<Quad>(spectrum[0]) + spectrum[1] * (j % 2 == 0 ? 1.0 : -1.0)) / 2;
    for (int32_t k = 1; k < n / 2; ++k) {
        const auto [re, im] = turn(j, k, n);
        sum += spectrum[at(2 * k)] * re + spectrum[at(2 * k + 1)] * im;
    }
    return sum;
}

class Error { // relative, root of the mean square
  public:
    void add(double value, Quad exact) {
        const auto difference = static_cast<double>(value - exact);
        errors_ += difference * difference;
        values_ += static_cast<double>(exact * exact);
    }
    [[nodiscard]] double rms() const { return std::sqrt(errors_ / values_); }

  private:
    double errors_ = 0.0;
    double values_ = 0.0;
};

// Direct evaluation: of everything up to 512 points, of 65 bins and 64 samples above.
TEST(RealFft, IsAsAccurateAsItsDefinitionAllows) {
    Tables tables(kLongest);
    Signal signal(1);
    for (int32_t n = 2; n <= kLongest; n *= 2) {
        Error forward;
        Error inverse;
        const int32_t step = std::max(n / 512 * 8 - 1, 1);
        for (int32_t run = 0; run < std::max(1024 / n, 1); ++run) {
            std::vector<double> x(at(n));
            signal.fill(x.data(), n);
            const std::vector<double> spectrum = tables.transform(x, kForward);
            forward.add(spectrum[0], exactBin(x, 0).re);
            forward.add(spectrum[1], exactBin(x, n / 2).re);
            for (int32_t k = 1; k < n / 2; k += step) {
                const auto [re, im] = exactBin(x, k);
                forward.add(spectrum[at(2 * k)], re);
                forward.add(spectrum[at(2 * k + 1)], im);
            }
            const std::vector<double> samples = tables.transform(x, kInverse);
            for (int32_t j = 0; j < n; j += step) {
                inverse.add(samples[at(j)], exactSample(x, j));
            }
        }
        const double bound = kUnit * std::sqrt(std::log2(n));
        std::printf("n %4d: forward %.2f, inverse %.2f of u sqrt(log2 n)\n", n,
                    forward.rms() / bound, inverse.rms() / bound);
        EXPECT_LE(forward.rms(), bound);
        EXPECT_LE(inverse.rms(), bound);
    }
}

// An impulse shows every factor on its way: all bins, and all samples of one bin.
TEST(RealFft, TurnsImpulsesIntoWaves) {
    Tables tables(kLongest);
    Signal signal(2);
    for (int32_t n = 2; n <= kLongest; n *= 2) {
        const double tolerance = 4 * kUnit * std::max(std::log2(n) - 2, 0.0);
        for (int run = 0; run < 16; ++run) {
            const auto p =
                static_cast<int32_t>(run == 0 ? 1 : signal.choose(static_cast<uint64_t>(n)));
            std::vector<double> x(at(n));
            x[at(p)] = 1.0;
            const std::vector<double> spectrum = tables.transform(x, kForward);
            for (int32_t k = 0; k <= n / 2; ++k) {
                const auto [re, im] = turn(p, k, n);
                const int32_t slot = k < n / 2 ? 2 * k : 1;
                ASSERT_NEAR(spectrum[at(slot)], static_cast<double>(re), tolerance) << n;
                if (0 < k && k < n / 2) {
                    ASSERT_NEAR(spectrum[at(slot + 1)], static_cast<double>(im), tolerance) << n;
                }
            }
            const std::vector<double> samples = tables.transform(x, kInverse);
            for (int32_t j = 0; j < n; ++j) {
                const Turn wave = turn(p < 2 ? p * n / 2 : p / 2, j, n);
                const auto expected =
                    static_cast<double>(p < 2 ? wave.re / 2 : (p % 2 == 0 ? wave.re : wave.im));
                ASSERT_NEAR(samples[at(j)], expected, tolerance) << n << ' ' << p << ' ' << j;
            }
        }
    }
}

TEST(RealFft, WorkedValues) {
    struct Case {
        int32_t sign;
        std::vector<double> in, out;
    };
    const double r = std::sqrt(0.5);
    const Case cases[] = {
        {-1, {1.0, 0.5}, {1.5, 0.5}},
        {1, {1.5, 0.5}, {1.0, 0.5}},
        {-1, {1, 0, 0, 0}, {1, 1, 1, 0}},
        {-1, {0, 1, 0, 0}, {1, -1, 0, 1}}, // X[1] = +i: the sign of the exponent
        {-1, {1, 2, 3, 4}, {10, -2, -2, -2}},
        {1, {10, -2, -2, -2}, {2, 4, 6, 8}},
        {0, {1, 0, 0, 0}, {0.5, 0.5, 0.5, 0.5}},
        {-2, {1, 2, 3, 4}, {10, -2, -2, -2}},
        {-1, {0, 1, 0, 0, 0, 0, 0, 0}, {1, -1, r, r, 0, 1, -r, r}},
    };
    Tables tables(8);
    for (const Case& c : cases) {
        EXPECT_EQ(tables.transform(c.in, c.sign), c.out);
    }
}

// The formulas, pass after pass and one number at a time: the order and grouping of every operation.
namespace plain {

struct Complex {
    double re, im;
};

Complex operator+(Complex a, Complex b) { return {a.re + b.re, a.im + b.im}; }
Complex operator-(Complex a, Complex b) { return {a.re - b.re, a.im - b.im}; }
Complex operator*(Complex t, Complex z) {
    return {t.re * z.re - t.im * z.im, t.re * z.im + t.im * z.re};
}
Complex operator*(double r, Complex z) { return {r * z.re, r * z.im}; }
Complex timesI(Complex z) { return {-z.im, z.re}; }

void stage(int32_t l, std::vector<Complex>& z, const double* w) {
    const auto n = static_cast<int32_t>(z.size());
    const auto twiddle = [&](int32_t r) { return Complex{w[2 * r], w[2 * r + 1]}; };
    for (int32_t b = 0; 4 * l * b < n; ++b) {
        for (int32_t j = 4 * l * b; j < 4 * l * b + l; ++j) {
            Complex& a0 = z[at(j)];
            Complex& a1 = z[at(j + l)];
            Complex& a2 = z[at(j + 2 * l)];
            Complex& a3 = z[at(j + 3 * l)];
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
std::vector<Complex> transform(const std::vector<Complex>& natural, const double* w) {
    const auto h = static_cast<int32_t>(natural.size());
    std::vector<Complex> z(natural.size());
    for (int32_t j = 0; j < h; ++j) {
        int32_t reversed = 0;
        for (int32_t bit = 1; bit < h; bit *= 2) {
            reversed = 2 * reversed + ((j & bit) != 0 ? 1 : 0);
        }
        z[at(reversed)] = natural[at(j)];
    }
    int32_t l = 1;
    for (; 4 * l <= h; l *= 4) {
        stage(l, z, w);
    }
    for (int32_t j = 0; 2 * l == h && j < l; ++j) {
        const Complex a = z[at(j)];
        const Complex b = z[at(j + l)];
        z[at(j)] = a + b;
        z[at(j + l)] = a - b;
    }
    return z;
}

std::vector<double> realFft(const std::vector<double>& in, int32_t sign, const int32_t* table,
                            const double* w) {
    const auto n = static_cast<int32_t>(in.size());
    const int32_t h = n / 2;
    const int32_t cosLen = table[1];
    const double* const c = w + table[0];
    const auto weight = [&](int32_t k) {
        const int32_t kk = k * (2 * cosLen / h);
        return Complex{0.5 - c[cosLen - kk], c[kk]};
    };
    std::vector<Complex> z(at(h));
    for (int32_t k = 0; k < h; ++k) {
        z[at(k)] = {in[at(2 * k)], in[at(2 * k + 1)]};
    }
    if (sign < 0) {
        if (n > 2) {
            z = transform(z, w);
        }
        for (int32_t k = 1; 2 * k < h; ++k) {
            Complex& near = z[at(k)];
            Complex& far = z[at(h - k)];
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
                Complex& near = z[at(k)];
                Complex& far = z[at(h - k)];
                const double xr = near.re - far.re;
                const double xi = near.im + far.im;
                const auto [wr, wi] = weight(k);
                const double yr = wr * xr + wi * xi;
                const double yi = wr * xi - wi * xr;
                near = {near.re - yr, yi - near.im};
                far = {far.re + yr, yi - far.im};
            }
            z[at(h / 2)].im = -z[at(h / 2)].im;
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

Trace trace(const std::vector<double>& values) {
    Trace result;
    result.add(values.data(), static_cast<int32_t>(values.size()));
    return result;
}

// On tables of its own length, which ends where the transform may look, and on the longest ones.
TEST(RealFft, KeepsTheBitsOfItsFormulas) {
    Tables longest(kLongest);
    Signal signal(3);
    for (int32_t n = 2; n <= kLongest; n *= 2) {
        Tables own(std::max(n, 8));
        for (const int exponent : {0, 0, 900, -1060}) {
            for (const int32_t rarity : {1, 4, n}) { // among zeros of either sign
                std::vector<double> x(at(n));
                signal.setScale(exponent);
                signal.fill(x.data(), n);
                for (double& value : x) {
                    if (signal.choose(static_cast<uint64_t>(rarity)) != 0) {
                        value = std::copysign(0.0, value);
                    }
                }
                for (const int32_t sign : {kForward, kInverse}) {
                    const Trace expected = trace(
                        plain::realFft(x, sign, longest.table.data(), longest.twiddles.data()));
                    EXPECT_EQ(trace(longest.transform(x, sign)), expected) << n << ' ' << sign;
                    EXPECT_EQ(trace(own.transform(x, sign)), expected) << n << ' ' << sign;
                }
            }
        }
    }
}

TEST(RealFft, WritesNothingBesideTheWorkArea) {
    const Tables fresh(kLongest);
    Tables tables = fresh;
    tables.table.resize(fresh.table.size() + 2);
    for (int32_t n = 2; n <= kLongest; n *= 2) {
        const int32_t mark = 0x5a5a5a5a;
        const int32_t workLen = n > 4 ? fftTableLen(n) - 2 : 0;
        std::fill(tables.table.begin() + 2, tables.table.end(), mark);
        for (const int32_t sign : {kForward, kInverse}) {
            tables.transform(std::vector<double>(at(n), 1.0), sign);
            EXPECT_EQ(tables.table[0], fresh.table[0]);
            EXPECT_EQ(tables.table[1], fresh.table[1]);
            EXPECT_TRUE(std::all_of(tables.table.begin() + 2 + workLen, tables.table.end(),
                                    [](int32_t value) { return value == mark; }));
            EXPECT_EQ(tables.twiddles, fresh.twiddles);
        }
    }
}

TEST(FftTables, HoldTheNearestDoubles) {
    double worst = 0.0; // in units of the last place
    const auto check = [&](double value, Quad exact) {
        const double ulp = std::nextafter(value, 2.0) - value;
        const auto error = std::abs(static_cast<double>(value - exact)) / ulp;
        worst = std::max(worst, error);
        return error <= 0.505;
    };
    for (int32_t nMax = 8; nMax <= kLongest; nMax *= 2) {
        const Tables tables(nMax);
        const int32_t area = nMax / 4;
        ASSERT_EQ(tables.table[0], area);
        ASSERT_EQ(tables.table[1], area);
        ASSERT_EQ(tables.twiddles.size(), at(2 * area));
        for (int32_t r = 0; r < area / 2; ++r) {
            int32_t reversed = 0;
            for (int32_t bit = 1; bit < area / 2; bit *= 2) {
                reversed = 2 * reversed + ((r & bit) != 0 ? 1 : 0);
            }
            const auto [re, im] = turn(reversed, 1, 2 * area);
            EXPECT_TRUE(check(tables.twiddles[at(2 * r)], re)) << nMax << ' ' << r;
            EXPECT_TRUE(check(tables.twiddles[at(2 * r + 1)], im)) << nMax << ' ' << r;
        }
        for (int32_t j = 1; j < area; ++j) {
            const Quad exact = turn(j, 1, nMax).re / 2;
            EXPECT_TRUE(check(tables.twiddles[at(area + j)], exact)) << nMax << ' ' << j;
        }
    }
    std::printf("worst table value: %.4f ulp\n", worst);
}

TEST(FftTables, RefuseWhatTheTransformCannotUse) {
    int32_t table[8] = {7};
    double twiddles[8] = {7.0};
    for (const int32_t nMax : {INT32_MIN, -8, 0, 1, 2, 4, 7, 12, INT32_MAX}) {
        EXPECT_EQ(fftTableLen(nMax), STS_BAD_SIZE) << nMax;
        EXPECT_EQ(fftTwiddlesLen(nMax), STS_BAD_SIZE) << nMax;
        EXPECT_EQ(fillFftTables(nMax, table, twiddles), STS_BAD_SIZE) << nMax;
    }
    EXPECT_EQ(fillFftTables(16, nullptr, twiddles), STS_NULL_PTR);
    EXPECT_EQ(fillFftTables(16, table, nullptr), STS_NULL_PTR);
    EXPECT_EQ(table[0], 7);
    EXPECT_EQ(twiddles[0], 7.0);
    for (const auto& [nMax, workLen] :
         {std::pair(8, 1), {16, 2}, {32, 2}, {64, 4}, {128, 4}, {1024, 16}, {1 << 30, 1 << 14}}) {
        EXPECT_EQ(fftTableLen(nMax), 2 + workLen) << nMax;
    }
}

} // namespace
