// Recursive least squares, by matrix and by lattice, against the formulas written out the slow way.
#include "model.h"
#include "rls64f.h"
#include "rlslattice64f.h"
#include "rlslbpef64f.h"
#include "rlslfpef64f.h"
#include "signal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace {

using Values = std::vector<double>;

void expectBits(const double* actual, const Values& expected, const char* what) {
    for (size_t i = 0; i < expected.size(); ++i) {
        ASSERT_EQ(bits(actual[i]), bits(expected[i])) << what << " " << i;
    }
}

// ---- By matrix

struct RlsModel : Model {
    RlsModel(int32_t order, double forget, double delta)
        : Model(order), lambda(forget), invLambda(1 / forget), gain(coef.size()), P(coef.size()) {
        start(delta);
    }
    void start(double delta) {
        for (size_t i = 0; i < P.size(); ++i) {
            P[i].assign(i + 1, 0.0);
            P[i][i] = delta;
        }
    }
    // The line holds the sample already.
    double step(double d, bool adapt) {
        const size_t n = coef.size();
        const double y = output();
        err = adapt ? d - y : err;
        for (size_t i = 0; i < n; ++i) {
            gain[i] = 0;
            for (size_t j = 0; j <= i; ++j) {
                gain[i] += P[i][j] * line[j];
            }
        }
        for (size_t i = 0; i + 1 < n; ++i) {
            for (size_t k = i + 1; k < n; ++k) {
                gain[i] += P[k][i] * line[k];
            }
        }
        const double q = dot(gain, line);
        for (size_t i = 0; i < n; ++i) {
            const double k = gain[i] / (q + lambda);
            if (adapt) {
                coef[i] = k * err + coef[i];
            }
            for (size_t j = 0; j <= i; ++j) {
                P[i][j] = invLambda * P[i][j] - k * gain[j];
            }
        }
        return y;
    }
    void resize(size_t order) {
        coef.resize(order);
        line.resize(order);
        gain.assign(order, 0.0);
        P.resize(order);
        start(0.009999999776482582);
    }

    double lambda, invLambda, err = 0.0;
    Values gain;
    std::vector<Values> P;
};

void expectState(const rls64fState& state, const RlsModel& model) {
    expectBits(state.coef, model.coef, "coef");
    expectBits(state.delayLine, Values(model.line.begin(), model.line.end()), "line");
    expectBits(state.gain, model.gain, "gain");
    const double* row = state.invCorr;
    for (const Values& expected : model.P) {
        expectBits(row, expected, "P");
        row += expected.size();
    }
}

// Updates, frozen steps, their twins on the host's line, resets and resizes, at every order.
TEST(Rls, FollowsItsFormulasToTheBit) {
    for (int32_t order = 1; order <= MAX_TAPS; ++order) {
        SCOPED_TRACE(order);
        Signal signal(31);
        RlsModel model(order, 0.98, 0.75);
        rls64fState state;
        ASSERT_EQ(rls64fInit(&state, order, 0.98, 0.75), STS_OK);
        state.err = 0.0;
        expectState(state, model);
        for (int i = 0; i < 120; ++i) {
            const double x = i % 9 == 4 ? -0.0 : signal.next();
            const double d = signal.next();
            const bool adapt = i % 3 != 1;
            const bool linear = i % 4 == 2;
            model.insert(x);
            const double y = model.step(d, adapt);
            if (linear) {
                insertSampleLinBuf64f(x, state.delayLine, state.order);
            }
            ASSERT_EQ(
                bits(linear  ? adapt ? rls64fLCFilterUpdate(&state, d) : rls64fLCFilterOnly(&state)
                      : adapt ? rls64fFilterUpdate(&state, x, d)
                             : rls64fFilterOnly(&state, x)),
                bits(y));
            ASSERT_EQ(bits(state.err), bits(model.err));
            expectState(state, model);
            if (i == 40) {
                rls64fReset(&state);
                std::fill(model.coef.begin(), model.coef.end(), 0.0);
            }
            if (i == 60) {
                rls64fResetDelayLine(&state);
                std::fill(model.line.begin(), model.line.end(), 0.0);
            }
            if (i % 40 == 39) {
                const auto other = static_cast<int32_t>(signal.choose(40)) + 1;
                if (other != state.order) {
                    model.resize(static_cast<size_t>(std::min<int32_t>(other, MAX_TAPS)));
                }
                ASSERT_EQ(rls64fResize(&state, other), STS_OK);
                state.err = model.err;
                expectState(state, model);
            }
        }
        rls64fFree(&state);
        EXPECT_EQ(state.order, 0);
    }
}

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

