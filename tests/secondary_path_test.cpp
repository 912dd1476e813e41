// The filters that act through a secondary path, against their formulas written out the slow way.
#include "adjlms64f.h"
#include "fxlms64f.h"
#include "heap.h"
#include "model.h"
#include "signal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace {

// Both filters: x through coef, y through sec; what differs is the way to the gradient.
struct PathModel {
    PathModel(int32_t order, double stepSize, std::vector<double> secPath,
              std::vector<double> estPath)
        : mu(stepSize), coef(static_cast<size_t>(order)), sec(std::move(secPath)),
          est(std::move(estPath)), x(0), y(static_cast<int32_t>(sec.size())), third(0) {}
    virtual ~PathModel() = default;

    double output(double sample) {
        x.insert(sample);
        y.insert(dot(coef, x));
        return dot(sec, y);
    }
    virtual double step(double sample, double d) = 0;
    virtual double filter(double sample) = 0;
    virtual void resize(size_t order) {
        coef.resize(order, 0.0);
        x.resize(lineLength(), 0.0);
    }
    virtual size_t lineLength() const = 0;
    void smooth(double sample) { power = 0.99 * power + 0.01 * (sample * sample); }
    void resetLines() {
        for (Line* line : {&x, &y, &third}) {
            std::fill(line->begin(), line->end(), 0.0);
        }
    }

    double mu, err = 0.0, power = 1.0;
    std::vector<double> coef, sec, est;
    Line x, y, third;
};

struct AdjointModel : PathModel {
    AdjointModel(int32_t order, double stepSize, std::vector<double> s, std::vector<double> e)
        : PathModel(order, stepSize, std::move(s), std::move(e)) {
        x.resize(lineLength());
        third.resize(est.size());
    }
    size_t lineLength() const override { return coef.size() + est.size() - 1; }
    double step(double sample, double d) override {
        const double s = output(sample);
        err = s + d;
        third.insert(err);
        double r = 0.0;
        for (size_t j = 0; j < est.size(); ++j) {
            r += est[est.size() - 1 - j] * third[j];
        }
        smoothDelayed();
        const double gain = r * (mu / (power + 1e-12));
        for (size_t k = 0; k < coef.size(); ++k) {
            coef[k] = coef[k] - gain * x[est.size() - 1 + k];
        }
        return s;
    }
    double filter(double sample) override {
        const double s = output(sample);
        smoothDelayed();
        return s;
    }
    void smoothDelayed() { smooth(coef.size() == 1 ? x[0] : x[est.size()]); }
};

struct FilteredReferenceModel : PathModel {
    FilteredReferenceModel(int32_t order, double stepSize, std::vector<double> s,
                           std::vector<double> e)
        : PathModel(order, stepSize, std::move(s), std::move(e)) {
        x.resize(lineLength());
        third.resize(coef.size());
    }
    size_t lineLength() const override { return std::max(coef.size(), est.size()); }
    double step(double sample, double d) override {
        const double s = output(sample);
        err = s + d;
        const double xf = dot(est, x);
        third.insert(xf);
        smooth(xf);
        const double gain = (mu * err) / (power + 1e-12);
        for (size_t k = 0; k < coef.size(); ++k) {
            coef[k] = coef[k] - gain * third[k];
        }
        return s;
    }
    double filter(double sample) override {
        const double s = output(sample);
        smooth(dot(est, x));
        return s;
    }
    void resize(size_t order) override {
        PathModel::resize(order);
        third.resize(order, 0.0);
    }
};

struct Adjoint {
    using State = adjlms64fState;
    using Model = AdjointModel;
    static constexpr auto init = adjlms64fInit;
    static constexpr auto initStatic = adjlms64fInitStatic;
    static constexpr auto update = adjlms64fFilterUpdate;
    static constexpr auto filter = adjlms64fFilterOnly;
    static constexpr auto resetLines = adjlms64fResetDelayLine;
    static constexpr auto resize = adjlms64fResize;
    static constexpr auto release = adjlms64fFree;
};

struct FilteredReference {
    using State = fxlms64fState;
    using Model = FilteredReferenceModel;
    static constexpr auto init = fxlms64fInit;
    static constexpr auto initStatic = fxlms64fInitStatic;
    static constexpr auto update = fxlms64fFilterUpdate;
    static constexpr auto filter = fxlms64fFilterOnly;
    static constexpr auto resetLines = fxlms64fResetDelayLine;
    static constexpr auto resize = fxlms64fResize;
    static constexpr auto release = fxlms64fFree;
};

template <class F>
class SecondaryPath : public testing::Test {};
using Filters = testing::Types<Adjoint, FilteredReference>;
TYPED_TEST_SUITE(SecondaryPath, Filters);

// Updates, frozen steps, cleared lines and resizes in any order, to the bit.
TYPED_TEST(SecondaryPath, FollowsItsFormulasThroughEveryChange) {
    using F = TypeParam;
    const struct {
        int32_t order, secLen, estLen;
    } shapes[] = {{1, 1, 1}, {1, 2, 3}, {2, 3, 2}, {2, 1, 5}, {4, 1, 9}, {32, 7, 5}, {3, 5, 40}};
    for (const auto& shape : shapes) {
        SCOPED_TRACE(std::to_string(shape.order) + ", " + std::to_string(shape.secLen) + ", " +
                     std::to_string(shape.estLen));
        Signal signal(6);
        std::vector<double> sec(static_cast<size_t>(shape.secLen));
        std::vector<double> est(static_cast<size_t>(shape.estLen));
        signal.fill(sec.data(), shape.secLen);
        signal.fill(est.data(), shape.estLen);
        typename F::Model model(shape.order, 0.002, sec, est);
        typename F::State state;
        ASSERT_EQ(F::init(&state, shape.order, model.mu, sec.data(), shape.secLen, est.data(),
                          shape.estLen),
                  STS_OK);
        for (int i = 0; i < 600; ++i) {
            const double x = i % 4 == 3 ? 0.0 : signal.next();
            if (i % 3 == 1) {
                ASSERT_EQ(bits(F::filter(&state, x)), bits(model.filter(x)));
            } else {
                const double d = signal.next();
                ASSERT_EQ(bits(F::update(&state, x, d)), bits(model.step(x, d)));
                ASSERT_EQ(bits(state.err), bits(model.err));
            }
            ASSERT_EQ(bits(state.power), bits(model.power));
            ASSERT_EQ(std::vector(state.coef, state.coef + state.order), model.coef);
            if (i % 50 == 20) {
                const auto order = static_cast<int32_t>(signal.choose(40)) + 1;
                ASSERT_EQ(F::resize(&state, order), STS_OK);
                if (order != static_cast<int32_t>(model.coef.size())) {
                    EXPECT_EQ(state.head, 0);
                }
                model.resize(static_cast<size_t>(std::min<int32_t>(order, MAX_TAPS)));
            }
            if (i % 170 == 100) {
                F::resetLines(&state);
                model.resetLines();
            }
            if (i == 300) { // the paths are the host's, and each call reads them anew
                est[0] = model.est[0] = 0.25;
                sec[0] = model.sec[0] = -0.5;
            }
        }
        F::release(&state);
    }
}

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
        x.insert(sample);
        through.insert(dot(response, x));
        F::update(&state, sample, dot(sec, through));
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
