// Mono audio files in blocks, for the example hosts. Every failure names the file.
#ifndef MERLO64F_EXAMPLES_AUDIO_FILE_H
#define MERLO64F_EXAMPLES_AUDIO_FILE_H

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sndfile.h>

#include "host.h"

namespace audio {

using host::fail;

constexpr std::size_t kBlockFrames = 4096;

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
        if (descriptor < 0) {
            fail(path_, std::strerror(errno));
        }
        file_ = sf_open_fd(descriptor, mode, &info_, SF_TRUE);
        if (!file_) {
            fail(path_, (mode == SFM_READ ? "cannot be read as audio: " : "cannot be written: ") +
                            reason(nullptr));
        }
    }

    static std::string reason(SNDFILE* file) {
        std::string text = sf_strerror(file);
        while (text.ends_with('.') || text.ends_with('\n')) {
            text.pop_back();
        }
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
        if (info_.channels != 1) {
            fail(path_, "has " + std::to_string(info_.channels) + " channels, not one");
        }
        if (info_.frames < 1) {
            fail(path_, "holds no samples");
        }
    }

    // Fills `samples` as far as the file reaches, full scale at 1.0; an empty result ends the file.
    std::span<double> read(std::span<double> samples) {
        const auto wanted = std::min<sf_count_t>(std::ssize(samples), info_.frames - position_);
        const sf_count_t got = sf_read_double(file_, samples.data(), wanted);
        if (got < wanted) {
            fail(path_, "ends after " + std::to_string(position_ + std::max<sf_count_t>(got, 0)) +
                            " of " + std::to_string(info_.frames) + " samples");
        }
        const auto filled = samples.first(static_cast<std::size_t>(got));
        // One such sample would stay in an adaptive filter's coefficients for good.
        const auto bad = std::find_if_not(filled.begin(), filled.end(),
                                          [](double x) { return std::isfinite(x); });
        if (bad != filled.end()) {
            fail(path_, "sample " + std::to_string(position_ + (bad - filled.begin())) +
                            " is not a finite number");
        }
        position_ += got;
        return filled;
    }

    void rewind() {
        if (sf_seek(file_, 0, SF_SEEK_SET) != 0) {
            fail(path_, "cannot be read twice: " + reason(file_));
        }
        position_ = 0;
    }

  private:
    // A pipe has no length to check and no second pass.
    static const std::string& checked(const std::string& path) {
        std::error_code ignored;
        const auto status = std::filesystem::status(path, ignored);
        if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
            fail(path, "is not a regular file");
        }
        return path;
    }

    sf_count_t position_ = 0;
};

// The format of a new file: that of `model` where both names end alike, else the container that
// the name asks for (the model's, if it asks for none) with the model's sample format. A container
// that cannot hold those samples gets 24 bits, or 16.
inline int formatLike(const std::string& path, const Reader& model) {
    static constexpr std::pair<std::string_view, int> kContainers[] = {
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
    if (ending(path) == ending(model.path())) {
        return model.info().format;
    }
    int container = model.info().format & SF_FORMAT_TYPEMASK;
    for (const auto& [name, format] : kContainers) {
        if (ending(path) == name) {
            container = format;
        }
    }
    const int samples = model.info().format & SF_FORMAT_SUBMASK;
    for (const int candidate : {samples, int{SF_FORMAT_PCM_24}, int{SF_FORMAT_PCM_16}}) {
        SF_INFO info{};
        info.samplerate = model.rate();
        info.channels = 1;
        info.format = container | candidate;
        if (sf_format_check(&info)) {
            return info.format;
        }
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
        if (sf_write_double(file_, samples.data(), std::ssize(samples)) != std::ssize(samples)) {
            fail(path_, "cannot be written: " + reason(file_));
        }
    }

    // The last samples and the length in the header may be refused only here.
    void close() {
        if (sf_close(std::exchange(file_, nullptr)) != 0) {
            fail(path_, "cannot be written to its end");
        }
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
    if (a.rate() != b.rate()) {
        fail(b.path(), "has " + std::to_string(b.rate()) + " Hz, but " + a.path() + " has " +
                           std::to_string(a.rate()) + " Hz");
    }
    if (a.frames() != b.frames()) {
        fail(b.path(), "has " + std::to_string(b.frames()) + " samples, but " + a.path() + " has " +
                           std::to_string(a.frames()));
    }
}

} // namespace audio

#endif
