// Every family as a textbook draws it: samples move, every formula stands as it is written, sums run
// upward. So the bits are those that the library owes, and a random host holds both side by side.
#pragma once

#include "exact_tables.h"
#include "plain_fft.h"
#include "signal.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

using Values = std::vector<double>;

// What a host asks for when it sets up a record; a family takes what it knows of.
struct Shape {
    int32_t order = 5, blockLen = 9, parts = 3, constrained = 1, secLen = 3, estLen = 5;
    double rate = 0.01, second = 0.5; // mu or lambda; muCoef or delta
};

// What a host lends to one record. The twiddles serve all of them.
struct Lent {
    static constexpr int32_t longest = 40;
    static inline const FftTables tables{256};

    double coef[32] = {0.5, -0.25, 1.0, 0.125, -0.75, 0.0625, 0.375, -1.0};
    double secCoef[longest] = {0.0, 0.75, -0.25};
    double estCoef[longest] = {0.0, 0.5, -0.25, 0.125, 0.0625};
    int32_t table[66] = {tables.table[0], tables.table[1]};
    const double* twiddles = tables.twiddles.data();
};

inline void require(bool good, const std::string& what) {
    if (!good) {
        throw std::runtime_error(what);
    }
}
inline void same(double actual, double expected, const std::string& what) {
    require(bits(actual) == bits(expected) || (std::isnan(actual) && std::isnan(expected)),
            what + ": " + std::to_string(actual) + ", not " + std::to_string(expected));
}
inline void same(const double* actual, const Values& expected, const char* what) {
    for (size_t i = 0; i < expected.size(); ++i) {
        same(actual[i], expected[i], std::string(what) + " " + std::to_string(i));
    }
}

// Samples by position, and the place of the next one; a straight line has no head and its newest in front.
struct Line {
    Values at;
    int32_t head = -1;

    explicit Line(int32_t length, int32_t next = -1) : at(length), head(next) {}

    void push(double x) {
        at.insert(at.begin(), x);
        at.pop_back();
    }
    void insert(double x) {
        if (head < 0) {
            return push(x);
        }
        at[head] = x;
        head = (head + static_cast<int32_t>(at.size()) - 1) % static_cast<int32_t>(at.size());
    }
    [[nodiscard]] Values newest() const { // by age
        Values byAge = at;
        std::rotate(byAge.begin(), byAge.begin() + (head + 1) % std::ssize(at), byAge.end());
        return byAge;
    }
    void load(const Values& byAge) {
        at = byAge;
        std::rotate(at.begin(), at.end() - (head + 1) % std::ssize(at), at.end());
    }
    void resize(int32_t length, int32_t anchor) {
        Values byAge = newest();
        byAge.resize(length);
        head = anchor;
        load(byAge);
    }
};

template <class Coef>
double dot(const Coef& coef, size_t n, const Values& x) {
    double sum = 0.0;
    for (size_t k = 0; k < n; ++k) {
        sum += coef[k] * x[k];
    }
    return sum;
}
inline double dot(const Values& coef, const Values& x) { return dot(coef, coef.size(), x); }

// ---- Transversal filters. update() and only() take the samples that the taps meet, newest first.

struct FirModel {
    FirModel(const Shape& s, const Lent& host)
        : coef(host.coef, host.coef + s.order), delayLine(s.order, s.order - 1) {}

    Values enter(double x) {
        delayLine.insert(x);
        return delayLine.newest();
    }
    double only(const Values& x) { return dot(coef, x); }
    void resize(const Shape& s) {
        coef.resize(s.order);
        delayLine.resize(s.order, s.order - 1);
    }
    template <class State>
    void compare(const State& s) const {
        same(s.coef, coef, "coef");
        same(s.delayLine, delayLine.at, "delayLine");
        require(s.head == delayLine.head, "head");
    }

    Values coef;
    Line delayLine;
};

struct LmsModel : FirModel {
    LmsModel(const Shape& s, const Lent& host) : FirModel(s, host), mu(s.rate) {
        coef.assign(s.order, 0.0);
    }

    static double sign(double v) { return v >= 0 ? 1 : -1; }

