// A host in C++: the class over the records learns the response of a fixed filter.
#include <fir64f.h>
#include <merlo64f.hpp>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <vector>

int main() {
    std::vector<double> response = {0.5, -0.3, 0.1};
    std::vector<double> x(4000), d(4000), y(4000), e(4000), learned(3);
    uint32_t random = 1;
    for (double& sample : x) {
        random = random * 1664525u + 1013904223u;
        sample = random / 2147483648.0 - 1.0;
    }
    merlo64f::Filter<fir64fState>(3, response.data()).filter(x, d);
    merlo64f::Filter<lms64fState> filter(3, 0.1);
    filter.update(x, d, y, e);
    filter.getCoef(learned);
    for (size_t k = 0; k < 3; ++k) {
        if (std::fabs(learned[k] - response[k]) > 1e-9) {
            std::printf("tap %d is %f\n", static_cast<int>(k), learned[k]);
            return 1;
        }
    }
    return 0;
}
