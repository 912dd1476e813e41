// The block filters in the frequency domain, ns per sample against the length of the response: parts
// of 32 taps, blocks of 32 samples, without gaps.
#include "exact_tables.h"
#include "pbfdaf64f.h"

#include "table.h"

#ifdef BENCH_HAS_SPEEXDSP
#include <speex/speex_echo.h>
#endif

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
        addPeer(plainRow);

        const Row constrained{.family = "pbfdaf64f",
                              .operation = "FilterUpdate, constrained",
                              .size = tail,
                              .sizeName = "tail"};
        constrained.subject(update<1>(tail));
        addPeer(constrained);

        const Row only{
            .family = "pbfdaf64f", .operation = "FilterOnly", .size = tail, .sizeName = "tail"};
        only.subject(filterOnly(tail));
    }
}

} // namespace bench
