// Random hosts led by libFuzzer: the first byte is the family, the others are what the host does.
#include "random_host.h"

namespace {

template <class... F>
void runFamily(testing::Types<F...>, uint8_t family, Choices choices) {
    uint8_t at = 0;
    ((family % sizeof...(F) == at++ ? RandomHost<F>(choices).run() : void()), ...);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 1) {
        runFamily(Families{}, data[0], {data + 1, size - 1});
    }
    return 0;
}
