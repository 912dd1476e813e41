// Measures nanoseconds per sample of every operation, of its plain recursion, its floor and its peers,
// and prints tables in Markdown. --table FILE writes them to a file instead. The options of Google
// Benchmark work as usual: --benchmark_filter=^lms64f/ measures one family.
#include "row.h"

#include "lms64f.h"
#include "transform/real_fft.h"

#include <algorithm>
#include <cstdio>
#include <dlfcn.h>
#include <fstream>
#include <limits>
#include <map>
#include <sched.h>
#include <tuple>

namespace bench {
namespace {

constexpr int kRepetitions = 9;
constexpr double kSeconds = 0.02; // per repetition

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 == 1 ? values[n / 2] : 0.5 * (values[n / 2 - 1] + values[n / 2]);
}

// The interquartile range as a fraction of the median.
double spread(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const size_t quarter = values.size() / 4;
    return (values[values.size() - 1 - quarter] - values[quarter]) / median(values);
}

std::string fixed(double value, int decimals) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return std::isnan(value) ? "-" : text;
}

using Lines = std::vector<std::vector<std::string>>;

// A table with aligned columns, text on the left, numbers on the right. The first line is the heading.
void print(std::FILE* to, const Lines& lines, size_t textColumns) {
    std::vector<size_t> widths(lines[0].size());
    for (const auto& line : lines) {
        for (size_t k = 0; k < line.size(); ++k) {
            widths[k] = std::max(widths[k], line[k].size());
        }
    }
    std::string rule;
    for (size_t k = 0; k < widths.size(); ++k) {
        rule += '|' + std::string(widths[k] + 1, '-') + (k < textColumns ? '-' : ':');
    }
    for (size_t n = 0; n < lines.size(); ++n) {
        for (size_t k = 0; k < widths.size(); ++k) {
            const std::string blanks(widths[k] - lines[n][k].size(), ' ');
            const std::string cell = k < textColumns ? lines[n][k] + blanks : blanks + lines[n][k];
            std::fprintf(to, "| %s ", cell.c_str());
        }
        std::fprintf(to, n == 0 ? "|\n%s|\n" : "|\n", rule.c_str());
    }
    std::fputs("\n", to);
}

// Prints the tables at the end of the run.
class TableReporter : public benchmark::BenchmarkReporter {
  public:
    TableReporter(std::FILE* to, std::vector<Row> rows, std::map<std::string, std::string> context)
        : to_(to), rows_(std::move(rows)), context_(std::move(context)) {}

    bool ReportContext(const Context&) override {
        std::fputs("Measuring; the tables come at the end.\n", stderr);
        for (const auto& [key, value] : context_) {
            std::fprintf(to_, "- %s: %s\n", key.c_str(), value.c_str());
        }
        std::fputs(
            "\nMedians in ns per sample, of the transform per call. plain: the recursion as a "
            "plain loop; floor: the sum in\ntap order on a linear line; ring/LC: time over that "
            "on a linear line, which is shifted at no cost.\n\n",
            to_);
        return true;
    }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            const std::string name = run.run_name.function_name;
            if (run.error_occurred) {
                GetErrorStream() << name << ": " << run.error_message << '\n';
            } else if (run.run_type == Run::RT_Iteration) {
                // By processor time, so the time of other processes does not count.
                times_[name].push_back(1e9 / run.counters.at("items_per_second").value);
            }
        }
    }

    void Finalize() override {
        const auto order = [](const Row& a, const Row& b) {
            return std::tie(a.sizeName, a.size) < std::tie(b.sizeName, b.size);
        };
        std::stable_sort(rows_.begin(), rows_.end(), order);
        Lines lines, peers;
        for (size_t k = 0; k < rows_.size(); ++k) {
            const Row& row = rows_[k];
            const std::string size = row.sizeName + ' ' + std::to_string(row.size);
            addTo(lines, peers, row, row.family + ' ' + row.operation, size);
            if (k + 1 == rows_.size() || order(row, rows_[k + 1])) {
                printUnder({size, "ns", "plain", "floor", "ns/plain", "ns/floor", "ring/LC"}, lines,
                           1);
                lines.clear();
            }
        }
        printUnder({"operation", "size", "peer", "more delay", "ns", "peer", "ns/peer"}, peers, 3);
        const auto widest =
            std::max_element(times_.begin(), times_.end(), [](const auto& a, const auto& b) {
                return spread(a.second) < spread(b.second);
            });
        if (widest != times_.end()) {
            std::fprintf(to_, "Widest interquartile range: %.1f %% of the median (%s)\n",
                         100.0 * spread(widest->second), widest->first.c_str());
        }
    }

  private:
    // NaN if there is no such candidate, or it was not measured.
    double time(const Row& row, const std::string& candidate) const {
        const auto it = times_.find(row.nameOf(candidate));
        return it == times_.end() ? std::numeric_limits<double>::quiet_NaN() : median(it->second);
    }

    void addTo(Lines& lines, Lines& peers, const Row& row, const std::string& operation,
               const std::string& size) const {
        const double ns = time(row, "subject");
        const double plain = time(row, "plain");
        const double floor = time(row, "floor");
        Row linear = row; // the operation on a linear line, which is shifted at no cost
        linear.operation = "LC" + row.operation;
        if (!std::isnan(ns) || !std::isnan(plain) || !std::isnan(floor)) {
            lines.push_back({operation, fixed(ns, 2), fixed(plain, 2), fixed(floor, 2),
                             fixed(ns / plain, 3), fixed(ns / floor, 3),
                             fixed(ns / time(linear, "subject"), 3)});
        }
        for (const Candidate& peer : row.candidates) {
            const double other = time(row, peer.name);
            if (peer.isPeer() && !std::isnan(peer.timed ? other : ns)) {
                peers.push_back({operation, size, peer.name, std::to_string(peer.delay),
                                 fixed(ns, 2), peer.timed ? fixed(other, 2) : "not installed",
                                 fixed(ns / other, 3)});
            }
        }
    }

    void printUnder(const std::vector<std::string>& heading, Lines lines,
                    size_t textColumns) const {
        if (!lines.empty()) {
            lines.insert(lines.begin(), heading);
            print(to_, lines, textColumns);
        }
    }

    std::FILE* to_;
    std::vector<Row> rows_;
    std::map<std::string, std::string> context_;
    std::map<std::string, std::vector<double>> times_;
};

