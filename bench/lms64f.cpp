#include "lms64f.h"

#include "floor.h"
#include "plain/plain.h"
#include "table.h"

#ifdef BENCH_HAS_LIQUID
#include <liquid/liquid.h>
#endif

namespace bench {
namespace {

struct Lms : Signals {
    double delayLine[kMaxOrder];
    double taps[kMaxOrder];
    lms64fState state;

    explicit Lms(int order) {
        lms64fInitStatic(&state, order, stepSize(order), taps, delayLine);
        lms64fSetCoef(&state, coef, 0, order, 0);
    }
};

template <auto kUpdate>
Timed ring(int order) {
    return samples<Lms>(order,
                        [](Lms& lms, int i) { return kUpdate(&lms.state, lms.x[i], lms.d[i]); });
}

template <auto kUpdate>
Timed linear(int order) {
    return samples<Lms>(order, [](Lms& lms, int i) {
        lms.state.delayLine = lms.line(i);
        return kUpdate(&lms.state, lms.d[i]);
    });
}

template <auto kFilter>
Timed ringOnly(int order) {
    return samples<Lms>(order, [](Lms& lms, int i) { return kFilter(&lms.state, lms.x[i]); });
}

template <auto kFilter>
Timed linearOnly(int order) {
    return samples<Lms>(order, [](Lms& lms, int i) {
        lms.state.delayLine = lms.line(i);
        return kFilter(&lms.state);
    });
}

Timed straight(int order, floor::Gradient gradient) {
    return samples<Signals>(order, [step = floor::step(order, gradient),
                                    mu = stepSize(order)](Signals& signals, int i) {
        return step(signals.coef, signals.line(i), signals.d[i], mu);
    });
}

Timed straightOnly(int order) {
    return samples<Signals>(order, [dot = floor::dot(order)](Signals& signals, int i) {
        return dot(signals.line(i), signals.coef);
    });
}

// The four operations of one gradient rule: the library's and the plain one, on either line.
template <auto kRing, auto kPlainRing, auto kLinear, auto kPlainLinear>
void addUpdate(int order, const std::string& rule, floor::Gradient gradient) {
    const Row sample{.family = "lms64f",
                     .operation = "FilterUpdate" + rule,
                     .size = order,
                     .twin = "LCFilterUpdate" + rule};
    sample.subject(ring<kRing>(order));
    sample.plain(ring<kPlainRing>(order));
    sample.floor(straight(order, gradient));

    const Row twin{.family = "lms64f", .operation = "LCFilterUpdate" + rule, .size = order};
    twin.subject(linear<kLinear>(order));
    twin.plain(linear<kPlainLinear>(order));
    twin.floor(straight(order, gradient));
}

void addFilterOnly(int order) {
    const Row sample{
        .family = "lms64f", .operation = "FilterOnly", .size = order, .twin = "LCFilterOnly"};
    sample.subject(ringOnly<lms64fFilterOnly>(order));
    sample.plain(ringOnly<plain::lms64fFilterOnly>(order));
    sample.floor(straightOnly(order));

    const Row twin{.family = "lms64f", .operation = "LCFilterOnly", .size = order};
    twin.subject(linearOnly<lms64fLCFilterOnly>(order));
    twin.plain(linearOnly<plain::lms64fLCFilterOnly>(order));
    twin.floor(straightOnly(order));
}

void addPeer(int order) {
    const Row sample{.family = "lms64f", .operation = "FilterUpdate", .size = order};
    const std::string name = "liquid-dsp eqlms_rrrf, single precision (real float)";
#ifdef BENCH_HAS_LIQUID
// In liquid-dsp 1.5 a deprecation meant for another function falls on eqlms_rrrf_push.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    struct Liquid : Signals {
        float in[kSamples];
        float desired[kSamples];
        eqlms_rrrf filter;

        explicit Liquid(int length) {
            const auto toFloat = [](double v) { return static_cast<float>(v); };
            std::transform(std::begin(x), std::end(x), in, toFloat);
            std::transform(std::begin(d), std::end(d), desired, toFloat);
            filter = eqlms_rrrf_create(nullptr, static_cast<unsigned>(length));
            eqlms_rrrf_set_bw(filter, 0.1F);
        }
        Liquid(const Liquid&) = delete;
        Liquid& operator=(const Liquid&) = delete;
        ~Liquid() { eqlms_rrrf_destroy(filter); }
    };
    sample.peer(name, samples<Liquid>(order, [](Liquid& liquid, int i) {
                    float y;
                    eqlms_rrrf_push(liquid.filter, liquid.in[i]);
                    eqlms_rrrf_execute(liquid.filter, &y);
                    eqlms_rrrf_step(liquid.filter, liquid.desired[i], y);
                    return y;
                }));
#pragma GCC diagnostic pop
#else
    sample.peerNotInstalled(name);
#endif
}

} // namespace

void registerLms64f() {
    using floor::Gradient;
    for (const int order : kOrders) {
        addUpdate<lms64fFilterUpdate, plain::lms64fFilterUpdate, lms64fLCFilterUpdate,
                  plain::lms64fLCFilterUpdate>(order, "", Gradient::Plain);
        addUpdate<lms64fFilterUpdateSignErr, plain::lms64fFilterUpdateSignErr,
                  lms64fLCFilterUpdateSignErr, plain::lms64fLCFilterUpdateSignErr>(
            order, "SignErr", Gradient::SignErr);
        addUpdate<lms64fFilterUpdateSignReg, plain::lms64fFilterUpdateSignReg,
                  lms64fLCFilterUpdateSignReg, plain::lms64fLCFilterUpdateSignReg>(
            order, "SignReg", Gradient::SignReg);
        addUpdate<lms64fFilterUpdateSignSign, plain::lms64fFilterUpdateSignSign,
                  lms64fLCFilterUpdateSignSign, plain::lms64fLCFilterUpdateSignSign>(
            order, "SignSign", Gradient::SignSign);
        addFilterOnly(order);
        addPeer(order);
    }
}

} // namespace bench
