// The transversal filters, against the formulas written out the slow way.
#include "blms64f.h"
#include "bnlms64f.h"
#include "fir64f.h"
#include "lms64f.h"
#include "model.h"
#include "nlms64f.h"
#include "signal.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace {

TEST(Fir, BlocksEqualSingleStepsForEveryLengthAndHead) {
    for (int32_t order : {1, 2, 7, 8, 31, 32}) {
        Signal signal(static_cast<uint64_t>(order));
        std::vector<double> coef(MAX_TAPS);
        signal.fill(coef.data(), order);
        fir64fState block;
        ASSERT_EQ(fir64fInit(&block, order, coef.data()), STS_OK);
        Model model(order);
        std::copy_n(coef.begin(), order, model.coef.begin());
        for (int32_t n : {1, 2, 3, 5, 16, 31, 32, 33, 47, 255, 256, 257, 600, 1}) {
            std::vector<double> x(static_cast<size_t>(n));
            signal.fill(x.data(), n);
            std::vector<double> y(x.size());
            const bool inPlace = n % 2 == 1;
            std::vector<double>& in = inPlace ? y : x;
            if (inPlace) {
                y = x;
            }
            ASSERT_EQ(fir64fBlockFilter(&block, in.data(), y.data(), n), STS_OK);
            for (size_t i = 0; i < x.size(); ++i) {
                model.insert(x[i]);
                ASSERT_EQ(bits(y[i]), bits(model.output()))
                    << "order " << order << " n " << n << " i " << i;
            }
            std::vector<double> line(static_cast<size_t>(order));
            fir64fGetDelayLine(&block, line.data(), 0, order, 0);
            ASSERT_EQ(line, std::vector(model.line.begin(), model.line.end()));
            const double x1 = signal.next();
            model.insert(x1);
            ASSERT_EQ(fir64fFilter(&block, x1), model.output());
        }
        fir64fFree(&block);
        EXPECT_EQ(block.order, 0);
    }
}

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

// The LMS and NLMS updates, sample by sample, ring and linear.
template <class State>
struct SampleUpdate {
    const char* name;
    double (*ring)(State*, double, double);
    double (*linear)(State*, double);
    double (*ringOnly)(State*, double);
    double (*linearOnly)(State*);
    bool signError;
    bool signRegressor;
};

double lmsLinearOnly(lms64fState* state) { return lms64fLCFilterOnly(state); }

const SampleUpdate<lms64fState> kLms[] = {
    {"plain", lms64fFilterUpdate, lms64fLCFilterUpdate, lms64fFilterOnly, lmsLinearOnly, false,
     false},
    {"sign error", lms64fFilterUpdateSignErr, lms64fLCFilterUpdateSignErr, lms64fFilterOnly,
     lmsLinearOnly, true, false},
    {"sign regressor", lms64fFilterUpdateSignReg, lms64fLCFilterUpdateSignReg, lms64fFilterOnly,
     lmsLinearOnly, false, true},
    {"sign sign", lms64fFilterUpdateSignSign, lms64fLCFilterUpdateSignSign, lms64fFilterOnly,
     lmsLinearOnly, true, true}};

const SampleUpdate<nlms64fState> kNlms[] = {{"normalised", nlms64fFilterUpdate,
                                             nlms64fLCFilterUpdate, nlms64fFilterOnly,
                                             nlms64fLCFilterOnly, false, false}};

void expectPower(const nlms64fState& state, const LmsModel& model) {
    ASSERT_EQ(bits(state.power), bits(model.power));
}
void expectPower(const lms64fState&, const LmsModel&) {}

