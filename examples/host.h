// What the example hosts share: failures, a command line, tables, levels, noise, a progress bar.
// Every failure is a Failure whose text is one line that names its object; runHost prints it.
#ifndef MERLO64F_EXAMPLES_HOST_H
#define MERLO64F_EXAMPLES_HOST_H

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <initializer_list>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <unistd.h>

namespace host {

struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct UsageError : Failure {
    using Failure::Failure;
};

[[noreturn]] inline void fail(const std::string& object, const std::string& what) {
    throw Failure(object + ": " + what);
}

// Exit codes: 0 done, 1 the job failed, 2 the command line is wrong.
template <class Body>
int runHost(const char* program, Body body) {
    try {
        body();
        return 0;
    } catch (const UsageError& e) {
        std::fprintf(stderr, "%s: %s\n", program, e.what());
        return 2;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s: %s\n", program, e.what());
        return 1;
    }
}

// ---- command line ----------------------------------------------------------------------------

// Files in their order, and options as `--name value` or `--name=value`. `--` ends the options.
class Arguments {
  public:
    Arguments(int argc, char** argv, std::string usage,
              std::initializer_list<std::string_view> known)
        : usage_(std::move(usage)) {
        bool optionsOver = false;
        for (int i = 1; i < argc; ++i) {
            std::string_view word = argv[i];
            if (optionsOver || !word.starts_with("--")) {
                files_.emplace_back(word);
                continue;
            }
            if (word == "--") {
                optionsOver = true;
                continue;
            }
            if (word == "--help") {
                std::puts(usageLine().c_str());
                std::exit(0);
            }
            const std::string_view name = word.substr(0, word.find('='));
            if (std::find(known.begin(), known.end(), name) == known.end()) {
                throw UsageError("unknown option " + std::string(name) + "; " + usageLine());
            }
            if (name.size() < word.size()) {
                options_.emplace_back(name, word.substr(name.size() + 1));
            } else if (++i < argc) {
                options_.emplace_back(name, argv[i]);
            } else {
                throw UsageError("option " + std::string(name) + " needs a value; " + usageLine());
            }
        }
    }

    const std::vector<std::string>& files(std::size_t count) const {
        if (files_.size() != count) {
            throw UsageError(usageLine());
        }
        return files_;
    }

    // The last one given counts; an empty text stands for an option that is absent.
    std::string text(std::string_view name) const {
        for (auto it = options_.rbegin(); it != options_.rend(); ++it) {
            if (it->first == name) {
                return it->second;
            }
        }
        return {};
    }

    // lowest <= result <= highest
    int32_t integer(std::string_view name, int32_t preset, int32_t lowest, int32_t highest) const {
        const auto value = parsed<int32_t>(name, preset);
        if (!value || *value < lowest || *value > highest) {
            throw UsageError(std::string(name) + " takes a whole number from " +
                             std::to_string(lowest) + " to " + std::to_string(highest) + ", not '" +
                             text(name) + "'");
        }
        return *value;
    }

    // 0 < result <= highest
    double positive(std::string_view name, double preset, double highest) const {
        const auto value = parsed<double>(name, preset);
        if (!value || !(*value > 0.0 && *value <= highest)) {
            char limit[32];
            std::snprintf(limit, sizeof limit, "%g", highest);
            throw UsageError(std::string(name) + " takes a number above 0 and up to " + limit +
                             ", not '" + text(name) + "'");
        }
        return *value;
    }

  private:
    std::string usageLine() const { return "usage: " + usage_; }

    template <class T>
    std::optional<T> parsed(std::string_view name, T preset) const {
        const bool given = std::any_of(options_.begin(), options_.end(),
                                       [&](const auto& option) { return option.first == name; });
        if (!given) {
            return preset;
        }
        const std::string word = text(name);
        T value{};
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
        if (error != std::errc{} || end != word.data() + word.size()) {
            return std::nullopt;
        }
        return value;
    }

    std::string usage_;
    std::vector<std::string> files_;
    std::vector<std::pair<std::string, std::string>> options_;
};

// ---- files of results ------------------------------------------------------------------------

// Opening a file to write empties it, so this comes first.
inline void requireNotOneOf(const std::string& output, std::initializer_list<std::string> inputs) {
    for (const std::string& input : inputs) {
        std::error_code ignored;
        if (output == input || std::filesystem::equivalent(output, input, ignored)) {
            fail(output, "is in use already and would be overwritten");
        }
    }
}

// Columns of numbers in a text file, a row a line.
class Table {
  public:
    explicit Table(const std::string& path) : path_(path), file_(std::fopen(path.c_str(), "w")) {
        if (!file_) {
            fail(path_, std::strerror(errno));
        }
    }
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;
    ~Table() {
        if (file_) {
            std::fclose(file_);
        }
    }

    // A comment that says what the columns hold.
    void heading(const char* text) { good_ = std::fprintf(file_, "# %s\n", text) > 0 && good_; }
    // As many digits as it takes to read every bit of the values back.
    void row(std::span<const double> values) {
        char separator = 0;
        for (const double value : values) {
            char digits[32];
            const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
            const int length = static_cast<int>(end - digits);
            good_ = (separator == 0 || std::fputc(separator, file_) != EOF) &&
                    std::fprintf(file_, "%.*s", length, digits) > 0 && good_;
            separator = ' ';
        }
        good_ = std::fputc('\n', file_) != EOF && good_;
    }
    void close() {
        if (std::fclose(std::exchange(file_, nullptr)) != 0 || !good_) {
            fail(path_, "cannot be written to its end");
        }
    }

  private:
    std::string path_;
    std::FILE* file_;
    bool good_ = true;
};

inline void saveColumn(const std::string& path, std::span<const double> values) {
    Table table(path);
    for (const double& value : values) {
        table.row({&value, 1});
    }
    table.close();
}

// ---- signals ---------------------------------------------------------------------------------

// The mean square below which a signal counts as silent: -200 dB re full scale.
constexpr double kSilence = 1e-20;

class MeanSquare {
  public:
    void add(std::span<const double> samples) {
        for (const double x : samples) {
            sum_ += x * x;
        }
        count_ += static_cast<double>(samples.size());
    }
    double value() const { return count_ > 0.0 ? sum_ / count_ : 0.0; }

  private:
    double sum_ = 0.0, count_ = 0.0;
};

inline double power(std::span<const double> samples) {
    MeanSquare mean;
    mean.add(samples);
    return mean.value();
}

inline double decibels(double powerRatio) { return 10.0 * std::log10(powerRatio); }

// White noise with the same samples on every machine: a 64-bit congruential generator whose high
// bits are used, since its low ones have short periods. Uniform in -1 .. 1, so of power 1/3.
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

// On stderr, and only where someone watches a job of some length.
class ProgressBar {
  public:
    // frames  to be advanced over in all; rate  in Hz
    ProgressBar(const char* label, std::int64_t frames, int rate)
        : label_(label), frames_(frames),
          shown_(frames > std::int64_t{10} * rate && ::isatty(STDERR_FILENO) != 0) {}
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    ~ProgressBar() { clear(); }

    void advance(std::size_t frames) {
        done_ += static_cast<std::int64_t>(frames);
        const int percent = static_cast<int>(100 * done_ / frames_);
        if (done_ >= frames_) {
            clear();
        }
        if (!shown_ || percent == percent_) {
            return;
        }
        percent_ = percent;
        static constexpr char kFull[] = "########################################";
        std::fprintf(stderr, "\r%s [%-40.*s] %3d %%", label_, percent * 2 / 5, kFull, percent);
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
