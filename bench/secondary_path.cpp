// The filters behind a secondary path; path and estimate have as many taps as the filter.
#include "adjlms64f.h"
#include "fxlms64f.h"

#include "plain/plain.h"
#include "table.h"

namespace bench {
namespace {

template <class State, auto kInit>
struct SecondaryPath : Signals {
    double taps[kMaxOrder];
    double lines[4 * kMaxOrder];
    State state;

    explicit SecondaryPath(int order) {
        kInit(&state, order, 0.1 * stepSize(order), coef, order, coef, order, taps, lines);
    }
};

using Fx = SecondaryPath<fxlms64fState, fxlms64fInitStatic>;
using Adjoint = SecondaryPath<adjlms64fState, adjlms64fInitStatic>;

template <class Host, auto kUpdate>
Timed update(int order) {
    return samples<Host>(
        order, [](Host& host, int i) { return kUpdate(&host.state, host.x[i], host.d[i]); });
}

template <class Host, auto kFilter>
Timed filter(int order) {
    return samples<Host>(order, [](Host& host, int i) { return kFilter(&host.state, host.x[i]); });
}

} // namespace

void registerSecondaryPath() {
    for (const int order : kOrders) {
        const Row fx{.family = "fxlms64f", .operation = "FilterUpdate", .size = order};
        fx.subject(update<Fx, fxlms64fFilterUpdate>(order));
        fx.plain(update<Fx, plain::fxlms64fFilterUpdate>(order));

        const Row fxOnly{.family = "fxlms64f", .operation = "FilterOnly", .size = order};
        fxOnly.subject(filter<Fx, fxlms64fFilterOnly>(order));

        const Row adjoint{.family = "adjlms64f", .operation = "FilterUpdate", .size = order};
        adjoint.subject(update<Adjoint, adjlms64fFilterUpdate>(order));
        adjoint.plain(update<Adjoint, plain::adjlms64fFilterUpdate>(order));

        const Row adjointOnly{.family = "adjlms64f", .operation = "FilterOnly", .size = order};
        adjointOnly.subject(filter<Adjoint, adjlms64fFilterOnly>(order));
    }
}

} // namespace bench
