// The gradient lattices, against their formulas written out stage by stage.
#include "lbpef64f.h"
#include "lfpef64f.h"
#include "lmslattice64f.h"
#include "model.h"
#include "signal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace {

constexpr double kKeep = 0.9800000190734863;
constexpr double kGain = 0.009999999776482582;
constexpr double kEps = 1.0000000036274937e-15;

using Values = std::vector<double>;

// The stages: b holds the backward errors of the sample before, k the reflection coefficients.
struct LatticeModel {
    LatticeModel(size_t order, size_t width)
        : k(order), coef(order), b(width), power(width, 1.0), back(width) {}

    static double smooth(double b, double f, double power) {
        return (b * b + f * f) * kGain + power * kKeep;
    }
    // Returns the forward error of the last stage.
    double pass(double x, size_t stages, bool adapt) {
        double f = x;
        back[0] = x;
        power[0] = smooth(b[0], x, power[0]);
        for (size_t i = 1; i <= stages; ++i) {
            const double fNew = f - b[i - 1] * k[i - 1];
            back[i] = b[i - 1] - f * k[i - 1];
            const double gradient = fNew * b[i - 1] + f * back[i];
            if (adapt && gradient != 0.0) {
                k[i - 1] = gradient * (mu / power[i - 1] + kEps) + k[i - 1];
            }
            power[i] = smooth(b[i], fNew, power[i]);
            f = fNew;
        }
        return f;
    }
    void reset() {
        std::fill(k.begin(), k.end(), 0.0);
        std::fill(coef.begin(), coef.end(), 0.0);
    }
    void resize(size_t order, size_t width) {
        const size_t kept = std::min(order, k.size());
        k.resize(order);
        coef.resize(order);
        b.resize(kept); // what lies behind the last stage is not carried
        b.resize(width);
        power.assign(width, 1.0);
        back.assign(width, 0.0);
    }

    double mu = 0.0, muCoef = 0.0, err = 0.0;
    bool adapting = true; // the flag of the record
    Values k, coef, b, power, back;
};

struct PredictorModel : LatticeModel {
    explicit PredictorModel(int32_t order)
        : LatticeModel(static_cast<size_t>(order), static_cast<size_t>(order) + 1) {}
    double pass(double x, bool adapt) {
        const double f = LatticeModel::pass(x, k.size(), adapt);
        if (adapt && adapting) {
            coef[0] = k[0];
            for (size_t m = 1; m < k.size(); ++m) {
                const Values c = coef;
                for (size_t j = 0; j < m; ++j) {
                    coef[j] = c[j] - k[m] * c[m - 1 - j];
                }
                coef[m] = k[m];
            }
        }
        std::copy(back.begin(), back.end() - 1, b.begin());
        return f;
    }
    void resize(int32_t order) {
        LatticeModel::resize(static_cast<size_t>(order), static_cast<size_t>(order) + 1);
    }
};

struct ForwardModel : PredictorModel {
    using PredictorModel::PredictorModel;
    double step(double x, double, bool adapt) {
        err = pass(x, adapt);
        return x - err;
    }
    void expectHistory(const lfpef64fState&) const {}
};

struct BackwardModel : PredictorModel {
    explicit BackwardModel(int32_t order) : PredictorModel(order), line(order + 1), newest(order) {}
    double step(double x, double, bool adapt) {
        pass(x, adapt);
        err = back.back();
        line.insert(x);
        newest = (newest + 1) % static_cast<int32_t>(line.size());
        return line.back() - err;
    }
    void resize(int32_t order) {
        PredictorModel::resize(order);
        line = Line(order + 1);
        newest = order;
    }
    void expectHistory(const lbpef64fState& state) const {
        const auto n = static_cast<int32_t>(line.size());
        ASSERT_EQ(state.inHead, newest);
        for (int32_t age = 0; age < n; ++age) {
            ASSERT_EQ(bits(state.inLine[(newest - age + n) % n]),
                      bits(line[static_cast<size_t>(age)]));
        }
    }
    Line line;
    int32_t newest;
};

struct JointModel : LatticeModel {
    explicit JointModel(int32_t order)
        : LatticeModel(static_cast<size_t>(order), static_cast<size_t>(order)) {
        muCoef = 0.01;
    }
    double step(double x, double d, bool adapt) {
        pass(x, k.size() - 1, adapt && adapting);
        b = back;
        const double y = dot(coef, b);
        if (adapt) {
            err = d - y;
            for (size_t i = 0; i < b.size(); ++i) {
                back[i] = b[i] * muCoef * err / (power[i] + kEps);
                coef[i] = back[i] + coef[i];
            }
        }
        return y;
    }
    void resize(int32_t order) {
        LatticeModel::resize(static_cast<size_t>(order), static_cast<size_t>(order));
    }
    void expectHistory(const lmslattice64fState&) const {}
};

