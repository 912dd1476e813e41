// Steps worked by hand, and refusals of single families. The values also test the plain recursions.
#include "heap.h"
#include "record.h"

namespace {

// ---- Transversal filters

TEST(Fir, RefusesNullArraysAndBorrowsItsCoefficients) {
    double coef[4] = {1, 2, 3, 4};
    double line[4] = {9, 9, 9, 9};
    double x[] = {5.0};
    fir64fState state;
    state.order = 3;
    EXPECT_EQ(fir64fInitStatic(&state, 4, nullptr, line), STS_NULL_PTR);
    EXPECT_EQ(fir64fInitStatic(&state, 0, nullptr, line), STS_BAD_SIZE);
    EXPECT_EQ(fir64fInit(&state, 4, nullptr), STS_NULL_PTR);
    EXPECT_EQ(state.order, 0);
    EXPECT_EQ(line[3], 9);

    ASSERT_EQ(fir64fInit(&state, 4, coef), STS_OK);
    EXPECT_EQ(coef[3], 4);
    EXPECT_EQ(fir64fSetCoef(&state, x, 1, 1, 0), 1);
    EXPECT_EQ(coef[1], 5);
    EXPECT_EQ(fir64fBlockFilter(&state, x, nullptr, 0), STS_NULL_PTR);
    EXPECT_EQ(fir64fBlockFilter(&state, nullptr, x, 1), STS_NULL_PTR);
    EXPECT_EQ(fir64fBlockFilter(&state, x, x, 0), STS_OK);
    EXPECT_EQ(fir64fBlockFilter(&state, x, x, -4), STS_OK);
    EXPECT_EQ(x[0], 5.0);
    // Shrinking leaves the host's further elements alone, growing clears what comes into use.
    ASSERT_EQ(fir64fResize(&state, 2), STS_OK);
    EXPECT_EQ(coef[3], 4);
    ASSERT_EQ(fir64fResize(&state, 3), STS_OK);
    EXPECT_EQ(Values(coef, coef + 4), (Values{1, 5, 0, 4}));
    fir64fFree(&state);
    EXPECT_EQ(fir64fResize(&state, 0), STS_BAD_SIZE); // although that is the order left behind
}

template <class F>
Record<F> recordOf(int32_t order, double rate, double second = 0.5) {
    Shape shape = shapeOf<F>(order);
    shape.rate = rate;
    shape.second = second;
    shape.blockLen = 1;
    return Record<F>(shape);
}

TEST(Lms, HandWorkedSteps) {
    auto record = recordOf<Lms>(2, 0.5);
    EXPECT_EQ(record.update(1, 1), 0);
    EXPECT_EQ(record.err(), 1);
    EXPECT_EQ(record.coef(), (Values{0.5, 0}));
    EXPECT_EQ(record.update(2, 0), 1);
    EXPECT_EQ(record.err(), -1);
    EXPECT_EQ(record.coef(), (Values{-0.5, -0.5}));
    // NaN counts as negative: both taps go down by mu, although the line holds 2 and 1.
    lms64fReset(&record.state);
    lms64fFilterUpdateSignSign(&record.state, 3, NAN);
    EXPECT_EQ(record.coef(), (Values{-0.5, -0.5}));
}

TEST(Nlms, HandWorkedSteps) {
    auto record = recordOf<Nlms>(1, 1.0);
    EXPECT_EQ(record.update(10, 1), 0);
    EXPECT_EQ(record.state.power, 1.99);
    EXPECT_EQ(record.state.coef[0], 1 / (1.99 + 1e-12) * 10);
    nlms64fReset(&record.state);
    EXPECT_EQ(record.state.power, 1.99);

    auto block = recordOf<Bnlms>(1, 1.0);
    block.update(10, 1);
    EXPECT_EQ(block.state.power, 0.9900000095367432 + 0.009999999776482582 * 100);
    EXPECT_EQ(block.err(), 1);
    // With a power of 0 the floor keeps the step finite.
    block.state.power = 0.0;
    block.update(0, 1);
    EXPECT_TRUE(std::isfinite(block.state.coef[0]));
}

// A record that lost an array refuses its blocks before it looks at the host's.
template <class State>
void needsItsArrays(int32_t (*update)(State*, const double*, const double*, double*, double*),
                    int32_t (*filter)(State*, const double*, double*)) {
    double values[4] = {};
    for (double* State::*given : {&State::coef, &State::delayLine}) {
        State state = {};
        state.*given = values;
        state.order = state.blockLen = 4;
        if (requires { state.fftLen; } && state.coef == nullptr) {
            continue; // not tested there
        }
        EXPECT_EQ(update(&state, nullptr, nullptr, nullptr, nullptr), STS_NULL_PTR);
        EXPECT_EQ(filter(&state, nullptr, nullptr), STS_NULL_PTR);
    }
}

TEST(Blocks, NeedTheirArrays) {
    for (auto update : {blms64fFilterUpdate, blms64fFilterUpdateSignErr, blms64fFilterUpdateSignReg,
                        blms64fFilterUpdateSignSign}) {
        needsItsArrays(update, blms64fFilterOnly);
    }
    needsItsArrays(bnlms64fFilterUpdate, bnlms64fFilterOnly);
    needsItsArrays(bfdaf64fFilterUpdate, bfdaf64fFilterOnly);
    needsItsArrays(pbfdaf64fFilterUpdate, pbfdaf64fFilterOnly);
}

// ---- Behind a secondary path

template <class F>
class SecondaryPath : public testing::Test {};
using SecondaryPathTypes = testing::Types<Adjlms, Fxlms>;
TYPED_TEST_SUITE(SecondaryPath, SecondaryPathTypes, NameOf);

TYPED_TEST(SecondaryPath, FirstStepByHand) {
    using F = TypeParam;
    Lent lent;
    lent.secCoef[0] = lent.estCoef[0] = 1.0;
    Shape shape = shapeOf<F>(1);
    shape.secLen = shape.estLen = 1;
    shape.rate = 0.5;
    Record<F> filter(shape, Memory::kHeap, lent);
    EXPECT_EQ(filter.update(1.0, -1.0), 0.0);
    EXPECT_EQ(filter.state.err, -1.0);
    EXPECT_EQ(filter.state.power, 1.0);
    EXPECT_EQ(filter.state.coef[0], 0.5 / (1.0 + 1e-12));
}

// Sizes below 1, then a refLen that does not fit, then null pointers. Long paths are no error of their
// own: a heap without room for them is.
TYPED_TEST(SecondaryPath, RefusesBadLengthsAndMissingPaths) {
    using F = TypeParam;
    constexpr bool adjoint = std::is_same_v<F, Adjlms>;
    constexpr int32_t most = INT32_MAX;
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
                 {2, 1, most, nullptr, path, adjoint ? STS_BAD_SIZE : STS_NULL_PTR},
                 {32, 1, most - 30, nullptr, path, adjoint ? STS_BAD_SIZE : STS_NULL_PTR},
                 {32, most, most - 31, nullptr, path, STS_NULL_PTR},
                 {1, most, most, path, nullptr, STS_NULL_PTR},
                 {4, 2, 2, nullptr, path, STS_NULL_PTR},
                 {4, 2, 2, path, nullptr, STS_NULL_PTR}};
    for (const auto& c : cases) {
        typename F::State state;
        state.order = 7;
        EXPECT_EQ(F::Api::init(&state, c.order, 0.1, c.sec, c.secLen, c.est, c.estLen), c.status);
        EXPECT_EQ(state.order, 0);
        state.order = 7;
        EXPECT_EQ(F::Api::initStatic(&state, c.order, 0.1, c.sec, c.secLen, c.est, c.estLen,
                                     buffers[0], buffers[1]),
                  c.status);
        EXPECT_EQ(state.order, 0);
    }
    EXPECT_EQ(heap::calls(), calls);
    EXPECT_EQ(buffers[0][0], 3.0);
    EXPECT_EQ(buffers[1][0], 4.0);
}

