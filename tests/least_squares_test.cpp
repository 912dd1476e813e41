// What only recursive least squares does, by matrix and by lattice.
#include "models.h"
#include "rls64f.h"
#include "rlslattice64f.h"
#include "rlslbpef64f.h"
#include "rlslfpef64f.h"
#include "signal.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace {

TEST(Rls, HandWorkedSteps) {
    double coef[2];
    double work[7];
    rls64fState state;
    ASSERT_EQ(rls64fInitStatic(&state, 2, 0.5, 0.5, coef, work), STS_OK);
    EXPECT_EQ(rls64fFilterUpdate(&state, 1, 2), 0);
    EXPECT_EQ(state.err, 2);
    EXPECT_EQ(Values(coef, coef + 2), (Values{1, 0}));
    EXPECT_EQ(Values(work, work + 7), (Values{1, 0, 0.5, 0, 0.75, 0, 1}));
    EXPECT_EQ(rls64fFilterUpdate(&state, 2, 3), 2);
    EXPECT_EQ(state.err, 1);
    EXPECT_EQ(Values(state.gain, state.gain + 2), (Values{1.5, 1}));
    EXPECT_DOUBLE_EQ(coef[0], 4.0 / 3);
    EXPECT_DOUBLE_EQ(coef[1], 2.0 / 9);
    EXPECT_DOUBLE_EQ(state.invCorr[0], 1.0);
    EXPECT_DOUBLE_EQ(state.invCorr[1], -1.0 / 3);
    EXPECT_DOUBLE_EQ(state.invCorr[2], 16.0 / 9);
}

TEST(Rls, TestsDeltaBeforeItsPointers) {
    double coef[] = {7.0};
    double work[] = {7.0, 7.0, 7.0};
    rls64fState state;
    for (double delta : {-1e-300, std::nextafter(1.0, 2.0), std::nan(""),
                         std::numeric_limits<double>::infinity()}) {
        state.order = 5;
        EXPECT_EQ(rls64fInit(&state, 1, 0.9, delta), STS_BAD_SIZE);
        EXPECT_EQ(state.order, 0);
        state.order = 5;
        EXPECT_EQ(rls64fInitStatic(&state, 1, 0.9, delta, nullptr, work), STS_BAD_SIZE);
        EXPECT_EQ(state.order, 0);
        EXPECT_EQ(rls64fInitStatic(&state, 1, 0.9, delta, coef, work), STS_BAD_SIZE);
    }
    EXPECT_EQ(coef[0] + work[0] + work[1] + work[2], 28.0);
    for (double delta : {0.0, 1.0}) {
        ASSERT_EQ(rls64fInitStatic(&state, 1, 0.9, delta, coef, work), STS_OK);
        EXPECT_EQ(state.invCorr[0], delta);
        rls64fFilterUpdate(&state, 1.0, 1.0);
        EXPECT_EQ(coef[0] != 0.0, delta != 0.0) << "without a start nothing is learned";
    }
}

TEST(Rls, InitIsTheRemedyForWhatNeitherResetTouches) {
    double coef[6];
    double work[33];
    rls64fState state;
    for (bool again : {false, true}) {
        ASSERT_EQ(rls64fInitStatic(&state, 6, 0.95, 1.0, coef, work), STS_OK);
        rls64fFilterUpdate(&state, again ? 1.0 : NAN, 1.0);
        rls64fReset(&state);
        rls64fResetDelayLine(&state);
        rls64fFilterUpdate(&state, 1.0, 1.0);
        EXPECT_EQ(std::isnan(coef[0]), !again);
    }
}

// ---- By lattice

struct Joint {
    using State = rlslattice64fState;
    static constexpr auto init = rlslattice64fInit;
    static constexpr auto free = rlslattice64fFree;
    static constexpr auto reset = rlslattice64fReset;
    static double step(State* s, double x, double d, bool adapt) {
        return adapt ? rlslattice64fFilterUpdate(s, x, d) : rlslattice64fFilterOnly(s, x);
    }
};

struct Backward {
    using State = rlslbpef64fState;
    static constexpr auto init = rlslbpef64fInit;
    static constexpr auto free = rlslbpef64fFree;
    static constexpr auto reset = rlslbpef64fReset;
    static double step(State* s, double x, double, bool adapt) {
        return adapt ? rlslbpef64fFilterUpdate(s, x) : rlslbpef64fFilterOnly(s, x);
    }
};

