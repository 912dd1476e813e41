// The extension module of the Python package.
#include "families.h"

PYBIND11_MODULE(_filters, module) {
    module.doc() = "The filters of libmerlo64f.";
    module.attr("__version__") = MERLO64F_VERSION;
    binding::defineTransversal(module);
    binding::defineBlock(module);
    binding::defineLattice(module);
    binding::defineLeastSquares(module);
}
