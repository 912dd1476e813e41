// The rows: every operation of the library, its plain recursion, and what else it is compared with.
// A family is one function here and one line in rows(). This file is compiled with the flags under
// which the plain recursions give the library's bits.
#include "floor.h"
#include "peers.h"
#include "row.h"
#include "transform.h"

#include "merlo64f.hpp"
#include "plain/adjlms64f.h"
#include "plain/bfdaf64f.h"
#include "plain/blms64f.h"
#include "plain/bnlms64f.h"
#include "plain/fir64f.h"
#include "plain/fxlms64f.h"
#include "plain/lbpef64f.h"
#include "plain/lfpef64f.h"
#include "plain/lms64f.h"
#include "plain/lmslattice64f.h"
#include "plain/nlms64f.h"
#include "plain/pbfdaf64f.h"
#include "plain/real_fft.h"
#include "plain/rls64f.h"
#include "plain/rlslattice64f.h"
#include "plain/rlslbpef64f.h"
#include "plain/rlslfpef64f.h"
#include "plain/tdlms64f.h"
#include "transform/real_fft.h"

#include <cstdlib>
#include <initializer_list>
#include <type_traits>

namespace bench {
namespace {

constexpr int kBlock = 256;     // of the LMS families in blocks and of fir64fBlockFilter
constexpr int kPart = MAX_TAPS; // taps of a partition, and samples of its block
constexpr int kLongestTail = 4096;
constexpr int kWarmUp = 1024; // samples before the timed loop
constexpr double kLambda = 0.99;
constexpr double kDelta = 0.5;

// A step size far inside the stable range for input of this power, 1/3.
double stepSize(int taps) { return 0.1 / taps; }

// A secondary path.
const double* path() {
    static const Signals signals;
    return signals.coef;
}

template <class State>
struct Host;

// Runs an operation over the first n samples.
template <class State>
using Pass = std::function<void(Host<State>& host, int n)>;

template <class State>
using SetUp = std::function<void(Host<State>& host)>;

// Signals and a record with its buffers. With `silence` the input is zero and the powers have decayed
// as far as they can. The padding behind coefBuf puts short buffers at different places in a page, or
// loads from one would wait for stores to the other.
template <class State>
struct Host : Signals {
    double coefBuf[PBFDAF64F_COEF_LEN(kPart, kPart, kLongestTail / kPart) + 3 * kMaxOrder];
    double workBuf[PBFDAF64F_WORK_LEN(kPart, kPart, kLongestTail / kPart)];
    double fftTwiddles[FFT_TWIDDLES_LEN(2 * kPart)];
    int32_t fftTable[FFT_TABLE_LEN(2 * kPart)];
    double e[kBlock];
    State state;