struct Backward {
    using State = lbpef64fState;
    using Model = BackwardModel;
    static constexpr int32_t limit = MAX_PEF_STAGES;
    static int32_t init(State* s, int32_t order, const Model& m) {
        return lbpef64fInit(s, order, m.mu);
    }
    static double update(State* s, double x, double) { return lbpef64fFilterUpdate(s, x); }
    static constexpr auto filter = lbpef64fFilterOnly;
    static constexpr auto reset = lbpef64fReset;
    static constexpr auto resize = lbpef64fResize;
    static constexpr auto release = lbpef64fFree;
    static constexpr auto flag = &State::updateCoef;
};

struct Forward {
    using State = lfpef64fState;
    using Model = ForwardModel;
    static constexpr int32_t limit = MAX_PEF_STAGES;
    static int32_t init(State* s, int32_t order, const Model& m) {
        return lfpef64fInit(s, order, m.mu);
    }
    static double update(State* s, double x, double) { return lfpef64fFilterUpdate(s, x); }
    static constexpr auto filter = lfpef64fFilterOnly;
    static constexpr auto reset = lfpef64fReset;
    static constexpr auto resize = lfpef64fResize;
    static constexpr auto release = lfpef64fFree;
    static constexpr auto flag = &State::updateCoef;
};

struct Joint {
    using State = lmslattice64fState;
    using Model = JointModel;
    static constexpr int32_t limit = MAX_TAPS;
    static int32_t init(State* s, int32_t order, const Model& m) {
        return lmslattice64fInit(s, order, m.mu, m.muCoef);
    }
    static constexpr auto update = lmslattice64fFilterUpdate;
    static constexpr auto filter = lmslattice64fFilterOnly;
    static constexpr auto reset = lmslattice64fReset;
    static constexpr auto resize = lmslattice64fResize;
    static constexpr auto release = lmslattice64fFree;
    static constexpr auto flag = &State::adaptParcor;
};

template <class F>
class GradientLattice : public testing::Test {};
using Lattices = testing::Types<Backward, Forward, Joint>;
TYPED_TEST_SUITE(GradientLattice, Lattices);

void expectBits(const double* actual, const Values& expected, const char* what) {
    for (size_t i = 0; i < expected.size(); ++i) {
        ASSERT_EQ(bits(actual[i]), bits(expected[i])) << what << " " << i;
    }
}

template <class State, class Model>
void expectSame(const State& state, const Model& model) {
    ASSERT_EQ(state.order, static_cast<int32_t>(model.k.size()));
    expectBits(state.parcor, model.k, "parcor");
    expectBits(state.coef, model.coef, "coef");
    expectBits(state.delayLine, model.b, "delayLine");
    expectBits(state.power, model.power, "power");
    expectBits(state.backErr, model.back, "backErr");
    model.expectHistory(state);
}

// One step of both, to the bit in everything.
template <class F>
void step(typename F::State& state, typename F::Model& model, double x, double d, bool adapt) {
    const double expected = model.step(x, d, adapt);
    ASSERT_EQ(bits(adapt ? F::update(&state, x, d) : F::filter(&state, x)), bits(expected));
    ASSERT_EQ(bits(state.err), bits(model.err));
    expectSame(state, model);
}

// Updates, frozen steps, flags, zeros of either sign, resets and resizes in any order.
TYPED_TEST(GradientLattice, FollowsItsFormulasThroughEveryChange) {
    using F = TypeParam;
    for (int32_t first : {1, 2, 3, 4, 5, 8, 9, F::limit}) {
        for (double mu : {0.01, 0.0}) {
            SCOPED_TRACE(std::to_string(first) + " at first, mu " + std::to_string(mu));
            Signal signal(21);
            typename F::Model model(first);
            model.mu = mu;
            typename F::State state;
            ASSERT_EQ(F::init(&state, first, model), STS_OK);
            state.err = model.err;
            for (int i = 0; i < 500; ++i) {
                const double zero = i % 2 == 0 ? 0.0 : -0.0;
                const double x = i % 5 == 3 || i % 80 > 65 ? zero : signal.next();
                step<F>(state, model, x, signal.next(), i % 3 != 1);
                ASSERT_FALSE(testing::Test::HasFatalFailure()) << "step " << i;
                if (i % 30 == 9) {
                    model.adapting = !model.adapting;
                    state.*F::flag = model.adapting ? -1 : 0;
                }
                if (i % 50 == 20) {
                    const auto order = static_cast<int32_t>(signal.choose(F::limit + 3)) + 1;
                    const bool changes = order != state.order;
                    ASSERT_EQ(F::resize(&state, order), STS_OK);
                    if (changes) {
                        model.resize(std::min(order, F::limit));
                        state.err = model.err;
                    }
                    expectSame(state, model);
                }
                if (i % 170 == 100) {
                    EXPECT_EQ(F::reset(&state), STS_OK);
                    model.reset();
                }
            }
            F::release(&state);
            EXPECT_EQ(state.order, 0);
        }
    }
}

