#include "plain/plain.h"

double plain::fir64fFilter(fir64fState* state, double x) {
    double* line = state->delayLine;
    const double* coef = state->coef;
    const int order = state->order;
    const int head = state->head;
    line[head] = x;
    double y = 0.0;
    int k = 0;
    for (int i = head; i < order; ++i) {
        y += line[i] * coef[k++];
    }
    for (int i = 0; i < head; ++i) {
        y += line[i] * coef[k++];
    }
    state->head = head == 0 ? order - 1 : head - 1;
    return y;
}

double plain::fir64fLCFilter(const fir64fState* state) {
    double y = 0.0;
    for (int k = 0; k < state->order; ++k) {
        y += state->delayLine[k] * state->coef[k];
    }
    return y;
}
