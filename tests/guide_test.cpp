// What the guide says: how the parameters of other forms convert, and what accidents do to each family.
#include "merlo64f.hpp"
#include "signals.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <complex>
#include <limits>
#include <numbers>
#include <span>
#include <type_traits>
#if defined(__SSE2__)
#include <xmmintrin.h>
#endif

namespace {

using merlo64f::Filter;

const Values kSystem = {0.5, -0.4, 0.3, 0.0, -0.1, 0.05, 0.2, -0.3};
constexpr int32_t kOrder = 8;

// White noise, and what the system makes of it, with noise of this amplitude.
struct Scene {
    Values x, d;

    explicit Scene(size_t length, double noise = 0.0, uint64_t seed = 1) {
        Signal signal(seed);
        History line(kSystem.size());
        for (size_t n = 0; n < length; ++n) {
            x.push_back(signal.next());
            line.push(x.back());
            d.push_back(dot(kSystem, line) + noise * signal.next());
        }
    }
    // The line at sample n, newest first.
    Values line(size_t n, size_t length = kOrder) const {
        Values result(length);
        for (size_t k = 0; k < std::min(length, n + 1); ++k) {
            result[k] = x[n - k];
        }
        return result;
    }
};

template <class State, class... Arguments>
Values errors(const Scene& scene, Arguments... arguments) {
    Filter<State> filter(arguments...);
    Values y(scene.x.size()), e(scene.x.size());
    filter.update(scene.x, scene.d, y, e);
    return e;
}

double decibels(double ratio) { return 10.0 * std::log10(ratio); }

double level(std::span<const double> e) { // mean square in dB
    double sum = 0.0;
    for (double value : e) {
        sum += value * value;
    }
    return decibels(sum / static_cast<double>(e.size()));
}
double level(const Values& e, size_t from, size_t to) {
    return level(std::span(e).subspan(from, to - from));
}

void expectNear(const Values& a, const Values& b, double distance, size_t from = 0) {
    for (size_t n = from; n < a.size(); ++n) {
        ASSERT_NEAR(a[n], b[n], distance) << n;
    }
}

// ---- parameters of other forms

TEST(Conversion, LmsWithTheFactorTwoInTheUpdate) {
    constexpr double theirs = 0.01; // w += 2 * mu * e * x
    const Scene scene(500);
    Values w(kOrder), expected;
    for (size_t n = 0; n < scene.x.size(); ++n) {
        const Values line = scene.line(n);
        expected.push_back(scene.d[n] - dot(w, line));
        for (size_t k = 0; k < w.size(); ++k) {
            w[k] += 2.0 * theirs * expected.back() * line[k];
        }
    }
    expectNear(errors<lms64fState>(scene, kOrder, 2.0 * theirs), expected, 1e-12);
}

// Samples until the smoothed error is below -40 dB, and the level in the end.
TEST(Conversion, NlmsOverTheEnergyOfTheLine) {
    const Scene scene(20000, 0.001);
    const auto samples = [](const Values& e) {
        double power = 1.0;
        size_t n = 0;
        while (power > 1e-4) {
            power += 0.1 * (e[n] * e[n] - power);
            ++n;
        }
        return static_cast<double>(n);
    };
    for (double theirs : {0.05, 0.1, 0.2, 0.5}) { // w += mu * e * x / |x|^2, 0 < mu < 2
        Values w(kOrder), expected;
        for (size_t n = 0; n < scene.x.size(); ++n) {
            const Values line = scene.line(n);
            expected.push_back(scene.d[n] - dot(w, line));
            for (size_t k = 0; k < w.size(); ++k) {
                w[k] += theirs * expected.back() * line[k] / (dot(line, line) + 1e-12);
            }
        }
        Filter<nlms64fState> filter(kOrder, theirs / kOrder);
        filter->power = 1.0 / 3.0; // that of the signal
        Values y(scene.x.size()), e(scene.x.size());
        filter.update(scene.x, scene.d, y, e);
        EXPECT_NEAR(samples(e) / samples(expected), 1.0, 0.2) << theirs;
        EXPECT_NEAR(level(e, 10000, 20000), level(expected, 10000, 20000), 0.5) << theirs;
    }
}

// The transform divides each bin by its power, on white noise as NLMS does by the power of a sample.
TEST(Conversion, TransformDomainStepIsThatOfNlms) {
    const Scene scene(20000, 0.001);
    for (double theirs : {0.1, 0.4}) {
        const Values e = errors<tdlms64fState>(scene, kOrder, theirs / 8);
        const Values expected = errors<nlms64fState>(scene, kOrder, theirs / 8);
        EXPECT_NEAR(level(e, 10000, 20000), level(expected, 10000, 20000), 0.5) << theirs;
    }
}

// The usual filter in the frequency domain, by sums: forward exponent -i, C += step * E * conj(X) / P, where
// P smooths |X|^2 by 0.98 and 0.02. With constraint.
Values usualBlockFilter(const Scene& scene, size_t block, size_t parts, double step) {
    using Spectrum = std::vector<std::complex<double>>;
    const size_t n = 2 * block;
    const auto transform = [n](const Spectrum& from, double sign) {
        Spectrum to(n);
        for (size_t k = 0; k < n; ++k) {
            for (size_t i = 0; i < n; ++i) {
                const double turn = static_cast<double>(k * i % n) / static_cast<double>(n);
                to[k] += from[i] * std::polar(1.0, sign * 2.0 * std::numbers::pi * turn);
            }
        }
        return to;
    };
    std::vector<Spectrum> X(parts, Spectrum(n)), C(parts, Spectrum(n));
    Values P(n, static_cast<double>(block)), e, frame(n);
    for (size_t from = 0; from < scene.x.size(); from += block) {
        std::copy_n(frame.begin() + static_cast<ptrdiff_t>(block), block, frame.begin());
        std::copy_n(scene.x.begin() + static_cast<ptrdiff_t>(from), block,
                    frame.begin() + static_cast<ptrdiff_t>(block));
        X.insert(X.begin(), transform(Spectrum(frame.begin(), frame.end()), -1.0));
        X.pop_back();
        Spectrum Y(n), E(n);
        for (size_t k = 0; k < n; ++k) {
            for (size_t p = 0; p < parts; ++p) {
                Y[k] += C[p][k] * X[p][k];
            }
            P[k] = 0.98 * P[k] + 0.02 * std::norm(X[0][k]);
        }
        const Spectrum y = transform(Y, 1.0);
        for (size_t i = 0; i < block; ++i) {
            e.push_back(scene.d[from + i] - y[block + i].real() / static_cast<double>(n));
            E[block + i] = e.back();
        }
        E = transform(E, -1.0);
        for (size_t p = 0; p < parts; ++p) {
            for (size_t k = 0; k < n; ++k) {
                C[p][k] +=
                    step * E[k] * std::conj(X[p][k]) / (P[k] + 1e-6 * static_cast<double>(block));
            }
            Spectrum taps = transform(C[p], 1.0);
            for (size_t i = 0; i < n; ++i) {
                taps[i] = i < block ? taps[i].real() / static_cast<double>(n) : 0.0;
            }
            C[p] = transform(taps, -1.0);
        }
    }
    return e;
}

TEST(Conversion, FrequencyDomainStepIsDividedByTheBlockLength) {
    const Scene scene(800);
    constexpr double theirs = 0.3;
    expectNear(errors<bfdaf64fState>(scene, 8, 8, theirs / 8, 1),
               usualBlockFilter(scene, 8, 1, theirs), 1e-6);
    expectNear(errors<pbfdaf64fState>(scene, 4, 4, 2, theirs / 4, 1),
               usualBlockFilter(scene, 4, 2, theirs), 1e-6);
}

TEST(Conversion, SpectraAreConjugate) {
    Filter<pbfdaf64fState> filter(4, 5, 1, 0.1, 1);
    filter.setCoef(Values{0.0, 1.0, 0.0, 0.0});
    for (int k = 1; k < 4; ++k) { // the usual transform of this response is exp(-2 pi i k / 8)
        const auto usual = std::polar(1.0, -2.0 * std::numbers::pi * k / 8.0);
        EXPECT_NEAR(filter->coef[2 * k], usual.real(), 1e-12);
        EXPECT_NEAR(filter->coef[2 * k + 1], -usual.imag(), 1e-12);
    }
}

struct UsualRls {
    Values errors, afterwards; // a-priori, a-posteriori
};

// P(0) = I / delta; P = (P - k * gain') / lambda.
UsualRls usualRls(const Scene& scene, double lambda, double delta) {
    Values w(kOrder), gain(kOrder);
    std::vector<Values> P(kOrder, Values(kOrder));
    for (size_t i = 0; i < P.size(); ++i) {
        P[i][i] = 1.0 / delta;
    }
    UsualRls result;
    for (size_t n = 0; n < scene.x.size(); ++n) {
        const Values line = scene.line(n);
        for (size_t i = 0; i < P.size(); ++i) {
            gain[i] = dot(P[i], line);
        }
        const double q = dot(line, gain), e = scene.d[n] - dot(w, line);
        for (size_t i = 0; i < P.size(); ++i) {
            w[i] += gain[i] / (lambda + q) * e;
            for (size_t j = 0; j <= i; ++j) {
                P[i][j] = P[j][i] = (P[i][j] - gain[i] / (lambda + q) * gain[j]) / lambda;
            }
        }
        result.errors.push_back(e);
        result.afterwards.push_back(scene.d[n] - dot(w, line));
    }
    return result;
}

TEST(Conversion, RlsStartsWithTheInverseDelta) {
    const Scene scene(300, 0.01);
    expectNear(errors<rls64fState>(scene, kOrder, 1.0, 1.0 / 4.0), usualRls(scene, 1.0, 4.0).errors,
               1e-9);
}

// lambda = 1 / (2 - theirs): exact for one tap and a constant input, the same noise for eight taps.
TEST(Conversion, RlsForgetsALittleFaster) {
    for (double theirs : {0.95, 0.98}) {
        const double ours = 1.0 / (2.0 - theirs);
        Filter<rls64fState> one(1, ours, 1.0);
        for (int n = 0; n < 2000; ++n) {
            rls64fFilterUpdate(&one.state(), 1.0, 0.0);
        }
        rls64fFilterUpdate(&one.state(), 1.0, 1.0);
        const double before = one->err;
        rls64fFilterUpdate(&one.state(), 1.0, 1.0);
        EXPECT_NEAR(one->err / before, theirs, 1e-9);

        const Scene scene(20000, 0.1);
        EXPECT_NEAR(level(errors<rls64fState>(scene, kOrder, ours, 1.0), 1000, 20000),
                    level(usualRls(scene, theirs, 1.0).errors, 1000, 20000), 0.2);
    }
}

TEST(Conversion, ErrorsBeforeAndAfterTheUpdate) {
    const Scene scene(2000, 0.1);
    constexpr double lambda = 0.99;
    const UsualRls usual = usualRls(scene, lambda, 0.001);
    Filter<rlslattice64fState> lattice(kOrder, lambda);
    Filter<rls64fState> rls(kOrder, lambda, 1.0);
    for (size_t n = 0; n < scene.x.size(); ++n) {
        rlslattice64fFilterUpdate(&lattice.state(), scene.x[n], scene.d[n]);
        if (n > 1000) {
            EXPECT_NEAR(lattice->err, usual.afterwards[n], 1e-3);
        }
        rls64fFilterUpdate(&rls.state(), scene.x[n], scene.d[n]);
        const Values line = scene.line(n);
        const double q = dot(line.data(), rls->gain, kOrder);
        EXPECT_NEAR(rls->err * lambda / (lambda + q),
                    scene.d[n] - dot(line.data(), rls->coef, kOrder), 1e-9);
    }
}

// Memory: after a change of the system the error falls to 1 / e in 1 / (1 - lambda) samples, within 5 %.
TEST(Conversion, MemoryOfTheForgettingFactor) {
    for (double samples : {50.0, 400.0}) {
        Filter<rls64fState> filter(1, 1.0 - 1.0 / samples, 1.0);
        for (int n = 0; n < 20000; ++n) {
            rls64fFilterUpdate(&filter.state(), 1.0, 0.0);
        }
        int n = 0;
        do {
            rls64fFilterUpdate(&filter.state(), 1.0, 1.0);
            ++n;
        } while (filter->err > std::exp(-1.0));
        EXPECT_NEAR(n, samples, 0.05 * samples);
    }
}

// By how much the error is above the noise in the end: 0.5 dB at a tenth of the bound, half at half the
// step; RLS 0.2 dB with a memory of 10 * order samples, twice as much with half the memory.
TEST(Conversion, CostOfTheStep) {
    const Scene scene(200000, 0.01);
    const double noise = decibels(1e-4 / 3.0);
    const auto above = [&](const Values& e) { return level(e, 20000, e.size()) - noise; };
    EXPECT_NEAR(above(errors<nlms64fState>(scene, kOrder, 0.1 * 2.0 / kOrder)), 0.5, 0.1);
    EXPECT_NEAR(above(errors<nlms64fState>(scene, kOrder, 0.05 * 2.0 / kOrder)), 0.25, 0.05);
    EXPECT_NEAR(above(errors<rls64fState>(scene, kOrder, 1.0 - 0.1 / kOrder, 1.0)), 0.2, 0.05);
    EXPECT_NEAR(above(errors<rls64fState>(scene, kOrder, 1.0 - 0.2 / kOrder, 1.0)), 0.4, 0.1);
}

// A gradient lattice whose power has weights 0.98 and 0.02, which add up to 1.
TEST(Conversion, LatticeStepIsHalfTheUsual) {
    constexpr double theirs = 0.01;
    const Scene scene(3000);
    Filter<lfpef64fState> filter(3, theirs / 2.0);
    Values k(3), power(3, 2.0), b(4);
    double x1 = 0.0;
    for (double white : scene.x) {
        const double x = x1 = 0.9 * x1 + white;
        lfpef64fFilterUpdate(&filter.state(), x);
        Values back(4);
        double f = back[0] = x;
        for (size_t i = 0; i < 3; ++i) {
            power[i] = 0.98 * power[i] + 0.02 * (f * f + b[i] * b[i]);
            const double next = f - k[i] * b[i];
            back[i + 1] = b[i] - k[i] * f;
            k[i] += theirs / power[i] * (next * b[i] + f * back[i + 1]);
            f = next;
        }
        b = back;
    }
    expectNear(Values(filter->parcor, filter->parcor + 3), k, 0.01);
    EXPECT_NEAR(filter->parcor[0], 0.9, 0.03); // positive for positive correlation
    EXPECT_NEAR(filter->coef[0], 0.9, 0.1);    // A(z) = 1 - coef[0] / z - ...
}

TEST(Conversion, ControlOfTheOtherSign) {
    const Values path = {0.0, 0.8, -0.3};
    Scene scene(3000);
    constexpr double mu = 0.01;
    Values w(kOrder), fx(kOrder), expected;
    History outputs(3), reference(3);
    double power = 1.0;
    for (size_t n = 0; n < scene.x.size(); ++n) { // e = d - s, w += mu * e * xf
        reference.push(scene.x[n]);
        outputs.push(dot(w, scene.line(n)));
        expected.push_back(scene.d[n] - dot(path, outputs));
        fx.insert(fx.begin(), dot(path, reference));
        fx.pop_back();
        power = 0.99 * power + 0.01 * fx[0] * fx[0];
        for (size_t k = 0; k < w.size(); ++k) {
            w[k] += mu * expected.back() / power * fx[k];
        }
    }
    const Values negated = {-0.0, -0.8, 0.3};
    expectNear(errors<fxlms64fState>(scene, kOrder, mu, negated.data(), 3, negated.data(), 3),
               expected, 1e-9);
}

TEST(Conversion, TapsOldestFirst) {
    Filter<lms64fState> filter(3, 0.1);
    filter.setCoef(Values{1.0, 2.0, 3.0});
    Values taps(3);
    filter.getCoef(taps, 0, true);
    EXPECT_EQ(taps, (Values{3.0, 2.0, 1.0}));
}

// ---- levels

// At this mean square of x the constant in the denominator halves the step: the error falls as it does at
// full level with half the step.
template <class State, class SetUp>
void halvesTheStep(double meanSquare, double mu, SetUp setUp) {
    SCOPED_TRACE(merlo64f::Family<State>::name);
    const auto after = [&](double x2, double step) {
        Scene scene(200);
        const double gain = std::sqrt(3.0 * x2); // the mean square of the scene is 1/3
        for (size_t n = 0; n < scene.x.size(); ++n) {
            scene.x[n] *= gain;
            scene.d[n] *= gain;
        }
        Filter<State> filter = setUp(step);
        if constexpr (requires { filter->power = x2; }) {
            filter->power = x2;
        } else {
            const double bin = x2 * filter->fftLen;
            set64f(std::is_same_v<State, tdlms64fState> ? bin : bin / kOrder, filter->powerAvg,
                   filter->bins);
        }
        Values y(200), e(200);
        filter.update(scene.x, scene.d, y, e);
        return level(e, 120, 200) - level(scene.d);
    };
    EXPECT_NEAR(after(meanSquare, mu), after(1.0, mu / 2.0), 1.5);
    EXPECT_LT(after(1.0, mu), after(1.0, mu / 2.0) - 3.0);
    EXPECT_LT(after(100.0 * meanSquare, mu), after(1.0, mu) + 1.0);
}

TEST(Level, HalvesTheStep) {
    static constexpr double path[] = {1.0};
    constexpr double mu = 0.2 / kOrder;
    halvesTheStep<nlms64fState>(1e-12, mu,
                                [](double step) { return Filter<nlms64fState>(kOrder, step); });
    halvesTheStep<bnlms64fState>(
        1e-15, mu, [](double step) { return Filter<bnlms64fState>(kOrder, 1, step); });
    halvesTheStep<fxlms64fState>(1e-12, mu, [](double step) {
        return Filter<fxlms64fState>(kOrder, step, path, 1, path, 1);
    });
    halvesTheStep<adjlms64fState>(1e-12, mu, [](double step) {
        return Filter<adjlms64fState>(kOrder, step, path, 1, path, 1);
    });
    halvesTheStep<tdlms64fState>(1e-6 / kOrder, mu,
                                 [](double step) { return Filter<tdlms64fState>(kOrder, step); });
    halvesTheStep<bfdaf64fState>(
        5e-7, mu, [](double step) { return Filter<bfdaf64fState>(kOrder, kOrder, step, 1); });
    halvesTheStep<pbfdaf64fState>(
        5e-7, mu, [](double step) { return Filter<pbfdaf64fState>(kOrder, kOrder, 1, step, 1); });
}

// Echo reduction from 5 s to 10 s at 8 kHz for a room of 256 taps, a tenth of the bound and a coloured far
// end of this level: what the header of pbfdaf64f says, within 1 dB.
TEST(Level, EchoReductionOfAQuietFarEnd) {
    constexpr size_t kLength = 80000;
    Signal signal(9);
    Values room(256), x(kLength), d(kLength), y(kLength), e(kLength);
    for (size_t k = 0; k < room.size(); ++k) {
        room[k] = 0.3 * signal.next() * std::exp(-static_cast<double>(k) / 40.0);
    }
    for (size_t n = 0; n < kLength; ++n) {
        x[n] = 0.6 * signal.next() + (n > 0 ? 0.8 * x[n - 1] : 0.0);
        for (size_t k = 0; k < std::min(room.size(), n + 1); ++k) {
            d[n] += room[k] * x[n - k];
        }
        d[n] += 1e-3 * signal.next();
    }
    const double full = level(x);
    for (const auto& [decibels, reduction] :
         {std::pair{-20.0, 57.4}, {-40.0, 57.4}, {-60.0, 32.5}, {-80.0, 5.9}}) {
        const double gain = std::pow(10.0, (decibels - full) / 20.0);
        Values far = x, microphone = d;
        for (size_t n = 0; n < kLength; ++n) {
            far[n] *= gain;
            microphone[n] *= gain;
        }
        Filter<pbfdaf64fState> filter(32, 32, 8, 0.1 * 2.0 / 256, 1);
        filter.update(far, microphone, y, e);
        EXPECT_NEAR(level(microphone, kLength / 2, kLength) - level(e, kLength / 2, kLength),
                    reduction, 1.0)
            << decibels;
    }
}

// ---- accidents

// A filter that learns the system sample by sample; blocks have one sample.
template <class State>
struct Learner {
    template <class... Arguments>
    explicit Learner(Arguments... arguments) : filter(arguments...) {}

