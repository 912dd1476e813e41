// What only the filters behind a secondary path do.
#include "adjlms64f.h"
#include "fxlms64f.h"
#include "heap.h"
#include "models.h"
#include "signal.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

struct Adjoint {
    using State = adjlms64fState;
    static constexpr auto init = adjlms64fInit;
    static constexpr auto initStatic = adjlms64fInitStatic;
    static constexpr auto update = adjlms64fFilterUpdate;
    static constexpr auto release = adjlms64fFree;
    static constexpr auto third = &State::errLine;
};

struct FilteredReference {
    using State = fxlms64fState;
    static constexpr auto init = fxlms64fInit;
    static constexpr auto initStatic = fxlms64fInitStatic;
    static constexpr auto update = fxlms64fFilterUpdate;
    static constexpr auto release = fxlms64fFree;
    static constexpr auto third = &State::fxLine;
};

template <class F>
class SecondaryPath : public testing::Test {};
using Filters = testing::Types<Adjoint, FilteredReference>;
TYPED_TEST_SUITE(SecondaryPath, Filters);

TYPED_TEST(SecondaryPath, FirstStepByHand) {
    using F = TypeParam;
    const double one = 1.0;
    typename F::State state;
    ASSERT_EQ(F::init(&state, 1, 0.5, &one, 1, &one, 1), STS_OK);
    EXPECT_EQ(state.refLen, 1);
    EXPECT_EQ(F::update(&state, 1.0, -1.0), 0.0);
    EXPECT_EQ(state.err, -1.0);
    EXPECT_EQ(state.power, 1.0);
    EXPECT_EQ(state.coef[0], 0.5 / (1.0 + 1e-12));
    F::release(&state);
    EXPECT_EQ(state.delayLine, nullptr);
    EXPECT_EQ(state.*F::third, nullptr);
}

// White noise through secondary path and a known response: the filter finds the response, negated.
TYPED_TEST(SecondaryPath, FindsTheControllerBehindTheSecondaryPath) {
    using F = TypeParam;
    const std::vector<double> sec = {0.0, 0.0, 0.8, -0.4, 0.2};
    const std::vector<double> est = {0.0, 0.0, 0.8, -0.4, 0.2, 0.0, 0.0};
    const std::vector<double> response = {0.5, -0.4, 0.3, 0.1, -0.2, 0.05};
    typename F::State state;
    ASSERT_EQ(F::init(&state, 6, 0.02, sec.data(), 5, est.data(), 7), STS_OK);
    Signal signal(8);
    Line x(6);
    Line through(5);
    for (int i = 0; i < 30000; ++i) {
        const double sample = signal.next();
        x.push(sample);
        through.push(dot(response, x.at));
        F::update(&state, sample, dot(sec, through.at));
    }
    for (size_t k = 0; k < response.size(); ++k) {
        EXPECT_NEAR(state.coef[k], -response[k], 1e-9) << k;
    }
    F::release(&state);
}

TYPED_TEST(SecondaryPath, RefusesBadLengthsAndMissingPaths) {
    using F = TypeParam;
    const double path[] = {1.0, 2.0};
    double buffers[2][200] = {{3.0}, {4.0}};
    const int calls = heap::calls();
    const struct {
        int32_t order, secLen, estLen;
        const double *sec, *est;
        int32_t status;
    } cases[] = {{4, 0, 2, path, path, STS_BAD_SIZE},
                 {4, 2, 0, path, path, STS_BAD_SIZE},
                 {4, 2, -1, nullptr, path, STS_BAD_SIZE},
                 {0, 2, 2, nullptr, nullptr, STS_BAD_SIZE},
                 {1, INT32_MAX, INT32_MAX, path, path, STS_BAD_SIZE},
                 {32, 1, INT32_MAX, nullptr, path, STS_BAD_SIZE},
                 {32, INT32_MAX - 40, 32, path, path, STS_BAD_SIZE},
                 {4, 2, 2, nullptr, path, STS_NULL_PTR},
                 {4, 2, 2, path, nullptr, STS_NULL_PTR}};
    for (const auto& c : cases) {
        typename F::State state;
        state.order = 7;
        EXPECT_EQ(F::init(&state, c.order, 0.1, c.sec, c.secLen, c.est, c.estLen), c.status);
        EXPECT_EQ(state.order, 0);
        state.order = 7;
        EXPECT_EQ(F::initStatic(&state, c.order, 0.1, c.sec, c.secLen, c.est, c.estLen, buffers[0],
                                buffers[1]),
                  c.status);
        EXPECT_EQ(state.order, 0);
    }
    EXPECT_EQ(heap::calls(), calls);
    EXPECT_EQ(buffers[0][0], 3.0);
    EXPECT_EQ(buffers[1][0], 4.0);
}

} // namespace