    void smooth(double x) { power = normalised ? keep * power + gain * (x * x) : power; }
    template <bool signError = false, bool signRegressor = false>
    double update(const Values& x, double d) {
        const double y = dot(coef, x);
        err = d - y;
        smooth(x[0]);
        double g = mu * (signError ? sign(err) : err);
        g = normalised ? g / (power + floor) : g;
        for (size_t k = 0; k < coef.size(); ++k) {
            coef[k] += signRegressor ? sign(x[k]) * g : g * x[k];
        }
        return y;
    }
    double only(const Values& x) {
        smooth(x[0]);
        return dot(coef, x);
    }
    template <class State>
    void compare(const State& s) const {
        FirModel::compare(s);
        if constexpr (requires { s.power; }) {
            same(s.power, power, "power");
        }
    }

    double mu, err = 0.0, power = 1.0;
    bool normalised = false;
    double keep = 0.99, gain = 0.01, floor = 1e-12;
};

struct NlmsModel : LmsModel {
    NlmsModel(const Shape& s, const Lent& host) : LmsModel(s, host) { normalised = true; }
};

struct BlmsModel : LmsModel {
    BlmsModel(const Shape& s, const Lent& host) : LmsModel(s, host), blockLen(s.blockLen) {
        delayLine.head = 0;
    }
    int32_t blockLength() const { return blockLen; }
    template <bool signError = false, bool signRegressor = false>
    void block(const Values& x, const Values& d, Values& y, Values& e) {
        for (size_t i = 0; i < x.size(); ++i) {
            y[i] = update<signError, signRegressor>(enter(x[i]), d[i]);
            e[i] = err;
        }
    }
    void blockOnly(const Values& x, Values& y) {
        std::transform(x.begin(), x.end(), y.begin(), [&](double v) { return only(enter(v)); });
    }
    void resize(const Shape& s) {
        blockLen = s.blockLen;
        coef.resize(s.order);
        delayLine.resize(s.order, 0);
    }

    int32_t blockLen;
};

struct BnlmsModel : BlmsModel {
    BnlmsModel(const Shape& s, const Lent& host) : BlmsModel(s, host) {
        normalised = true;
        keep = 0.9900000095367432;
        gain = 0.009999999776482582;
        floor = 1.0000000036274937e-15;
    }
};

// ---- Filters behind a secondary path: x through coef, y through secCoef; they differ in the gradient.

template <bool adjoint>
struct PathModel {
    PathModel(const Shape& s, const Lent& lent)
        : host(lent), shape(s), mu(s.rate), coef(s.order), delayLine(refLen(), 0),
          outLine(s.secLen, 0), third(thirdLen(), thirdAnchor()) {}

