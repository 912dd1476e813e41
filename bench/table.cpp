#include "table.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <optional>
#include <sched.h>
#include <string_view>
#include <utility>
#include <vector>

namespace bench {
namespace {

constexpr int kRepetitions = 9;
constexpr double kRunSeconds = 60.0; // all repetitions together; set-up and sizing add half of that

struct Peer {
    std::string name;
    bool installed;
};

// A row and the names under which its candidates run.
struct Entry {
    Row row;
    std::vector<Peer> peers;
};

std::vector<Entry>& table() {
    static std::vector<Entry> entries;
    return entries;
}

// <family>/<operation>/<size>/<candidate>: what --benchmark_filter sees.
std::string nameOf(const Row& row, const std::string& operation, const std::string& candidate) {
    return row.family + '/' + operation + '/' + std::to_string(row.size) + '/' + candidate;
}

std::string nameOf(const Row& row, const std::string& candidate) {
    return nameOf(row, row.operation, candidate);
}

Entry& entryOf(const Row& row) {
    const auto it = std::find_if(table().begin(), table().end(), [&](const Entry& entry) {
        return nameOf(entry.row, "") == nameOf(row, "");
    });
    return it != table().end() ? *it : table().emplace_back(Entry{row, {}});
}

int candidateCount = 0;

void add(const Row& row, const std::string& candidate, Timed timed) {
    entryOf(row);
    ++candidateCount;
    benchmark::RegisterBenchmark(
        nameOf(row, candidate).c_str(),
        [timed = std::move(timed), units = row.unitsPerPass](benchmark::State& run) {
            timed(run);
            run.SetItemsProcessed(static_cast<int64_t>(run.iterations()) * units);
        });
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 == 1 ? values[n / 2] : 0.5 * (values[n / 2 - 1] + values[n / 2]);
}

// The middle half of the repetitions, as a fraction of the median.
double spread(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const size_t quarter = values.size() / 4;
    return (values[values.size() - 1 - quarter] - values[quarter]) / median(values);
}

using Nanoseconds = std::optional<double>;

std::string fixed(double value, int decimals) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string cell(Nanoseconds time) { return time ? fixed(*time, 2) : "-"; }

std::string ratio(Nanoseconds time, Nanoseconds of) {
    return time && of ? fixed(*time / *of, 3) : "-";
}

std::string compiler() {
#if defined(__clang__)
    return __VERSION__;
#else
    return std::string("gcc ") + __VERSION__;
#endif
}

std::string processor() {
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);) {
        if (line.rfind("model name", 0) == 0) {
            return line.substr(line.find(':') + 2);
        }
    }
    return "unknown processor";
}

class TableReporter : public benchmark::BenchmarkReporter {
  public:
    explicit TableReporter(int processorNumber) : processorNumber_(processorNumber) {}