    Host(const SetUp<State>& setUp, const Pass<State>& adapt, bool silence) {
        fillFftTables(2 * kPart, fftTable, fftTwiddles);
        std::copy(std::begin(coef), std::end(coef), coefBuf); // only fir64f keeps them
        setUp(*this);
        adapt(*this, kWarmUp);
        if (silence) {
            std::fill(std::begin(x), std::end(x), 0.0);
            std::fill(std::begin(d), std::end(d), 0.0);
            adapt(*this, kSamples);
            adapt(*this, kSamples);
        }
    }
};

// InitStatic; `arguments` are those before the buffers.
template <class State, class... Arguments>
void init(Host<State>& host, Arguments... arguments) {
    constexpr auto initStatic = merlo64f::Family<State>::initStatic;
    int32_t status;
    if constexpr (requires(State s) { s.fftTable; }) {
        status = initStatic(&host.state, arguments..., host.coefBuf, host.workBuf, host.fftTable,
                            host.fftTwiddles);
    } else {
        status = initStatic(&host.state, arguments..., host.coefBuf, host.workBuf);
    }
    if (status != STS_OK) {
        std::abort();
    }
}

// One call of an operation at sample i, with the arguments that its type asks for; returns the number of
// samples that it processes. With kLinear it works on the linear line.
template <bool kLinear, class State, class Function>
int call(Function function, Host<State>& host, int i) {
    State* const s = &host.state;
    const double* const x = host.x + i;
    const double* const d = host.d + i;
    double* const y = host.y + i;
    if constexpr (kLinear) {
        s->delayLine = host.line(i);
    }
    if constexpr (requires { function(s, x, d, y, y); }) {
        function(s, x, d, y, host.e);
        return s->blockLen;
    } else if constexpr (requires { function(s, x, y); }) {
        function(s, x, y);
        return s->blockLen;
    } else if constexpr (requires { function(s, x, y, kBlock); }) {
        function(s, x, y, kBlock);
        return kBlock;
    } else if constexpr (requires { function(s, *x, *d); }) {
        *y = function(s, *x, *d);
    } else if constexpr (requires { function(s, *x); }) {
        *y = function(s, kLinear ? *d : *x);
    } else {
        *y = function(s);
    }
    return 1;
}

// ---- The floor

Candidate floorOfSum(int order) {
    return {"floor", timedSteps<Signals>(1, [dot = floor::dot(order)](Signals& signals, int i) {
                signals.y[i] = dot(signals.line(i), signals.coef);
            })};
}

Candidate floorOfStep(int order, bool signOfError, bool signOfSample) {
    const auto step = floor::step(order, signOfError, signOfSample);
    return {"floor", timedSteps<Signals>(1, [=, mu = stepSize(order)](Signals& signals, int i) {
                signals.y[i] = step(signals.coef, signals.line(i), signals.d[i], mu);
            })};
}

// ---- Rows

// Adds the rows of one family at one size.
template <class State>
class RowsOf {
  public:
    // For records made by InitStatic; `arguments` are those before the buffers.
    template <class... Arguments>
    RowsOf(std::vector<Row>& rows, int size, Arguments... arguments)
        : rows_(rows), size_(size), setUp_([=](Host<State>& host) { init(host, arguments...); }) {}

    // An operation of the library and the plain one. The first also warms up the records of the others.
    template <bool kLinear = false, class Function>
    void add(const std::string& operation, Function library, Function plain,
             const std::vector<Candidate>& others = {}, bool silence = false) {
        if (!adapt_) {
            adapt_ = pass<kLinear>(library);
        }
        const auto time = [&](Function function) {
            return timed<Host<State>>(pass<kLinear>(function), setUp_, adapt_, silence);
        };
        constexpr bool kParts = requires(State s) { s.partitions; };
        Row row{merlo64f::Family<State>::name, operation, kParts ? "tail" : "order", size_, {}};
        row.candidates = {{"subject", time(library)}, {"plain", time(plain)}};
        row.candidates.insert(row.candidates.end(), others.begin(), others.end());
        rows_.push_back(row);
    }

    template <class Function>
    void addLinear(const std::string& operation, Function library, Function plain,
                   const std::vector<Candidate>& others = {}) {
        add<true>(operation, library, plain, others);
    }

    template <class Function>
    void addWithSilence(const std::string& operation, Function library, Function plain) {
        add(operation, library, plain);
        add(operation + ", silence", library, plain, {}, true);
    }

  private:
    // Calls through a pointer, so none is inlined.
    template <bool kLinear, class Function>
    static Pass<State> pass(Function function) {
        return [=](Host<State>& host, int n) {
            for (int i = 0; i < n;) {
                i += call<kLinear>(function, host, i);
            }
        };
    }

