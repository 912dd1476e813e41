#include "nlms64f.h"

#include "plain/plain.h"
#include "table.h"

namespace bench {
namespace {

struct Nlms : Signals {
    double delayLine[kMaxOrder];
    double taps[kMaxOrder];
    nlms64fState state;

    explicit Nlms(int order) {
        nlms64fInitStatic(&state, order, stepSize(order), taps, delayLine);
        nlms64fSetCoef(&state, coef, 0, order, 0);
    }
};

// After a silence so long that the power has sunk as low as it goes.
struct SilentNlms : Nlms {
    explicit SilentNlms(int order) : Nlms(order) {
        std::fill(std::begin(x), std::end(x), 0.0);
        std::fill(std::begin(d), std::end(d), 0.0);
        for (int i = 0; i < 80000; ++i) {
            nlms64fFilterUpdate(&state, 0.0, 0.0);
        }
    }
};

template <class Host, auto kUpdate>
Timed ring(int order) {
    return samples<Host>(
        order, [](Host& nlms, int i) { return kUpdate(&nlms.state, nlms.x[i], nlms.d[i]); });
}

template <auto kUpdate>
Timed linear(int order) {
    return samples<Nlms>(order, [](Nlms& nlms, int i) {
        nlms.state.delayLine = nlms.line(i);
        return kUpdate(&nlms.state, nlms.d[i]);
    });
}

template <auto kFilter>
Timed ringOnly(int order) {
    return samples<Nlms>(order, [](Nlms& nlms, int i) { return kFilter(&nlms.state, nlms.x[i]); });
}

} // namespace

void registerNlms64f() {
    for (const int order : kOrders) {
        const Row update{.family = "nlms64f",
                         .operation = "FilterUpdate",
                         .size = order,
                         .twin = "LCFilterUpdate"};
        update.subject(ring<Nlms, nlms64fFilterUpdate>(order));
        update.plain(ring<Nlms, plain::nlms64fFilterUpdate>(order));

        const Row twin{.family = "nlms64f", .operation = "LCFilterUpdate", .size = order};
        twin.subject(linear<nlms64fLCFilterUpdate>(order));

        const Row silent{.family = "nlms64f", .operation = "FilterUpdate, silence", .size = order};
        silent.subject(ring<SilentNlms, nlms64fFilterUpdate>(order));
        silent.plain(ring<SilentNlms, plain::nlms64fFilterUpdate>(order));

        const Row only{.family = "nlms64f", .operation = "FilterOnly", .size = order};
        only.subject(ringOnly<nlms64fFilterOnly>(order));
        only.plain(ringOnly<plain::nlms64fFilterOnly>(order));
    }
}

} // namespace bench