    bool ReportContext(const Context&) override {
        std::fprintf(stderr, "Measuring; the table comes at the end.\n");
        return true;
    }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            const std::string name = run.run_name.function_name;
            if (run.error_occurred) {
                GetErrorStream() << name << ": " << run.error_message << '\n';
            } else if (run.run_type == Run::RT_Iteration ||
                       (run.aggregate_name == "median" && times_[name].empty())) {
                // Processor time: what other processes take from this one does not count.
                times_[name].push_back(1e9 / run.counters.at("items_per_second").value);
            }
        }
    }

    void Finalize() override {
        std::printf("Compiled by %s, flags: %s\n", compiler().c_str(), BENCH_FLAGS);
        const std::string pinned =
            processorNumber_ < 0 ? "not pinned" : "pinned to " + std::to_string(processorNumber_);
        std::printf("%s, %s; medians in ns per sample\n", processor().c_str(), pinned.c_str());
        std::printf(
            "plain: the straightforward loop; floor: the ordered sum over a straight line\n");
        std::printf(
            "LC rows: the line is moved at no cost; ring/LC: time over that of the LC twin\n");
        std::stable_sort(table().begin(), table().end(), [](const Entry& a, const Entry& b) {
            return std::pair(a.row.sizeName, a.row.size) < std::pair(b.row.sizeName, b.row.size);
        });
        std::string heading;
        for (const Entry& entry : table()) {
            print(entry, heading);
        }
        printWidestSpread();
    }

  private:
    Nanoseconds time(const std::string& name) const {
        const auto it = times_.find(name);
        return it == times_.end() ? Nanoseconds() : median(it->second);
    }

    void print(const Entry& entry, std::string& lastHeading) const {
        const Row& row = entry.row;
        const Nanoseconds subject = time(nameOf(row, "subject"));
        const Nanoseconds plain = time(nameOf(row, "plain"));
        const Nanoseconds floor = time(nameOf(row, "floor"));
        const bool anyPeer =
            std::any_of(entry.peers.begin(), entry.peers.end(),
                        [&](const Peer& peer) { return time(nameOf(row, peer.name)); });
        if (!subject && !plain && !floor && !anyPeer) {
            return; // filtered out
        }
        const std::string heading = row.sizeName + ' ' + std::to_string(row.size);
        if (heading != lastHeading) {
            std::printf("\n%-36s%9s%9s%9s%9s%9s%9s\n", heading.c_str(), "time", "plain", "floor",
                        "/plain", "/floor", "ring/LC");
            lastHeading = heading;
        }
        const std::string twin =
            row.twin.empty() ? "" : ratio(subject, time(nameOf(row, row.twin, "subject")));
        std::printf("  %-34s%9s%9s%9s%9s%9s%9s\n", (row.family + ' ' + row.operation).c_str(),
                    cell(subject).c_str(), cell(plain).c_str(), cell(floor).c_str(),
                    ratio(subject, plain).c_str(), ratio(subject, floor).c_str(), twin.c_str());
        for (const Peer& peer : entry.peers) {
            if (!peer.installed) {
                std::printf("    peer: %s: not installed\n", peer.name.c_str());
            } else if (const Nanoseconds other = time(nameOf(row, peer.name))) {
                std::printf("    peer: %s: %s, ours/peer %s\n", peer.name.c_str(),
                            cell(other).c_str(), ratio(subject, other).c_str());
            }
        }
    }

    void printWidestSpread() const {
        const auto widest =
            std::max_element(times_.begin(), times_.end(), [](const auto& a, const auto& b) {
                return spread(a.second) < spread(b.second);
            });
        if (widest != times_.end()) {
            std::printf("\nWidest interquartile range: %.1f %% of the median (%s)\n",
                        100.0 * spread(widest->second), widest->first.c_str());
        }
    }

    int processorNumber_;
    std::map<std::string, std::vector<double>> times_;
};

// Stays on the last processor that it may use, the one least taken up by the system; -1 if refused.
int pin() {
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) {
        return -1;
    }
    for (int number = CPU_SETSIZE - 1; number >= 0; --number) {
        if (CPU_ISSET(static_cast<size_t>(number), &allowed)) {
            cpu_set_t one;
            CPU_ZERO(&one);
            CPU_SET(static_cast<size_t>(number), &one);
            return sched_setaffinity(0, sizeof one, &one) == 0 ? number : -1;
        }
    }
    return -1;
}

} // namespace

void Row::subject(Timed timed) const { add(*this, "subject", std::move(timed)); }

void Row::plain(Timed timed) const { add(*this, "plain", std::move(timed)); }

void Row::floor(Timed timed) const { add(*this, "floor", std::move(timed)); }

void Row::peer(const std::string& name, Timed timed) const {
    entryOf(*this).peers.push_back({name, true});
    add(*this, name, std::move(timed));
}

void Row::peerNotInstalled(const std::string& name) const {
    entryOf(*this).peers.push_back({name, false});
}

int run(int argc, char** argv) {
    const int processorNumber = pin();
    // The user's flags come last and win.
    std::vector<std::string> arguments = {
        argv[0], "--benchmark_enable_random_interleaving=true",
        "--benchmark_repetitions=" + std::to_string(kRepetitions),
        "--benchmark_min_time=" + std::to_string(kRunSeconds / (candidateCount * kRepetitions))};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    int count = static_cast<int>(pointers.size());
    benchmark::Initialize(&count, pointers.data());
    if (benchmark::ReportUnrecognizedArguments(count, pointers.data())) {
        return 1;
    }
    const bool ownFormat = std::none_of(argv + 1, argv + argc, [](const char* argument) {
        return std::string_view(argument).starts_with("--benchmark_format");
    });
    TableReporter reporter(processorNumber);
    const size_t matches = ownFormat ? benchmark::RunSpecifiedBenchmarks(&reporter)
                                     : benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return matches == 0 ? 1 : 0;
}

} // namespace bench
