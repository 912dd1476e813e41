// Random hosts whose bytes libFuzzer chooses. An input is the name of a family, a zero byte, and the bytes of
// the host, so an input keeps its meaning when a family is added. `fuzz --seeds DIR` writes inputs to start from.
#include "random_host.h"

#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>

namespace {

template <class F>
bool runIfNamed(std::string_view name, Choices choices) {
    if (name != F::Api::name) {
        return false;
    }
    RandomHost<F>(choices).run();
    return true;
}

template <class... F>
void run(Types<F...>, std::string_view name, Choices choices) {
    static_cast<void>((runIfNamed<F>(name, choices) || ...));
}

// Three long inputs per family: short ones do not reach states that need many samples.
template <class F>
void writeSeeds(const std::string& directory) {
    for (uint64_t seed = 0; seed < 3; ++seed) {
        Signal random(seed);
        std::ofstream file(directory + '/' + F::Api::name + std::to_string(seed), std::ios::binary);
        file << F::Api::name << '\0';
        for (int i = 0; i < 2000; ++i) {
            file << static_cast<char>(random.choose(256));
        }
    }
}

template <class... F>
void writeAllSeeds(Types<F...>, const std::string& directory) {
    (writeSeeds<F>(directory), ...);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    if (*argc == 3 && std::string_view((*argv)[1]) == "--seeds") {
        writeAllSeeds(Families{}, (*argv)[2]);
        std::exit(0);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const size_t end = input.find('\0');
    if (end != std::string_view::npos) {
        run(Families{}, input.substr(0, end), {data + end + 1, size - end - 1});
    }
    return 0;
}