    int32_t refLen() const {
        return adjoint ? shape.order + shape.estLen - 1 : std::max(shape.order, shape.estLen);
    }
    int32_t thirdLen() const { return adjoint ? shape.estLen : shape.order; }
    // fxHead marks the newest sample, errHead the place of the next one.
    int32_t thirdAnchor() const { return adjoint ? 0 : shape.order - 1; }
    Values enter(double x) {
        delayLine.insert(x);
        return delayLine.newest();
    }
    double output(const Values& x) {
        outLine.insert(dot(coef, x));
        return dot(host.secCoef, shape.secLen, outLine.newest());
    }
    void smooth(double x) { power = 0.99 * power + 0.01 * (x * x); }
    double update(const Values& x, double d) {
        const double s = output(x);
        err = s + d;
        double gain;
        Values regressor = x;
        if (adjoint) {
            third.insert(err);
            const Values errors = third.newest();
            double r = 0.0;
            for (int32_t j = 0; j < shape.estLen; ++j) {
                r += host.estCoef[shape.estLen - 1 - j] * errors[j];
            }
            smooth(shape.order == 1 ? x[0] : x[shape.estLen]);
            gain = r * (mu / (power + 1e-12));
            regressor.erase(regressor.begin(), regressor.begin() + shape.estLen - 1);
        } else {
            const double filtered = dot(host.estCoef, shape.estLen, x);
            third.insert(filtered);
            smooth(filtered);
            gain = (mu * err) / (power + 1e-12);
            regressor = third.newest();
        }
        for (size_t k = 0; k < coef.size(); ++k) {
            coef[k] = coef[k] - gain * regressor[k];
        }
        return s;
    }
    double only(const Values& x) {
        const double s = output(x);
        smooth(!adjoint           ? dot(host.estCoef, shape.estLen, x)
               : shape.order == 1 ? x[0]
                                  : x[shape.estLen]);
        return s;
    }
    void resetLines() {
        for (Line* line : {&delayLine, &outLine, &third}) {
            std::fill(line->at.begin(), line->at.end(), 0.0);
        }
    }
    void resize(const Shape& s) {
        shape.order = s.order;
        coef.resize(s.order);
        delayLine.resize(refLen(), 0);
        outLine.resize(shape.secLen, 0);
        third.resize(thirdLen(), thirdAnchor());
    }
    template <class State>
    void compare(const State& s) const {
        same(s.coef, coef, "coef");
        same(s.delayLine, delayLine.at, "delayLine");
        same(s.outLine, outLine.at, "outLine");
        same(s.power, power, "power");
        if constexpr (adjoint) {
            same(s.errLine, third.at, "errLine");
            require(s.errHead == third.head, "errHead");
        } else {
            same(s.fxLine, third.at, "fxLine");
            require(s.fxHead == (third.head + 1) % shape.order, "fxHead");
        }
        require(s.head == delayLine.head && s.outHead == outLine.head && s.refLen == refLen(),
                "heads");
    }

    const Lent& host;
    Shape shape;
    double mu, err = 0.0, power = 1.0;
    Values coef;
    Line delayLine, outLine, third;
};

// ---- Gradient lattices. parcor[i-1] is k(i), delayLine[i] the backward error i of the sample before.

inline void directForm(const Values& k, Values& coef) {
    coef.clear();
    for (double reflection : k) {
        const Values c = coef;
        for (size_t j = 0; j < c.size(); ++j) {
            coef[j] = c[j] - reflection * c[c.size() - 1 - j];
        }
        coef.push_back(reflection);
    }
}

struct GradientModel {
    GradientModel(const Shape& s, int32_t length)
        : mu(s.rate), muCoef(s.second), width(length), parcor(s.order), coef(s.order),
          delayLine(width), power(width, 1.0), backErr(width) {}

    static Values enter(double x) { return {x}; }

    // Returns the forward error of the last stage.
    double pass(double x, size_t stages, bool adapt) {
        const auto smoothed = [](double b, double f, double p) {
            return (b * b + f * f) * 0.009999999776482582 + p * 0.9800000190734863;
        };
        double f = x;
        backErr[0] = x;
        power[0] = smoothed(delayLine[0], x, power[0]);
        for (size_t i = 1; i <= stages; ++i) {
            const double b = delayLine[i - 1];
            double& k = parcor[i - 1];
            const double fNew = f - b * k;
            backErr[i] = b - f * k;
            const double gradient = fNew * b + f * backErr[i];
            if (adapt && gradient != 0.0) {
                k = gradient * (mu / power[i - 1] + 1.0000000036274937e-15) + k;
            }
            power[i] = smoothed(delayLine[i], fNew, power[i]);
            f = fNew;
        }
        return f;
    }
    void reset() {
        std::fill(parcor.begin(), parcor.end(), 0.0);
        std::fill(coef.begin(), coef.end(), 0.0);
    }
    void resize(const Shape& s) {
        width += s.order - static_cast<int32_t>(coef.size());
        delayLine.resize(std::min<size_t>(s.order, coef.size())); // not what lies behind the stages
        delayLine.resize(width);
        parcor.resize(s.order);
        coef.resize(s.order);
        power.assign(width, 1.0);
        backErr.assign(width, 0.0);
    }
    template <class State>
    void compare(const State& s) const {
        same(s.coef, coef, "coef");
        same(s.parcor, parcor, "parcor");
        same(s.delayLine, delayLine, "delayLine");
        same(s.power, power, "power");
        same(s.backErr, backErr, "backErr");
    }

    double mu, muCoef, err = 0.0;
    int32_t width, adapting = 1; // the flag of the record
    Values parcor, coef, delayLine, power, backErr;
};