// Every third sample is a zero of either sign, d is now and then y, every fifth step does not adapt.
template <class State>
void followsItsFormulas(const SampleUpdate<State>& update, int32_t (*init)(State*, int32_t, double),
                        void (*release)(State*), bool normalised) {
    for (int32_t order : {1, 2, 5, 8, 17, 32}) {
        for (bool linear : {false, true}) {
            SCOPED_TRACE(update.name + std::string(linear ? " linear " : " ring ") +
                         std::to_string(order));
            Signal signal(11);
            LmsModel model(order, 0.03);
            model.signError = update.signError;
            model.signRegressor = update.signRegressor;
            model.normalised = normalised;
            State state;
            ASSERT_EQ(init(&state, order, model.mu), STS_OK);
            for (int i = 0; i < 200; ++i) {
                const double x = i % 3 == 2 ? (i % 2 == 0 ? 0.0 : -0.0) : signal.next();
                model.insert(x);
                const double y = model.output();
                const double d = i % 7 == 0 ? y : signal.next();
                if (linear) {
                    insertSampleLinBuf64f(x, state.delayLine, order);
                }
                if (i % 5 == 4) {
                    model.smooth(x);
                    ASSERT_EQ(bits(linear ? update.linearOnly(&state) : update.ringOnly(&state, x)),
                              bits(y));
                } else {
                    const double e = model.adapt(d);
                    ASSERT_EQ(bits(linear ? update.linear(&state, d) : update.ring(&state, x, d)),
                              bits(y));
                    ASSERT_EQ(bits(state.err), bits(e));
                }
                ASSERT_EQ(taps(state), model.coef);
                expectPower(state, model);
            }
            EXPECT_EQ(state.head, linear ? order - 1 : (2 * order - 1 - 200 % order) % order);
            release(&state);
            EXPECT_EQ(state.order, order);
        }
    }
}

TEST(Lms, FollowsItsFormulasToTheBit) {
    for (const auto& update : kLms) {
        followsItsFormulas(update, lms64fInit, lms64fFree, false);
    }
}

