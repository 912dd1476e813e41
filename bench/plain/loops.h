// The loops that the plain way is made of, as one writes them down.
#pragma once

namespace plain {

inline double sgn(double v) { return v >= 0.0 ? 1.0 : -1.0; }

// Over a line of just these samples.
inline double dotRing(const double* line, const double* coef, int order, int head) {
    double y = 0.0;
    int k = 0;
    for (int i = head; i < order; ++i) {
        y += line[i] * coef[k++];
    }
    for (int i = 0; i < head; ++i) {
        y += line[i] * coef[k++];
    }
    return y;
}

// Over the newest samples of a longer line.
inline double dotLongRing(const double* line, int lineLen, const double* coef, int n, int head) {
    double y = 0.0;
    int k = 0;
    for (int i = head; i < lineLen && k < n; ++i) {
        y += line[i] * coef[k++];
    }
    for (int i = 0; k < n; ++i) {
        y += line[i] * coef[k++];
    }
    return y;
}

inline double dotLinear(const double* line, const double* coef, int order) {
    double y = 0.0;
    for (int k = 0; k < order; ++k) {
        y += line[k] * coef[k];
    }
    return y;
}

inline int stepBack(int head, int order) { return head == 0 ? order - 1 : head - 1; }

// coef[k] += term(sample k steps back), the newest at head.
template <class Term>
inline void addRing(double* coef, const double* line, int lineLen, int order, int head, Term term) {
    int k = 0;
    for (int i = head; i < lineLen && k < order; ++i) {
        coef[k++] += term(line[i]);
    }
    for (int i = 0; k < order; ++i) {
        coef[k++] += term(line[i]);
    }
}

// x enters the line; returns its position.
inline int insert(double* line, int lineLen, int* head, double x) {
    const int position = *head;
    line[position] = x;
    *head = stepBack(position, lineLen);
    return position;
}

} // namespace plain