    std::vector<Row>& rows_;
    int size_;
    SetUp<State> setUp_;
    Pass<State> adapt_;
};

void fir64f(std::vector<Row>& rows, int order) {
    RowsOf<fir64fState> fir(rows, order, order);
    fir.add("Filter", fir64fFilter, plain::fir64fFilter,
            {floorOfSum(order), peers::liquidFilter(order, 1)});
    fir.addLinear("LCFilter", fir64fLCFilter, plain::fir64fLCFilter, {floorOfSum(order)});
    fir.add("BlockFilter", fir64fBlockFilter, plain::fir64fBlockFilter,
            {floorOfSum(order), peers::liquidFilter(order, kBlock)});
}

void lms64f(std::vector<Row>& rows, int order) {
    using namespace plain;
    RowsOf<lms64fState> lms(rows, order, order, stepSize(order));
    lms.add("FilterUpdate", lms64fFilterUpdate, lmsUpdate<Classic>,
            {floorOfStep(order, false, false), peers::liquidLms(order)});
    lms.addLinear("LCFilterUpdate", lms64fLCFilterUpdate, lmsLinearUpdate<Classic>,
                  {floorOfStep(order, false, false)});
    lms.add("FilterUpdateSignErr", lms64fFilterUpdateSignErr, lmsUpdate<SignErr>,
            {floorOfStep(order, true, false)});
    lms.addLinear("LCFilterUpdateSignErr", lms64fLCFilterUpdateSignErr, lmsLinearUpdate<SignErr>,
                  {floorOfStep(order, true, false)});
    lms.add("FilterUpdateSignReg", lms64fFilterUpdateSignReg, lmsUpdate<SignReg>,
            {floorOfStep(order, false, true)});
    lms.addLinear("LCFilterUpdateSignReg", lms64fLCFilterUpdateSignReg, lmsLinearUpdate<SignReg>,
                  {floorOfStep(order, false, true)});
    lms.add("FilterUpdateSignSign", lms64fFilterUpdateSignSign, lmsUpdate<SignSign>,
            {floorOfStep(order, true, true)});
    lms.addLinear("LCFilterUpdateSignSign", lms64fLCFilterUpdateSignSign, lmsLinearUpdate<SignSign>,
                  {floorOfStep(order, true, true)});
    lms.add("FilterOnly", ::lms64fFilterOnly, plain::lms64fFilterOnly, {floorOfSum(order)});
    lms.addLinear("LCFilterOnly", ::lms64fLCFilterOnly, plain::lms64fLCFilterOnly,
                  {floorOfSum(order)});
}

void nlms64f(std::vector<Row>& rows, int order) {
    RowsOf<nlms64fState> nlms(rows, order, order, stepSize(order));
    nlms.addWithSilence("FilterUpdate", nlms64fFilterUpdate, plain::nlms64fFilterUpdate);
    nlms.addLinear("LCFilterUpdate", nlms64fLCFilterUpdate, plain::nlms64fLCFilterUpdate);
    nlms.add("FilterOnly", nlms64fFilterOnly, plain::nlms64fFilterOnly);
    nlms.addLinear("LCFilterOnly", nlms64fLCFilterOnly, plain::nlms64fLCFilterOnly);
}

void fxlms64f(std::vector<Row>& rows, int order) {
    RowsOf<fxlms64fState> fxlms(rows, order, order, 0.1 * stepSize(order), path(), order, path(),
                                order);
    fxlms.add("FilterUpdate", fxlms64fFilterUpdate, plain::fxlms64fFilterUpdate);
    fxlms.add("FilterOnly", fxlms64fFilterOnly, plain::fxlms64fFilterOnly);
}

void adjlms64f(std::vector<Row>& rows, int order) {
    RowsOf<adjlms64fState> adjlms(rows, order, order, 0.1 * stepSize(order), path(), order, path(),
                                  order);
    adjlms.add("FilterUpdate", adjlms64fFilterUpdate, plain::adjlms64fFilterUpdate);
    adjlms.add("FilterOnly", adjlms64fFilterOnly, plain::adjlms64fFilterOnly);
}

void blms64f(std::vector<Row>& rows, int order) {
    using namespace plain;
    RowsOf<blms64fState> blms(rows, order, order, kBlock, stepSize(order));
    blms.add("FilterUpdate", blms64fFilterUpdate, blmsUpdate<Classic>);
    blms.add("FilterUpdateSignErr", blms64fFilterUpdateSignErr, blmsUpdate<SignErr>);
    blms.add("FilterUpdateSignReg", blms64fFilterUpdateSignReg, blmsUpdate<SignReg>);
    blms.add("FilterUpdateSignSign", blms64fFilterUpdateSignSign, blmsUpdate<SignSign>);
    blms.add("FilterOnly", ::blms64fFilterOnly, plain::blms64fFilterOnly);
}

void bnlms64f(std::vector<Row>& rows, int order) {
    RowsOf<bnlms64fState> bnlms(rows, order, order, kBlock, stepSize(order));
    bnlms.addWithSilence("FilterUpdate", bnlms64fFilterUpdate, plain::bnlms64fFilterUpdate);
    bnlms.add("FilterOnly", bnlms64fFilterOnly, plain::bnlms64fFilterOnly);
}

void tdlms64f(std::vector<Row>& rows, int order) {
    RowsOf<tdlms64fState> tdlms(rows, order, order, stepSize(order));
    tdlms.add("FilterUpdate", tdlms64fFilterUpdate, plain::tdlms64fFilterUpdate);
    tdlms.addLinear("LCFilterUpdate", tdlms64fLCFilterUpdate, plain::tdlms64fLCFilterUpdate);
    tdlms.add("FilterOnly", tdlms64fFilterOnly, plain::tdlms64fFilterOnly);
    tdlms.addLinear("LCFilterOnly", tdlms64fLCFilterOnly, plain::tdlms64fLCFilterOnly);
}

// Blocks of as many samples as taps.
void bfdaf64f(std::vector<Row>& rows, int order) {
    RowsOf<bfdaf64fState> unconstrained(rows, order, order, order, 2 * stepSize(order), 0);
    unconstrained.add("FilterUpdate, unconstrained", bfdaf64fFilterUpdate,
                      plain::bfdaf64fFilterUpdate);
    RowsOf<bfdaf64fState> constrained(rows, order, order, order, 2 * stepSize(order), 1);
    constrained.add("FilterUpdate, constrained", bfdaf64fFilterUpdate, plain::bfdaf64fFilterUpdate);
    constrained.add("FilterOnly", bfdaf64fFilterOnly, plain::bfdaf64fFilterOnly);
}

// Partitions of 32 taps and blocks of 32 samples, without gaps.
void pbfdaf64f(std::vector<Row>& rows, int tail) {
    const double mu = 2 * stepSize(tail);
    RowsOf<pbfdaf64fState> unconstrained(rows, tail, kPart, kPart, tail / kPart, mu, 0);
    unconstrained.add("FilterUpdate, unconstrained", pbfdaf64fFilterUpdate,
                      plain::pbfdaf64fFilterUpdate, peers::echoCancellers(tail, false));
    RowsOf<pbfdaf64fState> constrained(rows, tail, kPart, kPart, tail / kPart, mu, 1);
    constrained.add("FilterUpdate, constrained", pbfdaf64fFilterUpdate,
                    plain::pbfdaf64fFilterUpdate, peers::echoCancellers(tail, true));
    constrained.add("FilterOnly", pbfdaf64fFilterOnly, plain::pbfdaf64fFilterOnly);
}

void lbpef64f(std::vector<Row>& rows, int order) {
    RowsOf<lbpef64fState> lbpef(rows, order, order, stepSize(order));
    lbpef.addWithSilence("FilterUpdate", lbpef64fFilterUpdate, plain::lbpef64fFilterUpdate);
    lbpef.addWithSilence("FilterOnly", lbpef64fFilterOnly, plain::lbpef64fFilterOnly);
}

void lfpef64f(std::vector<Row>& rows, int order) {
    RowsOf<lfpef64fState> lfpef(rows, order, order, stepSize(order));
    lfpef.addWithSilence("FilterUpdate", lfpef64fFilterUpdate, plain::lfpef64fFilterUpdate);
    lfpef.addWithSilence("FilterOnly", lfpef64fFilterOnly, plain::lfpef64fFilterOnly);
}

void lmslattice64f(std::vector<Row>& rows, int order) {
    RowsOf<lmslattice64fState> joint(rows, order, order, stepSize(order), stepSize(order));
    joint.addWithSilence("FilterUpdate", lmslattice64fFilterUpdate,
                         plain::lmslattice64fFilterUpdate);
    joint.addWithSilence("FilterOnly", lmslattice64fFilterOnly, plain::lmslattice64fFilterOnly);
}

void rls64f(std::vector<Row>& rows, int order) {
    RowsOf<rls64fState> rls(rows, order, order, kLambda, kDelta);
    rls.add("FilterUpdate", rls64fFilterUpdate, plain::rls64fFilterUpdate,
            {peers::eigenRls(order, kLambda, kDelta)});
    rls.addLinear("LCFilterUpdate", rls64fLCFilterUpdate, plain::rls64fLCFilterUpdate);
    rls.add("FilterOnly", rls64fFilterOnly, plain::rls64fFilterOnly);
    rls.addLinear("LCFilterOnly", rls64fLCFilterOnly, plain::rls64fLCFilterOnly);
}

void rlslattice64f(std::vector<Row>& rows, int order) {
    RowsOf<rlslattice64fState> joint(rows, order, order, kLambda);
    joint.add("FilterUpdate", rlslattice64fFilterUpdate, plain::rlslattice64fFilterUpdate);
    joint.add("FilterOnly", rlslattice64fFilterOnly, plain::rlslattice64fFilterOnly);
}

void rlslbpef64f(std::vector<Row>& rows, int order) {
    RowsOf<rlslbpef64fState> lbpef(rows, order, order, kLambda);
    lbpef.add("FilterUpdate", rlslbpef64fFilterUpdate, plain::rlslbpef64fFilterUpdate);
    lbpef.add("FilterOnly", rlslbpef64fFilterOnly, plain::rlslbpef64fFilterOnly);
}

void rlslfpef64f(std::vector<Row>& rows, int order) {
    RowsOf<rlslfpef64fState> lfpef(rows, order, order, kLambda);
    lfpef.add("FilterUpdate", rlslfpef64fFilterUpdate, plain::rlslfpef64fFilterUpdate);
    lfpef.add("FilterOnly", rlslfpef64fFilterOnly, plain::rlslfpef64fFilterOnly);
}

template <class Transform>
Timed timedTransform(Transform* transform, int points, int sign) {
    return [=](benchmark::State& run) {
        const auto buffers = std::make_unique<TransformBuffers>();
        std::vector<int32_t> table(FFT_TABLE_LEN(kLongest));
        std::vector<double> twiddles(FFT_TWIDDLES_LEN(kLongest));
        fillFftTables(kLongest, table.data(), twiddles.data());
        timeTransform(run, *buffers, points,
                      [&] { transform(points, sign, buffers->a, table.data(), twiddles.data()); });
    };
}

void realFft64f(std::vector<Row>& rows, int points) {
    for (const int sign : {-1, 1}) {
        rows.push_back({"realFft64f",
                        sign < 0 ? "forward, per call" : "inverse, per call",
                        "points",
                        points,
                        {{"subject", timedTransform(merlo::realFft64f, points, sign)},
                         {"plain", timedTransform(plain::realFft64f, points, sign)},
                         peers::fftwTransform(points, sign)}});
    }
}

} // namespace

std::vector<Row> rows() {
    std::vector<Row> all;
    const auto add = [&](auto family, std::initializer_list<int> sizes) {
        for (const int size : sizes) {
            family(all, size);
        }
    };
    add(fir64f, {8, 16, 32});
    add(lms64f, {8, 16, 32});
    add(nlms64f, {8, 16, 32});
    add(fxlms64f, {8, 16, 32});
    add(adjlms64f, {8, 16, 32});
    add(blms64f, {8, 16, 32});
    add(bnlms64f, {8, 16, 32});
    add(tdlms64f, {8, 16, 32});
    add(bfdaf64f, {8, 16, 32});
    add(lmslattice64f, {8, 10, 16, 32});
    add(rls64f, {8, 16, 32});
    add(rlslattice64f, {8, 10, 16, 32});
    add(lbpef64f, {8, 10});
    add(lfpef64f, {8, 10});
    add(rlslbpef64f, {8, 10});
    add(rlslfpef64f, {8, 10});
    add(pbfdaf64f, {256, 1024, kLongestTail});
    add(realFft64f, {8, 16, 32, 64, 128, 256, 512, 1024, 2048, 4096, kLongest});
    return all;
}

} // namespace bench
