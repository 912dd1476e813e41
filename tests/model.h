// Filters as a textbook draws them: samples move, the newest is at the front, every formula stands as
// it is written. Sums run upward, so the bits are those that the library owes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

struct Line : std::deque<double> {
    explicit Line(int32_t length) : std::deque<double>(static_cast<size_t>(length), 0.0) {}
    void insert(double x) {
        push_front(x);
        pop_back();
    }
};

// Sum of coef[k] times the sample k steps back.
template <class Samples>
double dot(const std::vector<double>& coef, const Samples& line) {
    double sum = 0.0;
    for (size_t k = 0; k < coef.size(); ++k) {
        sum += coef[k] * line[k];
    }
    return sum;
}

struct Model {
    explicit Model(int32_t order) : coef(static_cast<size_t>(order)), line(order) {}
    void insert(double x) { line.insert(x); }
    double output() const { return dot(coef, line); }

    std::vector<double> coef;
    Line line;
};

// The recursions of the LMS kind: signs of error or regressor, or a step over the smoothed power.
struct LmsModel : Model {
    LmsModel(int32_t order, double stepSize) : Model(order), mu(stepSize) {}

    static double sign(double v) { return v >= 0 ? 1 : -1; }

    void smooth(double x) {
        if (normalised) {
            power = keep * power + gain * (x * x);
        }
    }
    // The line holds the sample already; returns the error, y being the output() from before.
    double adapt(double d) {
        const double e = d - output();
        smooth(line[0]);
        double g = mu * (signError ? sign(e) : e);
        if (normalised) {
            g = g / (power + floor);
        }
        for (size_t k = 0; k < coef.size(); ++k) {
            coef[k] += signRegressor ? sign(line[k]) * g : g * line[k];
        }
        return e;
    }

    double mu;
    bool signError = false;
    bool signRegressor = false;
    bool normalised = false;
    double keep = 0.99, gain = 0.01, floor = 1e-12;
    double power = 1.0;
};
