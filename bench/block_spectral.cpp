// The block filters in the frequency domain, ns per sample against the length of the response: parts
// of 32 taps, blocks of 32 samples, without gaps.
#include "exact_tables.h"
#include "pbfdaf64f.h"

#include "table.h"

#ifdef BENCH_HAS_FFTW
#include <fftw3.h>
#endif
#ifdef BENCH_HAS_SPEEXDSP
#include <speex/speex_echo.h>
#endif

#include <vector>

namespace bench {
namespace {

constexpr int kPart = 32;

template <int kConstrained>
struct Partitioned : Signals {
    FftTables tables{64};
    double e[kPart];
    pbfdaf64fState state;

    explicit Partitioned(int tail) {
        pbfdaf64fInit(&state, kPart, kPart, tail / kPart, 0.2 / tail, kConstrained,
                      tables.table.data(), tables.twiddles.data());
    }
    Partitioned(const Partitioned&) = delete;
    Partitioned& operator=(const Partitioned&) = delete;
    ~Partitioned() { pbfdaf64fFree(&state); }
};

template <int kConstrained>
Timed update(int tail) {
    return parts<Partitioned<kConstrained>>(
        tail, kPart, [](Partitioned<kConstrained>& filter, int i) {
            pbfdaf64fFilterUpdate(&filter.state, filter.x + i, filter.d + i, filter.y + i,
                                  filter.e);
        });
}

Timed filterOnly(int tail) {
    return parts<Partitioned<0>>(tail, kPart, [](Partitioned<0>& filter, int i) {
        pbfdaf64fFilterOnly(&filter.state, filter.x + i, filter.y + i);
    });
}

constexpr char kOverFftw[] = "the same filter over FFTW 3, double precision, measured plan";

#ifdef BENCH_HAS_FFTW
constexpr int kFrame = 2 * kPart;
constexpr int kBins = kPart + 1;

struct alignas(64) Spectrum {
    fftw_complex bin[kBins];
};

template <bool kConstrained>
struct OverFftw : Signals {
    double mu;
    int newest = 0;
    std::vector<Spectrum> frames;
    std::vector<Spectrum> coef;
    double power[kBins];
    double history[kPart] = {};
    alignas(64) double time[kFrame] = {};
    Spectrum work{}; // the output, then the error
    fftw_plan forward = fftw_plan_dft_r2c_1d(kFrame, time, work.bin, FFTW_MEASURE);
    fftw_plan backward = fftw_plan_dft_c2r_1d(kFrame, work.bin, time, FFTW_MEASURE);

    explicit OverFftw(int tail)
        : mu(0.2 / tail), frames(static_cast<size_t>(tail / kPart)), coef(frames.size()) {
        std::fill(std::begin(power), std::end(power), 1.0);
    }
    OverFftw(const OverFftw&) = delete;
    OverFftw& operator=(const OverFftw&) = delete;
    ~OverFftw() {
        fftw_destroy_plan(forward);
        fftw_destroy_plan(backward);
    }

    // visit(coefficients, frame) for every part
    template <class Visit>
    void forEachPart(Visit visit) {
        const size_t n = frames.size();
        for (size_t p = 0, at = static_cast<size_t>(newest); p < n; ++p) {
            visit(coef[p], frames[at].bin);
            at = at + 1 < n ? at + 1 : 0;
        }
    }