// The powers sink below the normal range and mu / power overflows, while there is no gradient.
TYPED_TEST(GradientLattice, OutlivesSilence) {
    using F = TypeParam;
    for (int32_t order : {1, 4, F::limit}) {
        SCOPED_TRACE(order);
        Signal signal(22);
        typename F::Model model(order);
        model.mu = 0.01;
        typename F::State state;
        ASSERT_EQ(F::init(&state, order, model), STS_OK);
        state.err = model.err;
        const auto run = [&](int samples, double level) {
            for (int i = 0; i < samples && !testing::Test::HasFatalFailure(); ++i) {
                const double x = level * signal.next();
                step<F>(state, model, x, level * signal.next(), i % 4 != 3);
            }
        };
        run(300, 1.0);
        run(order, 0.0);
        const Values settled = model.k;
        run(100000, 0.0);
        EXPECT_LT(state.power[0], 1e-320);
        EXPECT_TRUE(std::isinf(model.mu / state.power[0]));
        expectBits(state.parcor, settled, "parcor after the silence");
        run(300, 1.0);
        for (double k : model.k) {
            EXPECT_TRUE(std::isfinite(k));
        }
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
    typename F::Model model(order);
    model.mu = 0.0001; // estimates over some 1 / mu samples: off by about 0.01
    typename F::State state;
    ASSERT_EQ(F::init(&state, order, model), STS_OK);
    Coloured input;
    for (int i = 0; i < 80000; ++i) {
        F::update(&state, input.next(), 0.0);
    }
    for (int32_t i = 0; i < order - 1; ++i) {
        EXPECT_NEAR(state.parcor[i], i < Coloured::order ? Coloured::k[i] : 0.0, 0.04) << i;
    }
    F::release(&state);
}

// A lattice that has learned and then stands still is the transversal filter that coef says.
template <class State, class Taps>
void actsLikeItsDirectForm(int32_t (*init)(State*, int32_t, double),
                           double (*update)(State*, double), double (*filter)(State*, double),
                           void (*release)(State*), Taps taps) {
    for (int32_t order : {1, 2, 5, 10}) {
        State state;
        ASSERT_EQ(init(&state, order, 0.01), STS_OK);
        Coloured input;
        Line x(order + 1);
        for (int i = 0; i < 400; ++i) {
            x.insert(input.next());
            if (i < 200) {
                update(&state, x[0]);
                continue;
            }
            const double y = filter(&state, x[0]);
            if (i < 200 + order) { // the errors still come from moving coefficients
                continue;
            }
            double sum = 0.0;
            for (int32_t j = 0; j < order; ++j) {
                sum += state.coef[j] * x[static_cast<size_t>(taps(order, j))];
            }
            EXPECT_NEAR(y, sum, 1e-12) << order;
        }
        release(&state);
    }
}

TEST(Lbpef, ActsLikeItsDirectForm) {
    actsLikeItsDirectForm(lbpef64fInit, lbpef64fFilterUpdate, lbpef64fFilterOnly, lbpef64fFree,
                          [](int32_t order, int32_t j) { return order - 1 - j; });
}
TEST(Lfpef, ActsLikeItsDirectForm) {
    actsLikeItsDirectForm(lfpef64fInit, lfpef64fFilterUpdate, lfpef64fFilterOnly, lfpef64fFree,
                          [](int32_t, int32_t j) { return j + 1; });
}

// A known system behind a coloured input: with the lattice settled and held, nothing of it is left over.
TEST(Lmslattice, FollowsAKnownSystem) {
    const Values system = {0.5, -0.4, 0.3, 0.1, -0.2};
    lmslattice64fState state;
    ASSERT_EQ(lmslattice64fInit(&state, 5, 0.002, 0.1), STS_OK);
    Coloured input;
    Line x(5);
    for (int i = 0; i < 6000; ++i) {
        x.insert(input.next());
        lmslattice64fFilterUpdate(&state, x[0], dot(system, x));
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
