// Shared by the example hosts: errors, the command line, tables, levels, signals, progress.
#ifndef MERLO64F_EXAMPLES_HOST_H
#define MERLO64F_EXAMPLES_HOST_H

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <numbers>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include <getopt.h>
#include <unistd.h>

#include <merlo64f.h>

namespace host {

using Signal = std::vector<double>;

// ---- errors ----------------------------------------------------------------------------------

// The message is one line that begins with the name of the file or filter.
[[noreturn]] inline void fail(const std::string& object, const std::string& what) {
    throw std::runtime_error(object + ": " + what);
}

// status  result of an Init or InitStatic
inline void require(int32_t status, const std::string& object) {
    if (status != STS_OK) {
        fail(object, status == STS_NO_MEMORY ? "not enough memory" : "cannot be set up");
    }
}

// Exit codes: 0 done, 1 the job failed. commandLine() ends the program with 2 itself.
template <class Body>
int runHost(const char* program, Body body) {
    try {
        body();
        return 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s: %s\n", program, e.what());
        return 1;
    }
}

// ---- command line ----------------------------------------------------------------------------

// The shortest decimal number that reads back as the same value.
inline std::string shortest(double value) {
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

// An option with a value. The target holds the default until commandLine() stores the value.
struct Option {
    const char *name, *what;
    std::variant<int32_t*, double*, std::string*> target; // a string is the path of an output file
    double least = 0.0, most = 0.0; // of a number; 0 itself is no value of a double

    std::string range() const {
        return target.index() == 0 ? "whole number from " + std::to_string(std::lround(least)) +
                                         " to " + std::to_string(std::lround(most))
               : target.index() == 1 ? "number above 0 and up to " + shortest(most)
                                     : "path";
    }
    std::string preset() const {
        return target.index() == 0   ? std::to_string(*std::get<0>(target))
               : target.index() == 1 ? shortest(*std::get<1>(target))
                                     : "no file";
    }
    // False for a value out of range.
    bool store(std::string_view word) const {
        const auto stored = [&](auto* value) {
            if constexpr (std::is_same_v<decltype(value), std::string*>) {
                *value = word;
                return true;
            } else {
                const auto [end, error] = std::from_chars(word.begin(), word.end(), *value);
                return error == std::errc{} && end == word.end() && *value >= least &&
                       *value <= most && (*value > 0 || !std::is_same_v<decltype(value), double*>);
            }
        };
        return std::visit(stored, target);
    }
};

// Reads the options and returns the files, one for each of `operands`. Exits with 0 after --help
// and with 2 after a mistake. Removes the directory from argv[0], with which every message begins.
inline std::vector<std::string> commandLine(int argc, char** argv, const std::string& purpose,
                                            const std::vector<std::string>& operands,
                                            const std::vector<Option>& options) {
    if (char* const slash = std::strrchr(argv[0], '/')) {
        argv[0] = slash + 1;
    }
    const auto refuse = [&](const std::string& what) {
        std::fprintf(stderr, "%s: %s\n", argv[0], what.c_str());
        std::exit(2);
    };
    std::string usage = "usage: " + std::string(argv[0]) + " [OPTION]...";
    for (const std::string& operand : operands) {
        usage += " " + operand;
    }
    std::string help = usage + "\n" + purpose + "\n\n";
    std::vector<option> table;
    for (const Option& o : options) {
        static constexpr const char* kPlaceholders[] = {" N", " X", " FILE"};
        help += "  --" + std::string(o.name) + kPlaceholders[o.target.index()] + "\n        " +
                o.what + " (" + o.range() + "; default: " + o.preset() + ")\n";
        table.push_back({o.name, required_argument, nullptr, 0});
    }
    table.push_back({"help", no_argument, nullptr, 'h'});
    table.push_back({});
    for (int code, index = 0; (code = getopt_long(argc, argv, "", table.data(), &index)) != -1;) {
        if (code == '?') { // getopt_long has printed the message
            std::exit(2);
        }
        if (code == 'h') {
            std::printf("%s  --help\n        print this text\n", help.c_str());
            std::exit(0);
        }
        const Option& o = options[static_cast<std::size_t>(index)];
        if (!o.store(optarg)) {
            refuse("--" + std::string(o.name) + " takes a " + o.range() + ", not '" + optarg + "'");
        }
    }
    const std::vector<std::string> files(argv + optind, argv + argc);
    if (files.size() != operands.size()) {
        refuse("wrong number of files: " + std::to_string(files.size()) + "; " + usage);
    }
    return files;
}

// ---- output files ----------------------------------------------------------------------------

// Called before any output is opened, which empties it: no output may be an input or another output,
// and each needs a directory to lie in. An empty path stands for no file.
inline void checkOutputs(std::vector<std::string> used,
                         std::initializer_list<std::string> outputs) {
    std::error_code ignored;
    for (const std::string& output : outputs) {
        if (output.empty()) {
            continue;
        }
        for (const std::string& path : used) {
            if (output == path || std::filesystem::equivalent(output, path, ignored)) {
                fail(output, "is in use already and would be overwritten");
            }
        }
        const std::filesystem::path directory = std::filesystem::path(output).parent_path();
        if (!directory.empty() && !std::filesystem::is_directory(directory, ignored)) {
            fail(output, std::strerror(ENOENT));
        }
        if (std::filesystem::is_directory(output, ignored)) {
            fail(output, std::strerror(EISDIR));
        }
        used.push_back(output);
    }
}

// Writes one row per line, with all digits. An empty path stands for no file.
// heading  content and unit of the columns
inline void saveTable(const std::string& path, const std::string& heading,
                      const std::vector<Signal>& rows) {
    if (path.empty()) {
        return;
    }
    std::ofstream file(path);
    if (!file) {
        fail(path, std::strerror(errno));
    }
    if (!heading.empty()) {
        file << "# " << heading << '\n';
    }
    for (const Signal& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            file << (i > 0 ? " " : "") << shortest(row[i]);
        }
        file << '\n';
    }
    file.close();
    if (!file) {
        fail(path, "cannot be written completely");
    }
}

// Rows for saveTable() from columns of equal length, preceded by the column (first + k) * spacing.
inline std::vector<Signal> rowsOf(const std::vector<Signal>& columns, double first,
                                  double spacing) {
    std::vector<Signal> rows;
    for (std::size_t k = 0; k < columns[0].size(); ++k) {
        rows.push_back({(first + static_cast<double>(k)) * spacing});
        for (const Signal& column : columns) {
            rows.back().push_back(column[k]);
        }
    }
    return rows;
}

inline void saveColumn(const std::string& path, std::span<const double> values) {
    std::vector<Signal> rows;
    for (const double value : values) {
        rows.push_back({value});
    }
    saveTable(path, "", rows);
}

// ---- signals ---------------------------------------------------------------------------------

// A signal with less than this mean square, -200 dB re full scale, counts as silent.
constexpr double kSilence = 1e-20;

inline double decibels(double powerRatio) { return 10.0 * std::log10(powerRatio); }

inline double fromDecibels(double level) { return std::pow(10.0, level / 10.0); } // power ratio
inline double amplitude(double level) { return std::pow(10.0, level / 20.0); }

class MeanSquare {
  public:
    void add(std::span<const double> samples) {
        for (const double x : samples) {
            sum_ += x * x;
        }
        count_ += samples.size();
    }
    std::size_t count() const { return count_; } // samples
    double value() const { return count_ > 0 ? sum_ / static_cast<double>(count_) : 0.0; }
    double level() const { return decibels(std::max(value(), kSilence)); } // dB re full scale

