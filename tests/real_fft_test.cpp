// The transform, compared with its definition in quadruple precision and bit for bit with its formulas; its
// tables.
#include "exact_tables.h"
#include "fft_tables.h"
#include "plain/real_fft.h"
#include "signals.h"
#include "transform/real_fft.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <utility>

namespace {

using merlo::realFft64f;

constexpr int32_t kLongest = 8192;
constexpr int32_t kForward = -1, kInverse = 1;
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

std::vector<double> white(Signal& signal, int32_t n) {
    std::vector<double> x(at(n));
    signal.fill(x.data(), n);
    return x;
}

// cos(2 pi k / n), the zeros exactly, from the power series
Quad exactCosine(int64_t k, int32_t n) {
    static const std::vector<Quad> cosines = [] {
        // pi in three doubles
        const Quad pi = static_cast<Quad>(0x1.921fb54442d18p1) +
                        static_cast<Quad>(0x1.1a62633145c07p-53) +
                        static_cast<Quad>(-0x1.f1976b7ed8fbcp-109);
        std::vector<Quad> c(at(kLongest), 0);
        for (int32_t i = 0; i < kLongest; ++i) {
            const Quad angle = 2 * pi * (i < kLongest / 2 ? i : i - kLongest) / kLongest;
            Quad term = 1;
            for (int m = 1; m < 70; m += 2) {
                c[at(i)] += term;
                term *= -angle * angle / (m * (m + 1));
            }
        }
        c[at(kLongest / 4)] = c[at(3 * kLongest / 4)] = 0;
        return c;
    }();
    return cosines[at(static_cast<int32_t>(k % n) * (kLongest / n))];
}

// The weight of sample j in a slot of the packed spectrum: the cosine or sine of 2 pi j k / n.
Quad wave(int32_t slot, int64_t j, int32_t n) {
    const int32_t k = slot < 2 ? slot * n / 2 : slot / 2;
    const int32_t quarter = slot > 2 && slot % 2 == 1 ? 3 * n / 4 : 0;
    return exactCosine(j * k + quarter, n);
}

Quad exactValue(const std::vector<double>& in, int32_t out, int32_t sign) {
    const auto n = static_cast<int32_t>(in.size());
    Quad sum = 0;
    for (int32_t i = 0; i < n; ++i) {
        if (in[at(i)] != 0.0) {
            sum += in[at(i)] * (sign < 0 ? wave(out, i, n) : wave(i, out, n) / (i < 2 ? 2 : 1));
        }
    }
    return sum;
}

// White noise, and impulses, whose spectra show single factors. Noise of more than 512 points is evaluated
// at some of the points only.
TEST(RealFft, IsAsAccurateAsItsDefinitionAllows) {
    if (sizeof(Quad) == sizeof(double)) {
        GTEST_SKIP() << "no wider type to compare with";
    }
    Tables tables(kLongest);
    Signal signal(1);
    for (int32_t n = 2; n <= kLongest; n *= 2) {
        const double bound = kUnit * std::sqrt(std::log2(n));
        const double each = 4 * kUnit * std::max(std::log2(n) - 2, 0.0); // value of an impulse
        for (const bool impulse : {false, true}) {
            for (const int32_t sign : {kForward, kInverse}) {
                double errors = 0.0, values = 0.0;
                for (int32_t run = 0; run < std::max(impulse ? 16 : 1024 / n, 1); ++run) {
                    std::vector<double> in = white(signal, n);
                    if (impulse) {
                        in.assign(at(n), 0.0);
                        in[run == 0 ? 1 : signal.choose(in.size())] = 1.0;
                    }
                    const std::vector<double> out = tables.transform(in, sign);
                    for (int32_t i = 0; i < n; i += impulse ? 1 : std::max(n / 512 * 8 - 1, 1)) {
                        const Quad exact = exactValue(in, i, sign);
                        const auto error = static_cast<double>(out[at(i)] - exact);
                        const auto rounded = static_cast<double>(exact);
                        ASSERT_TRUE(!impulse || std::fabs(out[at(i)] - rounded) <= each)
                            << n << ' ' << i;
                        errors += error * error;
                        values += static_cast<double>(exact * exact);
                    }
                }
                const double relative = std::sqrt(errors / values) / bound;
                std::printf("n %4d, %s, sign %2d: %.2f of u sqrt(log2 n)\n", n,
                            impulse ? "impulses" : "noise", sign, relative);
                EXPECT_LE(relative, 1.0);
            }
        }
    }
}

TEST(RealFft, IsLinearAndObeysTheShiftTheorem) {
    Tables tables(kLongest);
    Signal signal(2);
    for (int32_t n = 2; n <= kLongest; n *= 2) {
        for (const int32_t shift : {0, 1, n / 2, n - 1}) {
            const std::vector<double> x = white(signal, n);
            const std::vector<double> y = white(signal, n);
            std::vector<double> both = x;
            for (int32_t j = 0; j < n; ++j) {
                both[at(j)] -= 2.0 * y[at((j + shift) % n)];
            }
            const std::vector<double> ofX = tables.transform(x, kForward);
            const std::vector<double> ofY = tables.transform(y, kForward);
            const std::vector<double> ofBoth = tables.transform(both, kForward);
            for (int32_t i = 0; i < n; ++i) {
                Quad turned = ofY[at(i)] * wave(i < 2 ? i : i & ~1, shift, n);
                if (i >= 2) {
                    turned += (i % 2 == 0 ? 1 : -1) * ofY[at(i ^ 1)] * wave(i | 1, shift, n);
                }
                ASSERT_NEAR(ofBoth[at(i)], static_cast<double>(ofX[at(i)] - 2 * turned),
                            16 * kUnit * std::sqrt(n) * std::log2(2 * n));
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

Trace trace(const std::vector<double>& values) {
    Trace result;
    result.add(values.data(), static_cast<int32_t>(values.size()));
    return result;
}

// With tables of the transform's own length, so that reading past them is found, and with the longest tables,
// whose work area it may write in part. In tables of a host the sines may differ in the last place from the
// equal cosines, and the two areas may differ in length.
TEST(RealFft, HasTheBitsOfItsFormulas) {
    const auto tables = [](int32_t longestLen) {
        Tables made(longestLen);
        skew(made);
        return made;
    };
    const Tables fresh = tables(kLongest);
    Signal signal(3);
    for (int32_t n = 2; n <= kLongest; n *= 2) {
        Tables own = tables(std::max(n, 8));
        Tables longest = fresh;
        longest.table.resize(fresh.table.size() + 2);
        std::fill(longest.table.begin() + 2, longest.table.end(), 7);
        for (const int exponent : {0, 0, 900, -1060}) {
            for (const int32_t rarity : {1, 4, n}) { // among zeros of either sign
                signal.setScale(exponent);
                std::vector<double> x = white(signal, n);
                for (double& value : x) {
                    if (signal.choose(static_cast<uint64_t>(rarity)) != 0) {
                        value = std::copysign(0.0, value);
                    }
                }
                for (const int32_t sign : {kForward, kInverse}) {
                    std::vector<double> plainly = x;
                    plain::realFft64f(n, sign, plainly.data(), fresh.table.data(),
                                      fresh.twiddles.data());
                    const Trace expected = trace(plainly);
                    EXPECT_EQ(trace(longest.transform(x, sign)), expected) << n << ' ' << sign;
                    EXPECT_EQ(trace(own.transform(x, sign)), expected) << n << ' ' << sign;
                }
            }
        }
        const auto workEnd = longest.table.begin() + (n > 4 ? fftTableLen(n) : 2);
        EXPECT_TRUE(
            std::equal(fresh.table.begin(), fresh.table.begin() + 2, longest.table.begin()));
        EXPECT_TRUE(std::all_of(workEnd, longest.table.end(), [](int32_t v) { return v == 7; }));
        EXPECT_EQ(longest.twiddles, fresh.twiddles);
    }
}

// Longer than any of the tables above, and both kinds of bit reversal.
TEST(RealFft, HasTheBitsOfItsFormulasAtGreatLength) {
    Signal signal(4);
    for (const int32_t n : {1 << 14, 1 << 15, 1 << 20}) {
        Tables tables(n);
        const std::vector<double> x = white(signal, n);
        for (const int32_t sign : {kForward, kInverse}) {
            std::vector<double> plainly = x;
            plain::realFft64f(n, sign, plainly.data(), tables.table.data(), tables.twiddles.data());
            EXPECT_EQ(trace(tables.transform(x, sign)), trace(plainly)) << n << ' ' << sign;
        }
    }
}

TEST(FftTables, HoldTheNearestDoubles) {
    if (sizeof(Quad) == sizeof(double)) {
        GTEST_SKIP() << "no wider type to compare with";
    }
    for (int32_t nMax = 8; nMax <= kLongest; nMax *= 2) {
        const Tables tables(nMax);
        const int32_t area = nMax / 4;
        ASSERT_EQ(tables.table[0], area);
        ASSERT_EQ(tables.table[1], area);
        ASSERT_EQ(tables.twiddles.size(), at(2 * area));
        int32_t reversed = 0; // i / 2 with its bits in reverse order
        for (int32_t i = 0; i < 2 * area; ++i) {
            const int32_t angle = reversed + i % 2 * 3 * area / 2;
            reversed = i % 2 == 0 ? reversed : plain::nextReversed(reversed, area / 2);
            const Quad exact = i < area    ? exactCosine(angle, 2 * area)
                               : i == area ? tables.twiddles[at(i)] // never read
                                           : exactCosine(i - area, nMax) / 2;
            EXPECT_EQ(tables.twiddles[at(i)], static_cast<double>(exact)) << nMax << ' ' << i;
        }
    }
}

TEST(FftTables, AreTheSameOnEveryMachine) {
    uint64_t digest = 0xcbf29ce484222325; // FNV-1a over the words
    for (const double value : Tables(1 << 20).twiddles) {
        digest = (digest ^ std::bit_cast<uint64_t>(value)) * 0x100000001b3;
    }
    EXPECT_EQ(digest, 12076013271301038583U);
}

TEST(FftTables, RefuseInvalidLengths) {
    int32_t table[8] = {7};
    double twiddles[8] = {7.0};
    for (const int32_t nMax : {INT32_MIN, -8, 0, 1, 2, 4, 7, 12, INT32_MAX}) {
        EXPECT_EQ(fftTableLen(nMax), STS_BAD_SIZE) << nMax;
        EXPECT_EQ(fftTwiddlesLen(nMax), STS_BAD_SIZE) << nMax;
        EXPECT_EQ(fillFftTables(nMax, table, twiddles), STS_BAD_SIZE) << nMax;
    }
    EXPECT_EQ(fillFftTables(16, nullptr, twiddles), STS_NULL_PTR);
    EXPECT_EQ(fillFftTables(16, table, nullptr), STS_NULL_PTR);
    EXPECT_EQ(fillFftTables(12, nullptr, nullptr), STS_BAD_SIZE);
    EXPECT_EQ(table[0], 7);
    EXPECT_EQ(twiddles[0], 7.0);
    for (int32_t exponent = 3; exponent <= 30; ++exponent) { // 2^ceil((exponent - 3) / 2)
        const int32_t nMax = 1 << exponent;
        EXPECT_EQ(fftTableLen(nMax), 2 + (1 << (exponent - 2) / 2)) << nMax;
        EXPECT_EQ(FFT_TABLE_LEN(nMax + 1), 2 + (1 << (exponent - 1) / 2)) << nMax;
        EXPECT_EQ(fftTwiddlesLen(nMax), nMax / 2) << nMax;
    }
}

} // namespace
