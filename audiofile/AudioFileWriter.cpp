// Writing mono 8000 Hz WAV files, whole or not at all.
#include "audiofile/AudioFile.h"

#include <sndfile.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace audiofile {

namespace {

AudioFileError writeError(const std::string& path, const std::string& reason) {
    return AudioFileError{AudioFileError::Kind::unwritable,
                          "cannot write " + quotedName(path) + ": " + reason};
}

// Distinguishes temporary files of concurrent writers in one process.
std::atomic<unsigned> temporaryCounter{0};

} // namespace

AtomicFile::~AtomicFile() {
    discard();
}

std::optional<AudioFileError> AtomicFile::create(const std::string& path) {
    discard();
    requested = path;
    destination = path;
    // The rename replaces whatever the name points at: a link is followed so
    // that its target is replaced, and a device, pipe or directory is refused
    // rather than replaced by a regular file.
    struct stat info {};
    // Follows links one step at a time, so that a link to a file not yet
    // written resolves too; 40 steps is the kernel's own limit.
    for (int step = 0; lstat(destination.c_str(), &info) == 0 && S_ISLNK(info.st_mode); ++step) {
        std::error_code error;
        const std::filesystem::path target = std::filesystem::read_symlink(destination, error);
        if (error || step == 40) {
            return writeError(path, "cannot follow the link");
        }
        destination = target.is_absolute()
                          ? target.string()
                          : (std::filesystem::path(destination).parent_path() / target).string();
    }
    if (lstat(destination.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) {
        return writeError(path,
                          S_ISDIR(info.st_mode) ? "it is a directory" : "it is not a regular file");
    }
    const size_t slash = destination.rfind('/');
    const std::string directory =
        slash == std::string::npos ? "" : destination.substr(0, slash + 1);
    const std::string name =
        slash == std::string::npos ? destination : destination.substr(slash + 1);
    if (name.empty()) {
        return writeError(path, "not a file name");
    }
    // A hidden name beside the destination, so that the final rename stays
    // within one file system; O_EXCL never reuses an existing file.
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::string candidate = directory + "." + name + ".tmp-" + std::to_string(getpid()) +
                                      "-" + std::to_string(temporaryCounter.fetch_add(1));
        descriptor = ::open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor >= 0) {
            temporary = candidate;
            return std::nullopt;
        }
        if (errno != EEXIST) {
            return writeError(path, std::strerror(errno));
        }
    }
    return writeError(path, "no temporary file name is free");
}

int AtomicFile::releaseDescriptor() {
    const int released = descriptor;
    descriptor = -1;
    return released;
}

std::optional<AudioFileError> AtomicFile::commit() {
    if (temporary.empty()) {
        return writeError(requested, "nothing was written");
    }
    // The data must be on disk before the name points at it, or a crash
    // could leave a complete-looking but empty file.
    int syncDescriptor = descriptor >= 0 ? descriptor : ::open(temporary.c_str(), O_RDONLY);
    if (syncDescriptor < 0 || fsync(syncDescriptor) != 0) {
        const int error = errno;
        if (syncDescriptor >= 0 && syncDescriptor != descriptor) {
            ::close(syncDescriptor);
        }
        discard();
        return writeError(requested, std::strerror(error));
    }
    if (syncDescriptor != descriptor) {
        ::close(syncDescriptor);
    }
    if (descriptor >= 0) {
        const int result = ::close(descriptor);
        descriptor = -1;
        if (result != 0) {
            const int error = errno;
            discard();
            return writeError(requested, std::strerror(error));
        }
    }
    if (std::rename(temporary.c_str(), destination.c_str()) != 0) {
        const int error = errno;
        discard();
        return writeError(requested, std::strerror(error));
    }
    temporary.clear();
    return std::nullopt;
}

void AtomicFile::discard() {
    if (descriptor >= 0) {
        ::close(descriptor);
        descriptor = -1;
    }
    if (!temporary.empty()) {
        ::unlink(temporary.c_str());
        temporary.clear();
    }
}

int64_t maxWavSamples(SampleFormat format) {
    // The RIFF sizes are 32-bit; the margin covers the header chunks.
    const int64_t bytesPerSample = format == SampleFormat::float32 ? 4 : 2;
    return (int64_t{0xFFFFFFFF} - 4096) / bytesPerSample;
}

void WavWriter::SndFileCloser::operator()(void* opened) const {
    sf_close(static_cast<SNDFILE*>(opened));
}

WavWriter::~WavWriter() {
    discard();
}

std::optional<AudioFileError> WavWriter::create(const std::string& name, SampleFormat kind) {
    discard();
    path = name;
    format = kind;
    written = 0;
    if (auto error = output.create(path)) {
        return error;
    }
    SF_INFO info{};
    info.samplerate = kOutputRate;
    info.channels = 1;
    info.format =
        SF_FORMAT_WAV | (format == SampleFormat::float32 ? SF_FORMAT_FLOAT : SF_FORMAT_PCM_16);
    SNDFILE* opened = sf_open_fd(output.releaseDescriptor(), SFM_WRITE, &info, SF_TRUE);
    if (!opened) {
        output.discard();
        return writeError(path, sf_strerror(nullptr));
    }
    sf_command(opened, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    file.reset(opened);
    return std::nullopt;
}

std::optional<AudioFileError> WavWriter::write(const float* samples, int64_t count) {
    if (!file) {
        return writeError(path, "the file is not open");
    }
    const int64_t maxSamples = maxWavSamples(format);
    if (count < 0 || (count > 0 && !samples) || count > maxSamples - written) {
        discard();
        return writeError(path, "the signal is too long for a WAV file (at most " +
                                    std::to_string(maxSamples) + " samples)");
    }
    auto* opened = static_cast<SNDFILE*>(file.get());
    constexpr int64_t kPiece = 1 << 16;
    for (int64_t done = 0; done < count;) {
        const sf_count_t piece = static_cast<sf_count_t>(std::min(kPiece, count - done));
        if (sf_writef_float(opened, samples + done, piece) != piece) {
            const std::string reason = sf_strerror(opened);
            discard();
            return writeError(path, reason);
        }
        done += piece;
    }
    written += count;
    return std::nullopt;
}

std::optional<AudioFileError> WavWriter::commit() {
    if (!file) {
        return writeError(path, "the file is not open");
    }
    // Closing writes the final header; its failure means an incomplete file.
    if (sf_close(static_cast<SNDFILE*>(file.release())) != 0) {
        discard();
        return writeError(path, "the file could not be completed");
    }
    return output.commit();
}

void WavWriter::discard() {
    file.reset();
    output.discard();
}

std::optional<AudioFileError> writeWavFile(const std::string& path, const float* samples,
                                           int64_t count, SampleFormat format) {
    if (count < 0 || (count > 0 && !samples)) {
        return writeError(path, "no samples given");
    }
    const int64_t maxSamples = maxWavSamples(format);
    if (count > maxSamples) {
        return writeError(path, "the signal is too long for a WAV file (" + std::to_string(count) +
                                    " samples, at most " + std::to_string(maxSamples) + ")");
    }
    WavWriter writer;
    if (auto error = writer.create(path, format)) {
        return error;
    }
    if (auto error = writer.write(samples, count)) {
        return error;
    }
    return writer.commit();
}

} // namespace audiofile
