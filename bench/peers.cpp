#include "peers.h"

#include "transform.h"

#ifdef BENCH_HAS_LIQUID
#include <liquid/liquid.h>
#endif
#ifdef BENCH_HAS_EIGEN
#include <Eigen/Dense>
#endif
#ifdef BENCH_HAS_FFTW
#include <fftw3.h>
#endif
#ifdef BENCH_HAS_SPEEXDSP
#include <speex/speex_echo.h>
#endif

namespace bench::peers {
namespace {

#ifdef BENCH_HAS_LIQUID
// liquid-dsp 1.5 attaches a deprecation meant for another function to eqlms_rrrf_push.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

struct InFloat : Signals {
    float in[kSamples], desired[kSamples], out[kSamples], taps[kMaxOrder];

    InFloat() {
        const auto toFloat = [](double v) { return static_cast<float>(v); };
        std::transform(std::begin(x), std::end(x), in, toFloat);
        std::transform(std::begin(d), std::end(d), desired, toFloat);
        std::transform(std::begin(coef), std::end(coef), taps, toFloat);
    }
};

struct LiquidFilter : InFloat {
    firfilt_rrrf filter;

    explicit LiquidFilter(int order)
        : filter(firfilt_rrrf_create(taps, static_cast<unsigned>(order))) {}
    ~LiquidFilter() { firfilt_rrrf_destroy(filter); }
};

struct LiquidLms : InFloat {
    eqlms_rrrf filter;

    explicit LiquidLms(int order)
        : filter(eqlms_rrrf_create(nullptr, static_cast<unsigned>(order))) {
        eqlms_rrrf_set_bw(filter, 0.1F);
    }
    ~LiquidLms() { eqlms_rrrf_destroy(filter); }
};
#endif

#ifdef BENCH_HAS_EIGEN
struct EigenRls : Signals {
    double lambda;
    Eigen::MatrixXd P;
    Eigen::VectorXd u, w, k;

    EigenRls(int order, double forget, double delta)
        : lambda(forget), P(Eigen::MatrixXd::Identity(order, order) * delta),
          u(Eigen::VectorXd::Zero(order)), w(u), k(u) {}

    double step(double sample, double wanted) {
        for (Eigen::Index j = u.size() - 1; j > 0; --j) {
            u[j] = u[j - 1];
        }
        u[0] = sample;
        const double output = w.dot(u);
        k.noalias() = P * u;
        const double denominator = lambda + u.dot(k);
        w += ((wanted - output) / denominator) * k;
        // Exactly symmetric: rounding errors that make P asymmetric grow until it overflows.
        P = (P - (1 / denominator) * k.lazyProduct(k.transpose())) * (1 / lambda);
        return output;
    }
};
#endif

#ifdef BENCH_HAS_FFTW
template <int kBlock, bool kConstrained>
struct OverFftw : Signals {
    static constexpr int kFrame = 2 * kBlock;
    static constexpr int kBins = kBlock + 1;
    struct alignas(64) Spectrum {
        fftw_complex bin[kBins];
    };

    double mu;
    size_t newest = 0;
    std::vector<Spectrum> frames, filter; // of each partition
    double power[kBins];
    double history[kBlock] = {};
    alignas(64) double time[kFrame] = {};
    Spectrum work{}; // of the output, then of the error
    fftw_plan forward = fftw_plan_dft_r2c_1d(kFrame, time, work.bin, FFTW_MEASURE);
    fftw_plan backward = fftw_plan_dft_c2r_1d(kFrame, work.bin, time, FFTW_MEASURE);

    explicit OverFftw(int tail)
        : mu(0.2 / tail), frames(static_cast<size_t>(tail / kBlock)), filter(frames.size()) {
        std::fill(std::begin(power), std::end(power), 1.0);
    }
    ~OverFftw() {
        fftw_destroy_plan(forward);
        fftw_destroy_plan(backward);
    }

    // visit(coefficients, frame) for every partition
    template <class Visit>
    void forEachPartition(Visit visit) {
        for (size_t p = 0, at = newest; p < frames.size(); ++p) {
            visit(filter[p].bin, frames[at].bin);
            at = at + 1 < frames.size() ? at + 1 : 0;
        }
    }

    void update(int i) {
        std::copy_n(history, kBlock, time);
        std::copy_n(x + i, kBlock, time + kBlock);
        std::copy_n(x + i, kBlock, history);
        newest = (newest > 0 ? newest : frames.size()) - 1;
        fftw_complex* const now = frames[newest].bin;
        fftw_execute_dft_r2c(forward, time, now);
        work = {};
        forEachPartition([this](const fftw_complex* c, const fftw_complex* f) {
            for (int k = 0; k < kBins; ++k) {
                work.bin[k][0] += c[k][0] * f[k][0] - c[k][1] * f[k][1];
                work.bin[k][1] += c[k][0] * f[k][1] + c[k][1] * f[k][0];
            }
        });
        fftw_execute(backward);
        for (int j = 0; j < kBlock; ++j) {
            y[i + j] = time[kBlock + j] / kFrame;
            time[j] = 0.0;
            time[kBlock + j] = d[i + j] - y[i + j];
        }
        fftw_execute(forward);
        for (int k = 0; k < kBins; ++k) {
            const double energy = now[k][0] * now[k][0] + now[k][1] * now[k][1];
            power[k] = 0.02 / kBlock * energy + 0.98 * power[k];
            const double step = mu / (power[k] + 1e-6);
            work.bin[k][0] *= step;
            work.bin[k][1] *= step;
        }
        forEachPartition([this](fftw_complex* c, const fftw_complex* f) {
            for (int k = 0; k < kBins; ++k) {
                c[k][0] += work.bin[k][0] * f[k][0] + work.bin[k][1] * f[k][1];
                c[k][1] += work.bin[k][1] * f[k][0] - work.bin[k][0] * f[k][1];
            }
            if constexpr (kConstrained) {
                fftw_execute_dft_c2r(backward, c, time);
                std::for_each(time, time + kBlock, [](double& tap) { tap /= kFrame; });
                std::fill(time + kBlock, time + kFrame, 0.0);
                fftw_execute_dft_r2c(forward, time, c);
            }
        });
    }
};

template <int kBlock>
Timed overFftwAt(int tail, bool constrained) {
    const auto step = [](auto& filter, int i) { filter.update(i); };
    return constrained ? timedSteps<OverFftw<kBlock, true>>(kBlock, step, tail)
                       : timedSteps<OverFftw<kBlock, false>>(kBlock, step, tail);
}
#endif

#ifdef BENCH_HAS_SPEEXDSP
struct Speex : Signals {
    spx_int16_t far[kSamples], near[kSamples], out[kSamples];
    SpeexEchoState* state;