    double update(double x, double d) {
        double y = 0.0, e = 0.0;
        filter.update({&x, 1}, {&d, 1}, {&y, 1}, {&e, 1});
        return e;
    }
    // Level of the last quarter of the errors.
    double learn(const Scene& scene) {
        Values y(scene.x.size()), e(scene.x.size());
        filter.update(scene.x, scene.d, y, e);
        return level(e, 3 * e.size() / 4, e.size());
    }
    Filter<State> filter;
};

// Runs a test for every family with a desired signal: test(learner, name).
template <class Test>
void forEachLearner(Test test) {
    static constexpr double path[] = {1.0};
    const auto run = [&]<class State, class... A>(std::type_identity<State>, A... arguments) {
        SCOPED_TRACE(merlo64f::Family<State>::name);
        Learner<State> learner(arguments...);
        test(learner);
    };
    run(std::type_identity<lms64fState>{}, kOrder, 0.02);
    run(std::type_identity<nlms64fState>{}, kOrder, 0.02);
    run(std::type_identity<blms64fState>{}, kOrder, 1, 0.02);
    run(std::type_identity<bnlms64fState>{}, kOrder, 1, 0.02);
    run(std::type_identity<fxlms64fState>{}, kOrder, 0.02, path, 1, path, 1);
    run(std::type_identity<adjlms64fState>{}, kOrder, 0.02, path, 1, path, 1);
    run(std::type_identity<bfdaf64fState>{}, kOrder, 1, 0.05, 1);
    run(std::type_identity<pbfdaf64fState>{}, kOrder, 1, 1, 0.05, 1);
    run(std::type_identity<tdlms64fState>{}, kOrder, 0.02);
    run(std::type_identity<lmslattice64fState>{}, kOrder, 0.0, 0.01);
    run(std::type_identity<rls64fState>{}, kOrder, 0.99, 1.0);
    run(std::type_identity<rlslattice64fState>{}, kOrder, 0.99);
}

template <class State>
constexpr bool kHasMatrix = requires(State s) {
    s.invCorr;
};
template <class State>
constexpr bool kHasEnergies = requires(State s) {
    s.bwdEnergy;
};
template <class State>
constexpr bool kHasPower = requires(State s) {
    s.power = 1.0;
};
template <class State>
constexpr bool kHasPowers = requires(State s) {
    s.powerAvg;
};

// 100000 zeros. Most families go on; P of RLS overflows, and the energies of the lattice vanish.
TEST(Accident, Silence) {
    const Scene scene(20000);
    forEachLearner([&]<class State>(Learner<State>& learner) {
        EXPECT_LT(learner.learn(scene), -60.0);
        for (int n = 0; n < 100000; ++n) {
            learner.update(0.0, 0.0);
        }
        if constexpr (kHasMatrix<State>) {
            EXPECT_TRUE(std::isnan(learner.learn(scene)));
            learner.filter.resize(kOrder - 1); // the remedy that changes no pointer of the host's
            learner.filter.resize(kOrder);
            learner.filter.reset();
            learner.filter.resetDelayLine();
        } else if constexpr (kHasEnergies<State>) {
            EXPECT_TRUE(std::isnan(learner.learn(scene)));
            learner.filter.reset();
        }
        EXPECT_LT(learner.learn(scene), -60.0);
    });
}

// A gradient lattice whose input fades away, and one whose host replaces such samples by 0.
TEST(Accident, FadingInput) {
    for (bool replaced : {false, true}) {
        Filter<lfpef64fState> filter(4, 0.005);
        Signal signal(3);
        for (int n = 0; n < 100000; ++n) {
            const double x = signal.next() * std::pow(0.99, n);
            lfpef64fFilterUpdate(&filter.state(), replaced && std::fabs(x) < 1e-150 ? 0.0 : x);
        }
        EXPECT_EQ(std::isfinite(filter->parcor[0]), replaced);
    }
}

// An infinity in x makes all later errors NaN.
TEST(Accident, Infinity) {
    const Scene scene(2000);
    forEachLearner([&]<class State>(Learner<State>& learner) {
        learner.learn(scene);
        learner.update(HUGE_VAL, 0.0);
        EXPECT_TRUE(std::isnan(learner.learn(scene)));
    });
}

// The predictors after one sample of 1e200.
template <class State>
void isRuined(double rate) {
    SCOPED_TRACE(merlo64f::Family<State>::name);
    Filter<State> filter(4, rate);
    Scene scene(500);
    scene.x[100] = 1e200;
    Values y(500), e(500);
    filter.update(scene.x, y, e);
    EXPECT_TRUE(std::isfinite(e[99]));
    EXPECT_TRUE(std::isnan(e[499]));
}

TEST(Accident, OverflowOfPredictors) {
    isRuined<lfpef64fState>(0.005);
    isRuined<lbpef64fState>(0.005);
    isRuined<rlslfpef64fState>(0.99);
    isRuined<rlslbpef64fState>(0.99);
}

// One sample of 1e200: its square is infinite. RLS goes on. Families that divide by a running power keep
// their coefficients, but learn no more until the host stores a power. The others end in NaN.
TEST(Accident, Overflow) {
    const Scene scene(20000);
    Scene other = scene; // of another system
    for (double& d : other.d) {
        d = -d;
    }
    forEachLearner([&]<class State>(Learner<State>& learner) {
        learner.learn(scene);
        learner.update(1e200, 0.0);
        if constexpr (kHasMatrix<State>) {
            EXPECT_LT(learner.learn(other), -60.0);
        } else if constexpr (kHasPowers<State> ||
                             (kHasPower<State> && !std::is_same_v<State, adjlms64fState>)) {
            EXPECT_LT(learner.learn(scene), -60.0);
            EXPECT_GT(learner.learn(other), -10.0);
            if constexpr (kHasPower<State>) {
                learner.filter->power = 1.0;
            } else {
                set64f(1.0, learner.filter->powerAvg, learner.filter->bins);
            }
            EXPECT_LT(learner.learn(other), -60.0);
        } else {
            EXPECT_TRUE(std::isnan(learner.learn(scene)));
        }
    });
}

#if defined(__SSE2__)
// A host linked with -ffast-math: subnormals are flushed to zero until fesetenv() restores the arithmetic.
TEST(Accident, FlushedSubnormals) {
    constexpr unsigned kFlush = 0x8040; // FTZ and DAZ
    const volatile double smallest = std::numeric_limits<double>::min();
    const Scene scene(20000);
    forEachLearner([&]<class State>(Learner<State>& learner) {
        _mm_setcsr(_mm_getcsr() | kFlush);
        const double flushed = smallest / 2.0;
        const double left = learner.learn(scene);
        std::fesetenv(FE_DFL_ENV);
        EXPECT_EQ(flushed, 0.0);
        EXPECT_GT(smallest / 2.0, 0.0);
        EXPECT_LT(left, -60.0);
        EXPECT_LT(learner.learn(scene), -60.0);
    });
}
#endif

} // namespace
