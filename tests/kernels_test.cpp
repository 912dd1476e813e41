// The exported kernels and the inline ones that the families use.
#include "frame/kernels.h"
#include "frame/subnormal.h"
#include "heap.h"
#include "signals.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <vector>

using namespace merlo;

namespace {

TEST(Kernels, NextPow2CountsTheExponent) {
    EXPECT_EQ(nextPow2(INT64_MIN), STS_BAD_SIZE);
    EXPECT_EQ(nextPow2(-1), STS_BAD_SIZE);
    EXPECT_EQ(nextPow2(0), 0);
    EXPECT_EQ(nextPow2(1), 0);
    for (int32_t exponent = 1; exponent < 63; ++exponent) {
        EXPECT_EQ(nextPow2(int64_t{1} << exponent), exponent);
        EXPECT_EQ(nextPow2((int64_t{1} << exponent) + 1), exponent + 1);
    }
    EXPECT_EQ(nextPow2(INT64_MAX), 63);
}

TEST(Kernels, FillBitPatternsWithinBounds) {
    for (double value : {1.5, -0.0, std::bit_cast<double>(0x7ff4000000000001)}) {
        double buf[] = {9, 9, 9, 9};
        EXPECT_EQ(set64f(value, buf, 0), STS_OK);
        EXPECT_EQ(set64f(value, buf, -1), STS_OK);
        EXPECT_EQ(buf[0], 9);
        EXPECT_EQ(set64f(value, buf, 3), STS_OK);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(bits(buf[i]), bits(value));
        }
        EXPECT_EQ(reset64f(buf, -1), STS_OK);
        EXPECT_EQ(reset64f(buf, 2), STS_OK);
        EXPECT_EQ(bits(buf[1]), 0u);
        EXPECT_EQ(bits(buf[2]), bits(value));
        EXPECT_EQ(buf[3], 9);
    }
}

// The library clears arrays of more bytes than 32 bits count.
TEST(Kernels, ResetsLargeArraysWhole) {
#ifdef __s390x__
    constexpr bool isCalled = false; // gcc has an instruction for it
#else
    constexpr bool isCalled = !SANITIZED;
#endif
    if (!isCalled || sizeof(size_t) == 4) {
        GTEST_SKIP() << "memset is not called, or 32 bits count no such arrays";
    }
    double values[2] = {1.0, 2.0};
    heap::catchMemset();
    EXPECT_EQ(reset64f(values, INT32_MAX), STS_OK);
    EXPECT_EQ(heap::caughtBytes(), 8 * uint64_t{INT32_MAX});
    EXPECT_EQ(values[1], 2.0);
}

TEST(Kernels, WorkElementByElement) {
    double a[] = {1, 2, 3, 50};
    double b[] = {10, 20, 30, 60};
    double out[] = {0, 0, 0, 70};
    EXPECT_EQ(sub64f(a, b, out, 3), STS_OK);
    EXPECT_EQ(std::vector(out, out + 4), (std::vector<double>{9, 18, 27, 70}));
    EXPECT_EQ(addIp64f(a, b, 3), STS_OK);
    EXPECT_EQ(std::vector(b, b + 4), (std::vector<double>{11, 22, 33, 60}));
    EXPECT_EQ(scaleIp64f(2, a, 3), STS_OK);
    EXPECT_EQ(std::vector(a, a + 4), (std::vector<double>{2, 4, 6, 50}));
    EXPECT_EQ(smooth64f(10, a, 0.5, b, 3), STS_OK);
    EXPECT_EQ(std::vector(b, b + 4), (std::vector<double>{25.5, 51, 76.5, 60}));
    EXPECT_EQ(copy64f(a, b, 2), STS_OK);
    EXPECT_EQ(std::vector(b, b + 4), (std::vector<double>{2, 4, 76.5, 60}));
    EXPECT_EQ(insertSampleLinBuf64f(7, b, 3), STS_OK);
    EXPECT_EQ(std::vector(b, b + 4), (std::vector<double>{7, 2, 4, 60}));
    EXPECT_EQ(insertSampleLinBuf64f(8, b, 1), STS_OK);
    EXPECT_EQ(insertSampleLinBuf64f(9, b, 2), STS_OK);
    EXPECT_EQ(std::vector(b, b + 4), (std::vector<double>{9, 8, 4, 60}));
    EXPECT_EQ(addIp64f(b, b, 3), STS_OK);
    EXPECT_EQ(std::vector(b, b + 4), (std::vector<double>{18, 16, 8, 60}));
}