template <bool backward>
struct PredictorModel : GradientModel {
    PredictorModel(const Shape& s, const Lent&)
        : GradientModel(s, s.order + 1), inLine(width), inHead(s.order) {}

    double step(double x, bool adapt) {
        const double f = pass(x, parcor.size(), adapt);
        if (adapt && adapting != 0) {
            directForm(parcor, coef);
        }
        std::copy(backErr.begin(), backErr.end() - 1, delayLine.begin());
        if (!backward) {
            err = f;
            return x - err;
        }
        err = backErr.back();
        inHead = (inHead + 1) % width;
        inLine[inHead] = x;
        return inLine[(inHead + 1) % width] - err;
    }
    double update(const Values& x) { return step(x[0], true); }
    double only(const Values& x) { return step(x[0], false); }
    void resize(const Shape& s) {
        GradientModel::resize(s);
        inLine.assign(width, 0.0);
        inHead = s.order;
    }
    template <class State>
    void compare(const State& s) const {
        GradientModel::compare(s);
        if constexpr (backward) {
            same(s.inLine, inLine, "inLine");
            require(s.inHead == inHead, "inHead");
        }
    }

    Values inLine;
    int32_t inHead;
};

struct JointModel : GradientModel {
    JointModel(const Shape& s, const Lent&) : GradientModel(s, s.order) {}

    double step(double x, bool adapt) {
        pass(x, parcor.size() - 1, adapt);
        delayLine = backErr;
        return dot(coef, delayLine);
    }
    double update(const Values& x, double d) {
        const double y = step(x[0], adapting != 0);
        err = d - y;
        for (size_t i = 0; i < coef.size(); ++i) {
            backErr[i] = delayLine[i] * muCoef * err / (power[i] + 1.0000000036274937e-15);
            coef[i] = backErr[i] + coef[i];
        }
        return y;
    }
    double only(const Values& x) { return step(x[0], false); }
};

// ---- Recursive least squares, by matrix and by lattice

struct RlsModel : FirModel {
    RlsModel(const Shape& s, const Lent& host)
        : FirModel(s, host), lambda(s.rate), invLambda(1 / lambda) {
        delayLine.head = -1;
        coef.assign(s.order, 0.0);
        start(s.second);
    }
    void start(double delta) {
        gain.assign(coef.size(), 0.0);
        P.resize(coef.size());
        for (size_t i = 0; i < P.size(); ++i) {
            P[i].assign(i + 1, 0.0);
            P[i][i] = delta;
        }
    }
    double step(const Values& x, double d, bool adapt) {
        const size_t n = coef.size();
        const double y = dot(coef, x);
        err = adapt ? d - y : err;
        for (size_t i = 0; i < n; ++i) {
            gain[i] = 0;
            for (size_t j = 0; j <= i; ++j) {
                gain[i] += P[i][j] * x[j];
            }
        }
        for (size_t i = 0; i + 1 < n; ++i) {
            for (size_t k = i + 1; k < n; ++k) {
                gain[i] += P[k][i] * x[k];
            }
        }
        const double q = dot(gain, x);
        for (size_t i = 0; i < n; ++i) {
            const double k = gain[i] / (q + lambda);
            if (adapt) {
                coef[i] = k * err + coef[i];
            }
            for (size_t j = 0; j <= i; ++j) {
                P[i][j] = invLambda * P[i][j] - k * gain[j];
            }
        }
        return y;
    }
    double update(const Values& x, double d) { return step(x, d, true); }
    double only(const Values& x) { return step(x, 0.0, false); }
    void resize(const Shape& s) {
        coef.resize(s.order);
        delayLine.resize(s.order, -1);
        start(0.009999999776482582);
    }
    template <class State>
    void compare(const State& s) const {
        same(s.coef, coef, "coef");
        same(s.delayLine, delayLine.at, "delayLine");
        same(s.gain, gain, "gain");
        const double* row = s.invCorr;
        for (const Values& expected : P) {
            same(row, expected, "invCorr");
            row += expected.size();
        }
    }

