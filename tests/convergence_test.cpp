// Identification of systems from white noise, prediction, and the effect of silence, NaN and extreme
// samples.
#include "record.h"

namespace {

struct Job {
    double rate, distance; // between the outputs of filter and system after `samples`
    int samples = 20000;
    double second = 0.5;
    int blockLen = 1;
};

// Identifies a known system from white noise, then filters new samples without adapting. Filters with a
// secondary path converge to the negated system.
template <class F>
void findsTheSystem(Job job) {
    SCOPED_TRACE(F::Api::name);
    const Values system = {0.5, -0.4, 0.3, 0.0, -0.1, 0.05};
    constexpr bool path = requires(typename F::State s) { s.secLen; };
    Shape shape =
        shapeOf<F>(std::is_same_v<F, Tdlms> ? 8 : 6); // the accessors show all taps of tdlms64f
    shape.rate = job.rate;
    shape.second = job.second;
    shape.blockLen = shape.parts = 1;
    Lent lent;
    std::copy_n(lent.secCoef, shape.secLen, lent.estCoef);
    std::fill(lent.estCoef + shape.secLen, lent.estCoef + shape.estLen, 0.0);
    Record<F> record(shape, Memory::kHeap, lent);
    Signal signal(5);
    History x(6), through(shape.secLen);
    for (int i = 0; i < job.samples + 50; ++i) {
        x.push(signal.next());
        through.push(dot(system, x));
        const double d = path ? dot(lent.secCoef, through.data(), through.size()) : dot(system, x);
        if (i < job.samples) {
            record.update(x[0], d);
        } else {
            ASSERT_NEAR(record.only(x[0]), path ? -d : d, job.distance);
        }
    }
}

TEST(Convergence, FindsAKnownSystemInWhiteNoise) {
    findsTheSystem<Lms>({0.02, 1e-9});
    findsTheSystem<Nlms>({0.02, 1e-9});
    findsTheSystem<Blms>({0.02, 1e-9});
    findsTheSystem<Bnlms>({0.02, 1e-9});
    findsTheSystem<Adjlms>({0.02, 1e-9});
    findsTheSystem<Fxlms>({0.02, 1e-9});
    findsTheSystem<Bfdaf>({0.1, 1e-9});
    findsTheSystem<Pbfdaf>({0.1, 1e-9});
    findsTheSystem<Tdlms>({0.02, 1e-9});
    findsTheSystem<Lmslattice>({0.0, 1e-9, 20000, 0.01});
    findsTheSystem<Rls>({0.99, 1e-8, 2000});
    findsTheSystem<Rlslattice>({0.99, 1e-2, 2000});
}

// At any level of the input the normalised forms converge below 2 / order and diverge well above.
template <class F>
void isStableUpToTwoOverOrder() {
    const Values system = {0.5, -0.4, 0.3, 0.0, -0.1, 0.05, 0.2, -0.3};
    for (double level : {1e-3, 1.0, 1e4}) {
        for (double step : {1.0, 1.6, 3.0}) {
            Shape shape = shapeOf<F>(8);
            shape.rate = step / 8;
            shape.blockLen = 1;
            Record<F> record(shape);
            record.state.power = level * level / 3; // as if the noise had been running
            Signal signal(5);
            History x(8);
            for (int i = 0; i < 4000; ++i) {
                x.push(level * signal.next());
                record.update(x[0], dot(system, x));
            }
            double distance = 0.0;
            for (size_t k = 0; k < system.size(); ++k) {
                distance += std::fabs(record.state.coef[k] - system[k]);
            }
            EXPECT_EQ(distance < 1e-3, step < 2.0) << step << " at " << level << ": " << distance;
        }
    }
}

TEST(Convergence, NormalisedStepIsStableUpToTwoOverOrder) {
    isStableUpToTwoOverOrder<Nlms>();
    isStableUpToTwoOverOrder<Bnlms>();
}

// White noise through the inverse lattice: a signal with these reflection coefficients.
class Coloured {
  public:
    static constexpr double k[] = {0.7, -0.5, 0.3, -0.2, 0.0};

    double next() {
        innovation = noise_.next();
        double f = innovation;
        for (size_t i = 4; i-- > 0;) {
            f += k[i] * b_[i];
            b_[i + 1] = b_[i] - k[i] * f;
        }
        b_[0] = f;
        return f;
    }
    double innovation = 0.0; // the unpredictable part of the latest sample

