// The three gradient lattices.
#include "lbpef64f.h"
#include "lfpef64f.h"
#include "lmslattice64f.h"

#include "plain/plain.h"
#include "table.h"

namespace bench {
namespace {

template <class State, auto kInit, auto... kStepSizes>
struct Lattice : Signals {
    double coefs[2 * kMaxOrder];
    double stages[4 * (kMaxOrder + 1)];
    State state;

    explicit Lattice(int order) { kInit(&state, order, kStepSizes(order)..., coefs, stages); }
};

using Backward = Lattice<lbpef64fState, lbpef64fInitStatic, stepSize>;
using Forward = Lattice<lfpef64fState, lfpef64fInitStatic, stepSize>;
using Joint = Lattice<lmslattice64fState, lmslattice64fInitStatic, stepSize, stepSize>;

template <auto kStep, class Host>
double step(Host& host, int i) {
    if constexpr (requires { kStep(&host.state, host.x[i], host.d[i]); }) {
        return kStep(&host.state, host.x[i], host.d[i]);
    } else {
        return kStep(&host.state, host.x[i]);
    }
}

// After noise and then a silence so long that the powers have sunk as low as they go.
template <class Host, auto kUpdate>
struct Silent : Host {
    explicit Silent(int order) : Host(order) {
        for (int i = 0; i < 1000; ++i) {
            step<kUpdate>(*this, i);
        }
        std::fill(std::begin(this->x), std::end(this->x), 0.0);
        std::fill(std::begin(this->d), std::end(this->d), 0.0);
        for (int i = 0; i < kSamples; ++i) {
            step<kUpdate>(*this, i);
        }
    }
};

template <class Host, auto kStep>
Timed timed(int order) {
    return samples<Host>(order, [](Host& host, int i) { return step<kStep>(host, i); });
}

template <class Host, auto kUpdate, auto kPlainUpdate, auto kOnly, auto kPlainOnly>
void addRows(const char* family, int order) {
    const Row update{.family = family, .operation = "FilterUpdate", .size = order};
    update.subject(timed<Host, kUpdate>(order));
    update.plain(timed<Host, kPlainUpdate>(order));

    using Quiet = Silent<Host, kUpdate>;
    const Row silent{.family = family, .operation = "FilterUpdate, silence", .size = order};
    silent.subject(timed<Quiet, kUpdate>(order));
    silent.plain(timed<Quiet, kPlainUpdate>(order));

    const Row only{.family = family, .operation = "FilterOnly", .size = order};
    only.subject(timed<Host, kOnly>(order));
    only.plain(timed<Host, kPlainOnly>(order));

    const Row silentOnly{.family = family, .operation = "FilterOnly, silence", .size = order};
    silentOnly.subject(timed<Quiet, kOnly>(order));
    silentOnly.plain(timed<Quiet, kPlainOnly>(order));
}

} // namespace

void registerGradientLattice() {
    addRows<Backward, lbpef64fFilterUpdate, plain::lbpef64fFilterUpdate, lbpef64fFilterOnly,
            plain::lbpef64fFilterOnly>("lbpef64f", MAX_PEF_STAGES);
    addRows<Forward, lfpef64fFilterUpdate, plain::lfpef64fFilterUpdate, lfpef64fFilterOnly,
            plain::lfpef64fFilterOnly>("lfpef64f", MAX_PEF_STAGES);
    for (const int order : {10, 32}) {
        addRows<Joint, lmslattice64fFilterUpdate, plain::lmslattice64fFilterUpdate,
                lmslattice64fFilterOnly, plain::lmslattice64fFilterOnly>("lmslattice64f", order);
    }
}

} // namespace bench
