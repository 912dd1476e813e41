// What the example hosts share: mono audio files in blocks, a command line, a progress bar.
// Every failure is a Failure whose text is one line that names the file; runHost prints it.
#ifndef MERLO64F_EXAMPLES_AUDIO_FILE_H
#define MERLO64F_EXAMPLES_AUDIO_FILE_H

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
#include <iterator>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sndfile.h>
#include <unistd.h>

namespace audio {

constexpr std::size_t blockFrames = 4096;

// The mean square below which a signal counts as silent: -200 dB re full scale.
constexpr double silence = 1e-20;

struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct UsageError : Failure {
    using Failure::Failure;
};

[[noreturn]] inline void fail(const std::string& path, const std::string& what) {
    throw Failure(path + ": " + what);
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
            if (std::find(known.begin(), known.end(), name) == known.end())
                throw UsageError("unknown option " + std::string(name) + "; " + usageLine());
            if (name.size() < word.size())
                options_.emplace_back(name, word.substr(name.size() + 1));
            else if (++i < argc)
                options_.emplace_back(name, argv[i]);
            else
                throw UsageError("option " + std::string(name) + " needs a value; " + usageLine());
        }
    }

    const std::vector<std::string>& files(std::size_t count) const {
        if (files_.size() != count)
            throw UsageError(usageLine());
        return files_;
    }

    // The last one given counts; an empty text stands for an option that is absent.
    std::string text(std::string_view name) const {
        for (auto it = options_.rbegin(); it != options_.rend(); ++it)
            if (it->first == name)
                return it->second;
        return {};
    }

    // lowest <= result <= highest
    int32_t integer(std::string_view name, int32_t preset, int32_t lowest, int32_t highest) const {
        const auto value = parsed<int32_t>(name, preset);
        if (!value || *value < lowest || *value > highest)
            throw UsageError(std::string(name) + " takes a whole number from " +
                             std::to_string(lowest) + " to " + std::to_string(highest) + ", not '" +
                             text(name) + "'");
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
        if (!given)
            return preset;
        const std::string word = text(name);
        T value{};
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
        if (error != std::errc{} || end != word.data() + word.size())
            return std::nullopt;
        return value;
    }

    std::string usage_;
    std::vector<std::string> files_;
    std::vector<std::pair<std::string, std::string>> options_;
};

// ---- audio files -----------------------------------------------------------------------------

// libsndfile on a descriptor opened here, since only the system call tells why a path is refused.
class SoundFile {
  public:
    SoundFile(const SoundFile&) = delete;
    SoundFile& operator=(const SoundFile&) = delete;
    ~SoundFile() { sf_close(file_); }

    const std::string& path() const { return path_; }
    const SF_INFO& info() const { return info_; }
    int rate() const { return info_.samplerate; } // Hz
    sf_count_t frames() const { return info_.frames; }
    double seconds() const { return static_cast<double>(frames()) / rate(); }

  protected:
    SoundFile(std::string path, int openFlags, int mode, const SF_INFO& info)
        : path_(std::move(path)), info_(info) {
        const int descriptor = ::open(path_.c_str(), openFlags | O_CLOEXEC, 0666);
        if (descriptor < 0)
            fail(path_, std::strerror(errno));
        file_ = sf_open_fd(descriptor, mode, &info_, SF_TRUE);
        if (!file_)
            fail(path_, (mode == SFM_READ ? "cannot be read as audio: " : "cannot be written: ") +
                            reason(nullptr));
    }

    static std::string reason(SNDFILE* file) {
        std::string text = sf_strerror(file);
        while (text.ends_with('.') || text.ends_with('\n'))
            text.pop_back();
        return text;
    }

    std::string path_;
    SF_INFO info_{};
    SNDFILE* file_ = nullptr;
};

class Reader : public SoundFile {
  public:
    explicit Reader(const std::string& path)
        : SoundFile(checked(path), O_RDONLY, SFM_READ, SF_INFO{}) {
        if (info_.channels != 1)
            fail(path_, "has " + std::to_string(info_.channels) + " channels, not one");
        if (info_.frames < 1)
            fail(path_, "holds no samples");
    }

    // Fills `samples` as far as the file reaches, full scale at 1.0; an empty result ends the file.
    std::span<double> read(std::span<double> samples) {
        const auto wanted = std::min<sf_count_t>(std::ssize(samples), info_.frames - position_);
        const sf_count_t got = sf_read_double(file_, samples.data(), wanted);
        if (got < wanted)
            fail(path_, "ends after " + std::to_string(position_ + std::max<sf_count_t>(got, 0)) +
                            " of " + std::to_string(info_.frames) + " samples");
        const auto filled = samples.first(static_cast<std::size_t>(got));
        // One such sample would stay in an adaptive filter's coefficients for good.
        const auto bad = std::find_if_not(filled.begin(), filled.end(),
                                          [](double x) { return std::isfinite(x); });
        if (bad != filled.end())
            fail(path_, "sample " + std::to_string(position_ + (bad - filled.begin())) +
                            " is not a finite number");
        position_ += got;
        return filled;
    }

    void rewind() {
        if (sf_seek(file_, 0, SF_SEEK_SET) != 0)
            fail(path_, "cannot be read twice: " + reason(file_));
        position_ = 0;
    }

  private:
    // A pipe has no length to check and no second pass.
    static const std::string& checked(const std::string& path) {
        std::error_code ignored;
        const auto status = std::filesystem::status(path, ignored);
        if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
            fail(path, "is not a regular file");
        return path;
    }

    sf_count_t position_ = 0;
};