TEST(Nlms, FollowsItsFormulasToTheBit) {
    followsItsFormulas(kNlms[0], nlms64fInit, nlms64fFree, true);
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

// The block forms equal their single steps for every length of block and every permitted aliasing.
template <class State>
void blocksEqualSteps(int32_t (*update)(State*, const double*, const double*, double*, double*),
                      int32_t (*filter)(State*, const double*, double*),
                      int32_t (*init)(State*, int32_t, int32_t, double),
                      int32_t (*resize)(State*, int32_t, int32_t), void (*release)(State*),
                      const LmsModel& rule, bool filterInPlace) {
    for (int32_t order : {1, 2, 3, 4, 5, 8, 31, 32}) {
        Signal signal(4);
        LmsModel model = rule;
        model.coef.assign(static_cast<size_t>(order), 0.0);
        model.line = Line(order);
        State state;
        ASSERT_EQ(init(&state, order, 1, model.mu), STS_OK);
        for (int32_t n : {1, 2, 7, 16, 33, 256, 300, 3}) {
            ASSERT_EQ(resize(&state, order, n), STS_OK);
            EXPECT_EQ(state.head, n == 1 ? state.head : 0);
            for (int aliasing = 0; aliasing < 6; ++aliasing) {
                SCOPED_TRACE(std::to_string(order) + " taps, block of " + std::to_string(n) +
                             ", aliasing " + std::to_string(aliasing));
                std::vector<double> x(static_cast<size_t>(n)), d(x), y(x), e(x), wantY(x), wantE(x);
                signal.fill(x.data(), n);
                signal.fill(d.data(), n);
                for (size_t i = 0; i < x.size(); ++i) {
                    model.insert(x[i]);
                    wantY[i] = model.output();
                    if (aliasing == 5) {
                        model.smooth(x[i]);
                    } else {
                        wantE[i] = model.adapt(d[i]);
                    }
                }
                double* const out = aliasing == 1 || aliasing == 4 ? x.data() : y.data();
                double* const errors = aliasing == 2                    ? x.data()
                                       : aliasing == 3 || aliasing == 4 ? d.data()
                                                                        : e.data();
                if (aliasing == 5) {
                    double* const filtered = filterInPlace ? x.data() : y.data();
                    ASSERT_EQ(filter(&state, x.data(), filtered), STS_OK);
                    ASSERT_EQ(std::vector(filtered, filtered + n), wantY);
                } else {
                    ASSERT_EQ(update(&state, x.data(), d.data(), out, errors), STS_OK);
                    ASSERT_EQ(std::vector(out, out + n), wantY);
                    ASSERT_EQ(std::vector(errors, errors + n), wantE);
                }
                ASSERT_EQ(taps(state), model.coef);
                for (int32_t age = 0; age < order; ++age) {
                    ASSERT_EQ(state.delayLine[(state.head + 1 + age) % order],
                              model.line[static_cast<size_t>(age)]);
                }
                if constexpr (requires { state.power; }) {
                    ASSERT_EQ(bits(state.power), bits(model.power));
                }
            }
        }
        double* const coef = std::exchange(state.coef, nullptr);
        EXPECT_EQ(update(&state, nullptr, nullptr, nullptr, nullptr), STS_NULL_PTR);
        EXPECT_EQ(filter(&state, nullptr, nullptr), STS_NULL_PTR);
        state.coef = coef;
        double* const line = std::exchange(state.delayLine, nullptr);
        EXPECT_EQ(update(&state, nullptr, nullptr, nullptr, nullptr), STS_NULL_PTR);
        EXPECT_EQ(filter(&state, nullptr, nullptr), STS_NULL_PTR);
        state.delayLine = line;
        EXPECT_EQ(resize(&state, order, 0), STS_BAD_SIZE);
        EXPECT_EQ(init(&state, order, -1, 0.1), (release(&state), STS_BAD_SIZE));
        EXPECT_EQ(state.order, 0);
    }
}

TEST(Blms, BlocksEqualSteps) {
    const struct {
        int32_t (*update)(blms64fState*, const double*, const double*, double*, double*);
        bool signError, signRegressor;
    } rules[] = {{blms64fFilterUpdate, false, false},
                 {blms64fFilterUpdateSignErr, true, false},
                 {blms64fFilterUpdateSignReg, false, true},
                 {blms64fFilterUpdateSignSign, true, true}};
    for (const auto& rule : rules) {
        LmsModel model(1, 0.01);
        model.signError = rule.signError;
        model.signRegressor = rule.signRegressor;
        blocksEqualSteps(rule.update, blms64fFilterOnly, blms64fInit, blms64fResize, blms64fFree,
                         model, true);
    }
}

TEST(Bnlms, BlocksEqualSteps) {
    LmsModel model(1, 0.01);
    model.normalised = true;
    model.keep = 0.9900000095367432;
    model.gain = 0.009999999776482582;
    model.floor = 1.0000000036274937e-15;
    blocksEqualSteps(bnlms64fFilterUpdate, bnlms64fFilterOnly, bnlms64fInit, bnlms64fResize,
                     bnlms64fFree, model, false);
}

// White noise through a known system: how far the taps end up from those of the system.
template <class Update>
double misalignment(Update update, int samples, double level = 1.0) {
    const std::vector<double> system = {0.5, -0.4, 0.3, 0.0, -0.1, 0.05, 0.2, -0.3};
    Signal signal(5);
    Model model(8);
    model.coef = system;
    const double* coef = nullptr;
    for (int i = 0; i < samples; ++i) {
        const double x = level * signal.next();
        model.insert(x);
        coef = update(x, model.output());
    }
    double distance = 0.0;
    for (size_t k = 0; k < system.size(); ++k) {
        distance = std::fmax(distance, std::fabs(coef[k] - system[k]));
    }
    return distance;
}

TEST(Lms, IdentifiesASystemFromWhiteNoise) {
    for (const auto& rule : kLms) {
        lms64fState state;
        ASSERT_EQ(lms64fInit(&state, 8, rule.signError ? 1e-4 : 0.02), STS_OK);
        EXPECT_LT(misalignment(
                      [&](double x, double d) {
                          rule.ring(&state, x, d);
                          return state.coef;
                      },
                      40000),
                  rule.signError ? 2e-3 : 1e-9)
            << rule.name;
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

TEST(Lms, ResizeOfARecordWithoutTapsIsRefused) {
    lms64fState state;
    ASSERT_EQ(lms64fInit(&state, 4, 0.1), STS_OK);
    state.order = 0;
    EXPECT_EQ(lms64fResize(&state, 4), STS_BAD_SIZE);
    EXPECT_EQ(state.order, 0);
    state.order = 4;
    lms64fFree(&state);
}

} // namespace
