// The transversal filters, against the formulas written out the slow way.
#include "fir64f.h"
#include "lms64f.h"
#include "signal.h"

#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <functional>
#include <vector>

namespace {

// A filter of `order` taps as a textbook draws it: samples move, the newest is at the front.
struct Model {
    explicit Model(int32_t order) : coef(static_cast<size_t>(order)), line(coef.size()) {}

    void insert(double x) {
        line.push_front(x);
        line.pop_back();
    }
    double output() const {
        double y = 0.0;
        for (size_t k = 0; k < coef.size(); ++k) {
            y += coef[k] * line[k];
        }
        return y;
    }
    std::vector<double> coef;
    std::deque<double> line;
};

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

double sign(double v) { return v >= 0 ? 1 : -1; }

struct Rule {
    const char* name;
    double (*ring)(lms64fState*, double, double);
    double (*linear)(lms64fState*, double);
    bool signError;
    bool signRegressor;
};

const Rule kRules[] = {
    {"plain", lms64fFilterUpdate, lms64fLCFilterUpdate, false, false},
    {"sign error", lms64fFilterUpdateSignErr, lms64fLCFilterUpdateSignErr, true, false},
    {"sign regressor", lms64fFilterUpdateSignReg, lms64fLCFilterUpdateSignReg, false, true},
    {"sign sign", lms64fFilterUpdateSignSign, lms64fLCFilterUpdateSignSign, true, true}};

// All four rules, ring and linear, to the bit; every third sample is 0 and d is now and then y.
TEST(Lms, FollowsItsFormulasToTheBit) {
    for (const Rule& rule : kRules) {
        for (int32_t order : {1, 2, 5, 8, 17, 32}) {
            for (bool linear : {false, true}) {
                SCOPED_TRACE(rule.name + std::string(linear ? " linear " : " ring ") +
                             std::to_string(order));
                constexpr double mu = 0.03;
                Signal signal(11);
                Model model(order);
                lms64fState state;
                ASSERT_EQ(lms64fInit(&state, order, mu), STS_OK);
                for (int i = 0; i < 200; ++i) {
                    const double x = i % 3 == 2 ? (i % 2 == 0 ? 0.0 : -0.0) : signal.next();
                    model.insert(x);
                    const double y = model.output();
                    const double d = i % 7 == 0 ? y : signal.next();
                    if (i % 5 == 4) { // a step that does not adapt
                        if (linear) {
                            insertSampleLinBuf64f(x, state.delayLine, order);
                        }
                        ASSERT_EQ(
                            bits(linear ? lms64fLCFilterOnly(&state) : lms64fFilterOnly(&state, x)),
                            bits(y));
                        continue;
                    }
                    const double e = d - y;
                    const double g = mu * (rule.signError ? sign(e) : e);
                    for (size_t k = 0; k < model.coef.size(); ++k) {
                        model.coef[k] +=
                            rule.signRegressor ? sign(model.line[k]) * g : g * model.line[k];
                    }
                    if (linear) {
                        insertSampleLinBuf64f(x, state.delayLine, order);
                        ASSERT_EQ(bits(rule.linear(&state, d)), bits(y));
                    } else {
                        ASSERT_EQ(bits(rule.ring(&state, x, d)), bits(y));
                    }
                    ASSERT_EQ(bits(state.err), bits(e));
                    std::vector<double> coef(model.coef.size());
                    lms64fGetCoef(&state, coef.data(), 0, order, 0);
                    ASSERT_EQ(coef, model.coef);
                }
                EXPECT_EQ(state.head, linear ? order - 1 : (2 * order - 1 - 200 % order) % order);
                lms64fFree(&state);
                EXPECT_EQ(state.order, order);
            }
        }
    }
}

TEST(Lms, HandWorkedSteps) {
    double coef[2];
    double line[2];
    lms64fState state;
    ASSERT_EQ(lms64fInitStatic(&state, 2, 0.5, coef, line), STS_OK);
    EXPECT_EQ(lms64fFilterUpdate(&state, 1, 1), 0);
    EXPECT_EQ(state.err, 1);
    EXPECT_EQ(std::vector(coef, coef + 2), (std::vector<double>{0.5, 0}));
    EXPECT_EQ(lms64fFilterUpdate(&state, 2, 0), 1);
    EXPECT_EQ(state.err, -1);
    EXPECT_EQ(std::vector(coef, coef + 2), (std::vector<double>{-0.5, -0.5}));
    // NaN counts as negative: both taps go down by mu, although the line holds 2 and 1.
    lms64fReset(&state);
    lms64fFilterUpdateSignSign(&state, 3, std::nan(""));
    EXPECT_EQ(std::vector(coef, coef + 2), (std::vector<double>{-0.5, -0.5}));
}

// White noise through a known system: the taps come out in place, order and sign.
TEST(Lms, IdentifiesASystemFromWhiteNoise) {
    const std::vector<double> system = {0.5, -0.4, 0.3, 0.0, -0.1, 0.05};
    for (const Rule& rule : kRules) {
        SCOPED_TRACE(rule.name);
        Signal signal(5);
        Model model(6);
        model.coef = system;
        lms64fState state;
        ASSERT_EQ(lms64fInit(&state, 6, rule.signError ? 1e-4 : 0.02), STS_OK);
        for (int i = 0; i < 40000; ++i) {
            const double x = signal.next();
            model.insert(x);
            rule.ring(&state, x, model.output());
        }
        for (size_t k = 0; k < system.size(); ++k) {
            EXPECT_NEAR(state.coef[k], system[k], rule.signError ? 2e-3 : 1e-9);
        }
        lms64fFree(&state);
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