// Pins the process to the last processor that it may use, which the system uses least.
std::string pin() {
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) {
        return "none";
    }
    size_t number = CPU_SETSIZE - 1;
    while (number > 0 && !CPU_ISSET(number, &allowed)) {
        --number;
    }
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(number, &one);
    return sched_setaffinity(0, sizeof one, &one) == 0 ? std::to_string(number) : "none";
}

std::string processor() {
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);) {
        if (line.starts_with("model name")) {
            return line.substr(line.find(':') + 2);
        }
    }
    return "unknown";
}

// The shared library that the loader has taken a function from.
template <class Function>
std::string libraryOf(Function* function) {
    Dl_info info;
    return dladdr(reinterpret_cast<void*>(function), &info) != 0 ? info.dli_fname : "unknown";
}

std::string compiler() {
#ifdef __clang__
    return __VERSION__;
#else
    return std::string("gcc ") + __VERSION__;
#endif
}

int run(int argc, char** argv) {
    std::map<std::string, std::string> context = {{"compiler", compiler()},
                                                  {"flags", BENCH_FLAGS},
                                                  {"processor", processor()},
                                                  {"pinned to", pin()},
                                                  {"library", libraryOf(lms64fInit)},
                                                  {"transform", libraryOf(merlo::realFft64f)},
                                                  {"not installed", ""}}; // peers
    const std::vector<Row> all = rows();
    for (const Row& row : all) {
        for (const Candidate& candidate : row.candidates) {
            std::string& missing = context["not installed"];
            if (candidate.timed) {
                const auto measure = [&row, &candidate](benchmark::State& state) {
                    candidate.timed(state);
                    state.SetLabel(row.sizeName);
                };
                benchmark::RegisterBenchmark(row.nameOf(candidate.name).c_str(), measure);
            } else if (missing.find(candidate.name) == std::string::npos) {
                missing += (missing.empty() ? "" : "; ") + candidate.name;
            }
        }
    }
    std::FILE* to = stdout;
    bool ownFormat = true;
    std::vector<std::string> arguments = {
        argv[0], "--benchmark_enable_random_interleaving=true",
        "--benchmark_repetitions=" + std::to_string(kRepetitions),
        "--benchmark_min_time=" + std::to_string(kSeconds)}; // the last of a kind counts
    for (int i = 1; i < argc; ++i) {
        arguments.emplace_back(argv[i]);
        ownFormat = ownFormat && !arguments.back().starts_with("--benchmark_format");
        if (arguments.back() == "--table" && i + 1 < argc) {
            arguments.pop_back();
            to = std::fopen(argv[++i], "w");
            if (to == nullptr) {
                std::perror(argv[i]);
                return 1;
            }
        }
    }
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    int count = static_cast<int>(pointers.size());
    benchmark::Initialize(&count, pointers.data());
    if (benchmark::ReportUnrecognizedArguments(count, pointers.data())) {
        return 1;
    }
    for (const auto& [key, value] : context) {
        benchmark::AddCustomContext(key, value);
    }
    TableReporter reporter(to, all, context);
    const size_t matches = benchmark::RunSpecifiedBenchmarks(ownFormat ? &reporter : nullptr);
    benchmark::Shutdown();
    return std::fclose(to) != 0 || matches == 0 ? 1 : 0;
}

} // namespace
} // namespace bench

int main(int argc, char** argv) { return bench::run(argc, argv); }