    Speex(int block, int tail) : state(speex_echo_state_init(block, tail)) {
        const auto toPcm = [](double v) { return static_cast<spx_int16_t>(8000.0 * v); };
        std::transform(std::begin(x), std::end(x), far, toPcm);
        std::transform(std::begin(d), std::end(d), near, toPcm);
    }
    ~Speex() { speex_echo_state_destroy(state); }
};
#endif

} // namespace

Candidate liquidFilter([[maybe_unused]] int order, [[maybe_unused]] int block) {
    Candidate peer{"liquid-dsp firfilt_rrrf, single precision (real float)", nullptr};
#ifdef BENCH_HAS_LIQUID
    const auto sample = [](LiquidFilter& liquid, int i) {
        firfilt_rrrf_execute_one(liquid.filter, liquid.in[i], &liquid.out[i]);
    };
    const auto samples = [=](LiquidFilter& liquid, int i) {
        firfilt_rrrf_execute_block(liquid.filter, liquid.in + i, static_cast<unsigned>(block),
                                   liquid.out + i);
    };
    peer.timed = block == 1 ? timedSteps<LiquidFilter>(1, sample, order)
                            : timedSteps<LiquidFilter>(block, samples, order);
#endif
    return peer;
}

Candidate liquidLms([[maybe_unused]] int order) {
    Candidate peer{"liquid-dsp eqlms_rrrf, single precision (real float)", nullptr};
#ifdef BENCH_HAS_LIQUID
    const auto step = [](LiquidLms& liquid, int i) {
        eqlms_rrrf_push(liquid.filter, liquid.in[i]);
        eqlms_rrrf_execute(liquid.filter, &liquid.out[i]);
        eqlms_rrrf_step(liquid.filter, liquid.desired[i], liquid.out[i]);
    };
    peer.timed = timedSteps<LiquidLms>(1, step, order);
#endif
    return peer;
}

Candidate eigenRls([[maybe_unused]] int order, [[maybe_unused]] double lambda,
                   [[maybe_unused]] double delta) {
    Candidate peer{"Eigen, the recursion on a full matrix", nullptr};
#ifdef BENCH_HAS_EIGEN
    const auto step = [](EigenRls& rls, int i) { rls.y[i] = rls.step(rls.x[i], rls.d[i]); };
    peer.timed = timedSteps<EigenRls>(1, step, order, lambda, delta);
#endif
    return peer;
}

Candidate fftwTransform([[maybe_unused]] int points, [[maybe_unused]] int sign) {
    Candidate peer{"FFTW 3, double precision, in place, estimated plan", nullptr};
#ifdef BENCH_HAS_FFTW
    peer.timed = [=](benchmark::State& run) {
        const auto buffers = std::make_unique<TransformBuffers>();
        auto* const bins = reinterpret_cast<fftw_complex*>(buffers->a);
        auto* const plan = sign < 0 ? fftw_plan_dft_r2c_1d(points, buffers->a, bins, FFTW_ESTIMATE)
                                    : fftw_plan_dft_c2r_1d(points, bins, buffers->a, FFTW_ESTIMATE);
        timeTransform(run, *buffers, sign < 0 ? points : points + 2, [=] { fftw_execute(plan); });
        fftw_destroy_plan(plan);
    };
#endif
    return peer;
}

std::vector<Candidate> echoCancellers([[maybe_unused]] int tail,
                                      [[maybe_unused]] bool constrained) {
    std::vector<Candidate> peers;
    const std::string overFftw = "the same filter over FFTW 3, double precision, measured plan";
#ifdef BENCH_HAS_FFTW
    peers.push_back({overFftw + ", block 32", overFftwAt<32>(tail, constrained), 0});
    peers.push_back({overFftw + ", block 64", overFftwAt<64>(tail, constrained), 32});
    peers.push_back({overFftw + ", block 128", overFftwAt<128>(tail, constrained), 96});
    peers.push_back({overFftw + ", block 256", overFftwAt<256>(tail, constrained), 224});
#else
    peers.push_back({overFftw, nullptr});
#endif
    const std::string speex = "speexdsp echo canceller, single precision";
#ifdef BENCH_HAS_SPEEXDSP
    for (const int block : {32, 64, 128, 256}) {
        const auto step = [](Speex& echo, int i) {
            speex_echo_cancellation(echo.state, echo.near + i, echo.far + i, echo.out + i);
        };
        peers.push_back({speex + ", block " + std::to_string(block),
                         timedSteps<Speex>(block, step, block, tail), block - 32});
    }
#else
    peers.push_back({speex, nullptr});
#endif
    return peers;
}

} // namespace bench::peers