// ---- Gradient lattices

constexpr double kKeep = 0.9800000190734863;
constexpr double kGain = 0.009999999776482582;
constexpr double kEps = 1.0000000036274937e-15;

TEST(Lbpef, HandWorkedSteps) {
    auto record = recordOf<Lbpef>(1, 0.5);
    const auto& s = record.state;
    EXPECT_EQ(record.update(2, 0), 0.0);
    EXPECT_EQ(s.err, 0.0);
    EXPECT_EQ(s.parcor[0], 0.0);
    // b = 2, both errors pass: gradient 3 * 2 + 3 * 2
    EXPECT_EQ(record.update(3, 0), 0.0);
    EXPECT_EQ(s.err, 2.0);
    const double power = 13.0 * kGain + (4.0 * kGain + kKeep) * kKeep;
    EXPECT_EQ(s.power[0], power);
    EXPECT_EQ(s.parcor[0], 12.0 * (0.5 / power + kEps));
    EXPECT_EQ(s.coef[0], s.parcor[0]);
    // Frozen: the estimate of the 3 from the 4 after it.
    const double k = s.parcor[0];
    EXPECT_EQ(record.only(4), 3.0 - (3.0 - 4.0 * k));
    EXPECT_EQ(s.parcor[0], k);
}

TEST(Lfpef, HandWorkedSteps) {
    auto record = recordOf<Lfpef>(1, 0.0);
    EXPECT_EQ(record.update(2, 0), 0.0);
    EXPECT_EQ(record.err(), 2.0);
    EXPECT_EQ(record.update(3, 0), 0.0);
    EXPECT_EQ(record.err(), 3.0);
    EXPECT_EQ(record.state.parcor[0], 12.0 * kEps); // mu = 0 does not hold the lattice still
    record.state.parcor[0] = 0.5;
    EXPECT_EQ(record.only(4), 1.5); // half of the 3 before
    EXPECT_EQ(record.err(), 2.5);
}