TEST(Rls, ResizeRefusesARecordWithoutTapsAndLeavesIt) {
    rls64fState state;
    ASSERT_EQ(rls64fInit(&state, 4, 0.9, 0.5), STS_OK);
    double* const coef = std::exchange(state.coef, nullptr);
    EXPECT_EQ(rls64fResize(&state, 3), STS_NULL_PTR);
    state.coef = coef;
    state.order = 0;
    EXPECT_EQ(rls64fResize(&state, 3), STS_BAD_SIZE);
    state.order = 4;
    EXPECT_EQ(state.invCorr[9], 0.5);
    rls64fFree(&state);
}

TEST(Rls, InitIsTheRemedyForWhatNeitherResetTouches) {
    double coef[6];
    double work[33];
    rls64fState state;
    RlsModel model(6, 0.95, 1.0);
    Signal signal(4);
    ASSERT_EQ(rls64fInitStatic(&state, 6, 0.95, 1.0, coef, work), STS_OK);
    rls64fFilterUpdate(&state, std::nan(""), 1.0);
    rls64fReset(&state);
    rls64fResetDelayLine(&state);
    rls64fFilterUpdate(&state, 1.0, 1.0);
    EXPECT_TRUE(std::isnan(coef[0]));
    ASSERT_EQ(rls64fInitStatic(&state, 6, 0.95, 1.0, coef, work), STS_OK);
    for (int i = 0; i < 20; ++i) {
        const double x = signal.next();
        const double d = signal.next();
        model.insert(x);
        ASSERT_EQ(bits(rls64fFilterUpdate(&state, x, d)), bits(model.step(d, true)));
    }
}

// ---- By lattice

struct LatticeModel {
    struct Stage {
        double fwdEnergy = 0.0010000000474974513, bwdEnergy = 0.0010000000474974513;
        double crossCorr = 0, jointCorr = 0, prevGamma = 1, delayed = 0;
        double fwdParcor = 0, bwdParcor = 0, coef = 0;
    };

    LatticeModel(int32_t order, double forget)
        : lambda(forget), stages(static_cast<size_t>(order)), inLine(stages.size() + 1),
          inHead(stages.size()) {}

    void pass(double x, double d, bool adapt) {
        double g = 1;
        f = b = x;
        e = d;
        for (Stage& s : stages) {
            const double bb = b * b;
            const double newB = lambda * s.bwdEnergy + bb / g;
            if (adapt) {
                s.fwdEnergy = lambda * s.fwdEnergy + f * f / s.prevGamma;
                s.crossCorr = lambda * s.crossCorr + f * s.delayed / s.prevGamma;
                s.jointCorr = lambda * s.jointCorr + e * b / g;
                s.fwdParcor = s.crossCorr / s.bwdEnergy;
                s.bwdParcor = s.crossCorr / s.fwdEnergy;
                s.coef = s.jointCorr / newB;
            }
            const double nextF = f - s.fwdParcor * s.delayed;
            const double nextB = s.delayed - s.bwdParcor * f;
            e = e - s.coef * b;
            s.prevGamma = g;
            g = g - bb / newB;
            s.bwdEnergy = newB;
            s.delayed = b;
            f = nextF;
            b = nextB;
        }
    }
    double joint(double x, double d, bool adapt) {
        pass(x, adapt ? d : 0.0, adapt);
        if (!adapt) {
            return -e;
        }
        err = e;
        return d - e;
    }
    double predict(double x, bool adapt, bool backward) {
        if (adapt) {
            stages[0].fwdEnergy = lambda * stages[0].fwdEnergy + x * x;
        }
        pass(x, 0.0, adapt);
        Values c;
        for (Stage& s : stages) {
            const double k = backward ? s.bwdParcor : s.fwdParcor;
            const Values before = c;
            for (size_t j = 0; j < c.size(); ++j) {
                c[j] = before[j] - k * before[c.size() - 1 - j];
            }
            c.push_back(k);
        }
        direct = c;
        err = backward ? b : f;
        inHead = (inHead + 1) % inLine.size();
        inLine[inHead] = x;
        return (backward ? inLine[(inHead + 1) % inLine.size()] : x) - err;
    }
    void reset() {
        stages.assign(stages.size(), Stage());
        direct.assign(direct.size(), 0.0);
        inLine.assign(inLine.size(), 0.0);
    }
    void resize(size_t order) {
        stages.resize(order);
        direct.resize(order, 0.0);
        inLine.resize(order + 1, 0.0); // by position, whatever the age
        inHead = order;
    }
    Values all(double Stage::*field) const {
        Values values;
        for (const Stage& s : stages) {
            values.push_back(s.*field);
        }
        return values;
    }

