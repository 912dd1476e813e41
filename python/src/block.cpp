// Filters over blocks.
#include "families.h"

namespace binding {

void defineBlock(py::module_& module) {
    const Order order;
    const Number mu{"mu", "Step size, any value; see Notes for the stable range."};
    const SizeArgument blockLen{"blockLen", "Block length in samples, at least 1."};
    const Flag constrained{
        "constrained",
        "Reduce the coefficients to `order` taps in the time domain after every update."};

    Class<blms64fState>(module, "Blms", "LMS filter over blocks (blms64f).",
                        std::tuple(order, blockLen, mu),
                        R"(Notes
-----
Adapts after every sample: the results are those of Lms to the bit. The textbook's block LMS adapts once a
block. Step sizes and sign forms are those of Lms. After a NaN: reset(), reset_delay_line().

References
----------
Those of Lms.
)");
    Class<bnlms64fState>(module, "Bnlms", "Normalised LMS filter over blocks (bnlms64f).",
                         std::tuple(order, blockLen, mu),
                         R"(Notes
-----
Adapts after every sample. As Nlms, with the constants 0.99, 0.01 and 1e-15 in single precision. Step sizes
are those of Nlms: stable for about ``0 < mu < 2 / order``. After a NaN: reset(), reset_delay_line(),
power = 1.0.

References
----------
Nagumo and Noda 1967, A learning method for system identification.
)");
    Class<bfdaf64fState>(module, "Bfdaf",
                         "Block frequency-domain filter by overlap-save (bfdaf64f).",
                         std::tuple(order, blockLen, mu, constrained),
                         R"(Notes
-----
Adapts once a block, each bin with a step divided by its running power; no delay is added. Stable on white
x for about ``0 < mu < 2 / blockLen`` with the constraint and ``1 / blockLen`` without; a tenth of that is a
safe start. After a NaN: reset(), reset_delay_line(), powerAvg = 1.0.

References
----------
Ferrara 1980, Fast implementation of LMS adaptive filters; Shynk 1992, Frequency-domain and multirate
adaptive filtering; Mansour and Gray 1982, Unconstrained frequency-domain adaptive filter.
)");
    Class<pbfdaf64fState>(
        module, "Pbfdaf",
        "Partitioned block frequency-domain filter (pbfdaf64f), for long responses.",
        std::tuple(order, blockLen,
                   SizeArgument{"partitions", "Number of parts of `order` taps, at least 1."}, mu,
                   constrained),
        R"(Notes
-----
Use ``order == blockLen <= 32``: then the response has order * partitions taps. With a shorter order,
`order` of every blockLen lags are modelled and the others cannot be learned. coef is the flat vector of
all taps.

Stable on white x for about ``0 < mu < 2 / (blockLen * partitions)`` with the constraint and half of that
without; a tenth of that is a safe start. After a NaN: reset(), reset_delay_line(), powerAvg = 1.0.

References
----------
Soo and Pang 1990, Multidelay block frequency domain adaptive filter.
)");
}

} // namespace binding