TEST(Kernels, RefuseNullArraysAndWriteNothing) {
    double a[] = {1};
    EXPECT_EQ(reset64f(nullptr, 0), STS_NULL_PTR);
    EXPECT_EQ(set64f(3, nullptr, 0), STS_NULL_PTR);
    EXPECT_EQ(insertSampleLinBuf64f(3, nullptr, 1), STS_NULL_PTR);
    EXPECT_EQ(scaleIp64f(3, nullptr, 1), STS_NULL_PTR);
    EXPECT_EQ(addIp64f(nullptr, a, 1), STS_NULL_PTR);
    EXPECT_EQ(addIp64f(a, nullptr, 1), STS_NULL_PTR);
    EXPECT_EQ(copy64f(nullptr, a, 1), STS_NULL_PTR);
    EXPECT_EQ(copy64f(a, nullptr, 1), STS_NULL_PTR);
    EXPECT_EQ(smooth64f(3, nullptr, 3, a, 1), STS_NULL_PTR);
    EXPECT_EQ(smooth64f(3, a, 3, nullptr, 1), STS_NULL_PTR);
    EXPECT_EQ(sub64f(nullptr, a, a, 1), STS_NULL_PTR);
    EXPECT_EQ(sub64f(a, nullptr, a, 1), STS_NULL_PTR);
    EXPECT_EQ(sub64f(a, a, nullptr, 1), STS_NULL_PTR);
    EXPECT_EQ(a[0], 1);
}

// The ring kernels compared with the definition, for every head and every number of taps of short lines.
TEST(Kernels, RingDotProductsFollowTheirDefinition) {
    Signal signal(3);
    for (int32_t lineLen : {1, 2, 5, 11}) {
        for (int32_t n = 0; n <= lineLen; ++n) {
            for (int32_t head = 0; head < lineLen; ++head) {
                std::vector<double> line(static_cast<size_t>(lineLen));
                std::vector<double> coef(static_cast<size_t>(n) + 1);
                signal.fill(line.data(), lineLen);
                signal.fill(coef.data(), n);
                const double x = signal.next();
                std::vector<double> after = line;
                after[static_cast<size_t>(head)] = x;
                double forward = 0.0;
                double backward = 0.0;
                for (int32_t k = 0; k < n; ++k) {
                    const double sample = after[static_cast<size_t>((head + k) % lineLen)];
                    forward += sample * coef[static_cast<size_t>(k)];
                    backward += sample * coef[static_cast<size_t>(n - 1 - k)];
                }
                using Kernel = double(double, double*, const double*, int32_t, int32_t, int32_t*);
                Kernel* const kernels[] = {insertDotCirc64f<chainDot>,
                                           insertDotCirc64f<chainDotSettled>, insertDotCircRev64f};
                for (Kernel* kernel : kernels) {
                    std::vector<double> copy = line;
                    int32_t position = head;
                    const double sum = kernel(x, copy.data(), coef.data(), lineLen, n, &position);
                    EXPECT_EQ(bits(sum), bits(kernel == kernels[2] ? backward : forward));
                    EXPECT_EQ(position, (head + lineLen - 1) % lineLen);
                    EXPECT_EQ(copy, after);
                }
            }
        }
    }
}

template <class V>
std::vector<double> computedInPairs() {
    double values[8] = {3.0, -5.0, 0.5, 2.0};
    const V a = load<V>(values);
    const V b = load<V>(values + 2);
    V sum = all<V>(1.0);
    sum += a * b - a / b + -b;
    sum[1] = sum[1] + 0.25;
    V rows[] = {sum, backwards(a)};
    transpose(rows);
    store(rows[0], values);
    store(rows[1], values + 2);
    store(behind(a, b), values + 4);
    store(2.0 * b, values + 6);
    return {values, values + 8};
}

// Processors without vectors compute with two scalars.
TEST(Kernels, ScalarPairsComputeAsVectorsDo) {
    const std::vector<double> expected = {-4.0, -5.0, -8.25, 3.0, -5.0, 0.5, 1.0, 4.0};
    EXPECT_EQ(computedInPairs<Pair>(), expected);
    EXPECT_EQ(computedInPairs<ScalarPair>(), expected);
}

// The integer product for running powers below the normal range, compared with the processor's product.
TEST(Kernels, SubnormalPowersDecayWithTheSameBits) {
    Signal signal(9);
    for (double factor :
         {0.5, 0.75, 0.99, double{0.99f}, double{0.98f}, std::nextafter(1.0, 0.0)}) {
        for (int i = 0; i < 2000; ++i) {
            const uint64_t significand = signal.choose(uint64_t{1} << 52) >> signal.choose(53);
            const double value = std::bit_cast<double>(significand);
            ASSERT_TRUE(isSubnormalOrZero(value));
            ASSERT_EQ(bits(scaleSubnormal(factor, value)), bits(factor * value)) << factor << value;
        }
    }
    EXPECT_FALSE(isSubnormalOrZero(std::numeric_limits<double>::min()));
    EXPECT_FALSE(isSubnormalOrZero(-0.0));
}

} // namespace