TEST(Lmslattice, HandWorkedSteps) {
    auto record = recordOf<Lmslattice>(2, 0.5, 0.25);
    auto& s = record.state;
    s.parcor[1] = 7.0; // belongs to no stage
    EXPECT_EQ(record.update(2, 1), 0.0);
    const double first = 4.0 * kGain + kKeep;
    const double weight = 0.5 / (first + kEps);
    EXPECT_EQ(record.coef(), (Values{weight, 0.0}));
    EXPECT_EQ(record.update(3, 0), 3.0 * weight);
    EXPECT_EQ(s.err, -3.0 * weight);
    EXPECT_EQ(s.parcor[0], 12.0 * (0.5 / (13.0 * kGain + first * kKeep) + kEps));
    EXPECT_EQ(s.parcor[1], 7.0);
    EXPECT_EQ(s.coef[1], 0.5 * s.err / (9.0 * kGain + first * kKeep + kEps));
    EXPECT_EQ(record.only(0), 0.0 * s.coef[0] + 3.0 * s.coef[1]);
    s.muCoef = 0.0;
    const double held = s.coef[1];
    record.update(1, 5);
    EXPECT_EQ(s.coef[1], held);
}

// ---- Least squares

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

TEST(Rls, TestsDeltaBeforePointersAndAcceptsAnyLambda) {
    double coef[] = {7.0};
    double work[] = {7.0, 7.0, 7.0};
    rls64fState state;
    for (double delta : {-1e-300, std::nextafter(1.0, 2.0), double{NAN}, double{HUGE_VAL}}) {
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
        rls64fFilterUpdate(&state, 1.0, 1.0);
        EXPECT_EQ(coef[0] != 0.0, delta != 0.0) << "without a start nothing is learned";
    }
    for (double lambda : {0.0, -0.5, 1.5}) {
        ASSERT_EQ(rls64fInitStatic(&state, 1, lambda, 0.5, coef, work), STS_OK);
        EXPECT_EQ(state.invLambda, lambda == 0.0 ? HUGE_VAL : 1.0 / lambda);
    }
}

TEST(RlsLattice, FirstStepByHand) {
    constexpr double energy = 1.0010000000474974513; // the start value and the sample's square
    auto record = recordOf<Rlslattice>(1, 1.0);
    auto& s = record.state;
    s.err = 3.0;
    EXPECT_EQ(bits(record.only(0)), bits(-0.0));
    EXPECT_EQ(s.err, 3.0);
    EXPECT_EQ(record.update(1, 1), 1.0 - (1.0 - 1.0 / energy));
    for (const auto& [value, expected] : {std::pair(s.fwdEnergy[0], energy),
                                          {s.bwdEnergy[0], energy},
                                          {s.jointCorr[0], 1.0},
                                          {s.coef[0], 1.0 / energy},
                                          {s.err, 1.0 - 1.0 / energy},
                                          {s.delayLine[0], 1.0},
                                          {s.prevGamma[0], 1.0},
                                          {s.fwdParcor[0], 0.0}}) {
        EXPECT_EQ(value, expected);
    }
}

TEST(RlsPredictors, FirstStepsByHand) {
    constexpr double start = 0.0010000000474974513;
    auto backward = recordOf<Rlslbpef>(1, 1.0);
    auto forward = recordOf<Rlslfpef>(1, 1.0);
    EXPECT_EQ(backward.update(1, 0), 0.0);
    EXPECT_EQ(forward.update(1, 0), 0.0);
    EXPECT_EQ(backward.state.fwdEnergy[0], 2.0 + start);
    EXPECT_EQ(forward.state.fwdEnergy[0], 2.0 + start);
    EXPECT_EQ(backward.err(), 0.0);
    EXPECT_EQ(backward.state.inHead, 0);
    EXPECT_EQ(forward.err(), 1.0);

    const double k = 1.0 / (4.0 + start);
    EXPECT_EQ(backward.update(1, 0), 1.0 - (1.0 - k));
    EXPECT_EQ(backward.state.crossCorr[0], 1.0);
    EXPECT_EQ(backward.coef(), Values{k});
    const double kForward = 1.0 / (1.0 + start);
    EXPECT_EQ(forward.update(1, 0), 1.0 - (1.0 - kForward));
    EXPECT_EQ(forward.coef(), Values{kForward});
}

} // namespace