// The format of a new file: that of `model` where both names end alike, else the container that
// the name asks for (the model's, if it asks for none) with the model's sample format. A container
// that cannot hold those samples gets 24 bits, or 16.
inline int formatLike(const std::string& path, const Reader& model) {
    static constexpr std::pair<std::string_view, int> containers[] = {
        {".wav", SF_FORMAT_WAV},  {".flac", SF_FORMAT_FLAC}, {".aiff", SF_FORMAT_AIFF},
        {".aif", SF_FORMAT_AIFF}, {".au", SF_FORMAT_AU},     {".caf", SF_FORMAT_CAF},
        {".w64", SF_FORMAT_W64},  {".rf64", SF_FORMAT_RF64}, {".ogg", SF_FORMAT_OGG},
        {".oga", SF_FORMAT_OGG}};
    const auto ending = [](const std::string& name) {
        std::string text = std::filesystem::path(name).extension().string();
        std::transform(text.begin(), text.end(), text.begin(), [](char c) {
            return 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        });
        return text;
    };
    if (ending(path) == ending(model.path()))
        return model.info().format;
    int container = model.info().format & SF_FORMAT_TYPEMASK;
    for (const auto& [name, format] : containers)
        if (ending(path) == name)
            container = format;
    const int samples = model.info().format & SF_FORMAT_SUBMASK;
    for (const int candidate : {samples, int{SF_FORMAT_PCM_24}, int{SF_FORMAT_PCM_16}}) {
        SF_INFO info{};
        info.samplerate = model.rate();
        info.channels = 1;
        info.format = container | candidate;
        if (sf_format_check(&info))
            return info.format;
    }
    return container | SF_FORMAT_VORBIS;
}

class Writer : public SoundFile {
  public:
    Writer(const std::string& path, int rate, int format)
        : SoundFile(path, O_RDWR | O_CREAT | O_TRUNC, SFM_WRITE, monoInfo(rate, format)) {
        // Integer formats wrap at full scale unless told to clip.
        sf_command(file_, SFC_SET_CLIPPING, nullptr, SF_TRUE);
        // A float file's peak chunk bears the time of day: the same input would not give the same
        // file.
        sf_command(file_, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
    }

    void write(std::span<const double> samples) {
        if (sf_write_double(file_, samples.data(), std::ssize(samples)) != std::ssize(samples))
            fail(path_, "cannot be written: " + reason(file_));
    }

    // The last samples and the length in the header may be refused only here.
    void close() {
        if (sf_close(std::exchange(file_, nullptr)) != 0)
            fail(path_, "cannot be written to its end");
    }

  private:
    static SF_INFO monoInfo(int rate, int format) {
        SF_INFO info{};
        info.samplerate = rate;
        info.channels = 1;
        info.format = format;
        return info;
    }
};

inline void requireSameShape(const SoundFile& a, const SoundFile& b) {
    if (a.rate() != b.rate())
        fail(b.path(), "has " + std::to_string(b.rate()) + " Hz, but " + a.path() + " has " +
                           std::to_string(a.rate()) + " Hz");
    if (a.frames() != b.frames())
        fail(b.path(), "has " + std::to_string(b.frames()) + " samples, but " + a.path() + " has " +
                           std::to_string(a.frames()));
}

// Opening a file to write empties it, so this comes first.
inline void requireNotOneOf(const std::string& output, std::initializer_list<std::string> inputs) {
    for (const std::string& input : inputs) {
        std::error_code ignored;
        if (output == input || std::filesystem::equivalent(output, input, ignored))
            fail(output, "is in use already and would be overwritten");
    }
}

// One number a line, with all its bits.
inline void saveColumn(const std::string& path, std::span<const double> values) {
    std::FILE* file = std::fopen(path.c_str(), "w");
    if (!file)
        fail(path, std::strerror(errno));
    bool good = true;
    for (const double value : values)
        good = std::fprintf(file, "%.17g\n", value) > 0 && good;
    if (std::fclose(file) != 0 || !good)
        fail(path, "cannot be written to its end");
}

// ---- measuring and reporting -----------------------------------------------------------------

class MeanSquare {
  public:
    void add(std::span<const double> samples) {
        for (const double x : samples)
            sum_ += x * x;
        count_ += static_cast<double>(samples.size());
    }
    double value() const { return count_ > 0.0 ? sum_ / count_ : 0.0; }

  private:
    double sum_ = 0.0, count_ = 0.0;
};

inline double decibels(double powerRatio) { return 10.0 * std::log10(powerRatio); }

// On stderr, and only where someone watches a job of some length.
class ProgressBar {
  public:
    // frames  to be advanced over in all; rate  in Hz
    ProgressBar(const char* label, sf_count_t frames, int rate)
        : label_(label), frames_(frames),
          shown_(frames > sf_count_t{10} * rate && ::isatty(STDERR_FILENO) != 0) {}
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    ~ProgressBar() { clear(); }

    void advance(std::size_t frames) {
        done_ += static_cast<sf_count_t>(frames);
        const int percent = static_cast<int>(100 * done_ / frames_);
        if (done_ >= frames_)
            clear();
        if (!shown_ || percent == percent_)
            return;
        percent_ = percent;
        static constexpr char full[] = "########################################";
        std::fprintf(stderr, "\r%s [%-40.*s] %3d %%", label_, percent * 2 / 5, full, percent);
    }

  private:
    void clear() {
        if (std::exchange(shown_, false))
            std::fputs("\r\033[K", stderr);
    }

    const char* label_;
    sf_count_t frames_, done_ = 0;
    bool shown_;
    int percent_ = -1;
};

} // namespace audio

#endif