    void update(int i) {
        std::copy_n(history, kPart, time);
        std::copy_n(x + i, kPart, time + kPart);
        std::copy_n(x + i, kPart, history);
        newest = (newest > 0 ? newest : static_cast<int>(frames.size())) - 1;
        fftw_complex* const now = frames[static_cast<size_t>(newest)].bin;
        fftw_execute_dft_r2c(forward, time, now);
        work = {};
        forEachPart([this](const Spectrum& c, const fftw_complex* f) {
            for (int k = 0; k < kBins; ++k) {
                work.bin[k][0] += c.bin[k][0] * f[k][0] - c.bin[k][1] * f[k][1];
                work.bin[k][1] += c.bin[k][0] * f[k][1] + c.bin[k][1] * f[k][0];
            }
        });
        fftw_execute(backward);
        for (int j = 0; j < kPart; ++j) {
            y[i + j] = time[kPart + j] / kFrame;
            time[j] = 0.0;
            time[kPart + j] = d[i + j] - y[i + j];
        }
        fftw_execute(forward);
        for (int k = 0; k < kBins; ++k) {
            const double energy = now[k][0] * now[k][0] + now[k][1] * now[k][1];
            power[k] = 0.02 / kPart * energy + 0.98 * power[k];
            const double step = mu / (power[k] + 1e-6);
            work.bin[k][0] *= step;
            work.bin[k][1] *= step;
        }
        forEachPart([this](Spectrum& c, const fftw_complex* f) {
            for (int k = 0; k < kBins; ++k) {
                c.bin[k][0] += work.bin[k][0] * f[k][0] + work.bin[k][1] * f[k][1];
                c.bin[k][1] += work.bin[k][1] * f[k][0] - work.bin[k][0] * f[k][1];
            }
            if constexpr (kConstrained) {
                fftw_execute_dft_c2r(backward, c.bin, time);
                std::for_each(time, time + kPart, [](double& tap) { tap /= kFrame; });
                std::fill(time + kPart, time + kFrame, 0.0);
                fftw_execute_dft_r2c(forward, time, c.bin);
            }
        });
    }
};

template <bool kConstrained>
void addOverFftw(const Row& row) {
    using Filter = OverFftw<kConstrained>;
    row.peer(kOverFftw,
             parts<Filter>(row.size, kPart, [](Filter& filter, int i) { filter.update(i); }));
}
#else
template <bool kConstrained>
void addOverFftw(const Row& row) {
    row.peerNotInstalled(kOverFftw);
}
#endif

constexpr char kPeer[] = "speexdsp echo canceller, single precision";

#ifdef BENCH_HAS_SPEEXDSP
struct Speex : Signals {
    spx_int16_t far[kSamples];
    spx_int16_t near[kSamples];
    spx_int16_t out[kPart];
    SpeexEchoState* state;

    explicit Speex(int tail) {
        const auto toPcm = [](double v) { return static_cast<spx_int16_t>(8000.0 * v); };
        std::transform(std::begin(x), std::end(x), far, toPcm);
        std::transform(std::begin(d), std::end(d), near, toPcm);
        state = speex_echo_state_init(kPart, tail);
    }
    Speex(const Speex&) = delete;
    Speex& operator=(const Speex&) = delete;
    ~Speex() { speex_echo_state_destroy(state); }
};

void addPeer(const Row& row) {
    row.peer(kPeer, parts<Speex>(row.size, kPart, [](Speex& speex, int i) {
                 speex_echo_cancellation(speex.state, speex.near + i, speex.far + i, speex.out);
             }));
}
#else
void addPeer(const Row& row) { row.peerNotInstalled(kPeer); }
#endif

} // namespace

void registerBlockSpectral() {
    for (const int tail : {256, 1024, 4096}) {
        const Row plainRow{.family = "pbfdaf64f",
                           .operation = "FilterUpdate, unconstrained",
                           .size = tail,
                           .sizeName = "tail"};
        plainRow.subject(update<0>(tail));
        addOverFftw<false>(plainRow);
        addPeer(plainRow);

        const Row constrained{.family = "pbfdaf64f",
                              .operation = "FilterUpdate, constrained",
                              .size = tail,
                              .sizeName = "tail"};
        constrained.subject(update<1>(tail));
        addOverFftw<true>(constrained);
        addPeer(constrained);

        const Row only{
            .family = "pbfdaf64f", .operation = "FilterOnly", .size = tail, .sizeName = "tail"};
        only.subject(filterOnly(tail));
    }
}

} // namespace bench