    double lambda, err = 0.0, f = 0.0, b = 0.0, e = 0.0;
    std::vector<Stage> stages;
    Values direct; // the predictors' coef
    Values inLine;
    size_t inHead;
};

struct Joint {
    using State = rlslattice64fState;
    static constexpr int32_t limit = MAX_TAPS;
    static constexpr auto init = rlslattice64fInit;
    static constexpr auto free = rlslattice64fFree;
    static constexpr auto reset = rlslattice64fReset;
    static constexpr auto resize = rlslattice64fResize;
    static double step(State* s, double x, double d, bool adapt) {
        return adapt ? rlslattice64fFilterUpdate(s, x, d) : rlslattice64fFilterOnly(s, x);
    }
    static double step(LatticeModel& m, double x, double d, bool adapt) {
        return m.joint(x, d, adapt);
    }
};

struct Backward {
    using State = rlslbpef64fState;
    static constexpr int32_t limit = MAX_PEF_STAGES;
    static constexpr auto init = rlslbpef64fInit;
    static constexpr auto free = rlslbpef64fFree;
    static constexpr auto reset = rlslbpef64fReset;
    static constexpr auto resize = rlslbpef64fResize;
    static double step(State* s, double x, double, bool adapt) {
        return adapt ? rlslbpef64fFilterUpdate(s, x) : rlslbpef64fFilterOnly(s, x);
    }
    static double step(LatticeModel& m, double x, double, bool adapt) {
        return m.predict(x, adapt, true);
    }
};

struct Forward {
    using State = rlslfpef64fState;
    static constexpr int32_t limit = MAX_PEF_STAGES;
    static constexpr auto init = rlslfpef64fInit;
    static constexpr auto free = rlslfpef64fFree;
    static constexpr auto reset = rlslfpef64fReset;
    static constexpr auto resize = rlslfpef64fResize;
    static double step(State* s, double x, double, bool adapt) {
        return adapt ? rlslfpef64fFilterUpdate(s, x) : rlslfpef64fFilterOnly(s, x);
    }
    static double step(LatticeModel& m, double x, double, bool adapt) {
        return m.predict(x, adapt, false);
    }
};

template <class State>
void expectState(const State& state, const LatticeModel& model) {
    using Stage = LatticeModel::Stage;
    ASSERT_EQ(state.order, static_cast<int32_t>(model.stages.size()));
    expectBits(state.fwdEnergy, model.all(&Stage::fwdEnergy), "fwdEnergy");
    expectBits(state.bwdEnergy, model.all(&Stage::bwdEnergy), "bwdEnergy");
    expectBits(state.crossCorr, model.all(&Stage::crossCorr), "crossCorr");
    expectBits(state.prevGamma, model.all(&Stage::prevGamma), "prevGamma");
    expectBits(state.delayLine, model.all(&Stage::delayed), "delayLine");
    expectBits(state.fwdParcor, model.all(&Stage::fwdParcor), "fwdParcor");
    expectBits(state.bwdParcor, model.all(&Stage::bwdParcor), "bwdParcor");
    if constexpr (requires { state.jointCorr; }) {
        expectBits(state.jointCorr, model.all(&Stage::jointCorr), "jointCorr");
        expectBits(state.coef, model.all(&Stage::coef), "coef");
    } else {
        expectBits(state.coef, model.direct, "coef");
        EXPECT_EQ(state.updateCoef, 1);
    }
    if constexpr (requires { state.inLine; }) {
        expectBits(state.inLine, model.inLine, "inLine");
        EXPECT_EQ(state.inHead, static_cast<int32_t>(model.inHead));
    }
}

template <class F>
class LeastSquaresLattice : public testing::Test {};
using Lattices = testing::Types<Joint, Backward, Forward>;
TYPED_TEST_SUITE(LeastSquaresLattice, Lattices);