    double lambda, invLambda, err = 0.0;
    Values gain;
    std::vector<Values> P;
};

struct LatticeModel {
    struct Stage {
        double fwdEnergy = 0.0010000000474974513, bwdEnergy = 0.0010000000474974513;
        double crossCorr = 0, jointCorr = 0, prevGamma = 1, delayed = 0;
        double fwdParcor = 0, bwdParcor = 0, coef = 0;
    };

    LatticeModel(const Shape& s, const Lent&)
        : lambda(s.rate), stages(s.order), direct(s.order), inLine(s.order + 1), inHead(s.order) {}

    static Values enter(double x) { return {x}; }

    void pass(double x, double d, bool adapt) {
        double g = 1;
        f = b = x;
        e = d;
        for (Stage& s : stages) {
            const double bb = b * b;
            const double newB = lambda * s.bwdEnergy + bb / g;
            if (adapt) {
                s.fwdEnergy = lambda * s.fwdEnergy + f * f / s.prevGamma;
                s.crossCorr = lambda * s.crossCorr + f * s.delayed / s.prevGamma;
                s.jointCorr = lambda * s.jointCorr + e * b / g;
                s.fwdParcor = s.crossCorr / s.bwdEnergy;
                s.bwdParcor = s.crossCorr / s.fwdEnergy;
                s.coef = s.jointCorr / newB;
            }
            const double nextF = f - s.fwdParcor * s.delayed;
            const double nextB = s.delayed - s.bwdParcor * f;
            e = e - s.coef * b;
            s.prevGamma = g;
            g = g - bb / newB;
            s.bwdEnergy = newB;
            s.delayed = b;
            f = nextF;
            b = nextB;
        }
    }
    // Frozen steps before the last stage has settled can end in NaN; its energy settles at 33.
    bool settled() const {
        return stages.back().bwdEnergy > 4.0 && stages.back().bwdEnergy < 100.0;
    }
    void reset() {
        stages.assign(stages.size(), Stage());
        direct.assign(direct.size(), 0.0);
        inLine.assign(inLine.size(), 0.0);
    }
    void resize(const Shape& s) {
        stages.resize(s.order);
        direct.resize(s.order);
        inLine.resize(s.order + 1); // by position, whatever the age
        inHead = s.order;
        adapting = 1;
    }
    Values all(double Stage::*field) const {
        Values values;
        for (const Stage& s : stages) {
            values.push_back(s.*field);
        }
        return values;
    }
    void setDelayed(int32_t start, const Values& from) {
        for (double value : from) {
            stages[start++].delayed = value;
        }
    }
    template <class State>
    void compare(const State& s) const {
        same(s.fwdEnergy, all(&Stage::fwdEnergy), "fwdEnergy");
        same(s.bwdEnergy, all(&Stage::bwdEnergy), "bwdEnergy");
        same(s.crossCorr, all(&Stage::crossCorr), "crossCorr");
        same(s.prevGamma, all(&Stage::prevGamma), "prevGamma");
        same(s.delayLine, all(&Stage::delayed), "delayLine");
        same(s.fwdParcor, all(&Stage::fwdParcor), "fwdParcor");
        same(s.bwdParcor, all(&Stage::bwdParcor), "bwdParcor");
        if constexpr (requires { s.jointCorr; }) {
            same(s.jointCorr, all(&Stage::jointCorr), "jointCorr");
            same(s.coef, all(&Stage::coef), "coef");
        } else {
            same(s.coef, direct, "coef");
        }
        if constexpr (requires { s.inLine; }) {
            same(s.inLine, inLine, "inLine");
            require(s.inHead == inHead, "inHead");
        }
    }

    double lambda, err = 0.0, f = 0.0, b = 0.0, e = 0.0;
    int32_t adapting = 1; // the predictors' flag
    std::vector<Stage> stages;
    Values direct; // the predictors' coef
    Values inLine;
    int32_t inHead;
};

struct LatticeJointModel : LatticeModel {
    using LatticeModel::LatticeModel;

    double update(const Values& x, double d) {
        pass(x[0], d, true);
        err = e;
        return d - e;
    }
    double only(const Values& x) {
        pass(x[0], 0.0, false);
        return -e;
    }
    Values coef() const { return all(&Stage::coef); }
};

