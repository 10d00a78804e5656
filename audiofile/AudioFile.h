// Audio files in and out of the station: any file libsndfile reads becomes
// mono 32-bit float samples at the engine's 8000 Hz, and rendered signals are
// written as mono 8000 Hz WAV files.
//
// Qt-free; of the engine it uses only the header-only sample cleaner. Used by
// the command-line tool and the console. Errors are values: every operation
// that can fail returns an AudioFileError whose message names the file (see
// quotedName) and the reason in one line, ready to show to the user.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace audiofile {

constexpr int kOutputRate = 8000; // Hz, the rate of every sample handed out or written

struct AudioFileError {
    enum class Kind {
        missing,    // no such file
        unreadable, // exists but cannot be opened or read (permissions, a directory, I/O)
        notAudio,   // not a format libsndfile knows, or malformed
        empty,      // a valid file with no samples
        badChannel, // the requested channel does not exist
        unwritable, // an output file could not be created or completed
    };
    Kind kind;
    std::string message; // e.g. "cannot read 'x.wav': Permission denied"
};

// `text` quoted as a POSIX shell reads it back, on one line and with no
// byte a terminal would act on: 'plain name', 'it'$'\'''s', 'no'$'\n''such',
// $'\x1b''[31m'. Printable ASCII and valid UTF-8 characters stay as they
// are; other bytes become C escapes inside $'...'.
std::string quotedName(std::string_view text);

// A value or the error that prevented it.
template <typename T> class AudioResult {
public:
    AudioResult(T value) : content(std::move(value)) {}
    AudioResult(AudioFileError error) : content(std::move(error)) {}

    bool ok() const { return std::holds_alternative<T>(content); }
    explicit operator bool() const { return ok(); }
    T& value() { return std::get<T>(content); }
    const AudioFileError& error() const { return std::get<AudioFileError>(content); }

private:
    std::variant<T, AudioFileError> content;
};

// Called now and then during long work with the fraction done, 0.0 .. 1.0.
using ProgressCallback = std::function<void(double fraction)>;

// Reads a file piece by piece, so that long recordings need little memory.
// Samples come out as they would from the engine's input: one channel, 8000
// Hz, float (integer formats scaled to -1.0 .. 1.0). Another rate is
// converted with libsamplerate's best sinc converter. Samples that are not
// finite are cleaned before conversion (tarn::cleanSamples: NaN becomes 0,
// an infinity +-1.0) and counted. The file is opened by its descriptor, so
// any path the system accepts works, and libsndfile's decoders do not print
// their notes on stderr.
class AudioFileReader {
public:
    // channel counts from 1 (the first, or left, channel). Fails for a
    // missing, unreadable, non-audio or empty file, or a channel the file
    // does not have.
    static AudioResult<std::unique_ptr<AudioFileReader>> open(const std::string& path,
                                                              int channel = 1);
    ~AudioFileReader();
    AudioFileReader(const AudioFileReader&) = delete;
    AudioFileReader& operator=(const AudioFileReader&) = delete;

    // Fills up to `count` samples; returns how many were written, 0 at the
    // end of the file. A read failure partway returns the error.
    AudioResult<int64_t> read(float* destination, int64_t count);

    // The file's own rate (Hz), channel count and length in its frames.
    int sourceRate() const;
    int sourceChannels() const;
    int64_t sourceFrames() const;
    // Approximate length in output samples at 8000 Hz.
    int64_t expectedSamples() const;
    // Fraction of the file consumed so far, 0.0 .. 1.0.
    double progress() const;
    // Samples replaced so far because they were NaN or infinite.
    int64_t cleanedSamples() const;

private:
    struct State;
    explicit AudioFileReader(std::unique_ptr<State> state);
    std::unique_ptr<State> state;
};

// The whole file at once (see AudioFileReader for the conversion).
AudioResult<std::vector<float>> readAudioFile(const std::string& path, int channel = 1,
                                              const ProgressCallback& progress = {});

enum class SampleFormat {
    float32, // IEEE float, values kept as they are
    pcm16,   // 16-bit integers; values beyond -1.0 .. 1.0 are clipped
};

// The most samples one WAV file holds in `format` (its sizes are 32-bit).
int64_t maxWavSamples(SampleFormat format);

// Writes mono 8000 Hz WAV. The file appears complete or not at all: the data
// goes to a temporary file beside `path`, which is renamed over it at the
// end; on any failure the temporary file is removed and `path` is untouched.
// Returns nothing on success.
std::optional<AudioFileError> writeWavFile(const std::string& path, const float* samples,
                                           int64_t count, SampleFormat format);

// An output file that is either completed whole or never appears: writes go
// to a temporary file in the destination's directory, commit() renames it
// into place, and destruction without commit removes it.
class AtomicFile {
public:
    AtomicFile() = default;
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    // Creates the temporary file (mode 0666 less the umask). On success fd()
    // is open for writing. A link is followed; a destination that exists but
    // is not a regular file (a device, a directory) is refused.
    std::optional<AudioFileError> create(const std::string& path);
    int fd() const { return descriptor; }
    // Hands the descriptor to another owner (e.g. a FILE* or libsndfile),
    // which must close it before commit().
    int releaseDescriptor();
    // Flushes to disk, closes (if still owned) and renames into place.
    std::optional<AudioFileError> commit();
    // Removes the temporary file now.
    void discard();

private:
    std::string requested;   // the name given, for messages
    std::string destination; // the file replaced (a link's target)
    std::string temporary;
    int descriptor = -1;
};

// A mono 8000 Hz WAV file written piece by piece, so that a long signal
// never needs a second copy in memory; like writeWavFile it appears whole
// on commit() or not at all (destruction without commit removes it).
class WavWriter {
public:
    WavWriter() = default;
    ~WavWriter();
    WavWriter(const WavWriter&) = delete;
    WavWriter& operator=(const WavWriter&) = delete;

    // Creates the temporary file beside `path` (see AtomicFile::create).
    std::optional<AudioFileError> create(const std::string& path, SampleFormat format);
    // Appends `count` samples; fails past maxWavSamples(format) in all.
    std::optional<AudioFileError> write(const float* samples, int64_t count);
    // Completes the header, flushes to disk and renames into place.
    std::optional<AudioFileError> commit();
    // Removes the unfinished file now.
    void discard();

private:
    std::string path;
    SampleFormat format = SampleFormat::float32;
    int64_t written = 0;
    struct SndFileCloser {
        void operator()(void* file) const;
    };
    std::unique_ptr<void, SndFileCloser> file; // the open SNDFILE
    AtomicFile output;
};

} // namespace audiofile
