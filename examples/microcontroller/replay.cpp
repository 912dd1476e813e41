// Replays a log of the firmware on the desk: makes its record from the fields, filters its samples, and
// compares every output and error with those of the log, bit for bit. Usage: replay LOG
//
// It names no field, so it works for every family without transform tables that has this operation.
#include <merlo64f.hpp>

#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

using State = fxlms64fState;
using Family = merlo64f::Family<State>;
using Words = std::vector<std::string>;

[[noreturn]] void fail(const std::string& what) {
    std::printf("replay: %s\n", what.c_str());
    std::exit(EXIT_FAILURE);
}

double toDouble(const std::string& digits) {
    return std::bit_cast<double>(static_cast<uint64_t>(std::stoull(digits, nullptr, 16)));
}

Words wordsOf(const std::string& line) {
    std::istringstream in(line);
    Words words;
    for (std::string word; in >> word;) {
        words.push_back(word);
    }
    return words;
}

// The words behind each name, up to the line "samples ...".
std::map<std::string, Words> readRecord(std::istream& log) {
    std::map<std::string, Words> values;
    for (std::string line; std::getline(log, line);) {
        Words words = wordsOf(line);
        if (words.empty()) {
            continue;
        }
        const std::string name = words.front();
        if (name == "samples") {
            return values;
        }
        words.erase(words.begin());
        values[name] = words;
    }
    fail("the log ends before its samples");
}

// A record with its arrays.
struct Replayed {
    State state{};
    std::map<std::string, std::vector<double>> arrays;

    explicit Replayed(const std::map<std::string, Words>& values) {
        const auto wordsFor = [&](const char* name, int32_t n) {
            const auto found = values.find(name);
            if (found == values.end() || std::ssize(found->second) != n) {
                fail(std::string("the log has not ") + std::to_string(n) + " value(s) of " + name);
            }
            return found->second;
        };
        merlo64f::forEachField(state, [&]<class T>(const char* name, T& field) {
            const std::string word = wordsFor(name, 1).front();
            if constexpr (std::is_same_v<T, double>) {
                field = toDouble(word);
            } else {
                field = static_cast<T>(std::stol(word));
            }
        });
        const auto place = [&](const auto&... lists) {
            const auto placeOne = [&](const auto& array) {
                std::vector<double>& elements = arrays[array.name];
                for (const std::string& word : wordsFor(array.name, array.length(state))) {
                    elements.push_back(toDouble(word));
                }
                state.*array.member = elements.data();
            };
            (placeOne(lists), ...);
        };
        std::apply(place, Family::arrays);
        std::apply(place, Family::borrowed);
    }
};

} // namespace

int main(int argc, char** argv) {
    std::ifstream log(argc == 2 ? argv[1] : "");
    Replayed record(readRecord(log));
    int count = 0;
    std::string line;
    for (; std::getline(log, line) && line.rfind("end", 0) != 0; ++count) {
        const Words words = wordsOf(line);
        if (words.size() != 4) {
            fail("a sample is not x d y err");
        }
        Family::filterUpdate(&record.state, toDouble(words[0]), toDouble(words[1]));
        const double results[] = {record.state.outLine[0], record.state.err};
        for (int i = 0; i < 2; ++i) {
            if (std::bit_cast<uint64_t>(results[i]) !=
                std::bit_cast<uint64_t>(toDouble(words[static_cast<size_t>(2 + i)]))) {
                fail("sample " + std::to_string(count) + " differs: " + std::to_string(results[i]));
            }
        }
    }
    if (line.rfind("end", 0) != 0 || count == 0) {
        fail("the log has no end");
    }
    std::printf("%d samples replayed, every bit as in the log\n", count);
    return EXIT_SUCCESS;
}