template <bool backward>
struct LatticePredictorModel : LatticeModel {
    using LatticeModel::LatticeModel;

    double step(double x, bool adapt) {
        if (adapt) {
            stages[0].fwdEnergy = lambda * stages[0].fwdEnergy + x * x;
        }
        pass(x, 0.0, adapt);
        if (adapting != 0) {
            directForm(all(backward ? &Stage::bwdParcor : &Stage::fwdParcor), direct);
        }
        err = backward ? b : f;
        const auto n = static_cast<int32_t>(inLine.size());
        inHead = (inHead + 1) % n;
        inLine[inHead] = x;
        return (backward ? inLine[(inHead + 1) % n] : x) - err;
    }
    double update(const Values& x) { return step(x[0], true); }
    double only(const Values& x) { return step(x[0], false); }
    Values coef() const { return direct; }
};

// ---- In the frequency domain, on packed spectra: slots 0 and 1 the two real bins, then pairs.

struct SpectralModel {
    SpectralModel(const Lent& lent, int32_t length)
        : host(lent), fftLen(length), bins(length / 2 + 1), invScale(2.0 / length),
          powerAvg(bins, 1.0) {}

    static int32_t powerOfTwo(int32_t n) {
        int32_t power = 1;
        while (power < n) {
            power *= 2;
        }
        return power;
    }
    Values forward(const Values& x) const {
        return plain::realFft(x, -1, host.table, host.twiddles);
    }
    Values inverse(const Values& x) const {
        return plain::realFft(x, 1, host.table, host.twiddles);
    }
    // The bin of a slot.
    int32_t binOf(int32_t slot) const { return slot == 1 ? bins - 1 : slot / 2; }
    Values product(const Values& a, const Values& b) const {
        Values out = {a[0] * b[0], a[1] * b[1]};
        for (int32_t k = 2; k < fftLen; k += 2) {
            out.push_back(a[k] * b[k] - a[k + 1] * b[k + 1]);
            out.push_back(a[k] * b[k + 1] + a[k + 1] * b[k]);
        }
        return out;
    }
    void smooth(const Values& spectrum, double gain, double keep) {
        for (int32_t k = 0; k < bins; ++k) {
            const double re = spectrum[k < bins - 1 ? 2 * k : 1];
            double power = re * re;
            if (k > 0 && k < bins - 1) {
                power += spectrum[2 * k + 1] * spectrum[2 * k + 1];
            }
            powerAvg[k] = gain * power + keep * powerAvg[k];
        }
    }

    const Lent& host;
    int32_t fftLen, bins;
    double invScale;
    Values powerAvg;
};

// Both block filters; the one that is not partitioned has one part and double-precision constants.
template <bool partitioned>
struct BlockModel : SpectralModel {
    BlockModel(const Shape& s, const Lent& lent)
        : SpectralModel(lent, powerOfTwo(s.order + s.blockLen - 1)), shape(s), mu(s.rate),
          overlap(fftLen - s.blockLen), delayLine(overlap) {
        shape.parts = partitioned ? s.parts : 1;
        coef.assign(shape.parts, Values(fftLen));
        ring = coef;
        newest = shape.parts - 1;
    }
    static constexpr double keep = partitioned ? 0.9800000190734863 : 0.98;
    static constexpr double gain = partitioned ? 0.019999980926513672 : 0.020000000000000018;
    static constexpr double floor = partitioned ? 9.999999974752427e-07 : 1e-6;