TYPED_TEST(LeastSquaresLattice, FollowsItsFormulasToTheBit) {
    using F = TypeParam;
    for (int32_t order : {1, 2, 3, 7, F::limit}) {
        for (double lambda : {0.97, 1.0}) {
            SCOPED_TRACE(std::to_string(order) + " stages, lambda " + std::to_string(lambda));
            Signal signal(12);
            LatticeModel model(order, lambda);
            typename F::State state;
            ASSERT_EQ(F::init(&state, order, lambda), STS_OK);
            state.err = 0.0;
            expectState(state, model);
            for (int i = 0; i < 600; ++i) {
                const double x = i % 5 == 3 ? -0.0 : signal.next();
                const double d = signal.next();
                const bool adapt = i % 100 < 70 || i % 3 != 2; // first the stages settle
                ASSERT_EQ(bits(F::step(&state, x, d, adapt)), bits(F::step(model, x, d, adapt)));
                ASSERT_EQ(bits(state.err), bits(model.err));
                ASSERT_TRUE(std::isfinite(model.err));
                expectState(state, model);
                if (i == 299) {
                    ASSERT_EQ(F::reset(&state), STS_OK);
                    model.reset();
                    expectState(state, model);
                } else if (i % 100 == 99) {
                    const auto other =
                        static_cast<int32_t>(signal.choose(static_cast<uint64_t>(F::limit))) + 3;
                    if (other != state.order) {
                        model.resize(static_cast<size_t>(std::min(other, F::limit)));
                    }
                    ASSERT_EQ(F::resize(&state, other), STS_OK);
                    state.err = model.err;
                    expectState(state, model);
                }
            }
            F::free(&state);
            EXPECT_EQ(state.order, 0);
            EXPECT_EQ(F::reset(&state), STS_OK); // nothing left to touch
        }
    }
}

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

TYPED_TEST(LeastSquaresLattice, TakesAnyLambda) {
    using F = TypeParam;
    for (double lambda : {0.0, -0.5, 1.5}) {
        Signal signal(3);
        LatticeModel model(1, lambda);
        typename F::State state;
        ASSERT_EQ(F::init(&state, 1, lambda), STS_OK);
        EXPECT_EQ(state.lambda, lambda);
        for (int i = 0; i < 20; ++i) {
            const double x = signal.next();
            const double d = signal.next();
            const double y = F::step(&state, x, d, true);
            const double expected = F::step(model, x, d, true);
            ASSERT_TRUE(bits(y) == bits(expected) || (std::isnan(y) && std::isnan(expected)));
        }
        F::free(&state);
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

// Either direction is written out from its own reflection coefficients, unless the host forbids it.
TEST(RlsPredictors, WriteThemselvesOutInDirectForm) {
    const Values parcor = {0.5, 0.25, 0.125};
    const Values direct = {0.34375, 0.203125, 0.125};
    rlslbpef64fState backward;
    rlslfpef64fState forward;
    ASSERT_EQ(rlslbpef64fInit(&backward, 3, 1.0), STS_OK);
    ASSERT_EQ(rlslfpef64fInit(&forward, 3, 1.0), STS_OK);
    std::copy(parcor.begin(), parcor.end(), backward.bwdParcor);
    std::copy(parcor.begin(), parcor.end(), forward.fwdParcor);
    backward.updateCoef = forward.updateCoef = 0;
    rlslbpef64fFilterUpdate(&backward, 0.0);
    rlslfpef64fFilterOnly(&forward, 0.0);
    EXPECT_EQ(backward.coef[0], 0.0);
    EXPECT_EQ(forward.coef[0], 0.0);
    std::copy(parcor.begin(), parcor.end(), backward.bwdParcor);
    backward.updateCoef = forward.updateCoef = -2;
    rlslbpef64fFilterOnly(&backward, 0.0);
    rlslfpef64fFilterOnly(&forward, 0.0);
    EXPECT_EQ(Values(backward.coef, backward.coef + 3), direct);
    EXPECT_EQ(Values(forward.coef, forward.coef + 3), direct);
    rlslbpef64fFree(&backward);
    rlslfpef64fFree(&forward);
}

// ---- What they are for

TEST(LeastSquares, FindASystemInWhiteNoise) {
    const Values system = {0.5, -0.4, 0.3, -0.1};
    Model line(4);
    line.coef = system;
    Signal signal(7);
    rls64fState rls;
    rlslattice64fState lattice;
    ASSERT_EQ(rls64fInit(&rls, 4, 0.99, 1.0), STS_OK);
    ASSERT_EQ(rlslattice64fInit(&lattice, 4, 0.99), STS_OK);
    for (int i = 0; i < 2000; ++i) {
        const double x = signal.next();
        line.insert(x);
        rls64fFilterUpdate(&rls, x, line.output());
        rlslattice64fFilterUpdate(&lattice, x, line.output());
    }
    for (size_t k = 0; k < system.size(); ++k) {
        EXPECT_NEAR(rls.coef[k], system[k], 1e-9) << k;
    }
    EXPECT_LT(std::fabs(lattice.err), 1e-12);
    for (int i = 0; i < 50; ++i) { // standing still, both go on as the system does
        const double x = signal.next();
        line.insert(x);
        EXPECT_NEAR(rls64fFilterOnly(&rls, x), line.output(), 1e-8);
        EXPECT_NEAR(rlslattice64fFilterOnly(&lattice, x), line.output(), 1e-2);
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
        const double x = dot(process, past) + w;
        past.insert(x);
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
