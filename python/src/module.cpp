// The extension module of the Python package.
#include "families.h"

PYBIND11_MODULE(_filters, module) {
    module.doc() = "The filters of libmerlo64f.";
    pybind11::options options;
    options.disable_function_signatures(); // the stubs have them
    binding::defineTransversal(module);
    binding::defineBlock(module);
    binding::defineLattice(module);
    binding::defineLeastSquares(module);
}
