// What only the transversal filters do: worked values, systems found in noise, borrowed taps.
#include "blms64f.h"
#include "bnlms64f.h"
#include "fir64f.h"
#include "lms64f.h"
#include "models.h"
#include "nlms64f.h"
#include "signal.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

TEST(Fir, BlockRefusesNullArraysBeforeItLooksAtTheLength) {
    double coef[] = {1.0};
    double x[] = {5.0};
    double line[1];
    fir64fState state;
    ASSERT_EQ(fir64fInitStatic(&state, 1, coef, line), STS_OK);
    EXPECT_EQ(fir64fBlockFilter(&state, x, nullptr, 0), STS_NULL_PTR);
    EXPECT_EQ(fir64fBlockFilter(&state, nullptr, x, 1), STS_NULL_PTR);
    EXPECT_EQ(fir64fBlockFilter(&state, x, x, 0), STS_OK);
    EXPECT_EQ(fir64fBlockFilter(&state, x, x, -4), STS_OK);
    EXPECT_EQ(line[0], 0.0);
}

TEST(Fir, BorrowsItsCoefficients) {
    double coef[4] = {1, 2, 3, 4};
    double line[4] = {9, 9, 9, 9};
    fir64fState state;
    state.order = 3;
    EXPECT_EQ(fir64fInitStatic(&state, 4, nullptr, line), STS_NULL_PTR);
    EXPECT_EQ(fir64fInitStatic(&state, 0, nullptr, line), STS_BAD_SIZE);
    EXPECT_EQ(fir64fInit(&state, 4, nullptr), STS_NULL_PTR);
    EXPECT_EQ(state.order, 0);
    EXPECT_EQ(line[3], 9);

    ASSERT_EQ(fir64fInit(&state, 4, coef), STS_OK);
    EXPECT_EQ(coef[3], 4);
    const double ten = 10;
    EXPECT_EQ(fir64fSetCoef(&state, &ten, 1, 1, 0), 1);
    EXPECT_EQ(coef[1], 10);

    // Shrinking leaves the host's further elements alone, growing clears what comes into use.
    ASSERT_EQ(fir64fResize(&state, 2), STS_OK);
    EXPECT_EQ(coef[3], 4);
    ASSERT_EQ(fir64fResize(&state, 3), STS_OK);
    EXPECT_EQ(std::vector(coef, coef + 4), (std::vector<double>{1, 10, 0, 4}));

    double* const delayLine = state.delayLine;
    state.delayLine = nullptr;
    EXPECT_EQ(fir64fResize(&state, 4), STS_NULL_PTR);
    EXPECT_EQ(coef[3], 4);
    state.delayLine = delayLine;
    fir64fFree(&state);
}

template <class State>
std::vector<double> taps(const State& state) {
    return std::vector(state.coef, state.coef + state.order);
}

TEST(Lms, HandWorkedSteps) {
    double coef[2];
    double line[2];
    lms64fState state;
    ASSERT_EQ(lms64fInitStatic(&state, 2, 0.5, coef, line), STS_OK);
    EXPECT_EQ(lms64fFilterUpdate(&state, 1, 1), 0);
    EXPECT_EQ(state.err, 1);
    EXPECT_EQ(taps(state), (std::vector<double>{0.5, 0}));
    EXPECT_EQ(lms64fFilterUpdate(&state, 2, 0), 1);
    EXPECT_EQ(state.err, -1);
    EXPECT_EQ(taps(state), (std::vector<double>{-0.5, -0.5}));
    // NaN counts as negative: both taps go down by mu, although the line holds 2 and 1.
    lms64fReset(&state);
    lms64fFilterUpdateSignSign(&state, 3, std::nan(""));
    EXPECT_EQ(taps(state), (std::vector<double>{-0.5, -0.5}));
}

TEST(Nlms, HandWorkedSteps) {
    nlms64fState state;
    ASSERT_EQ(nlms64fInit(&state, 1, 1.0), STS_OK);
    EXPECT_EQ(nlms64fFilterUpdate(&state, 10, 1), 0);
    EXPECT_EQ(state.power, 1.99);
    EXPECT_EQ(state.coef[0], 1 / (1.99 + 1e-12) * 10);
    nlms64fReset(&state);
    EXPECT_EQ(state.power, 1.99);
    nlms64fFree(&state);

    double x = 10, d = 1, y, e;
    bnlms64fState block;
    ASSERT_EQ(bnlms64fInit(&block, 1, 1, 1.0), STS_OK);
    EXPECT_EQ(bnlms64fFilterUpdate(&block, &x, &d, &y, &e), STS_OK);
    EXPECT_EQ(block.power, 0.9900000095367432 + 0.009999999776482582 * 100);
    EXPECT_EQ(e, 1);
    // The floor keeps a step finite that meets no power at all.
    block.power = 0.0;
    x = 0.0;
    EXPECT_EQ(bnlms64fFilterUpdate(&block, &x, &d, &y, &e), STS_OK);
    EXPECT_TRUE(std::isfinite(block.coef[0]));
    bnlms64fFree(&block);
}

