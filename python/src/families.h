// The classes of the module, by groups.
#pragma once

#include "bind.h"

namespace binding {

void defineTransversal(py::module_& module);
void defineBlock(py::module_& module);
void defineLattice(py::module_& module);
void defineLeastSquares(py::module_& module);

} // namespace binding
