// Gradient lattices.
#include "families.h"

namespace binding {

void defineLattice(py::module_& module) {
    const Order order;
    const Number mu{"mu", "Step size of parcor, any value; 0.001 to 0.01 is usual."};

    Class<lmslattice64fState>(
        module, "LmsLattice", "Gradient lattice with a joint process (lmslattice64f).",
        std::tuple(order, mu, Number{"muCoef", "Step size of coef, any value; larger than mu."}),
        R"(Notes
-----
A lattice of order - 1 stages turns x into almost uncorrelated backward errors, whose sum weighted by coef
estimates d. For steady x stable for about ``0 < muCoef < 2 / order``; a tenth of that is a safe start.
coef is not a direct form on x. After a NaN: reset(), delayLine = 0.0, power = 1.0.

References
----------
Griffiths 1978, An adaptive lattice structure for noise-cancelling applications.
)");
    Class<lfpef64fState>(module, "LfPef",
                         "Forward prediction-error filter, a gradient lattice (lfpef64f).",
                         std::tuple(order, mu),
                         R"(Notes
-----
Predicts the newest sample from the `order` before it. coef is the direct form: with fixed parcor the
prediction is ``sum(coef[j] * x[n - 1 - j])``. A coefficient settles in about ``1 / (2 * mu)`` samples;
from about mu = 0.3 on the lattice diverges. Input that decays below about 1e-155 without becoming 0 makes
parcor infinite: replace such samples by 0. After a NaN: reset(), delayLine = 0.0, power = 1.0.

References
----------
Griffiths 1977, A continuously adaptive filter implemented as a lattice structure; Makhoul 1977, Stable
and efficient lattice methods for linear prediction.
)");
    Class<lbpef64fState>(module, "LbPef",
                         "Backward prediction-error filter, a gradient lattice (lbpef64f).",
                         std::tuple(order, mu),
                         R"(Notes
-----
Predicts the sample `order` steps back from those after it: ``y[n] + e[n]`` is ``x[n - order]``. Otherwise as
LfPef.

References
----------
Those of LfPef.
)");
}

} // namespace binding