  private:
    double sum_ = 0.0;
    std::size_t count_ = 0;
};

inline double power(std::span<const double> samples) {
    MeanSquare mean;
    mean.add(samples);
    return mean.value();
}

// Power of a over that of b in dB.
inline double ratio(std::span<const double> a, std::span<const double> b) {
    return decibels(power(a) / power(b));
}

inline Signal sum(Signal a, const Signal& b) {
    addIp64f(b.data(), a.data(), static_cast<int32_t>(a.size()));
    return a;
}

inline Signal difference(std::span<const double> a, std::span<const double> b) {
    Signal result(a.size());
    std::transform(a.begin(), a.end(), b.begin(), result.begin(), std::minus<>());
    return result;
}

inline void scale(std::span<double> signal, double gain) {
    for (double& x : signal) {
        x *= gain;
    }
}

// Powers of the bins 1, 2, ... of the discrete Fourier transform of `segment` samples, `count` of them:
// the mean over half-overlapping segments under a Hann window, scaled so that the sum of all bins up
// to half the sampling rate is the power of the signal.
inline Signal binPowers(std::span<const double> signal, std::size_t segment, std::size_t count) {
    std::vector<std::complex<double>> turn(segment);
    for (std::size_t n = 0; n < segment; ++n) {
        const double part = static_cast<double>(n) / static_cast<double>(segment);
        turn[n] = std::polar(1.0, 2.0 * std::numbers::pi * part);
    }
    Signal bins(count), windowed(segment);
    double windows = 0.0;
    for (; signal.size() >= segment; signal = signal.subspan(segment / 2)) {
        for (std::size_t n = 0; n < segment; ++n) {
            const double window = 1.0 - turn[n].real();
            windowed[n] = signal[n] * window;
            windows += window * window;
        }
        for (std::size_t bin = 1; bin <= count; ++bin) {
            std::complex<double> sum;
            for (std::size_t n = 0; n < segment; ++n) {
                sum += windowed[n] * turn[n * bin % segment];
            }
            bins[bin - 1] += std::norm(sum);
        }
    }
    for (double& power : bins) {
        power *= 2.0 / (windows * static_cast<double>(segment));
    }
    return bins;
}

// White noise, uniform in -1 .. 1, power 1/3, the same samples on every machine. A 64-bit linear
// congruential generator; only the high bits are used because the low bits have short periods.
class WhiteNoise {
  public:
    explicit WhiteNoise(std::uint64_t seed) : state_(seed) {}
    double next() {
        state_ = state_ * 6364136223846793005u + 1442695040888963407u;
        return static_cast<double>(state_ >> 11) * 0x1p-52 - 1.0;
    }

  private:
    std::uint64_t state_;
};

// ---- progress --------------------------------------------------------------------------------

// A progress bar on stderr, shown only on a terminal and for more than 10 s of signal.
class ProgressBar {
  public:
    // frames  total number, more than 0; rate  in Hz
    ProgressBar(const char* label, std::int64_t frames, int rate)
        : label_(label), frames_(frames),
          shown_(frames > std::int64_t{10} * rate && ::isatty(STDERR_FILENO) != 0) {}
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    ~ProgressBar() { clear(); }

    void advance(std::size_t frames) {
        done_ += static_cast<std::int64_t>(frames);
        const int percent = static_cast<int>(100 * done_ / frames_);
        if (percent >= 100) {
            clear();
        } else if (shown_ && percent != std::exchange(percent_, percent)) {
            std::fprintf(stderr, "\r%s [%-40.*s] %3d %%", label_, percent * 2 / 5,
                         "########################################", percent);
        }
    }

  private:
    void clear() {
        if (std::exchange(shown_, false)) {
            std::fputs("\r\033[K", stderr);
        }
    }

    const char* label_;
    std::int64_t frames_, done_ = 0;
    bool shown_;
    int percent_ = -1;
};

} // namespace host

#endif