struct Forward {
    using State = rlslfpef64fState;
    static constexpr auto init = rlslfpef64fInit;
    static constexpr auto free = rlslfpef64fFree;
    static constexpr auto reset = rlslfpef64fReset;
    static double step(State* s, double x, double, bool adapt) {
        return adapt ? rlslfpef64fFilterUpdate(s, x) : rlslfpef64fFilterOnly(s, x);
    }
};

template <class F>
class LeastSquaresLattice : public testing::Test {};
using Lattices = testing::Types<Joint, Backward, Forward>;
TYPED_TEST_SUITE(LeastSquaresLattice, Lattices);

// A NaN, an infinity, a sample that swallows every energy, a silence that wears them down.
TYPED_TEST(LeastSquaresLattice, StartsAfreshAfterWhatRuinsIt) {
    using F = TypeParam;
    for (double ruin : {std::nan(""), -std::numeric_limits<double>::infinity(), 1e9, 0.0}) {
        Signal signal(2);
        typename F::State state;
        typename F::State fresh;
        ASSERT_EQ(F::init(&state, 5, 0.95), STS_OK);
        ASSERT_EQ(F::init(&fresh, 5, 0.95), STS_OK);
        for (int i = 0; i < (ruin == 0.0 ? 1000 : 1); ++i) {
            F::step(&state, ruin, 0.0, true);
        }
        for (int i = 0; i < 10; ++i) {
            F::step(&state, signal.next(), signal.next(), true);
        }
        EXPECT_FALSE(std::isfinite(state.err)) << ruin;
        ASSERT_EQ(F::reset(&state), STS_OK);
        for (int i = 0; i < 50; ++i) {
            const double x = signal.next();
            const double d = signal.next();
            const bool adapt = i % 4 != 3;
            ASSERT_EQ(bits(F::step(&state, x, d, adapt)), bits(F::step(&fresh, x, d, adapt)));
        }
        F::free(&state);
        F::free(&fresh);
    }
}

TEST(Rls, TakesAnyLambda) {
    for (double lambda : {0.0, -0.5, 1.5}) {
        rls64fState state;
        ASSERT_EQ(rls64fInit(&state, 3, lambda, 0.5), STS_OK);
        EXPECT_EQ(state.invLambda,
                  lambda == 0.0 ? std::numeric_limits<double>::infinity() : 1.0 / lambda);
        for (int i = 0; i < 3; ++i) {
            rls64fFilterUpdate(&state, 0.0, 0.0); // 0 / 0 at lambda = 0
        }
        EXPECT_EQ(std::isnan(state.coef[0]), lambda == 0.0);
        rls64fFree(&state);
    }
}

TEST(RlsLattice, FirstStepByHand) {
    constexpr double energy = 1.0010000000474974513; // the start value and the sample's square
    rlslattice64fState state;
    ASSERT_EQ(rlslattice64fInit(&state, 1, 1.0), STS_OK);
    state.err = 3.0;
    EXPECT_EQ(bits(rlslattice64fFilterOnly(&state, 0.0)), bits(-0.0));
    EXPECT_EQ(state.err, 3.0);
    EXPECT_EQ(rlslattice64fFilterUpdate(&state, 1.0, 1.0), 1.0 - (1.0 - 1.0 / energy));
    EXPECT_EQ(state.fwdEnergy[0], energy);
    EXPECT_EQ(state.bwdEnergy[0], energy);
    EXPECT_EQ(state.jointCorr[0], 1.0);
    EXPECT_EQ(state.coef[0], 1.0 / energy);
    EXPECT_EQ(state.err, 1.0 - 1.0 / energy);
    EXPECT_EQ(state.delayLine[0], 1.0);
    EXPECT_EQ(state.prevGamma[0], 1.0);
    EXPECT_EQ(state.fwdParcor[0], 0.0);
    rlslattice64fFree(&state);
}

