// Nanoseconds per sample of every operation, beside the plain way, the floor and the peers.
// Without arguments it runs everything; --benchmark_filter=lms64f runs a part of it.
#include "table.h"

int main(int argc, char** argv) {
    bench::registerFir64f();
    bench::registerLms64f();
    bench::registerNlms64f();
    bench::registerSecondaryPath();
    bench::registerBlock64f();
    bench::registerBlockSpectral();
    bench::registerGradientLattice();
    bench::registerLeastSquares();
    bench::registerRealFft64f();
    return bench::run(argc, argv);
}
