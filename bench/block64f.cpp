// The block forms of LMS and NLMS; the plain way through a block is the plain step in a loop.
#include "blms64f.h"
#include "bnlms64f.h"

#include "plain/plain.h"
#include "table.h"

namespace bench {
namespace {

template <class State, auto kInit, auto kSetCoef>
struct Block : Signals {
    double delayLine[kMaxOrder];
    double taps[kMaxOrder];
    double e[kSamples];
    State state;

    explicit Block(int order) {
        kInit(&state, order, kBlock, stepSize(order), taps, delayLine);
        kSetCoef(&state, coef, 0, order, 0);
    }
};

using Blms = Block<blms64fState, blms64fInitStatic, blms64fSetCoef>;
using Bnlms = Block<bnlms64fState, bnlms64fInitStatic, bnlms64fSetCoef>;

struct SilentBnlms : Bnlms {
    explicit SilentBnlms(int order) : Bnlms(order) {
        std::fill(std::begin(x), std::end(x), 0.0);
        std::fill(std::begin(d), std::end(d), 0.0);
        for (int i = 0; i < 80000; i += kBlock) {
            bnlms64fFilterUpdate(&state, x, d, y, e);
        }
    }
};

template <class Host, auto kUpdate>
Timed update(int order) {
    return blocks<Host>(order, [](Host& host, int i) {
        kUpdate(&host.state, host.x + i, host.d + i, host.y + i, host.e + i);
    });
}

template <class Host, auto kFilter>
Timed filter(int order) {
    return blocks<Host>(order,
                        [](Host& host, int i) { kFilter(&host.state, host.x + i, host.y + i); });
}

} // namespace

void registerBlock64f() {
    for (const int order : kOrders) {
        const Row blms{.family = "blms64f", .operation = "FilterUpdate", .size = order};
        blms.subject(update<Blms, blms64fFilterUpdate>(order));
        blms.plain(update<Blms, plain::blms64fFilterUpdate>(order));

        const Row sign{.family = "blms64f", .operation = "FilterUpdateSignSign", .size = order};
        sign.subject(update<Blms, blms64fFilterUpdateSignSign>(order));

        const Row blmsOnly{.family = "blms64f", .operation = "FilterOnly", .size = order};
        blmsOnly.subject(filter<Blms, blms64fFilterOnly>(order));
        blmsOnly.plain(filter<Blms, plain::blms64fFilterOnly>(order));

        const Row bnlms{.family = "bnlms64f", .operation = "FilterUpdate", .size = order};
        bnlms.subject(update<Bnlms, bnlms64fFilterUpdate>(order));
        bnlms.plain(update<Bnlms, plain::bnlms64fFilterUpdate>(order));

        const Row silent{.family = "bnlms64f", .operation = "FilterUpdate, silence", .size = order};
        silent.subject(update<SilentBnlms, bnlms64fFilterUpdate>(order));
        silent.plain(update<SilentBnlms, plain::bnlms64fFilterUpdate>(order));

        const Row bnlmsOnly{.family = "bnlms64f", .operation = "FilterOnly", .size = order};
        bnlmsOnly.subject(filter<Bnlms, bnlms64fFilterOnly>(order));
        bnlmsOnly.plain(filter<Bnlms, plain::bnlms64fFilterOnly>(order));
    }
}

} // namespace bench