  private:
    Signal noise_{23};
    double b_[5] = {};
};

// The prediction error converges to the innovation and the reflection coefficients to those of the
// signal. Without adapting, the predictor equals the transversal filter coef.
template <class F, bool backward>
void predicts(double rate, double* F::State::*parcor) {
    SCOPED_TRACE(F::Api::name);
    Shape shape = shapeOf<F>(6); // two stages more than the signal has
    shape.rate = rate;
    Record<F> record(shape);
    Coloured input;
    History x(7);
    double left = 0.0, innovation = 0.0;
    for (int i = 0; i < 60000; ++i) {
        x.push(input.next());
        record.update(x[0], 0.0);
        if (i > 20000) {
            left += record.err() * record.err();
            innovation += input.innovation * input.innovation;
        }
    }
    EXPECT_NEAR(left / innovation, 1.0, 0.03);
    for (int32_t i = 0; i < 5; ++i) {
        EXPECT_NEAR((record.state.*parcor)[i], Coloured::k[i], 0.04) << i;
    }
    for (int i = 0; i < 50; ++i) {
        x.push(input.next());
        double sum = 0.0;
        for (int32_t j = 0; j < 6; ++j) {
            sum += record.state.coef[j] * x[backward ? 5 - j : 1 + j];
        }
        const double y = record.only(x[0]);
        if (rate < 0.5 && i >= 6) { // older errors were computed with other coefficients
            EXPECT_NEAR(y, sum, 1e-12);
        }
    }
}

TEST(Convergence, PredictionErrorIsTheInnovation) {
    predicts<Lbpef, true>(0.0001, &lbpef64fState::parcor);
    predicts<Lfpef, false>(0.0001, &lfpef64fState::parcor);
    predicts<Rlslbpef, true>(0.9995, &rlslbpef64fState::bwdParcor);
    predicts<Rlslfpef, false>(0.9995, &rlslfpef64fState::fwdParcor);
}

template <class F>
class GradientLattices : public testing::Test {};
using GradientLatticesTypes = testing::Types<Lbpef, Lfpef, Lmslattice>;
TYPED_TEST_SUITE(GradientLattices, GradientLatticesTypes, NameOf);

// The powers become subnormal and mu / power overflows while the gradient is 0.
TYPED_TEST(GradientLattices, StayFiniteInSilence) {
    for (int32_t order : {1, 4, 10}) {
        Record<TypeParam> record(order);
        const auto& s = record.state;
        Signal signal(22);
        for (int i = 0; i < 100300 + order; ++i) {
            record.update(i < 300 ? signal.next() : 0.0, 0.0);
        }
        EXPECT_LT(s.power[0], 1e-320);
        const Values settled(s.parcor, s.parcor + order);
        for (int i = 0; i < 1000; ++i) {
            record.update(0.0, 0.0);
        }
        EXPECT_EQ(Values(s.parcor, s.parcor + order), settled);
        for (int i = 0; i < 300; ++i) {
            record.update(signal.next(), 0.0);
        }
        EXPECT_TRUE(
            std::all_of(s.parcor, s.parcor + order, [](double k) { return std::isfinite(k); }));
    }
}

template <class F>
class LeastSquaresLattices : public testing::Test {};
using LeastSquaresLatticesTypes = testing::Types<Rlslattice, Rlslbpef, Rlslfpef>;
TYPED_TEST_SUITE(LeastSquaresLattices, LeastSquaresLatticesTypes, NameOf);

// After a NaN, an infinity, a sample so large that the energies are lost in rounding, a silence in which
// they decay.
TYPED_TEST(LeastSquaresLattices, RecoverByReset) {
    using F = TypeParam;
    for (double ruin : {double{NAN}, -HUGE_VAL, 1e9, 0.0}) {
        Shape shape = shapeOf<F>(5);
        shape.rate = 0.95;
        Record<F> record(shape), fresh(shape);
        for (int i = 0; i < (ruin == 0.0 ? 1000 : 1); ++i) {
            record.update(ruin, 0.0);
        }
        Signal signal(2);
        for (int i = 0; i < 10; ++i) {
            record.update(signal.next(), signal.next());
        }
        EXPECT_FALSE(std::isfinite(record.err())) << ruin;
        typename F::State freed = record.state;
        F::freed(freed);
        const auto before = record.bytes();
        EXPECT_EQ(resetsOf<F>()[0].reset(&freed), STS_OK);
        EXPECT_TRUE(record.bytes() == before) << "a freed record's buffers are written";
        ASSERT_EQ(resetsOf<F>()[0].reset(&record.state), STS_OK);
        if constexpr (requires { record.state.inHead; }) {
            record.state.inHead = fresh.state.inHead; // a reset leaves it
        }
        EXPECT_TRUE(record.run(50) == fresh.run(50));
    }
}

TEST(Rls, RecoversByInit) {
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

} // namespace
