// What only the gradient lattices do: worked values, silence, the coefficients of a known input.
#include "lbpef64f.h"
#include "lfpef64f.h"
#include "lmslattice64f.h"
#include "models.h"
#include "signal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace {

constexpr double kKeep = 0.9800000190734863;
constexpr double kGain = 0.009999999776482582;
constexpr double kEps = 1.0000000036274937e-15;

struct Backward {
    using State = lbpef64fState;
    static int32_t init(State* s, int32_t order, double mu) { return lbpef64fInit(s, order, mu); }
    static double update(State* s, double x) { return lbpef64fFilterUpdate(s, x); }
    static constexpr auto filter = lbpef64fFilterOnly;
    static constexpr auto release = lbpef64fFree;
    static size_t tap(int32_t order, int32_t j) { return order - 1 - j; } // of the direct form
};

struct Forward {
    using State = lfpef64fState;
    static int32_t init(State* s, int32_t order, double mu) { return lfpef64fInit(s, order, mu); }
    static double update(State* s, double x) { return lfpef64fFilterUpdate(s, x); }
    static constexpr auto filter = lfpef64fFilterOnly;
    static constexpr auto release = lfpef64fFree;
    static size_t tap(int32_t, int32_t j) { return j + 1; }
};

struct Joint {
    using State = lmslattice64fState;
    static int32_t init(State* s, int32_t order, double mu) {
        return lmslattice64fInit(s, order, mu, 0.01);
    }
    static double update(State* s, double x) { return lmslattice64fFilterUpdate(s, x, 0.0); }
    static constexpr auto release = lmslattice64fFree;
};

template <class F>
class GradientLattice : public testing::Test {};
using Lattices = testing::Types<Backward, Forward, Joint>;
TYPED_TEST_SUITE(GradientLattice, Lattices);

// The powers sink below the normal range and mu / power overflows, while there is no gradient.
TYPED_TEST(GradientLattice, OutlivesSilence) {
    using F = TypeParam;
    for (int32_t order : {1, 4, 10}) {
        Signal signal(22);
        typename F::State state;
        ASSERT_EQ(F::init(&state, order, 0.01), STS_OK);
        for (int i = 0; i < 100300 + order; ++i) {
            F::update(&state, i < 300 ? signal.next() : 0.0);
        }
        EXPECT_LT(state.power[0], 1e-320);
        const Values settled(state.parcor, state.parcor + order);
        for (int i = 0; i < 1000; ++i) {
            F::update(&state, 0.0);
        }
        EXPECT_EQ(Values(state.parcor, state.parcor + order), settled);
        for (int i = 0; i < 300; ++i) {
            F::update(&state, signal.next());
        }
        EXPECT_TRUE(std::all_of(state.parcor, state.parcor + order,
                                [](double k) { return std::isfinite(k); }));
        F::release(&state);
    }
}

TEST(Lbpef, HandWorkedSteps) {
    lbpef64fState state;
    ASSERT_EQ(lbpef64fInit(&state, 1, 0.5), STS_OK);
    EXPECT_EQ(lbpef64fFilterUpdate(&state, 2.0), 0.0);
    EXPECT_EQ(state.err, 0.0);
    EXPECT_EQ(state.parcor[0], 0.0);
    // b = 2, both errors pass: gradient 3 * 2 + 3 * 2
    EXPECT_EQ(lbpef64fFilterUpdate(&state, 3.0), 0.0);
    EXPECT_EQ(state.err, 2.0);
    const double power = 13.0 * kGain + (4.0 * kGain + kKeep) * kKeep;
    EXPECT_EQ(state.power[0], power);
    EXPECT_EQ(state.parcor[0], 12.0 * (0.5 / power + kEps));
    EXPECT_EQ(state.coef[0], state.parcor[0]);
    // Frozen: the estimate of the 3 from the 4 after it.
    const double k = state.parcor[0];
    EXPECT_EQ(lbpef64fFilterOnly(&state, 4.0), 3.0 - (3.0 - 4.0 * k));
    EXPECT_EQ(state.parcor[0], k);
    lbpef64fFree(&state);
}

TEST(Lfpef, HandWorkedSteps) {
    lfpef64fState state;
    ASSERT_EQ(lfpef64fInit(&state, 1, 0.0), STS_OK);
    EXPECT_EQ(lfpef64fFilterUpdate(&state, 2.0), 0.0);
    EXPECT_EQ(state.err, 2.0);
    EXPECT_EQ(lfpef64fFilterUpdate(&state, 3.0), 0.0);
    EXPECT_EQ(state.err, 3.0);
    EXPECT_EQ(state.parcor[0], 12.0 * kEps); // mu = 0 does not hold the lattice still
    state.parcor[0] = 0.5;
    EXPECT_EQ(lfpef64fFilterOnly(&state, 4.0), 1.5); // half of the 3 before
    EXPECT_EQ(state.err, 2.5);
    lfpef64fFree(&state);
}

