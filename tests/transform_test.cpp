// The filters that adapt in the frequency domain, compared with the same filters in the time domain.
#include "heap.h"
#include "record.h"
#include "transform/packed_spectrum.h"
#include "transform/real_fft.h"

#include <numbers>

namespace {

const auto& tables = Lent::tables;

void expectNear(const Values& actual, const Values& expected, double tolerance) {
    ASSERT_EQ(actual.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        ASSERT_NEAR(actual[i], expected[i], tolerance) << "element " << i;
    }
}

// All fftLen time-domain positions of a spectrum of the record.
template <class State>
Values inTime(const State& s, const double* spectrum) {
    Values x(spectrum, spectrum + s.fftLen);
    merlo::realFft64f(s.fftLen, 1, x.data(), s.fftTable, s.fftTwiddles);
    std::for_each(x.begin(), x.end(), [&](double& v) { v *= s.invScale; });
    return x;
}

// v through the circular filter that divides each bin by its power.
Values divided(const Values& v, const double* power) {
    const auto n = static_cast<int32_t>(v.size());
    Values out(n);
    for (int32_t lag = 0; lag < n; ++lag) {
        double g = 0.0;
        for (int32_t k = 0; k < n; ++k) {
            g += std::cos(2 * std::numbers::pi * (lag * k % n) / n) /
                 (power[std::min(k, n - k)] + 1e-6);
        }
        for (int32_t i = 0; i < n; ++i) {
            out[(i + lag) % n] += g / n * v[i];
        }
    }
    return out;
}

// The output by the positions of every part, each a block further back than the one before; their step by
// the correlation of error and frame.
template <class F>
void followsItsFormulas() {
    for (Shape p :
         {Shape{2, 1, 2}, {4, 4, 3}, {4, 2, 3}, {2, 3, 2}, {1, 8, 2}, {3, 5, 1}, {12, 8, 2}}) {
        for (p.constrained = 0; p.constrained < 2; ++p.constrained) {
            SCOPED_TRACE(testing::Message()
                         << p.order << ' ' << p.blockLen << ' ' << p.constrained);
            p.parts = std::is_same_v<F, Bfdaf> ? 1 : p.parts;
            Record<F> record(p);
            const auto& s = record.state;
            const int32_t n = s.fftLen;
            const auto positions = [&](int32_t part) { return inTime(s, s.coef + part * n); };
            Signal signal(3);
            Values x(p.blockLen), d(x), y(x), e(x), past(n + p.blockLen * p.parts);
            for (int block = 0; block < 12; ++block) {
                signal.fill(x.data(), p.blockLen);
                signal.fill(d.data(), p.blockLen);
                past.insert(past.end(), x.begin(), x.end());
                Values output(p.blockLen);
                std::vector<Values> before;
                const auto frame = [&](int32_t part, int32_t i) { // its last blockLen are a block
                    return past[past.size() - n - part * p.blockLen + (i + n) % n];
                };
                for (int32_t part = 0; part < p.parts; ++part) {
                    before.push_back(positions(part));
                    for (int32_t i = 0; i < p.blockLen * n; ++i) {
                        const int32_t t = i / n;
                        output[t] += before[part][i % n] * frame(part, n - p.blockLen + t - i % n);
                    }
                }
                if constexpr (std::is_same_v<F, Bfdaf>) {
                    bfdaf64fFilterUpdate(&record.state, x.data(), d.data(), y.data(), e.data());
                } else {
                    pbfdaf64fFilterUpdate(&record.state, x.data(), d.data(), y.data(), e.data());
                }
                expectNear(y, output, 1e-12);
                for (int32_t part = 0; part < p.parts; ++part) {
                    Values step(n);
                    for (int32_t i = 0; i < n * p.blockLen; ++i) {
                        const int32_t t = i % p.blockLen;
                        step[i / p.blockLen] += p.rate * (d[t] - y[t]) *
                                                frame(part, n - p.blockLen + t - i / p.blockLen);
                    }
                    step = divided(step, s.powerAvg);
                    std::fill(step.begin() + (p.constrained != 0 ? p.order : n), step.end(), 0.0);
                    const Values after = positions(part);
                    for (int32_t i = 0; i < n; ++i) {
                        ASSERT_NEAR(after[i] - before[part][i], step[i], 1e-12);
                    }
                }
            }
        }
    }
}

TEST(Bfdaf, FollowsItsFormulas) { followsItsFormulas<Bfdaf>(); }
TEST(Pbfdaf, FollowsItsFormulas) { followsItsFormulas<Pbfdaf>(); }

// The same for the filter of fftLen taps that moves on by a sample.
TEST(Tdlms, FollowsItsFormulas) {
    for (int32_t order : {3, 4, 5, 6, 9, 17, 32}) {
        Record<Tdlms> record(order);
        const auto& s = record.state;
        const int32_t n = s.fftLen;
        EXPECT_EQ(n, order == 3 ? 2 : order <= 5 ? 4 : order <= 9 ? 8 : order <= 17 ? 16 : 32);
        Signal signal(5);
        History line(n);
        for (int i = 0; i < 60; ++i) {
            const double d = signal.next();
            line.push(signal.next());
            const Values before = inTime(s, s.coef);
            const double y = n * dot(before, line);
            ASSERT_NEAR(tdlms64fFilterUpdate(&record.state, line[0], d), y, 1e-12);
            const Values step = divided(line, s.powerAvg);
            const Values after = inTime(s, s.coef);
            for (int32_t k = 0; k < n; ++k) {
                ASSERT_NEAR(after[k] - before[k], s.mu * (d - y) * step[k], 1e-12);
            }
        }
    }
}

// The constraint works on several partitions at once where the transform is short and the taps are half of
// it at most; the remaining partitions are done one by one. The lengths are the limits of that and their
// neighbours.
TEST(Pbfdaf, ConstrainsAnyNumberOfPartitions) {
    struct {
        std::vector<int32_t> table{std::begin(Lent::tables.table), std::end(Lent::tables.table)};
        std::vector<double> twiddles{std::begin(Lent::tables.twiddles),
                                     std::end(Lent::tables.twiddles)};
    } skewed;
    skew(skewed);
    Lent lent;
    lent.table[0] = skewed.table[0];
    lent.twiddles = skewed.twiddles.data();
    for (const auto& [order, blockLen] : {std::pair(5, 4),
                                          {8, 9},
                                          {13, 12},
                                          {16, 17},
                                          {17, 16},
                                          {32, 32},
                                          {31, 90},
                                          {32, 225},
                                          {32, 226},
                                          {3, 510},
                                          {32, 1}}) {
        for (int32_t partitions = 1; partitions <= 9; ++partitions) {
            SCOPED_TRACE(testing::Message() << order << ' ' << blockLen << ' ' << partitions);
            const Shape shape{order, blockLen, partitions};
            Record<Pbfdaf> record(shape, Memory::kHeap, lent);
            Model<Pbfdaf> model(shape, lent);
            Signal signal(7), again(7);
            Trace actual, expected;
            for (int block = 0; block < 3; ++block) {
                Pbfdaf::operations()[0].library(&record.state, signal, actual, 0);
                Pbfdaf::operations()[0].plain(&model.state, again, expected, 0);
                model.compare(record.state);
            }
            EXPECT_TRUE(actual == expected);
        }
    }
}

// The response to an impulse where the parts join, where they overlap and where they leave gaps.
TEST(Pbfdaf, PartsJoinOverlapAndLeaveGaps) {
    const struct {
        int32_t order, blockLen;
        Values taps, response;
    } cases[] = {{2, 2, {1, 2, 3, 4}, {1, 2, 3, 4, 0, 0}},
                 {4, 2, {1, 2, 3, 4, 10, 20, 30, 40}, {1, 2, 13, 24, 30, 40, 0, 0}},
                 {2, 3, {1, 2, 3, 4}, {1, 2, 0, 3, 4, 0, 0, 0, 0}}};
    for (const auto& c : cases) {
        Record<Pbfdaf> record(Shape{c.order, c.blockLen, 2});
        pbfdaf64fState& state = record.state;
        const auto length = static_cast<int32_t>(c.taps.size());
        ASSERT_EQ(pbfdaf64fSetCoef(&state, c.taps.data(), 0, length, 0), length);
        for (size_t i = 0; i < c.response.size(); i += c.blockLen) {
            Values x(c.blockLen);
            x[0] = i == 0 ? 1.0 : 0.0;
            ASSERT_EQ(pbfdaf64fFilterOnly(&state, x.data(), x.data()), STS_OK); // in place
            const auto at = c.response.begin() + static_cast<ptrdiff_t>(i);
            expectNear(x, Values(at, at + c.blockLen), 1e-13);
        }
    }
}

TEST(Transforms, RefuseSizesThatFitNoTransform) {
    double buffers[2][8] = {{5}, {6}};
    const int calls = heap::calls();
    Lent lent;
    int32_t* const table = lent.table;
    const double* const twiddles = tables.twiddles;
    bfdaf64fState bf;
    pbfdaf64fState pb;
    tdlms64fState td;
    EXPECT_EQ(bfdaf64fInit(&bf, 1, 1, 0.1, 0, table, twiddles), STS_BAD_SIZE);
    EXPECT_EQ(bfdaf64fInitStatic(&bf, 1, 1, 0.1, 0, buffers[0], buffers[1], table, twiddles),
              STS_BAD_SIZE);
    EXPECT_EQ(bfdaf64fInit(&bf, 4, 1 << 30, 0.1, 0, table, twiddles), STS_BAD_SIZE);
    EXPECT_EQ(bfdaf64fInit(&bf, 4, INT32_MAX, 0.1, 0, table, twiddles), STS_BAD_SIZE);
    EXPECT_EQ(bfdaf64fInit(&bf, 4, (1 << 30) - 2, 0.1, 0, table, twiddles), STS_BAD_SIZE);
    EXPECT_EQ(bfdaf64fInit(&bf, 0, 0, 0.1, 0, nullptr, twiddles), STS_NULL_PTR);
    EXPECT_EQ(bfdaf64fInit(&bf, 0, 0, 0.1, 0, table, nullptr), STS_NULL_PTR);
    EXPECT_EQ(bfdaf64fInit(&bf, 4, 0, 0.1, 0, table, twiddles), STS_BAD_SIZE);
    EXPECT_EQ(bf.order, 0);
    EXPECT_EQ(pbfdaf64fInit(&pb, 1, 1, 5, 0.1, 0, table, twiddles), STS_BAD_SIZE);
    EXPECT_EQ(pbfdaf64fInit(&pb, 4, 5, 1 << 28, 0.1, 0, table, twiddles), STS_BAD_SIZE);
    EXPECT_EQ(pbfdaf64fInit(&pb, 4, 5, 0, 0.1, 0, table, twiddles), STS_BAD_SIZE);
    EXPECT_EQ(pbfdaf64fInit(&pb, 4, 5, 0, 0.1, 0, table, nullptr), STS_NULL_PTR);
    EXPECT_EQ(pbfdaf64fInit(&pb, 4, 5, 0, 0.1, 0, nullptr, twiddles), STS_NULL_PTR);
    EXPECT_EQ(pb.order, 0);
    for (int32_t order : {2, 1, 0, -1, INT32_MIN}) {
        td.order = 9;
        EXPECT_EQ(tdlms64fInit(&td, order, 0.1, table, twiddles), STS_BAD_SIZE);
        EXPECT_EQ(td.order, 0);
        EXPECT_EQ(tdlms64fInit(&td, order, 0.1, table, nullptr), STS_NULL_PTR);
        EXPECT_EQ(tdlms64fInit(&td, order, 0.1, nullptr, twiddles), STS_NULL_PTR);
    }
    EXPECT_EQ(heap::calls(), calls);
    // the largest that fit their fields, if they fit the address space too
    const int32_t status = sizeof(void*) == 4 ? STS_BAD_SIZE : STS_NO_MEMORY;
    for (const bool partitioned : {false, true}) {
        heap::failAt(1);
        EXPECT_EQ(partitioned ? pbfdaf64fInit(&pb, 4, 5, (1 << 28) - 1, 0.1, 0, table, twiddles)
                              : bfdaf64fInit(&bf, 4, (1 << 30) - 3, 0.1, 0, table, twiddles),
                  status);
        EXPECT_EQ(heap::calls() > calls, status == STS_NO_MEMORY);
        heap::failAt(0);
    }
    EXPECT_EQ(buffers[0][0], 5);
}

TEST(Tdlms, HandWorkedValues) {
    Record<Tdlms> record(4);
    tdlms64fState& state = record.state;
    state.mu = 0.5;
    const Values taps = {1, 2, 3, 4};
    ASSERT_EQ(tdlms64fSetCoef(&state, taps.data(), 0, 4, 0), 4);
    EXPECT_EQ(Values(state.coef, state.coef + 4), (Values{2.5, -0.5, -0.5, -0.5}));
    for (double expected : {1.0, 2.0, 3.0, 4.0, 0.0}) {
        EXPECT_NEAR(tdlms64fFilterOnly(&state, expected == 1.0 ? 1.0 : 0.0), expected, 1e-14);
    }
    tdlms64fReset(&state);
    std::fill_n(state.powerAvg, 3, 1.0);
    EXPECT_EQ(tdlms64fFilterUpdate(&state, 1.0, 2.0), 0.0);
    EXPECT_EQ(state.powerAvg[1], 1.0000000186264515);
    double tap;
    EXPECT_EQ(tdlms64fGetCoef(&state, &tap, 0, 1, 0), 1);
    EXPECT_NEAR(tap, 4 / (1.0000000186264515 + 9.999999974752427e-07), 1e-14);
}

TEST(PackedSpectrum, KeepsTheTwoRealBinsApart) {
    double spec[] = {3, 5, 1, 2, 77};
    double power[] = {0, 0, 0, 88};
    merlo::powerSpecPacked64f(spec, power, 3);
    EXPECT_EQ(Values(power, power + 4), (Values{9, 25.0 - 20, 25, 88}));
    double out[] = {0, 0, 0, 0, 66};
    merlo::mulPacked64f(spec, spec, out, 3);
    EXPECT_EQ(Values(out, out + 5), (Values{9, 25, -3, 4, 66}));
    merlo::macPacked64f(spec, spec, out, 3);
    EXPECT_EQ(Values(out, out + 5), (Values{18, 50, -6, 8, 66}));
    merlo::conjPacked64f(spec, out, 3);
    merlo::conjPackedIp64f(spec, 3);
    EXPECT_EQ(Values(spec, spec + 5), (Values{3, 5, 1, -2, 77}));
    EXPECT_EQ(Values(out, out + 4), Values(spec, spec + 4));
    merlo::macConjPacked64f(spec, spec, out, 3); // 3 + 9, 5 + 25, (1 - 2i) + (1 - 2i) (1 + 2i)
    EXPECT_EQ(Values(out, out + 5), (Values{12, 30, 6, -2, 66}));
    merlo::scaleCplxIp64f(2, spec, 2);
    EXPECT_EQ(Values(spec, spec + 5), (Values{6, 10, 2, -4, 77}));
    const double divisors[] = {1, 2, 3};
    merlo::normPackedIp64f(divisors, 1, spec, 3);
    EXPECT_EQ(Values(spec, spec + 5), (Values{3, 2.5, 2 / 3.0, -4 / 3.0, 77}));
    merlo::powerSpecPacked64f(spec, power, 2); // no complex bin at all
    EXPECT_EQ(Values(power, power + 3), (Values{9, 6.25, 25}));
}

TEST(PackedSpectrum, RefusesNullArraysAndWritesNothing) {
    double values[3][4] = {{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}};
    for (int missing = 0; missing < 3; ++missing) {
        double* a[] = {values[0], values[1], values[2]};
        a[missing] = nullptr;
        EXPECT_EQ(merlo::mulPacked64f(a[0], a[1], a[2], 3), STS_NULL_PTR);
        EXPECT_EQ(merlo::macPacked64f(a[0], a[1], a[2], 3), STS_NULL_PTR);
        EXPECT_EQ(merlo::macConjPacked64f(a[0], a[1], a[2], 3), STS_NULL_PTR);
        if (missing < 2) {
            EXPECT_EQ(merlo::powerSpecPacked64f(a[0], a[1], 3), STS_NULL_PTR);
            EXPECT_EQ(merlo::conjPacked64f(a[0], a[1], 3), STS_NULL_PTR);
            EXPECT_EQ(merlo::normPackedIp64f(a[0], 1, a[1], 3), STS_NULL_PTR);
        }
    }
    EXPECT_EQ(merlo::conjPackedIp64f(nullptr, 3), STS_NULL_PTR);
    EXPECT_EQ(merlo::scaleCplxIp64f(1, nullptr, 3), STS_NULL_PTR);
    for (int i = 0; i < 12; ++i) {
        EXPECT_EQ(values[i / 4][i % 4], i + 1);
    }
}

} // namespace
