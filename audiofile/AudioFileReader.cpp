// Reading any libsndfile format as mono 8000 Hz float samples, piece by piece.
#include "audiofile/AudioFile.h"

#include <samplerate.h>
#include <sndfile.h>

#include "engine/SampleCleaner.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <span>
#include <sys/stat.h>
#include <unistd.h>

namespace audiofile {

namespace {

constexpr sf_count_t kChunkFrames = 8192; // frames read from the file at a time

AudioFileError makeError(AudioFileError::Kind kind, std::string message) {
    return AudioFileError{kind, std::move(message)};
}

// libsndfile's MP3 decoder (libmpg123) prints notes about what it skips
// straight to stderr. While libsndfile opens or decodes, stderr points at
// /dev/null; the reader's own message says what went wrong. The mutex keeps
// two readers on different threads from restoring each other's descriptor.
class LibraryNotesMuted {
public:
    LibraryNotesMuted() : lock(mutex) {
        std::fflush(stderr);
        const int sink = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        saved = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
        if (sink >= 0 && saved >= 0) {
            dup2(sink, STDERR_FILENO);
        }
        if (sink >= 0) {
            ::close(sink);
        }
    }
    ~LibraryNotesMuted() {
        if (saved >= 0) {
            std::fflush(stderr);
            dup2(saved, STDERR_FILENO);
            ::close(saved);
        }
    }
    LibraryNotesMuted(const LibraryNotesMuted&) = delete;
    LibraryNotesMuted& operator=(const LibraryNotesMuted&) = delete;

private:
    static std::mutex mutex;
    std::lock_guard<std::mutex> lock;
    int saved = -1;
};

std::mutex LibraryNotesMuted::mutex;

// Why libsndfile refused a file it could read: its own text, except where
// that text speaks of a missing file or a pipe, which an opened regular file
// is not.
std::string refusalReason(int code) {
    if (code == SF_ERR_UNRECOGNISED_FORMAT) {
        return "not a format libsndfile knows";
    }
    const std::string reason = sf_error_number(code);
    if (reason.find("does not exist") != std::string::npos) {
        return "not a format libsndfile knows, or damaged";
    }
    return reason;
}

} // namespace

struct AudioFileReader::State {
    std::string path;
    int descriptor = -1; // closed here, not by libsndfile
    SNDFILE* file = nullptr;
    SF_INFO info{};
    int channel = 0; // 0-based
    SRC_STATE* converter = nullptr;
    double ratio = 1.0; // output rate / file rate

    std::vector<float> frames;    // interleaved frames as read
    std::vector<float> mono;      // the chosen channel of `frames`
    size_t monoUsed = 0;          // samples of `mono` already passed on
    std::vector<float> converted; // converter output not yet handed out
    size_t convertedUsed = 0;
    int64_t framesRead = 0;
    bool fileEnded = false;
    bool finished = false;     // converter drained (or no converter and file ended)
    bool decoderTalks = false; // the MP3 decoder, which prints notes while reading
    int64_t cleaned = 0;       // non-finite samples replaced

    ~State() {
        if (converter) {
            src_delete(converter);
        }
        if (file) {
            sf_close(file);
        }
        if (descriptor >= 0) {
            ::close(descriptor);
        }
    }

    // Reads the next chunk of the chosen channel into `mono`.
    std::optional<AudioFileError> readChunk() {
        frames.resize(static_cast<size_t>(kChunkFrames * info.channels));
        sf_count_t got = 0;
        if (decoderTalks) {
            const LibraryNotesMuted muted;
            got = sf_readf_float(file, frames.data(), kChunkFrames);
        } else {
            got = sf_readf_float(file, frames.data(), kChunkFrames);
        }
        if (got < kChunkFrames) {
            if (sf_error(file) != SF_ERR_NO_ERROR) {
                return makeError(AudioFileError::Kind::unreadable,
                                 "cannot read " + quotedName(path) + ": " + sf_strerror(file));
            }
            fileEnded = true;
        }
        mono.resize(static_cast<size_t>(got));
        if (info.channels == 1) {
            std::copy_n(frames.begin(), got, mono.begin());
        } else {
            for (sf_count_t i = 0; i < got; ++i) {
                mono[static_cast<size_t>(i)] =
                    frames[static_cast<size_t>(i * info.channels + channel)];
            }
        }
        // Before the converter, whose filter a NaN would poison too.
        cleaned += static_cast<int64_t>(tarn::cleanSamples(mono));
        monoUsed = 0;
        framesRead += got;
        return std::nullopt;
    }