TEST(Lmslattice, HandWorkedSteps) {
    lmslattice64fState state;
    ASSERT_EQ(lmslattice64fInit(&state, 1, 0.1, 0.5), STS_OK);
    EXPECT_EQ(lmslattice64fFilterUpdate(&state, 1.0, 1.0), 0.0);
    EXPECT_EQ(state.err, 1.0);
    EXPECT_EQ(state.power[0], kGain + kKeep);
    EXPECT_EQ(state.coef[0], 0.5 / (kGain + kKeep + kEps));
    lmslattice64fFree(&state);

    ASSERT_EQ(lmslattice64fInit(&state, 2, 0.5, 0.25), STS_OK);
    state.parcor[1] = 7.0; // belongs to no stage
    EXPECT_EQ(lmslattice64fFilterUpdate(&state, 2.0, 1.0), 0.0);
    const double first = 4.0 * kGain + kKeep;
    const double weight = 0.5 / (first + kEps);
    EXPECT_EQ(state.coef[0], weight);
    EXPECT_EQ(state.coef[1], 0.0);
    EXPECT_EQ(lmslattice64fFilterUpdate(&state, 3.0, 0.0), 3.0 * weight);
    EXPECT_EQ(state.err, -3.0 * weight);
    EXPECT_EQ(state.parcor[0], 12.0 * (0.5 / (13.0 * kGain + first * kKeep) + kEps));
    EXPECT_EQ(state.parcor[1], 7.0);
    EXPECT_EQ(state.coef[1], 0.5 * state.err / (9.0 * kGain + first * kKeep + kEps));
    EXPECT_EQ(lmslattice64fFilterOnly(&state, 0.0), 0.0 * state.coef[0] + 3.0 * state.coef[1]);
    EXPECT_EQ(state.err, -3.0 * weight);

    state.muCoef = 0.0;
    const double held = state.coef[1];
    lmslattice64fFilterUpdate(&state, 1.0, 5.0);
    EXPECT_EQ(state.coef[1], held);
    lmslattice64fFree(&state);
}

// White noise through the lattice in reverse: an input with these reflection coefficients.
class Coloured {
  public:
    static constexpr int32_t order = 4;
    static constexpr double k[order] = {0.7, -0.5, 0.3, -0.2};

    double next() {
        double f = noise_.next();
        for (size_t i = order; i-- > 0;) {
            f += k[i] * b_[i];
            b_[i + 1] = b_[i] - k[i] * f;
        }
        b_[0] = f;
        return f;
    }

  private:
    Signal noise_{23};
    double b_[order + 1] = {};
};

TYPED_TEST(GradientLattice, FindsTheReflectionCoefficients) {
    using F = TypeParam;
    constexpr int32_t order = 6; // more than the input has, and the joint process has a stage less
    typename F::State state;
    ASSERT_EQ(F::init(&state, order, 0.0001),
              STS_OK); // estimates over some 1 / mu samples: off by 0.01
    Coloured input;
    for (int i = 0; i < 80000; ++i) {
        F::update(&state, input.next());
    }
    for (int32_t i = 0; i < order - 1; ++i) {
        EXPECT_NEAR(state.parcor[i], i < Coloured::order ? Coloured::k[i] : 0.0, 0.04) << i;
    }
    F::release(&state);
}

// A lattice that has learned and then stands still is the transversal filter that coef says.
template <class F>
void actsLikeItsDirectForm() {
    for (int32_t order : {1, 2, 5, 10}) {
        typename F::State state;
        ASSERT_EQ(F::init(&state, order, 0.01), STS_OK);
        Coloured input;
        Line x(order + 1);
        for (int i = 0; i < 400; ++i) {
            x.push(input.next());
            if (i < 200) {
                F::update(&state, x.at[0]);
                continue;
            }
            const double y = F::filter(&state, x.at[0]);
            double sum = 0.0;
            for (int32_t j = 0; j < order; ++j) {
                sum += state.coef[j] * x.at[F::tap(order, j)];
            }
            if (i >= 200 + order) { // before, errors still come from moving coefficients
                EXPECT_NEAR(y, sum, 1e-12) << order;
            }
        }
        F::release(&state);
    }
}

TEST(GradientPredictors, ActLikeTheirDirectForm) {
    actsLikeItsDirectForm<Backward>();
    actsLikeItsDirectForm<Forward>();
}

// A known system behind a coloured input: with the lattice settled and held, nothing of it is left over.
TEST(Lmslattice, FollowsAKnownSystem) {
    const Values system = {0.5, -0.4, 0.3, 0.1, -0.2};
    lmslattice64fState state;
    ASSERT_EQ(lmslattice64fInit(&state, 5, 0.002, 0.1), STS_OK);
    Coloured input;
    Line x(5);
    for (int i = 0; i < 6000; ++i) {
        x.push(input.next());
        lmslattice64fFilterUpdate(&state, x.at[0], dot(system, x.at));
        if (i == 3000) {
            state.adaptParcor = 0;
        }
        if (i > 5000) {
            ASSERT_LT(std::fabs(state.err), 1e-9);
        }
    }
    lmslattice64fFree(&state);
}

} // namespace