// A record that lost an array refuses its blocks before it looks at the host's.
template <class State>
void blocksNeedTheirArrays(int32_t (*update)(State*, const double*, const double*, double*,
                                             double*),
                           int32_t (*filter)(State*, const double*, double*)) {
    double values[4] = {};
    for (int missing : {0, 1}) {
        State state = {};
        (missing == 0 ? state.delayLine : state.coef) = values;
        state.order = state.blockLen = 4;
        EXPECT_EQ(update(&state, nullptr, nullptr, nullptr, nullptr), STS_NULL_PTR);
        EXPECT_EQ(filter(&state, nullptr, nullptr), STS_NULL_PTR);
    }
}

TEST(Blocks, NeedTheirArrays) {
    for (auto update : {blms64fFilterUpdate, blms64fFilterUpdateSignErr, blms64fFilterUpdateSignReg,
                        blms64fFilterUpdateSignSign}) {
        blocksNeedTheirArrays(update, blms64fFilterOnly);
    }
    blocksNeedTheirArrays(bnlms64fFilterUpdate, bnlms64fFilterOnly);
}

// White noise through a known system: how far the taps end up from those of the system.
template <class Update>
double misalignment(Update update, int samples, double level = 1.0) {
    const std::vector<double> system = {0.5, -0.4, 0.3, 0.0, -0.1, 0.05, 0.2, -0.3};
    Signal signal(5);
    Line line(8);
    const double* coef = nullptr;
    for (int i = 0; i < samples; ++i) {
        const double x = level * signal.next();
        line.push(x);
        coef = update(x, dot(system, line.at));
    }
    double distance = 0.0;
    for (size_t k = 0; k < system.size(); ++k) {
        distance = std::fmax(distance, std::fabs(coef[k] - system[k]));
    }
    return distance;
}

TEST(Lms, IdentifiesASystemFromWhiteNoise) {
    const struct {
        double (*update)(lms64fState*, double, double);
        double mu, distance;
    } rules[] = {{lms64fFilterUpdate, 0.02, 1e-9},
                 {lms64fFilterUpdateSignErr, 1e-4, 2e-3},
                 {lms64fFilterUpdateSignReg, 0.02, 1e-9},
                 {lms64fFilterUpdateSignSign, 1e-4, 2e-3}};
    for (const auto& rule : rules) {
        lms64fState state;
        ASSERT_EQ(lms64fInit(&state, 8, rule.mu), STS_OK);
        EXPECT_LT(misalignment(
                      [&](double x, double d) {
                          rule.update(&state, x, d);
                          return state.coef;
                      },
                      40000),
                  rule.distance);
        lms64fFree(&state);
    }
}

// At any level of the input the normalised forms converge below 2 / order and diverge well above.
TEST(Nlms, StepIsStableUpToTwoOverOrder) {
    for (double level : {1e-3, 1.0, 1e4}) {
        for (double step : {1.0, 1.6, 3.0}) {
            nlms64fState state;
            bnlms64fState block;
            ASSERT_EQ(nlms64fInit(&state, 8, step / 8), STS_OK);
            ASSERT_EQ(bnlms64fInit(&block, 8, 1, step / 8), STS_OK);
            state.power = block.power = level * level / 3; // the noise has been running
            const double sample = misalignment(
                [&](double x, double d) {
                    nlms64fFilterUpdate(&state, x, d);
                    return state.coef;
                },
                4000, level);
            const double blocks = misalignment(
                [&](double x, double d) {
                    double y, e;
                    bnlms64fFilterUpdate(&block, &x, &d, &y, &e);
                    return block.coef;
                },
                4000, level);
            for (double distance : {sample, blocks}) {
                if (step < 2.0) {
                    EXPECT_LT(distance, 1e-4) << step << " at " << level;
                } else {
                    EXPECT_FALSE(distance < 1.0) << step << " at " << level;
                }
            }
            nlms64fFree(&state);
            bnlms64fFree(&block);
        }
    }
}

} // namespace
