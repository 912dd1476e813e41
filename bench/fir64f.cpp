#include "fir64f.h"

#include "floor.h"
#include "plain/plain.h"
#include "table.h"

#ifdef BENCH_HAS_LIQUID
#include <liquid/liquid.h>
#endif

namespace bench {
namespace {

struct Fir : Signals {
    double delayLine[kMaxOrder];
    fir64fState state;

    explicit Fir(int order) { fir64fInitStatic(&state, order, coef, delayLine); }
};

template <auto kFilter>
Timed ring(int order) {
    return samples<Fir>(order, [](Fir& fir, int i) { return kFilter(&fir.state, fir.x[i]); });
}

template <auto kFilter>
Timed linear(int order) {
    return samples<Fir>(order, [](Fir& fir, int i) {
        fir.state.delayLine = fir.line(i);
        return kFilter(&fir.state);
    });
}

Timed straight(int order) {
    return samples<Signals>(order, [dot = floor::dot(order)](Signals& signals, int i) {
        return dot(signals.line(i), signals.coef);
    });
}

constexpr char kPeer[] = "liquid-dsp firfilt_rrrf, single precision (real float)";

#ifdef BENCH_HAS_LIQUID
struct Liquid : Signals {
    float taps[kMaxOrder];
    float in[kSamples];
    float out[kSamples];
    firfilt_rrrf filter;

    explicit Liquid(int order) {
        const auto toFloat = [](double v) { return static_cast<float>(v); };
        std::transform(std::begin(x), std::end(x), in, toFloat);
        std::transform(std::begin(coef), std::end(coef), taps, toFloat);
        filter = firfilt_rrrf_create(taps, static_cast<unsigned>(order));
    }
    Liquid(const Liquid&) = delete;
    Liquid& operator=(const Liquid&) = delete;
    ~Liquid() { firfilt_rrrf_destroy(filter); }
};

void addPeers(const Row& sample, const Row& block) {
    sample.peer(kPeer, samples<Liquid>(sample.size, [](Liquid& liquid, int i) {
                    float y;
                    firfilt_rrrf_execute_one(liquid.filter, liquid.in[i], &y);
                    return y;
                }));
    block.peer(kPeer, blocks<Liquid>(block.size, [](Liquid& liquid, int i) {
                   firfilt_rrrf_execute_block(liquid.filter, liquid.in + i, kBlock, liquid.out + i);
               }));
}
#else
void addPeers(const Row& sample, const Row& block) {
    sample.peerNotInstalled(kPeer);
    block.peerNotInstalled(kPeer);
}
#endif

} // namespace

void registerFir64f() {
    for (const int order : kOrders) {
        const Row sample{
            .family = "fir64f", .operation = "Filter", .size = order, .twin = "LCFilter"};
        sample.subject(ring<fir64fFilter>(order));
        sample.plain(ring<plain::fir64fFilter>(order));
        sample.floor(straight(order));

        const Row twin{.family = "fir64f", .operation = "LCFilter", .size = order};
        twin.subject(linear<fir64fLCFilter>(order));
        twin.plain(linear<plain::fir64fLCFilter>(order));
        twin.floor(straight(order));

        // The plain way through a block is the plain step, sample by sample.
        const Row block{.family = "fir64f", .operation = "BlockFilter", .size = order};
        block.subject(blocks<Fir>(order, [](Fir& fir, int i) {
            fir64fBlockFilter(&fir.state, fir.x + i, fir.y + i, kBlock);
        }));
        block.plain(ring<plain::fir64fFilter>(order));
        block.floor(straight(order));

        addPeers(sample, block);
    }
}

} // namespace bench
