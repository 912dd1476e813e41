// Fixed and gradient filters, one sample at a time.
#include "families.h"

namespace binding {

constexpr const char* kPathNotes = R"(

Sign convention of noise control: e = d + s, so the filter learns an s that cancels d. With hardware,
pass secCoef=[0.0] and the measured residual as d; the output for the actuator is outLine[0].

If the phase of the estimate is wrong by more than 90 degrees, the filter diverges at any mu. After a
NaN: reset(), reset_delay_line(), power = 1.0.
)";

void defineTransversal(py::module_& module) {
    const Order order;
    const Number mu{"mu", "Step size, any value; see Notes for the stable range."};
    const Coefs secCoef{"secCoef",
                        "Secondary path, from the output of the filter to the error sensor."};
    const Coefs estCoef{"estCoef", "Estimate of the secondary path."};

    Class<fir64fState>(
        module, "Fir", "Fixed transversal filter (fir64f).",
        std::tuple(Coefs{"coef", "1 to 32 coefficients, coef[0] for the newest sample."}),
        R"(Notes
-----
``y[n] = sum(coef[k] * x[n - k])``. coef is the filter's own copy. Responses of more than 32 taps:
Pbfdaf with set_coef() and filter().

References
----------
Oppenheim and Schafer 1989, Discrete-Time Signal Processing.
)");
    Class<lms64fState>(module, "Lms", "Least-mean-squares filter (lms64f).", std::tuple(order, mu),
                       R"(Notes
-----
``y = sum(coef[k] * x[n - k])``, ``e = d - y``, ``coef[k] += mu * e * x[n - k]``.

For white Gaussian x of power s stable for ``0 < mu < 2 / ((order + 2) * s)``; a tenth of that is a safe
start. merlo64f.steps.lms_limit() estimates the bound from a signal. Sign forms: update(rule=...). After a
NaN: reset(), reset_delay_line().

References
----------
Widrow and Hoff 1960, Adaptive switching circuits. Sign-error: Gersho 1984. Sign-regressor: Moschner
1970. Sign-sign: Lucky 1966.
)");
    Class<nlms64fState>(module, "Nlms", "Normalised LMS filter (nlms64f).", std::tuple(order, mu),
                        R"(Notes
-----
``power = 0.99 * power + 0.01 * x**2``, ``coef[k] += mu * e / (power + 1e-12) * x[n - k]``.

The step is divided by the smoothed power of one sample, not by the energy of the line: stable for about
``0 < mu < 2 / order``, where the textbook has 2. A tenth of that is a safe start;
merlo64f.steps.nlms_limit() estimates the bound. After silence the first samples get too large a step: pass adapt=False
while power is low. After a NaN: reset(), reset_delay_line(), power = 1.0.

References
----------
Nagumo and Noda 1967, A learning method for system identification.
)");
    Class<tdlms64fState>(module, "Tdlms", "Transform-domain LMS filter (tdlms64f).",
                         std::tuple(Order{3}, mu),
                         R"(Notes
-----
LMS on the spectrum of the newest fftLen samples, each bin with a step divided by its running power.
fftLen is the smallest power of two >= order - 1. For coloured x it learns faster than Nlms.

For white x stable up to somewhat below ``mu = 2 / fftLen``; a tenth of that is a safe start. After a NaN:
reset(), reset_delay_line(), powerAvg = 1.0.

References
----------
Narayan, Peterson and Narasimha 1983, Transform domain LMS algorithm.
)");
    Class<fxlms64fState>(module, "FxLms", "Filtered-x LMS filter (fxlms64f), for noise control.",
                         std::tuple(order, mu, secCoef, estCoef),
                         (std::string(R"(Notes
-----
``s`` is the output through secCoef, ``e = d + s``, xf is x through estCoef,
``power = 0.99 * power + 0.01 * xf**2``, ``coef[k] -= mu * e / (power + 1e-12) * xf[n - k]``. Stable for
about ``0 < mu < 2 / (order + D)`` with a path of D samples delay; a tenth of that is a safe start.)") +
                          kPathNotes + R"(
References
----------
Morgan 1980, An analysis of multiple correlation cancellation loops with a filter in the auxiliary path;
Burgess 1981, Active adaptive sound control in a duct: a computer simulation.
)")
                             .c_str());
    Class<adjlms64fState>(module, "AdjLms", "Adjoint LMS filter (adjlms64f), for noise control.",
                          std::tuple(order, mu, secCoef, estCoef),
                          (std::string(R"(Notes
-----
As FxLms, but the residual is filtered by estCoef in reverse order, and the reference is delayed to match:
``coef[k] -= mu * r / (power + 1e-12) * x[n - (estLen - 1) - k]``. With an estimate of unit energy stable for
about ``0 < mu < 2 / order`` at best; a fiftieth to a tenth of ``1 / order`` is a safe start.)") +
                           kPathNotes + R"(
References
----------
Wan 1996, Adjoint LMS: an efficient alternative to the filtered-x LMS and multiple error LMS algorithms.
)")
                              .c_str());
}

} // namespace binding
