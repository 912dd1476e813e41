// The filters that adapt in the frequency domain, against their formulas over a slow direct transform.
#include "bfdaf64f.h"
#include "exact_tables.h"
#include "heap.h"
#include "packed_spectrum.h"
#include "pbfdaf64f.h"
#include "real_fft.h"
#include "signal.h"
#include "tdlms64f.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <complex>
#include <numbers>
#include <string>
#include <thread>
#include <vector>

namespace {

using Samples = std::vector<double>;
using Spectrum = std::vector<std::complex<double>>;

FftTables tables(1024);

// All n bins, from the definition; the inverse takes the real part of what comes back.
Spectrum spectrumOf(const Samples& x) {
    const size_t n = x.size();
    Spectrum bins(n);
    for (size_t k = 0; k < n; ++k) {
        for (size_t j = 0; j < n; ++j) {
            const double turn = static_cast<double>(j * k % n) / static_cast<double>(n);
            bins[k] += x[j] * std::polar(1.0, 2.0 * std::numbers::pi * turn);
        }
    }
    return bins;
}

Samples samplesOf(const Spectrum& bins) {
    const size_t n = bins.size();
    Samples x(n);
    for (size_t j = 0; j < n; ++j) {
        for (size_t k = 0; k < n; ++k) {
            const double turn = static_cast<double>(j * k % n) / static_cast<double>(n);
            x[j] += (bins[k] * std::polar(1.0, -2.0 * std::numbers::pi * turn)).real();
        }
        x[j] /= static_cast<double>(n);
    }
    return x;
}

// Both block filters: taps of every part in the time domain, fftLen positions each.
struct BlockModel {
    BlockModel(size_t taps, size_t samplesPerBlock, size_t parts, double stepSize, bool single)
        : order(taps), blockLen(samplesPerBlock), fftLen(1), mu(stepSize),
          gain(single ? 0.019999980926513672 : 0.020000000000000018),
          keep(single ? 0.9800000190734863 : 0.98),
          regulariser(single ? 9.999999974752427e-07 : 1e-6) {
        while (fftLen < order + blockLen - 1) {
            fftLen *= 2;
        }
        taps_.assign(parts, Samples(fftLen));
        frames.assign(parts, Spectrum(fftLen));
        history.assign(fftLen, 0.0);
        power.assign(fftLen, 1.0);
    }
    Samples filter(const Samples& x) {
        history.erase(history.begin(), history.begin() + static_cast<ptrdiff_t>(blockLen));
        history.insert(history.end(), x.begin(), x.end());
        frames.pop_back();
        frames.insert(frames.begin(), spectrumOf(history));
        Spectrum sum(fftLen);
        for (size_t p = 0; p < frames.size(); ++p) {
            const Spectrum coef = spectrumOf(taps_[p]);
            for (size_t k = 0; k < fftLen; ++k) {
                sum[k] += coef[k] * frames[p][k];
            }
        }
        for (size_t k = 0; k < fftLen; ++k) {
            power[k] =
                gain / static_cast<double>(blockLen) * std::norm(frames[0][k]) + keep * power[k];
        }
        const Samples y = samplesOf(sum);
        return {y.end() - static_cast<ptrdiff_t>(blockLen), y.end()};
    }
    void adapt(const Samples& e, bool constrained) {
        Samples padded(fftLen - blockLen);
        padded.insert(padded.end(), e.begin(), e.end());
        const Spectrum error = spectrumOf(padded);
        for (size_t p = 0; p < frames.size(); ++p) {
            Spectrum step(fftLen);
            for (size_t k = 0; k < fftLen; ++k) {
                step[k] = mu * error[k] / (power[k] + regulariser) * std::conj(frames[p][k]);
            }
            const Samples moved = samplesOf(step);
            for (size_t i = 0; i < (constrained ? order : fftLen); ++i) {
                taps_[p][i] += moved[i];
            }
        }
    }
    Samples taps() const {
        Samples flat;
        for (const Samples& part : taps_) {
            flat.insert(flat.end(), part.begin(), part.begin() + static_cast<ptrdiff_t>(order));
        }
        return flat;
    }

