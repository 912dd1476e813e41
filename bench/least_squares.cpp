// Recursive least squares by matrix and by lattice.
#include "rls64f.h"
#include "rlslattice64f.h"
#include "rlslbpef64f.h"
#include "rlslfpef64f.h"

#include "plain/plain.h"
#include "table.h"

#ifdef BENCH_HAS_EIGEN
#include <Eigen/Dense>
#endif

namespace bench {
namespace {

constexpr double kLambda = 0.99;
constexpr double kDelta = 0.5;

struct Rls : Signals {
    double taps[kMaxOrder];
    double work[2 * kMaxOrder + kMaxOrder * (kMaxOrder + 1) / 2];
    rls64fState state;

    explicit Rls(int order) { rls64fInitStatic(&state, order, kLambda, kDelta, taps, work); }
};

template <auto kStep, class Host>
double step(Host& host, int i) {
    if constexpr (requires { kStep(&host.state, host.x[i], host.d[i]); }) {
        return kStep(&host.state, host.x[i], host.d[i]);
    } else {
        return kStep(&host.state, host.x[i]);
    }
}

// Settled, so that a frozen step is one: on fresh stages it wears the conversion factor down.
template <class State, auto kInitStatic, auto kUpdate>
struct Lattice : Signals {
    double taps[3 * kMaxOrder];
    double work[6 * kMaxOrder + 1];
    State state;

    explicit Lattice(int order) {
        kInitStatic(&state, order, kLambda, taps, work);
        for (int i = 0; i < 1000; ++i) {
            step<kUpdate>(*this, i);
        }
    }
};

using Joint = Lattice<rlslattice64fState, rlslattice64fInitStatic, rlslattice64fFilterUpdate>;
using Backward = Lattice<rlslbpef64fState, rlslbpef64fInitStatic, rlslbpef64fFilterUpdate>;
using Forward = Lattice<rlslfpef64fState, rlslfpef64fInitStatic, rlslfpef64fFilterUpdate>;

template <class Host, auto kStep>
Timed timed(int order) {
    return samples<Host>(order, [](Host& host, int i) { return step<kStep>(host, i); });
}

template <auto kUpdate>
Timed linear(int order) {
    return samples<Rls>(order, [](Rls& rls, int i) {
        rls.state.delayLine = rls.line(i);
        return kUpdate(&rls.state, rls.d[i]);
    });
}

constexpr char kPeer[] = "Eigen, the recursion on a full matrix";

#ifdef BENCH_HAS_EIGEN
struct Full : Signals {
    Eigen::MatrixXd P;
    Eigen::VectorXd u, w, k;

    explicit Full(int order)
        : P(Eigen::MatrixXd::Identity(order, order) * kDelta), u(Eigen::VectorXd::Zero(order)),
          w(u), k(u) {}

    double step(double sample, double desired) {
        for (Eigen::Index j = u.size() - 1; j > 0; --j) {
            u[j] = u[j - 1];
        }
        u[0] = sample;
        const double output = w.dot(u);
        k.noalias() = P * u;
        const double denominator = kLambda + u.dot(k);
        w += ((desired - output) / denominator) * k;
        P = (P - k * (k.transpose() / denominator)) / kLambda;
        return output;
    }
};

void addPeer(const Row& row) {
    row.peer(kPeer, samples<Full>(row.size, [](Full& full, int i) {
                 return full.step(full.x[i], full.d[i]);
             }));
}
#else
void addPeer(const Row& row) { row.peerNotInstalled(kPeer); }
#endif

template <class Host, auto kUpdate, auto kPlainUpdate, auto kOnly, auto kPlainOnly>
void addRows(const std::string& family, int order) {
    const Row update{.family = family, .operation = "FilterUpdate", .size = order};
    update.subject(timed<Host, kUpdate>(order));
    update.plain(timed<Host, kPlainUpdate>(order));

    const Row only{.family = family, .operation = "FilterOnly", .size = order};
    only.subject(timed<Host, kOnly>(order));
    only.plain(timed<Host, kPlainOnly>(order));
}

} // namespace

void registerLeastSquares() {
    for (const int order : kOrders) {
        addRows<Rls, rls64fFilterUpdate, plain::rls64fFilterUpdate, rls64fFilterOnly,
                plain::rls64fFilterOnly>("rls64f", order);
        addPeer({.family = "rls64f", .operation = "FilterUpdate", .size = order});
        const Row twin{.family = "rls64f", .operation = "LCFilterUpdate", .size = order};
        twin.subject(linear<rls64fLCFilterUpdate>(order));

        addRows<Joint, rlslattice64fFilterUpdate, plain::rlslattice64fFilterUpdate,
                rlslattice64fFilterOnly, plain::rlslattice64fFilterOnly>("rlslattice64f", order);
    }
    for (const int order : {8, int{MAX_PEF_STAGES}}) {
        addRows<Backward, rlslbpef64fFilterUpdate, plain::rlslbpef64fFilterUpdate,
                rlslbpef64fFilterOnly, plain::rlslbpef64fFilterOnly>("rlslbpef64f", order);
        addRows<Forward, rlslfpef64fFilterUpdate, plain::rlslfpef64fFilterUpdate,
                rlslfpef64fFilterOnly, plain::rlslfpef64fFilterOnly>("rlslfpef64f", order);
    }
}

} // namespace bench
