// Recursive least squares, with a matrix and as lattices.
#include "families.h"

namespace binding {

void defineLeastSquares(py::module_& module) {
    const Order order;
    const Number lambda{"lambda_",
                        "Forgetting factor, any value; 0.95 to 1 is usual. Memory of about "
                        "1 / (1 - lambda_) samples."};
    const std::string silence = R"(

After a silence of some ``40 / (1 - lambda_)`` samples the next sample makes all arrays NaN: call reset()
before the signal begins again. It is also the remedy after a NaN.
)";

    Class<rls64fState>(
        module, "Rls", "Recursive-least-squares filter (rls64f).",
        std::tuple(order, lambda,
                   Number{"delta", "Start value of P's diagonal, in the unit of 1 / x**2; "
                                   "larger is faster, with 0 the filter never adapts."}),
        R"(Notes
-----
``e = d - sum(coef[k] * x[n - k])``; P is the inverse correlation matrix of x with the weight lambda_**age.
P starts as ``delta * I``, where the textbook has ``I / delta``, and is updated by
``P = P / lambda_ - k * gain'``. The cost of a sample grows with order**2. In silence P grows by
1 / lambda_ a sample, without limit: do not call the filter in a known pause. After a NaN make a new filter.

References
----------
Haykin 2002, Adaptive Filter Theory; Sayed 2003, Fundamentals of Adaptive Filtering.
)");
    Class<rlslattice64fState>(module, "RlsLattice",
                              "Least-squares lattice with a joint process (rlslattice64f).",
                              std::tuple(order, lambda),
                              (std::string(R"(Notes
-----
The cost of a sample grows with order. e are a-posteriori errors: they are formed with coefficients that
the same sample has updated. coef weights backward errors; it is not a direct form on x.)") +
                               silence + R"(
References
----------
Lee, Morf and Friedlander 1981, Recursive least squares ladder estimation algorithms; Diniz 2013, Adaptive
Filtering.
)")
                                  .c_str());
    Class<rlslfpef64fState>(module, "RlsLfPef",
                            "Forward predictor, a least-squares lattice (rlslfpef64f).",
                            std::tuple(order, lambda),
                            (std::string(R"(Notes
-----
Predicts the newest sample from the `order` before it. coef is the direct form, as in LfPef; e are
a-posteriori errors.)") + silence +
                             R"(
References
----------
Those of RlsLattice.
)")
                                .c_str());
    Class<rlslbpef64fState>(module, "RlsLbPef",
                            "Backward predictor, a least-squares lattice (rlslbpef64f).",
                            std::tuple(order, lambda),
                            (std::string(R"(Notes
-----
Predicts the sample `order` steps back from those after it: ``y[n] + e[n]`` is ``x[n - order]``. coef is the
direct form; e are a-posteriori errors.)") +
                             silence + R"(
References
----------
Those of RlsLattice.
)")
                                .c_str());
}

} // namespace binding