    // To the time domain, through fn(part, taps), and back.
    template <class Fn>
    void inTime(Values& spectrum, int32_t scaled, bool cut, Fn fn) {
        spectrum = inverse(spectrum);
        std::for_each_n(spectrum.begin(), scaled, [&](double& tap) { tap = invScale * tap; });
        std::fill(spectrum.begin() + (cut ? shape.order : fftLen), spectrum.end(), 0.0);
        fn(spectrum);
        spectrum = forward(spectrum);
    }
    // fn(flat index, tap) of every tap; the way through the time domain changes bits.
    template <class Fn>
    void throughTaps(Fn fn) {
        for (int32_t p = 0; p < shape.parts; ++p) {
            inTime(coef[p], partitioned ? shape.order : fftLen, partitioned, [&](Values& taps) {
                for (int32_t i = 0; i < shape.order; ++i) {
                    fn(p * shape.order + i, taps[i]);
                }
            });
        }
    }
    Values readCoef() {
        Values flat;
        throughTaps([&](int32_t, double tap) { flat.push_back(tap); });
        return flat;
    }
    void writeCoef(int32_t start, const Values& from) {
        throughTaps([&](int32_t g, double& tap) {
            tap = g >= start && g < start + std::ssize(from) ? from[g - start] : tap;
        });
    }
    int32_t blockLength() const { return shape.blockLen; }
    void block(const Values& x, const Values& d, Values& y, Values& e) { run(x, &d, y, e); }
    void blockOnly(const Values& x, Values& y) { run(x, nullptr, y, y); }
    void run(const Values& x, const Values* d, Values& y, Values& e) {
        const auto older = [&](int32_t p) -> Values& { return ring[(newest + p) % shape.parts]; };
        Values& frame = ring[newest];
        frame = delayLine;
        frame.insert(frame.end(), x.begin(), x.end());
        delayLine.assign(frame.end() - overlap, frame.end());
        frame = forward(frame);
        Values out(fftLen);
        for (int32_t p = 0; p < shape.parts; ++p) {
            const Values part = product(coef[p], older(p));
            for (int32_t i = 0; i < fftLen; ++i) {
                out[i] = partitioned ? out[i] + part[i] : part[i];
            }
        }
        out = inverse(out);
        for (size_t i = 0; i < x.size(); ++i) {
            y[i] = invScale * out[overlap + i];
        }
        smooth(frame, gain / shape.blockLen, keep);
        if (d != nullptr) {
            adapt(*d, y, e, older);
        }
        newest = (newest + shape.parts - 1) % shape.parts;
    }
    template <class Older>
    void adapt(const Values& d, const Values& y, Values& e, Older older) {
        Values error(overlap);
        for (size_t i = 0; i < d.size(); ++i) {
            e[i] = d[i] - y[i];
            error.push_back(e[i]);
        }
        error = forward(error);
        for (int32_t i = 0; i < fftLen; ++i) {
            error[i] = mu * (error[i] / (floor + powerAvg[binOf(i)]));
        }
        for (int32_t p = 0; p < shape.parts; ++p) {
            Values conjugate = older(p);
            for (int32_t i = 3; i < fftLen; i += 2) {
                conjugate[i] = -conjugate[i];
            }
            const Values step = product(error, conjugate);
            for (int32_t i = 0; i < fftLen; ++i) {
                coef[p][i] += step[i];
            }
            if (shape.constrained != 0) {
                inTime(coef[p], shape.order, true, [](Values&) {});
            }
        }
    }
    void resetCoef() { coef.assign(shape.parts, Values(fftLen)); }
    void resetLines() {
        std::fill(delayLine.begin(), delayLine.end(), 0.0);
        ring.assign(shape.parts, Values(fftLen));
    }
    void resize(const Shape& s) {
        Shape wanted = s;
        wanted.constrained = shape.constrained;
        wanted.rate = mu;
        BlockModel next(wanted, host);
        const auto k = std::min(delayLine.size(), next.delayLine.size());
        std::copy(delayLine.end() - k, delayLine.end(), next.delayLine.end() - k);
        const int32_t kept = std::min(fftLen, next.fftLen);
        for (int32_t p = 0; partitioned && p < shape.parts;
             ++p) { // old frames may land on newer ones
            Values frame = inverse(ring[(newest + p) % shape.parts]);
            frame.resize(kept);
            std::for_each(frame.begin(), frame.end(), [&](double& v) { v = invScale * v; });
            frame.resize(next.fftLen);
            next.ring[(next.newest + p) % next.shape.parts] = next.forward(frame);
        }
        Values taps = readCoef();
        taps.resize(std::min<size_t>(taps.size(), next.shape.order * next.shape.parts));
        next.writeCoef(0, taps);
        if (fftLen == next.fftLen) {
            next.powerAvg = powerAvg;
        }
        shape = next.shape;
        fftLen = next.fftLen;
        bins = next.bins;
        invScale = next.invScale;
        powerAvg = next.powerAvg;
        overlap = next.overlap;
        newest = next.newest;
        delayLine = next.delayLine;
        coef = next.coef;
        ring = next.ring;
    }
    template <class State>
    void compare(const State& s) const {
        require(s.fftLen == fftLen && s.bins == bins && s.overlap == overlap &&
                    s.coefTail == fftLen - shape.order &&
                    s.constrained == (shape.constrained != 0) &&
                    s.powerGain == gain / shape.blockLen && s.invScale == invScale,
                "scalars");
        same(s.delayLine, delayLine, "delayLine");
        same(s.powerAvg, powerAvg, "powerAvg");
        for (int32_t p = 0; p < shape.parts; ++p) {
            same(s.coef + p * fftLen, coef[p], "coef");
            if constexpr (partitioned) {
                same(s.ring + p * fftLen, ring[p], "ring");
                require(s.ringPos == newest * fftLen / 2, "ringPos");
            }
        }
    }