    size_t order, blockLen, fftLen;
    double mu, gain, keep, regulariser;
    std::vector<Samples> taps_;
    std::vector<Spectrum> frames;
    Samples history, power;
};

void expectNear(const Samples& actual, const Samples& expected, double tolerance) {
    ASSERT_EQ(actual.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        ASSERT_NEAR(actual[i], expected[i], tolerance) << "element " << i;
    }
}

// The two families with one face: bfdaf64f is a filter of one part.
struct Whole {
    using State = bfdaf64fState;
    static constexpr bool single = false;
    static constexpr int32_t mostParts = 1;
    static int32_t init(State* s, int32_t order, int32_t blockLen, int32_t, double mu, int32_t c) {
        return bfdaf64fInit(s, order, blockLen, mu, c, tables.table.data(), tables.twiddles.data());
    }
    static int32_t resize(State* s, int32_t order, int32_t blockLen, int32_t) {
        return bfdaf64fResize(s, order, blockLen);
    }
    static constexpr auto update = bfdaf64fFilterUpdate;
    static constexpr auto filter = bfdaf64fFilterOnly;
    static constexpr auto get = bfdaf64fGetCoef;
    static constexpr auto set = bfdaf64fSetCoef;
    static constexpr auto release = bfdaf64fFree;
};

struct Partitioned {
    using State = pbfdaf64fState;
    static constexpr bool single = true;
    static constexpr int32_t mostParts = 3;
    static int32_t init(State* s, int32_t order, int32_t blockLen, int32_t parts, double mu,
                        int32_t c) {
        return pbfdaf64fInit(s, order, blockLen, parts, mu, c, tables.table.data(),
                             tables.twiddles.data());
    }
    static int32_t resize(State* s, int32_t order, int32_t blockLen, int32_t parts) {
        return pbfdaf64fResize(s, order, blockLen, parts);
    }
    static constexpr auto update = pbfdaf64fFilterUpdate;
    static constexpr auto filter = pbfdaf64fFilterOnly;
    static constexpr auto get = pbfdaf64fGetCoef;
    static constexpr auto set = pbfdaf64fSetCoef;
    static constexpr auto release = pbfdaf64fFree;
};

template <class F>
Samples tapsOf(typename F::State& state, size_t total) {
    Samples taps(total);
    EXPECT_EQ(F::get(&state, taps.data(), 0, INT32_MAX, 0), static_cast<int32_t>(total));
    return taps;
}

template <class F>
class BlockSpectral : public testing::Test {};
using BlockFilters = testing::Types<Whole, Partitioned>;
TYPED_TEST_SUITE(BlockSpectral, BlockFilters);

TYPED_TEST(BlockSpectral, FollowsItsFormulas) {
    using F = TypeParam;
    const struct {
        int32_t order, blockLen, parts;
    } shapes[] = {{2, 1, 2}, {4, 4, 3}, {4, 2, 3}, {2, 3, 2}, {1, 8, 2}, {3, 5, 1}, {12, 8, 2}};
    for (const auto& shape : shapes) {
        for (int32_t constrained : {0, 7}) {
            const int32_t parts = std::min(shape.parts, F::mostParts);
            SCOPED_TRACE(std::to_string(shape.order) + " taps, blocks of " +
                         std::to_string(shape.blockLen) + ", parts " + std::to_string(parts) +
                         (constrained != 0 ? ", constrained" : ""));
            const auto total = static_cast<size_t>(shape.order * parts);
            BlockModel model(static_cast<size_t>(shape.order), static_cast<size_t>(shape.blockLen),
                             static_cast<size_t>(parts), 0.02, F::single);
            typename F::State state;
            ASSERT_EQ(F::init(&state, shape.order, shape.blockLen, parts, model.mu, constrained),
                      STS_OK);
            EXPECT_EQ(state.constrained, constrained != 0);
            Signal signal(3);
            Samples x(model.blockLen), d(x), y(x), e(x);
            for (int block = 0; block < 30; ++block) {
                signal.fill(x.data(), shape.blockLen);
                signal.fill(d.data(), shape.blockLen);
                const Samples expected = model.filter(x);
                if (block % 4 == 3) {
                    ASSERT_EQ(F::filter(&state, x.data(), y.data()), STS_OK);
                    expectNear(y, expected, 1e-11);
                    continue;
                }
                ASSERT_EQ(F::update(&state, x.data(), d.data(), y.data(), e.data()), STS_OK);
                expectNear(y, expected, 1e-11);
                for (size_t i = 0; i < d.size(); ++i) {
                    ASSERT_EQ(e[i], d[i] - y[i]);
                }
                model.adapt(e, constrained != 0);
            }
            for (size_t k = 0; k <= model.fftLen / 2; ++k) {
                ASSERT_NEAR(state.powerAvg[k], model.power[k], 1e-9);
            }
            expectNear(tapsOf<F>(state, total), model.taps(), 1e-11);
            F::release(&state);
            EXPECT_EQ(state.order, 0);
        }
    }
}

// An impulse comes out as the response, whatever the parts do: join, overlap or leave gaps.
TYPED_TEST(BlockSpectral, FiltersByItsTapsAndKeepsThemThroughResizes) {
    using F = TypeParam;
    typename F::State state;
    const int32_t parts = std::min(2, F::mostParts);
    ASSERT_EQ(F::init(&state, 4, 2, parts, 0.1, 0), STS_OK);
    const Samples taps = parts == 2 ? Samples{1, 2, 3, 4, 10, 20, 30, 40} : Samples{1, 2, 3, 4};
    ASSERT_EQ(F::set(&state, taps.data(), 0, 8, 0), static_cast<int32_t>(taps.size()));
    const Samples response =
        parts == 2 ? Samples{1, 2, 13, 24, 30, 40, 0, 0} : Samples{1, 2, 3, 4, 0, 0, 0, 0};
    for (size_t i = 0; i < response.size(); i += 2) {
        double x[] = {i == 0 ? 1.0 : 0.0, 0.0};
        ASSERT_EQ(F::filter(&state, x, x), STS_OK); // in place
        EXPECT_NEAR(x[0], response[i], 1e-13);
        EXPECT_NEAR(x[1], response[i + 1], 1e-13);
    }

    // Ranges, reversed ones too; other taps stay.
    const double three[] = {7, 8, 9};
    ASSERT_EQ(F::set(&state, three, 1, 3, 1), 3);
    Samples expected = taps;
    std::copy_n(std::begin({9.0, 8.0, 7.0}), 3, expected.begin() + 1);
    expectNear(tapsOf<F>(state, taps.size()), expected, 1e-13);
    double last[2];
    const auto length = static_cast<int32_t>(taps.size());
    EXPECT_EQ(F::get(&state, last, length - 2, 99, 1), 2);
    EXPECT_NEAR(last[0], expected[taps.size() - 1], 1e-13);
    EXPECT_EQ(F::get(&state, last, length, 1, 0), STS_BAD_SIZE);
    EXPECT_EQ(F::get(&state, nullptr, 99, 1, 0), STS_NULL_PTR);

    const Samples before = tapsOf<F>(state, taps.size());
    const Samples power(state.powerAvg, state.powerAvg + state.bins);
    ASSERT_EQ(F::resize(&state, 5, 3, parts), STS_OK); // fftLen stays 8
    EXPECT_EQ(Samples(state.powerAvg, state.powerAvg + state.bins), power);
    expected = before;
    expected.resize(static_cast<size_t>(5 * parts), 0.0);
    expectNear(tapsOf<F>(state, expected.size()), expected, 1e-13);
    ASSERT_EQ(F::resize(&state, 2, 2, parts), STS_OK);
    EXPECT_EQ(Samples(state.powerAvg, state.powerAvg + state.bins), Samples(3, 1.0));
    expected.resize(static_cast<size_t>(2 * parts));
    expectNear(tapsOf<F>(state, expected.size()), expected, 1e-13);
    for (int32_t bad : {0, -1}) {
        EXPECT_EQ(F::resize(&state, bad, 2, parts), STS_BAD_SIZE);
        EXPECT_EQ(F::resize(&state, 2, bad, parts), STS_BAD_SIZE);
    }
    ASSERT_EQ(F::resize(&state, 40, 2, parts), STS_OK);
    EXPECT_EQ(state.order, MAX_TAPS);
    F::release(&state);
}

// A resize in the middle of a signal goes on with the same response and the same history.
TYPED_TEST(BlockSpectral, ResizeKeepsHistory) {
    using F = TypeParam;
    for (int32_t blockLen : {4, 8, 16}) {
        typename F::State state;
        ASSERT_EQ(F::init(&state, 8, 8, 1, 0.1, 1), STS_OK);
        const Samples taps = {1, 2, 3, 4, 5, 6, 7, 8};
        F::set(&state, taps.data(), 0, 8, 0);
        Samples x(8, 0.0), y(16);
        x[5] = 1.0; // its response spans the resize
        F::filter(&state, x.data(), y.data());
        ASSERT_EQ(F::resize(&state, 9, blockLen, 1), STS_OK);
        x.assign(16, 0.0);
        F::filter(&state, x.data(), y.data());
        for (size_t i = 0; i < static_cast<size_t>(std::min(blockLen, 5)); ++i) {
            EXPECT_NEAR(y[i], static_cast<double>(i + 4), 1e-12) << blockLen;
        }
        F::release(&state);
    }
}

// Frames go over to a ring of another size; the one that was next to be overwritten stays so.
TEST(Pbfdaf, CarriesItsFrames) {
    for (int32_t to : {2, 3, 4}) {
        pbfdaf64fState state;
        ASSERT_EQ(
            pbfdaf64fInit(&state, 4, 4, 3, 0.1, 0, tables.table.data(), tables.twiddles.data()),
            STS_OK);
        Signal signal(2);
        double x[4], y[4];
        for (int block = 0; block < 5; ++block) {
            signal.fill(x, 4);
            pbfdaf64fFilterOnly(&state, x, y);
        }
        std::vector<Samples> frames; // from the one at ringPos on
        for (int32_t p = 0; p < 3; ++p) {
            const double* const slot = state.ring + 2 * ((state.ringPos + p * 4) % 12);
            frames.emplace_back(slot, slot + 8);
        }
        ASSERT_EQ(pbfdaf64fResize(&state, 4, 4, to), STS_OK);
        for (int32_t p = 0; p < to; ++p) {
            const double* const slot = state.ring + 2 * ((state.ringPos + p * 4) % (4 * to));
            // In a ring of two the third frame lands on the first again.
            const Samples expected =
                p < 3 ? frames[to == 2 && p == 0 ? 2 : static_cast<size_t>(p)] : Samples(8, 0.0);
            expectNear(Samples(slot, slot + 8), expected, 1e-13);
        }
        pbfdaf64fFree(&state);
    }
}

TEST(Pbfdaf, AccessorsEmptyWhatLiesBehindTheTaps) {
    pbfdaf64fState state;
    bfdaf64fState whole;
    ASSERT_EQ(pbfdaf64fInit(&state, 2, 3, 2, 0.1, 0, tables.table.data(), tables.twiddles.data()),
              STS_OK);
    ASSERT_EQ(bfdaf64fInit(&whole, 2, 3, 0.1, 0, tables.table.data(), tables.twiddles.data()),
              STS_OK);
    Signal signal(4);
    double x[3], d[3], y[3], e[3], tap;
    for (int block = 0; block < 9; ++block) {
        signal.fill(x, 3);
        signal.fill(d, 3);
        pbfdaf64fFilterUpdate(&state, x, d, y, e);
        bfdaf64fFilterUpdate(&whole, x, d, y, e);
    }
    const auto tail = [](auto& record, double* coef) { // largest element behind the taps
        Samples copy(coef, coef + 4);
        merlo::realFft64f(4, 1, copy.data(), record.fftTable, record.fftTwiddles);
        return std::max(std::abs(copy[2]), std::abs(copy[3]));
    };
    EXPECT_GT(tail(state, state.coef + 4), 1e-3);
    const double kept = tail(whole, whole.coef);
    EXPECT_EQ(pbfdaf64fGetCoef(&state, &tap, 0, 1, 0), 1);
    EXPECT_EQ(bfdaf64fGetCoef(&whole, &tap, 0, 1, 0), 1);
    EXPECT_LT(tail(state, state.coef + 4), 1e-15);
    EXPECT_NEAR(tail(whole, whole.coef), kept, 1e-14);
    pbfdaf64fFree(&state);
    bfdaf64fFree(&whole);
}

TEST(Transforms, RefuseSizesThatFitNoTransform) {
    double buffers[2][8] = {{5}, {6}};
    const int calls = heap::calls();
    int32_t* const table = tables.table.data();
    const double* const twiddles = tables.twiddles.data();
    bfdaf64fState bf;
    pbfdaf64fState pb;
    tdlms64fState td;
    EXPECT_EQ(bfdaf64fInit(&bf, 1, 1, 0.1, 0, table, twiddles), STS_BAD_SIZE);
    EXPECT_EQ(bfdaf64fInitStatic(&bf, 1, 1, 0.1, 0, buffers[0], buffers[1], table, twiddles),
              STS_BAD_SIZE);
    EXPECT_EQ(bfdaf64fInit(&bf, 4, 1 << 30, 0.1, 0, table, twiddles), STS_BAD_SIZE);
    EXPECT_EQ(bfdaf64fInit(&bf, 4, INT32_MAX, 0.1, 0, table, twiddles), STS_BAD_SIZE);
    EXPECT_EQ(bfdaf64fInit(&bf, 0, 0, 0.1, 0, nullptr, twiddles), STS_NULL_PTR);
    EXPECT_EQ(bfdaf64fInit(&bf, 4, 0, 0.1, 0, table, twiddles), STS_BAD_SIZE);
    EXPECT_EQ(bf.order, 0);
    EXPECT_EQ(pbfdaf64fInit(&pb, 1, 1, 5, 0.1, 0, table, twiddles), STS_BAD_SIZE);
    EXPECT_EQ(pbfdaf64fInit(&pb, 4, 5, 1 << 28, 0.1, 0, table, twiddles), STS_BAD_SIZE);
    EXPECT_EQ(pbfdaf64fInit(&pb, 4, 5, 0, 0.1, 0, table, twiddles), STS_BAD_SIZE);
    EXPECT_EQ(pbfdaf64fInit(&pb, 4, 5, 0, 0.1, 0, table, nullptr), STS_NULL_PTR);
    EXPECT_EQ(pb.order, 0);
    for (int32_t order : {2, 1, 0, -1, INT32_MIN}) {
        td.order = 9;
        EXPECT_EQ(tdlms64fInit(&td, order, 0.1, table, twiddles), STS_BAD_SIZE);
        EXPECT_EQ(td.order, 0);
        EXPECT_EQ(tdlms64fInit(&td, order, 0.1, table, nullptr), STS_NULL_PTR);
    }
    EXPECT_EQ(heap::calls(), calls);
    EXPECT_EQ(buffers[0][0], 5);
}

// The filter as it stands in the time domain: fftLen taps, of which `order` are shown.
TEST(Tdlms, FollowsItsFormulas) {
    for (int32_t order : {3, 4, 5, 6, 9, 17, 32}) {
        for (bool linear : {false, true}) {
            SCOPED_TRACE(std::to_string(order) + (linear ? " linear" : " ring"));
            tdlms64fState state;
            ASSERT_EQ(
                tdlms64fInit(&state, order, 0.02, tables.table.data(), tables.twiddles.data()),
                STS_OK);
            const auto n = static_cast<size_t>(state.fftLen);
            EXPECT_EQ(state.fftLen, order == 3   ? 2
                                    : order == 6 ? 8
                                    : order > 16 ? (order == 17 ? 16 : 32)
                                    : order == 9 ? 8
                                                 : 4);
            Spectrum coef(n);
            Samples line(n), power(n, 1.0);
            Signal signal(5);
            for (int i = 0; i < 60; ++i) {
                const double x = signal.next();
                const double d = signal.next();
                line.insert(line.begin(), x);
                line.pop_back();
                const Spectrum bins = spectrumOf(line);
                double y = 0.0;
                for (size_t k = 0; k < n; ++k) {
                    y += (std::conj(coef[k]) * bins[k]).real();
                    power[k] =
                        0.019999999552965164 * std::norm(bins[k]) + 0.9800000190734863 * power[k];
                }
                if (linear) {
                    insertSampleLinBuf64f(x, state.delayLine, state.fftLen);
                }
                if (i % 5 == 4) {
                    ASSERT_NEAR(linear ? tdlms64fLCFilterOnly(&state)
                                       : tdlms64fFilterOnly(&state, x),
                                y, 1e-12);
                    continue;
                }
                ASSERT_NEAR(linear ? tdlms64fLCFilterUpdate(&state, d)
                                   : tdlms64fFilterUpdate(&state, x, d),
                            y, 1e-12);
                ASSERT_NEAR(state.err, d - y, 1e-12);
                for (size_t k = 0; k < n; ++k) {
                    coef[k] += 0.02 * (d - y) / (power[k] + 9.999999974752427e-07) * bins[k];
                }
            }
            ASSERT_NEAR(state.powerAvg[0], power[0], 1e-11);
            ASSERT_NEAR(state.powerAvg[n / 2], power[n / 2], 1e-11);
            const Samples inverse = samplesOf(coef);
            Samples taps(n);
            const int32_t reach = std::min(order, state.fftLen);
            ASSERT_EQ(tdlms64fGetCoef(&state, taps.data(), 0, 99, 0), reach);
            for (int32_t i = 0; i < reach; ++i) {
                EXPECT_NEAR(taps[static_cast<size_t>(i)],
                            static_cast<double>(n) * inverse[static_cast<size_t>(i)], 1e-12);
            }
            EXPECT_EQ(tdlms64fGetCoef(&state, taps.data(), reach, 1, 0), STS_BAD_SIZE);
            tdlms64fFree(&state);
        }
    }
}

TEST(Tdlms, HandWorkedValuesAndResizes) {
    tdlms64fState state;
    ASSERT_EQ(tdlms64fInit(&state, 4, 0.5, tables.table.data(), tables.twiddles.data()), STS_OK);
    const Samples taps = {1, 2, 3, 4};
    ASSERT_EQ(tdlms64fSetCoef(&state, taps.data(), 0, 4, 0), 4);
    EXPECT_EQ(Samples(state.coef, state.coef + 4), (Samples{2.5, -0.5, -0.5, -0.5}));
    for (double expected : {1.0, 2.0, 3.0, 4.0, 0.0}) {
        EXPECT_NEAR(tdlms64fFilterOnly(&state, expected == 1.0 ? 1.0 : 0.0), expected, 1e-14);
    }
    const double x = 3.0;
    tdlms64fFilterOnly(&state, x);
    ASSERT_EQ(tdlms64fResize(&state, 9), STS_OK); // nine taps are shown as far as eight go
    EXPECT_EQ(state.head, 7);
    Samples shown(9, -1.0);
    EXPECT_EQ(tdlms64fGetCoef(&state, shown.data(), 0, 9, 0), 8);
    expectNear(shown, {1, 2, 3, 4, 0, 0, 0, 0, -1}, 1e-14);
    EXPECT_NEAR(tdlms64fFilterOnly(&state, 0.0), 2 * x, 1e-13);
    ASSERT_EQ(tdlms64fResize(&state, 10), STS_OK);
    ASSERT_EQ(tdlms64fResize(&state, 3), STS_OK);
    EXPECT_EQ(tdlms64fGetCoef(&state, shown.data(), 0, 9, 0), 2);
    EXPECT_NEAR(shown[1], 2, 1e-13);
    EXPECT_EQ(tdlms64fResize(&state, 2), STS_BAD_SIZE);
    tdlms64fFree(&state);

    ASSERT_EQ(tdlms64fInit(&state, 4, 0.5, tables.table.data(), tables.twiddles.data()), STS_OK);
    EXPECT_EQ(tdlms64fFilterUpdate(&state, 1.0, 2.0), 0.0);
    EXPECT_EQ(state.powerAvg[1], 1.0000000186264515);
    tdlms64fGetCoef(&state, shown.data(), 0, 4, 0);
    EXPECT_NEAR(shown[0], 4 / (1.0000000186264515 + 9.999999974752427e-07), 1e-14);
    tdlms64fFree(&state);
}

// One twiddle table for all, a work table each: what eight threads compute is what one computes.
TEST(Transforms, ShareTwiddlesAcrossThreads) {
    const auto run = [](std::vector<int32_t> table) {
        pbfdaf64fState pb;
        bfdaf64fState bf;
        tdlms64fState td;
        Trace trace;
        const double* const twiddles = tables.twiddles.data();
        EXPECT_EQ(pbfdaf64fInit(&pb, 16, 16, 4, 0.01, 1, table.data(), twiddles), STS_OK);
        EXPECT_EQ(bfdaf64fInit(&bf, 32, 16, 0.01, 1, table.data(), twiddles), STS_OK);
        EXPECT_EQ(tdlms64fInit(&td, 16, 0.01, table.data(), twiddles), STS_OK);
        Signal signal(1);
        double x[16], d[16], y[16], e[16];
        for (int block = 0; block < 200; ++block) {
            signal.fill(x, 16);
            signal.fill(d, 16);
            pbfdaf64fFilterUpdate(&pb, x, d, y, e);
            trace.add(y, 16);
            bfdaf64fFilterUpdate(&bf, x, d, y, e);
            trace.add(y, 16);
            trace.add(tdlms64fFilterUpdate(&td, x[0], d[0]));
        }
        pbfdaf64fFree(&pb);
        bfdaf64fFree(&bf);
        tdlms64fFree(&td);
        return trace;
    };
    const Trace alone = run(tables.table);
    std::vector<Trace> traces(8);
    std::vector<std::thread> threads;
    for (Trace& trace : traces) {
        threads.emplace_back([&] { trace = run(tables.table); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const Trace& trace : traces) {
        EXPECT_TRUE(trace == alone);
    }
}

TEST(PackedSpectrum, KeepsTheTwoRealBinsApart) {
    double spec[] = {3, 5, 1, 2, 77};
    double power[] = {0, 0, 0, 88};
    merlo::powerSpecPacked64f(spec, power, 3);
    EXPECT_EQ(Samples(power, power + 4), (Samples{9, 25.0 - 20, 25, 88}));
    double out[] = {0, 0, 0, 0, 66};
    merlo::mulPacked64f(spec, spec, out, 3);
    EXPECT_EQ(Samples(out, out + 5), (Samples{9, 25, -3, 4, 66}));
    merlo::macPacked64f(spec, spec, out, 3);
    EXPECT_EQ(Samples(out, out + 5), (Samples{18, 50, -6, 8, 66}));
    merlo::conjPacked64f(spec, out, 3);
    merlo::conjPackedIp64f(spec, 3);
    EXPECT_EQ(Samples(spec, spec + 5), (Samples{3, 5, 1, -2, 77}));
    EXPECT_EQ(Samples(out, out + 4), Samples(spec, spec + 4));
    merlo::scaleCplxIp64f(2, spec, 2);
    EXPECT_EQ(Samples(spec, spec + 5), (Samples{6, 10, 2, -4, 77}));
    const double divisors[] = {1, 2, 3};
    merlo::normPackedIp64f(divisors, 1, spec, 3);
    EXPECT_EQ(Samples(spec, spec + 5), (Samples{3, 2.5, 2 / 3.0, -4 / 3.0, 77}));
    merlo::powerSpecPacked64f(spec, power, 2); // no complex bin at all
    EXPECT_EQ(Samples(power, power + 3), (Samples{9, 6.25, 25}));
    EXPECT_EQ(merlo::macPacked64f(spec, nullptr, out, 3), STS_NULL_PTR);
    EXPECT_EQ(merlo::normPackedIp64f(nullptr, 1, spec, 3), STS_NULL_PTR);
}

} // namespace