TEST(RlsPredictors, FirstStepsByHand) {
    constexpr double start = 0.0010000000474974513;
    rlslbpef64fState backward;
    rlslfpef64fState forward;
    ASSERT_EQ(rlslbpef64fInit(&backward, 1, 1.0), STS_OK);
    ASSERT_EQ(rlslfpef64fInit(&forward, 1, 1.0), STS_OK);
    EXPECT_EQ(rlslbpef64fFilterUpdate(&backward, 1.0), 0.0);
    EXPECT_EQ(rlslfpef64fFilterUpdate(&forward, 1.0), 0.0);
    EXPECT_EQ(backward.fwdEnergy[0], 2.0 + start);
    EXPECT_EQ(forward.fwdEnergy[0], 2.0 + start);
    EXPECT_EQ(backward.err, 0.0);
    EXPECT_EQ(backward.inHead, 0);
    EXPECT_EQ(forward.err, 1.0);

    const double k = 1.0 / (4.0 + start);
    EXPECT_EQ(rlslbpef64fFilterUpdate(&backward, 1.0), 1.0 - (1.0 - k));
    EXPECT_EQ(backward.crossCorr[0], 1.0);
    EXPECT_EQ(backward.bwdParcor[0], k);
    EXPECT_EQ(backward.err, 1.0 - k);
    EXPECT_EQ(backward.coef[0], k);
    const double kForward = 1.0 / (1.0 + start);
    EXPECT_EQ(rlslfpef64fFilterUpdate(&forward, 1.0), 1.0 - (1.0 - kForward));
    EXPECT_EQ(forward.fwdParcor[0], kForward);
    EXPECT_EQ(forward.coef[0], kForward);
    rlslbpef64fFree(&backward);
    rlslfpef64fFree(&forward);
}

// ---- What they are for

TEST(LeastSquares, FindASystemInWhiteNoise) {
    const Values system = {0.5, -0.4, 0.3, -0.1};
    Line line(4);
    Signal signal(7);
    rls64fState rls;
    rlslattice64fState lattice;
    ASSERT_EQ(rls64fInit(&rls, 4, 0.99, 1.0), STS_OK);
    ASSERT_EQ(rlslattice64fInit(&lattice, 4, 0.99), STS_OK);
    for (int i = 0; i < 2000; ++i) {
        const double x = signal.next();
        line.push(x);
        rls64fFilterUpdate(&rls, x, dot(system, line.at));
        rlslattice64fFilterUpdate(&lattice, x, dot(system, line.at));
    }
    for (size_t k = 0; k < system.size(); ++k) {
        EXPECT_NEAR(rls.coef[k], system[k], 1e-9) << k;
    }
    EXPECT_LT(std::fabs(lattice.err), 1e-12);
    for (int i = 0; i < 50; ++i) { // standing still, both go on as the system does
        const double x = signal.next();
        line.push(x);
        EXPECT_NEAR(rls64fFilterOnly(&rls, x), dot(system, line.at), 1e-8);
        EXPECT_NEAR(rlslattice64fFilterOnly(&lattice, x), dot(system, line.at), 1e-2);
    }
    rls64fFree(&rls);
    rlslattice64fFree(&lattice);
}

// x(n) = a1 x(n-1) + a2 x(n-2) + a3 x(n-3) + w(n): what no predictor can tell is w.
TEST(RlsPredictors, LeaveTheInnovationOfAnAutoregressiveInput) {
    const Values process = {0.9, -0.5, 0.3};
    Line past(3);
    Signal signal(13);
    rlslbpef64fState backward;
    rlslfpef64fState forward;
    ASSERT_EQ(rlslbpef64fInit(&backward, 3, 0.999), STS_OK);
    ASSERT_EQ(rlslfpef64fInit(&forward, 3, 0.999), STS_OK);
    double backwardPower = 0.0;
    double forwardPower = 0.0;
    double power = 0.0;
    for (int i = 0; i < 30000; ++i) {
        const double w = signal.next();
        const double x = dot(process, past.at) + w;
        past.push(x);
        const double seen = rlslfpef64fFilterUpdate(&forward, x);
        rlslbpef64fFilterUpdate(&backward, x);
        EXPECT_EQ(seen, x - forward.err);
        if (i >= 10000) {
            power += w * w;
            backwardPower += backward.err * backward.err;
            forwardPower += forward.err * forward.err;
        }
    }
    EXPECT_NEAR(backwardPower / power, 1.0, 0.02);
    EXPECT_NEAR(forwardPower / power, 1.0, 0.02);
    for (size_t k = 0; k < process.size(); ++k) {
        EXPECT_NEAR(backward.coef[k], process[k], 0.1) << k;
        EXPECT_NEAR(forward.coef[k], process[k], 0.1) << k;
    }
    rlslbpef64fFree(&backward);
    rlslfpef64fFree(&forward);
}

} // namespace