    Shape shape;
    double mu;
    int32_t overlap, newest;
    Values delayLine;
    std::vector<Values> coef, ring;
};

struct TdlmsModel : SpectralModel {
    TdlmsModel(const Shape& s, const Lent& lent)
        : SpectralModel(lent, lengthOf(s.order)), order(s.order), mu(s.rate), coef(fftLen),
          delayLine(fftLen, fftLen - 1) {}
    static int32_t lengthOf(int32_t order) { return powerOfTwo(order - 1); }

    Values enter(double x) {
        delayLine.insert(x);
        return delayLine.newest();
    }
    double only(const Values& x) {
        frame = forward(x);
        double y = 0.0;
        for (int32_t k = 2; k < fftLen; k += 2) {
            y += 2 * (coef[k + 1] * frame[k + 1] + coef[k] * frame[k]);
        }
        y += coef[0] * frame[0];
        y += coef[1] * frame[1];
        smooth(frame, 0.019999999552965164, 0.9800000190734863);
        return y;
    }
    double update(const Values& x, double d) {
        const double y = only(x);
        err = d - y;
        const double g = err * mu;
        for (int32_t i = 0; i < fftLen; ++i) {
            coef[i] += g / (powerAvg[binOf(i)] + 9.999999974752427e-07) * frame[i];
        }
        return y;
    }
    template <class Fn>
    void inTime(Fn fn) {
        coef = inverse(coef);
        std::for_each(coef.begin(), coef.end(), [&](double& v) { v = invScale * v; });
        fn();
        coef = forward(coef);
    }
    Values readCoef() {
        Values taps;
        inTime([&] {
            for (int32_t i = 0; i < std::min(order, fftLen); ++i) {
                taps.push_back(fftLen * coef[i]);
            }
        });
        return taps;
    }
    void writeCoef(int32_t start, const Values& from) {
        inTime([&] {
            for (double tap : from) {
                coef[start++] = tap / fftLen;
            }
        });
    }
    void resize(const Shape& s) {
        Values taps = readCoef();
        const int32_t before = std::exchange(fftLen, lengthOf(s.order));
        order = s.order;
        taps.resize(std::min<size_t>(taps.size(), std::min(order, fftLen)));
        bins = fftLen / 2 + 1;
        invScale = 2.0 / fftLen;
        coef.assign(fftLen, 0.0);
        writeCoef(0, taps);
        delayLine.resize(fftLen, fftLen - 1);
        if (fftLen != before) {
            powerAvg.assign(bins, 1.0);
        }
    }
    template <class State>
    void compare(const State& s) const {
        require(s.fftLen == fftLen && s.bins == bins && s.invScale == invScale &&
                    s.head == delayLine.head,
                "scalars");
        same(s.coef, coef, "coef");
        same(s.delayLine, delayLine.at, "delayLine");
        same(s.powerAvg, powerAvg, "powerAvg");
    }

    int32_t order;
    double mu, err = 0.0;
    Values coef, frame;
    Line delayLine;
};