    // Runs the converter over what is left of `mono` into `converted`.
    std::optional<AudioFileError> convert() {
        const size_t available = mono.size() - monoUsed;
        converted.resize(static_cast<size_t>(available * ratio) + 64);
        SRC_DATA data{};
        data.data_in = mono.data() + monoUsed;
        data.input_frames = static_cast<long>(available);
        data.data_out = converted.data();
        data.output_frames = static_cast<long>(converted.size());
        data.end_of_input = fileEnded ? 1 : 0;
        data.src_ratio = ratio;
        const int error = src_process(converter, &data);
        if (error != 0) {
            return makeError(AudioFileError::Kind::unreadable,
                             "cannot convert " + quotedName(path) + ": " + src_strerror(error));
        }
        monoUsed += static_cast<size_t>(data.input_frames_used);
        converted.resize(static_cast<size_t>(data.output_frames_gen));
        // Finite input can still overflow the filter near float's limits.
        cleaned += static_cast<int64_t>(tarn::cleanSamples(converted));
        convertedUsed = 0;
        if (fileEnded && monoUsed == mono.size() && data.output_frames_gen == 0) {
            finished = true;
        }
        return std::nullopt;
    }
};

AudioFileReader::AudioFileReader(std::unique_ptr<State> readerState)
    : state(std::move(readerState)) {}

AudioFileReader::~AudioFileReader() = default;

AudioResult<std::unique_ptr<AudioFileReader>> AudioFileReader::open(const std::string& path,
                                                                    int channel) {
    auto state = std::make_unique<State>();
    state->path = path;
    // Opened here rather than by name in libsndfile, which refuses names of
    // 1024 bytes or more; the descriptor also explains a missing file or a
    // directory before libsndfile would call it "not audio".
    state->descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (state->descriptor < 0) {
        if (errno == ENOENT || errno == ENOTDIR) {
            return makeError(AudioFileError::Kind::missing, "no such file: " + quotedName(path));
        }
        return makeError(AudioFileError::Kind::unreadable,
                         "cannot read " + quotedName(path) + ": " + std::strerror(errno));
    }
    struct stat about {};
    if (fstat(state->descriptor, &about) != 0) {
        return makeError(AudioFileError::Kind::unreadable,
                         "cannot read " + quotedName(path) + ": " + std::strerror(errno));
    }
    if (S_ISDIR(about.st_mode)) {
        return makeError(AudioFileError::Kind::unreadable,
                         "cannot read " + quotedName(path) + ": it is a directory");
    }
    if (S_ISREG(about.st_mode) && about.st_size == 0) {
        return makeError(AudioFileError::Kind::empty, quotedName(path) + " is empty");
    }
    {
        const LibraryNotesMuted muted;
        state->file = sf_open_fd(state->descriptor, SFM_READ, &state->info, SF_FALSE);
    }
    if (!state->file) {
        const int code = sf_error(nullptr);
        if (code == SF_ERR_SYSTEM) {
            return makeError(AudioFileError::Kind::unreadable,
                             "cannot read " + quotedName(path) + ": " + sf_strerror(nullptr));
        }
        return makeError(AudioFileError::Kind::notAudio, quotedName(path) +
                                                             " is not a readable audio file (" +
                                                             refusalReason(code) + ")");
    }
    state->decoderTalks = (state->info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_MPEG;
    const SF_INFO& info = state->info;
    if (info.frames <= 0 || info.channels < 1) {
        return makeError(AudioFileError::Kind::empty, quotedName(path) + " holds no audio samples");
    }
    if (info.samplerate <= 0) {
        return makeError(AudioFileError::Kind::notAudio,
                         quotedName(path) + " has an invalid sample rate");
    }
    if (channel < 1 || channel > info.channels) {
        return makeError(AudioFileError::Kind::badChannel,
                         "channel " + std::to_string(channel) + " requested, but " +
                             quotedName(path) + " has " + std::to_string(info.channels) +
                             (info.channels == 1 ? " channel" : " channels"));
    }
    state->channel = channel - 1;
    if (info.samplerate != kOutputRate) {
        state->ratio = static_cast<double>(kOutputRate) / info.samplerate;
        if (src_is_valid_ratio(state->ratio) == 0) {
            return makeError(AudioFileError::Kind::notAudio,
                             quotedName(path) + " has an unsupported sample rate of " +
                                 std::to_string(info.samplerate) + " Hz");
        }
        int error = 0;
        state->converter = src_new(SRC_SINC_BEST_QUALITY, 1, &error);
        if (!state->converter) {
            return makeError(AudioFileError::Kind::unreadable,
                             "cannot convert " + quotedName(path) + ": " + src_strerror(error));
        }
    }
    return std::unique_ptr<AudioFileReader>(new AudioFileReader(std::move(state)));
}

AudioResult<int64_t> AudioFileReader::read(float* destination, int64_t count) {
    State& s = *state;
    int64_t written = 0;
    while (written < count && !s.finished) {
        std::vector<float>& source = s.converter ? s.converted : s.mono;
        size_t& used = s.converter ? s.convertedUsed : s.monoUsed;
        if (used < source.size()) {
            const size_t take =
                std::min(source.size() - used, static_cast<size_t>(count - written));
            std::copy_n(source.data() + used, take, destination + written);
            used += take;
            written += static_cast<int64_t>(take);
            continue;
        }
        if (s.converter) {
            // Feed the converter more input when it has used all it had.
            if (s.monoUsed == s.mono.size() && !s.fileEnded) {
                if (auto error = s.readChunk()) {
                    return *error;
                }
            }
            if (auto error = s.convert()) {
                return *error;
            }
        } else if (s.fileEnded) {
            s.finished = true;
        } else if (auto error = s.readChunk()) {
            return *error;
        }
    }
    return written;
}

int AudioFileReader::sourceRate() const {
    return state->info.samplerate;
}
int AudioFileReader::sourceChannels() const {
    return state->info.channels;
}
int64_t AudioFileReader::sourceFrames() const {
    return state->info.frames;
}

int64_t AudioFileReader::cleanedSamples() const {
    return state->cleaned;
}

int64_t AudioFileReader::expectedSamples() const {
    return static_cast<int64_t>(static_cast<double>(state->info.frames) * state->ratio);
}

double AudioFileReader::progress() const {
    if (state->finished) {
        return 1.0;
    }
    return std::min(1.0, static_cast<double>(state->framesRead) /
                             static_cast<double>(std::max<int64_t>(1, state->info.frames)));
}

AudioResult<std::vector<float>> readAudioFile(const std::string& path, int channel,
                                              const ProgressCallback& progress) {
    auto opened = AudioFileReader::open(path, channel);
    if (!opened) {
        return opened.error();
    }
    AudioFileReader& reader = *opened.value();
    std::vector<float> samples;
    samples.reserve(static_cast<size_t>(reader.expectedSamples()) + 16);
    constexpr int64_t kPiece = 65536;
    for (;;) {
        const size_t before = samples.size();
        samples.resize(before + kPiece);
        auto got = reader.read(samples.data() + before, kPiece);
        if (!got) {
            return got.error();
        }
        samples.resize(before + static_cast<size_t>(got.value()));
        if (progress) {
            progress(reader.progress());
        }
        if (got.value() == 0) {
            break;
        }
    }
    if (samples.empty()) {
        return makeError(AudioFileError::Kind::empty, quotedName(path) + " holds no audio samples");
    }
    return samples;
}

} // namespace audiofile
