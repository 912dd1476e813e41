// merlo64f::Filter, the class over the records: results of whole arrays equal those of the C functions.
#include "heap.h"
#include "merlo64f.hpp"
#include "record.h"

#include <memory>

namespace {

using merlo64f::Filter;
using std::span;

template <class F>
Filter<typename F::State> filterOf(const Shape& shape, Lent& lent) {
    return std::apply([](auto... arguments) { return Filter<typename F::State>(arguments...); },
                      F::arguments(shape, lent));
}

// Samples in, outputs and errors out, in one call or in pieces of `piece` samples.
template <class State>
Trace run(Filter<State>& filter, uint64_t seed, size_t piece = 360) {
    Signal signal(seed);
    Values x(360), d(360), y(360), e(360);
    const auto mask = std::make_unique<bool[]>(360);
    signal.fill(x.data(), 360);
    signal.fill(d.data(), 360);
    std::fill_n(mask.get(), 360, true);
    std::fill_n(mask.get() + 180, 90, false);
    for (size_t i = 0; i < 360; i += piece) {
        const auto in = [=](const Values& v) { return span(v).subspan(i, piece); };
        const auto out = [=](Values& v) { return span(v).subspan(i, piece); };
        const span<const bool> adapt(mask.get() + i, piece);
        using Api = merlo64f::Family<State>;
        if constexpr (requires { Api::filter; }) {
            filter.filter(in(x), out(y));
        } else if constexpr (Api::maxOrder == MAX_PEF_STAGES) {
            filter.update(in(x), out(y), out(e), adapt);
        } else {
            filter.update(in(x), in(d), out(y), out(e), adapt);
        }
    }
    Trace trace;
    trace.add(y.data(), 360);
    trace.add(e.data(), 360);
    return trace;
}

template <class F>
class FilterOf : public testing::Test {};
TYPED_TEST_SUITE(FilterOf, FamiliesIn<testing::Types>, NameOf);

// The arrays and lengths in merlo64f_families.hpp equal those that the tests state.
TYPED_TEST(FilterOf, ListsTheArraysOfTheRecord) {
    using F = TypeParam;
    const Shape shape = shapeOf<F>(7);
    Lent lent;
    auto filter = filterOf<F>(shape, lent);
    std::vector<std::pair<double*, size_t>> expected, named;
    forEachArray<F>(filter.state(), shape,
                    [&](double* array, size_t n) { expected.emplace_back(array, n); });
    merlo64f::forEachArray(filter.state(), [&](const char*, span<double> array) {
        named.emplace_back(array.data(), array.size());
    });
    EXPECT_EQ(named, expected);
}

TYPED_TEST(FilterOf, IsTheSameInPiecesAndAfterCopyMoveAndResize) {
    using F = TypeParam;
    auto lent = std::make_unique<Lent>();
    auto filter = filterOf<F>(shapeOf<F>(7), *lent);
    lent.reset(); // a filter has its own copies of what it borrows
    auto second = filter.copy();
    EXPECT_EQ(run(filter, 1), run(second, 1, 45));
    Shape larger = shapeOf<F>(40);
    larger.blockLen = 45;
    const auto grow = [&](auto& f) {
        if constexpr (requires { f.resize(1, 1, 1); }) {
            f.resize(larger.order, larger.blockLen, larger.parts);
        } else if constexpr (requires { f.resize(1, 1); }) {
            f.resize(larger.order, larger.blockLen);
        } else {
            f.resize(larger.order);
        }
    };
    grow(filter);
    grow(second);
    auto third = filter.copy();
    const Trace grown = run(filter, 2);
    EXPECT_TRUE(grown.isFinite());
    EXPECT_EQ(run(second, 2), grown);
    auto moved = std::move(third);
    EXPECT_EQ(run(moved, 2), grown);
    third = std::move(moved);
    EXPECT_EQ(run(third, 3), run(filter, 3));
    EXPECT_EQ(third->order, F::Api::maxOrder);
}

// Sizes and positions that do not belong to a record are refused, by name.
TYPED_TEST(FilterOf, RefusesAnInvalidSavedRecord) {
    using State = typename TypeParam::State;
    const int before = heap::live();
    Lent lent;
    {
        auto filter = filterOf<TypeParam>(shapeOf<TypeParam>(7), lent);
        merlo64f::forEachField(filter.state(), [&]<class T>(const std::string& name, T& field) {
            const bool isFlag =
                name == "updateCoef" || name == "adaptParcor" || name == "constrained";
            if (!std::is_same_v<T, int32_t> || isFlag) {
                return;
            }
            const bool isFree = name == "secLen" || name == "estLen" || name == "blockLen";
            for (const T wrong :
                 {T{-1}, isFree ? T{0} : T{0x10000}, name == "ringPos" ? T{1} : T{-2},
                  name == "head" ? static_cast<T>(lineLength(filter.state())) : T{-1}}) {
                const T right = std::exchange(field, wrong);
                EXPECT_THROW(Filter<State>::from(filter.state()), std::invalid_argument) << name;
                field = right;
            }
        });
        for (int nth = 1; nth <= static_cast<int>(TypeParam::buffers); ++nth) {
            heap::failAt(nth);
            EXPECT_THROW(filter.copy(), std::bad_alloc);
            heap::failAt(0);
        }
    }
    EXPECT_EQ(heap::live(), before);
}

TEST(Filter, EqualsTheOperationsOfC) {
    const double path[] = {0.5, 0.25};
    Signal signal(5);
    Values x(40), d(40), y(40), e(40);
    signal.fill(x.data(), 40);
    signal.fill(d.data(), 40);
    bool mask[40] = {};
    std::fill_n(mask, 20, true);

    Filter<fxlms64fState> control(6, 0.01, path, 2, path, 2);
    fxlms64fState s;
    ASSERT_EQ(fxlms64fInit(&s, 6, 0.01, path, 2, path, 2), STS_OK);
    control.update(x, d, y, e, mask);
    for (int i = 0; i < 40; ++i) {
        const double out =
            mask[i] ? fxlms64fFilterUpdate(&s, x[i], d[i]) : fxlms64fFilterOnly(&s, x[i]);
        EXPECT_EQ(bits(y[i]), bits(out));
        EXPECT_EQ(bits(e[i]), bits(d[i] + out));
    }
    fxlms64fFree(&s);

    // y is x, e is d
    Filter<blms64fState> block(6, 10, 0.01);
    Filter<lms64fState> sample(6, 0.01);
    Values inOut = x, error = d;
    block.updateSignErr(inOut, error, inOut, error, mask);
    blms64fState b;
    ASSERT_EQ(blms64fInit(&b, 6, 10, 0.01), STS_OK);
    for (int i = 0; i < 40; i += 10) {
        mask[i] ? blms64fFilterUpdateSignErr(&b, &x[i], &d[i], &y[i], &e[i])
                : blms64fFilterOnly(&b, &x[i], &y[i]);
        for (int k = i; k < i + 10; ++k) {
            EXPECT_EQ(bits(inOut[k]), bits(y[k]));
            EXPECT_EQ(bits(error[k]), bits(d[k] - y[k]));
        }
    }
    blms64fFree(&b);

    // Rows of a linear line are the samples of a ring line.
    Filter<rls64fState> byRows(4, 0.99, 1.0), bySamples(4, 0.99, 1.0);
    Values rows, rowY(40), rowE(40);
    History line(4);
    for (double sampleValue : x) {
        line.push(sampleValue);
        rows.insert(rows.end(), line.begin(), line.end());
    }
    byRows.updateRegressors(rows, d, rowY, rowE);
    bySamples.update(x, d, y, e);
    EXPECT_EQ(rowY, y);
    EXPECT_EQ(rowE, e);

    lms64fState l;
    ASSERT_EQ(lms64fInit(&l, 6, 0.01), STS_OK);
    sample.updateSignSign(x, d, y, e);
    for (int i = 0; i < 40; ++i) {
        EXPECT_EQ(bits(y[i]), bits(lms64fFilterUpdateSignSign(&l, x[i], d[i])));
    }
    lms64fFree(&l);
    Filter<lbpef64fState> predictor(6, 0.01);
    lbpef64fState p;
    ASSERT_EQ(lbpef64fInit(&p, 6, 0.01), STS_OK);
    predictor.update(x, y, e, mask);
    for (int i = 0; i < 40; ++i) {
        EXPECT_EQ(bits(y[i]),
                  bits(mask[i] ? lbpef64fFilterUpdate(&p, x[i]) : lbpef64fFilterOnly(&p, x[i])));
        EXPECT_EQ(bits(e[i]), bits(p.err));
    }
    lbpef64fFree(&p);

    // Accessors begin at 0.
    Values six(6);
    Filter<rlslattice64fState> lattice(6, 0.99);
    EXPECT_EQ(predictor.getCoef(six) + predictor.getParcor(six) + predictor.getDelayLine(six), 18);
    EXPECT_EQ(predictor.setParcor(six) + predictor.setDelayLine(six) + sample.setCoef(six), 18);
    EXPECT_EQ(lattice.getForwardParcors(six) + lattice.getBackwardParcors(six), 12);

    // A mask that adapts nowhere is FilterOnly.
    const auto never = std::make_unique<bool[]>(40);
    sample.updateSignSign(x, d, y, e);
    auto twin = sample.copy();
    sample.updateSignReg(x, d, y, e, span<const bool>(never.get(), 40));
    twin.filter(x, rowY);
    EXPECT_EQ(rowY, y);
    twin.reset();
    EXPECT_EQ(Values(twin->coef, twin->coef + 6), Values(6));
    twin.resetDelayLine();
    EXPECT_EQ(Values(twin->delayLine, twin->delayLine + 6), Values(6));

    // In blocks of one sample the mask may change at every sample.
    const bool alternating[] = {true, false, true};
    Filter<blms64fState> ones(6, 1, 0.01);
    ones.update(span(x).first(3), span(d).first(3), span(y).first(3), span(e).first(3),
                alternating);
}

// Another host's tables give its bits, in a copy too.
TEST(Filter, TakesTwiddlesOfAnotherHost) {
    Filter<bfdaf64fState> filter(8, 9, 0.01, 1), other(8, 9, 0.01, 1);
    Values twiddles(filter.twiddles().begin(), filter.twiddles().end());
    ASSERT_EQ(twiddles.size(), 8u);
    filter.setTwiddles(twiddles);
    EXPECT_EQ(run(filter, 1), run(other, 1));
    twiddles[2] *= 1.001;
    filter.setTwiddles(twiddles);
    auto twin = filter.copy();
    const Trace changed = run(filter, 2);
    EXPECT_EQ(run(twin, 2), changed);
    EXPECT_NE(run(other, 2), changed);
    other.setTwiddles(Filter<bfdaf64fState>(32, 33, 0.01, 1).twiddles());
    EXPECT_EQ(other.twiddles().size(), 32u);
    for (size_t wrong : {size_t{0}, size_t{2}, size_t{4}, size_t{12}}) {
        EXPECT_THROW(filter.setTwiddles(Values(wrong)), std::invalid_argument);
    }
}

TEST(Filter, RefusesMismatchedArguments) {
    const int before = heap::live();
    Values x(20), d(20), y(20), e(20);
    const auto refused = [](auto call, const char* text) {
        try {
            call();
            FAIL() << text;
        } catch (const std::invalid_argument& error) {
            EXPECT_STREQ(error.what(), text);
        }
    };
    Filter<blms64fState> block(4, 10, 0.1);
    Filter<lms64fState> sample(4, 0.1);
    const span<double> some(y.data(), 15);
    const bool mask[20] = {true};
    refused([&] { sample.update(x, d, some, e); }, "lms64f: arrays of different lengths");
    refused([&] { sample.filter(x, some); }, "lms64f: arrays of different lengths");
    refused([&] { sample.updateRegressors(x, d, some, e); }, "lms64f: arrays of different lengths");
    refused([&] { Filter<lfpef64fState>(4, 0.1).update(x, some, e); },
            "lfpef64f: arrays of different lengths");
    refused([&] { sample.update(x, d, y, e, span(mask, 19)); },
            "lms64f: a mask of another length than the arrays");
    refused([&] { block.filter(some, some); }, "blms64f: the length is no multiple of blockLen");
    refused([&] { block.update(x, d, y, e, mask); }, "blms64f: the mask changes within a block");
    refused([&] { sample.updateRegressors(x, d, y, e); },
            "lms64f: rows of another length than the delay line");
    const char* const size = "lms64f: an order, length, index or count is out of range";
    refused([&] { Filter<lms64fState>(0, 0.1); }, size);
    refused([&] { sample.getCoef(y, 4); }, size);
    refused([] { Filter<fir64fState>(3, static_cast<double*>(nullptr)); },
            "fir64f: a required pointer is null");
    EXPECT_THROW(Filter<pbfdaf64fState>(32, INT32_MAX, 1, 0.1, 1), std::invalid_argument);
    EXPECT_THROW(Filter<pbfdaf64fState>(32, 1 << 30, 1, 0.1, 1), std::invalid_argument);
    EXPECT_THROW(block.resize(4, -1), std::invalid_argument);
    EXPECT_EQ(block->blockLen, 10);
    EXPECT_EQ(sample.getCoef(y, 1), 3);
    EXPECT_EQ(heap::live(), before + 4);
}

} // namespace
