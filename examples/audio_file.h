// Mono audio files, read and written in blocks. Error messages begin with the path.
#ifndef MERLO64F_EXAMPLES_AUDIO_FILE_H
#define MERLO64F_EXAMPLES_AUDIO_FILE_H

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <map>
#include <span>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sndfile.h>

#include "host.h"

namespace audio {

using host::fail;

constexpr std::size_t kBlockFrames = 4096;

inline SF_INFO monoInfo(int rate, int format) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = 1;
    info.format = format;
    return info;
}

// The file is opened here and passed to libsndfile as a descriptor, because only the system call
// tells why a path cannot be opened.
class SoundFile {
  public:
    SoundFile(const SoundFile&) = delete;
    SoundFile& operator=(const SoundFile&) = delete;
    ~SoundFile() { sf_close(file_); }

    const std::string& path() const { return path_; }
    int format() const { return info_.format; }
    int rate() const { return info_.samplerate; } // Hz
    sf_count_t frames() const { return info_.frames; }
    double seconds() const { return static_cast<double>(frames()) / rate(); }

  protected:
    SoundFile(const std::string& path, int openFlags, int mode, const SF_INFO& info)
        : path_(path), info_(info) {
        const int descriptor = ::open(path_.c_str(), openFlags | O_CLOEXEC, 0666);
        if (descriptor < 0) {
            fail(path_, std::strerror(errno));
        }
        file_ = sf_open_fd(descriptor, mode, &info_, SF_TRUE);
        if (!file_) {
            fail(path_, (mode == SFM_READ ? "cannot be read as audio: " : "cannot be written: ") +
                            reason());
        }
    }

    std::string reason() const {
        std::string text = sf_strerror(file_);
        text.erase(text.find_last_not_of(".\n") + 1);
        return text;
    }

    std::string path_;
    SF_INFO info_;
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
            fail(path_, "contains no samples");
        }
    }

    // Reads the next samples, full scale 1.0, into `samples`. Returns the part that was filled,
    // which is empty at the end of the file.
    std::span<double> read(std::span<double> samples) {
        const auto wanted = std::min<sf_count_t>(std::ssize(samples), info_.frames - position_);
        const sf_count_t got = sf_read_double(file_, samples.data(), wanted);
        if (got < wanted) {
            fail(path_, "ends after " + std::to_string(position_ + std::max<sf_count_t>(got, 0)) +
                            " of " + std::to_string(info_.frames) + " samples");
        }
        const auto filled = samples.first(static_cast<std::size_t>(got));
        // One such sample would make all coefficients of an adaptive filter NaN.
        const auto bad = std::find_if_not(filled.begin(), filled.end(),
                                          [](double x) { return std::isfinite(x); });
        if (bad != filled.end()) {
            fail(path_, "sample " + std::to_string(position_ + (bad - filled.begin())) +
                            " is not a finite number");
        }
        position_ += got;
        return filled;
    }

    // Reads the whole file and rewinds, so that a bad sample is found before any output is opened.
    void requireFinite() {
        std::array<double, kBlockFrames> block;
        while (!read(block).empty()) {
        }
        rewind();
    }

    void rewind() {
        if (sf_seek(file_, 0, SF_SEEK_SET) != 0) {
            fail(path_, "cannot be read twice: " + reason());
        }
        position_ = 0;
    }

  private:
    // A pipe has no known length and cannot be read twice.
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

// The format for a new file: that of `model` if both names have the same extension. Otherwise the
// container follows the extension, or is that of `model` if the extension is unknown, with the
// sample format of `model`, or 24 bits, 16 bits or Vorbis, the first one that the container allows.
inline int formatLike(const std::string& path, const Reader& model) {
    static const std::map<std::string, int> kContainers = {
        {".wav", SF_FORMAT_WAV},  {".flac", SF_FORMAT_FLAC}, {".aiff", SF_FORMAT_AIFF},
        {".aif", SF_FORMAT_AIFF}, {".au", SF_FORMAT_AU},     {".caf", SF_FORMAT_CAF},
        {".w64", SF_FORMAT_W64},  {".rf64", SF_FORMAT_RF64}, {".ogg", SF_FORMAT_OGG},
        {".oga", SF_FORMAT_OGG}};
    const auto extension = [](const std::string& name) {
        std::string text = std::filesystem::path(name).extension().string();
        std::transform(text.begin(), text.end(), text.begin(), [](char c) {
            return 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        });
        return text;
    };
    if (extension(path) == extension(model.path())) {
        return model.format();
    }
    const auto found = kContainers.find(extension(path));
    const int container =
        found != kContainers.end() ? found->second : model.format() & SF_FORMAT_TYPEMASK;
    const int samples = model.format() & SF_FORMAT_SUBMASK;
    for (const int candidate : {samples, int{SF_FORMAT_PCM_24}, int{SF_FORMAT_PCM_16}}) {
        const SF_INFO info = monoInfo(model.rate(), container | candidate);
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
        // By default integer formats wrap around above full scale.
        sf_command(file_, SFC_SET_CLIPPING, nullptr, SF_TRUE);
        // The peak chunk of a float file contains the time of day; without it the same input gives
        // the same file.
        sf_command(file_, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
    }

    void write(std::span<const double> samples) {
        if (sf_write_double(file_, samples.data(), std::ssize(samples)) != std::ssize(samples)) {
            fail(path_, "cannot be written: " + reason());
        }
    }

    // Writes the last samples and the length in the header, which can fail.
    void close() {
        if (sf_close(std::exchange(file_, nullptr)) != 0) {
            fail(path_, "cannot be written completely");
        }
    }
};

inline void requireSameShape(const SoundFile& a, const SoundFile& b) {
    const auto requireEqual = [&](auto ofA, auto ofB, const std::string& unit) {
        if (ofA != ofB) {
            fail(b.path(), "has " + std::to_string(ofB) + unit + ", but " + a.path() + " has " +
                               std::to_string(ofA) + unit);
        }
    };
    requireEqual(a.rate(), b.rate(), " Hz");
    requireEqual(a.frames(), b.frames(), " samples");
}

} // namespace audio

#endif
