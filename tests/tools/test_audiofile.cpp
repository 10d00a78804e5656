// The audio file module: conversion to 8000 Hz mono on reading, exact and
// atomic WAV writing, and the reasons given for files that cannot be used.
#include "audiofile/AudioFile.h"

#include "tests/support/ScratchDirectoryTest.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using audiofile::AudioFileError;
using audiofile::SampleFormat;

namespace {

class AudioFileTest : public ScratchDirectoryTest {
protected:
    std::optional<AudioFileError> write(const std::string& name, const std::vector<float>& samples,
                                        SampleFormat format = SampleFormat::float32) const {
        return audiofile::writeWavFile(path(name), samples.data(),
                                       static_cast<int64_t>(samples.size()), format);
    }
};

// A sine of `hz` at `rate`, amplitude `level`.
std::vector<float> tone(double hz, int rate, int count, double level) {
    std::vector<float> samples(count);
    for (int n = 0; n < count; ++n) {
        samples[n] = static_cast<float>(level * std::sin(2.0 * M_PI * hz * n / rate));
    }
    return samples;
}

// Amplitude of the component at `hz` in 8000 Hz samples (one DFT bin).
double amplitudeAt(const std::vector<float>& samples, size_t first, size_t count, double hz) {
    double re = 0.0;
    double im = 0.0;
    for (size_t n = first; n < first + count; ++n) {
        const double angle = 2.0 * M_PI * hz * static_cast<double>(n) / 8000.0;
        re += samples[n] * std::cos(angle);
        im += samples[n] * std::sin(angle);
    }
    return 2.0 * std::hypot(re, im) / static_cast<double>(count);
}

void writeStereo(const std::string& path, int rate, const std::vector<float>& left,
                 const std::vector<float>& right, int format) {
    SF_INFO info{0, rate, 2, format, 0, 0};
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr) << sf_strerror(nullptr);
    std::vector<float> frames;
    for (size_t i = 0; i < left.size(); ++i) {
        frames.insert(frames.end(), {left[i], right[i]});
    }
    ASSERT_EQ(sf_writef_float(file, frames.data(), static_cast<sf_count_t>(left.size())),
              static_cast<sf_count_t>(left.size()));
    sf_close(file);
}

TEST_F(AudioFileTest, FloatWavKeepsEverySampleAndPcm16ClipsBeyondFullScale) {
    std::vector<float> samples = tone(1500.0, 8000, 5000, 0.6);
    samples[10] = 1.75f; // float keeps values beyond full scale; 16 bits clip them
    samples[11] = -3.0f;
    samples[12] = -0.0f;
    const struct {
        SampleFormat format;
        int fileFormat;
        double step; // largest difference read back
    } cases[] = {{SampleFormat::float32, SF_FORMAT_FLOAT, 0.0},
                 {SampleFormat::pcm16, SF_FORMAT_PCM_16, 1.0 / 32768.0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fileFormat);
        ASSERT_FALSE(write("signal.wav", samples, c.format));
        SF_INFO info{};
        SNDFILE* raw = sf_open(path("signal.wav").c_str(), SFM_READ, &info);
        ASSERT_NE(raw, nullptr);
        sf_close(raw);
        EXPECT_EQ(info.format, SF_FORMAT_WAV | c.fileFormat);
        EXPECT_EQ(info.samplerate, 8000);
        EXPECT_EQ(info.channels, 1);

        auto read = audiofile::readAudioFile(path("signal.wav"));
        ASSERT_TRUE(read) << read.error().message;
        ASSERT_EQ(read.value().size(), samples.size());
        for (size_t i = 0; i < samples.size(); ++i) {
            const float expected = c.step == 0.0 ? samples[i] : std::clamp(samples[i], -1.f, 1.f);
            ASSERT_NEAR(read.value()[i], expected, c.step) << "sample " << i;
        }
        EXPECT_EQ(listing(), std::vector<std::string>{"signal.wav"});
    }
}

TEST_F(AudioFileTest, StereoAt44100IsResampledAndTheChosenChannelRead) {
    constexpr int kFrames = 44100; // one second
    writeStereo(path("stereo.wav"), 44100, tone(500.0, 44100, kFrames, 0.5),
                tone(1200.0, 44100, kFrames, 0.25), SF_FORMAT_WAV | SF_FORMAT_PCM_16);
    auto left = audiofile::readAudioFile(path("stereo.wav"));
    auto right = audiofile::readAudioFile(path("stereo.wav"), 2);
    ASSERT_TRUE(left) << left.error().message;
    ASSERT_TRUE(right) << right.error().message;
    EXPECT_NEAR(static_cast<double>(left.value().size()), 8000.0, 2.0);
    EXPECT_NEAR(static_cast<double>(right.value().size()), 8000.0, 2.0);
    // Away from the edges the converted tones keep their level, and each
    // channel holds only its own tone.
    EXPECT_NEAR(amplitudeAt(left.value(), 2000, 4000, 500.0), 0.5, 0.001);
    EXPECT_NEAR(amplitudeAt(left.value(), 2000, 4000, 1200.0), 0.0, 0.001);
    EXPECT_NEAR(amplitudeAt(right.value(), 2000, 4000, 1200.0), 0.25, 0.001);
    EXPECT_NEAR(amplitudeAt(right.value(), 2000, 4000, 500.0), 0.0, 0.001);
}

TEST_F(AudioFileTest, PiecewiseReadingMatchesWholeReadingAndReportsProgress) {
    const std::string file = path("long.flac");
    writeStereo(file, 22050, tone(900.0, 22050, 60000, 0.4), tone(300.0, 22050, 60000, 0.4),
                SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    std::vector<double> fractions;
    auto whole = audiofile::readAudioFile(file, 1, [&](double f) { fractions.push_back(f); });
    ASSERT_TRUE(whole) << whole.error().message;
    ASSERT_FALSE(fractions.empty());
    EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
    EXPECT_EQ(fractions.back(), 1.0);

    for (const int64_t piece : {1, 7, 2000, 100000}) {
        auto opened = audiofile::AudioFileReader::open(file);
        ASSERT_TRUE(opened) << opened.error().message;
        auto& reader = *opened.value();
        EXPECT_EQ(reader.sourceRate(), 22050);
        EXPECT_EQ(reader.sourceChannels(), 2);
        std::vector<float> pieces;
        std::vector<float> buffer(static_cast<size_t>(piece));
        for (;;) {
            auto got = reader.read(buffer.data(), piece);
            ASSERT_TRUE(got);
            if (got.value() == 0) {
                break;
            }
            pieces.insert(pieces.end(), buffer.begin(), buffer.begin() + got.value());
        }
        EXPECT_EQ(pieces, whole.value()) << "pieces of " << piece;
        EXPECT_EQ(reader.progress(), 1.0);
    }
}

TEST_F(AudioFileTest, UnusableFilesAreRefusedWithTheirReason) {
    std::ofstream(path("empty.wav")).flush();
    std::ofstream(path("text.wav")) << "this is not a sound file, only words\n";
    ASSERT_FALSE(write("mono.wav", {0.5f}));
    ASSERT_FALSE(write("nothing.wav", {}));

    const struct {
        std::string file;
        int channel;
        AudioFileError::Kind kind;
        std::string words;
    } cases[] = {
        {"absent.wav", 1, AudioFileError::Kind::missing, "no such file"},
        {"", 1, AudioFileError::Kind::unreadable, "directory"},
        {"empty.wav", 1, AudioFileError::Kind::empty, "empty"},
        {"nothing.wav", 1, AudioFileError::Kind::empty, "no audio samples"},
        {"text.wav", 1, AudioFileError::Kind::notAudio, "not a readable audio file"},
        {"mono.wav", 2, AudioFileError::Kind::badChannel, "has 1 channel"},
        {"mono.wav", 0, AudioFileError::Kind::badChannel, "channel 0"},
    };
    for (const auto& c : cases) {
        auto read = audiofile::readAudioFile(path(c.file), c.channel);
        ASSERT_FALSE(read) << c.file;
        EXPECT_EQ(read.error().kind, c.kind) << c.file;
        EXPECT_NE(read.error().message.find(c.words), std::string::npos) << read.error().message;
        EXPECT_NE(read.error().message.find(path(c.file)), std::string::npos)
            << read.error().message;
    }
    if (geteuid() != 0) { // root reads whatever the mode says
        fs::permissions(path("mono.wav"), fs::perms::none);
        auto read = audiofile::readAudioFile(path("mono.wav"));
        ASSERT_FALSE(read);
        EXPECT_EQ(read.error().kind, AudioFileError::Kind::unreadable);
    }
}

TEST_F(AudioFileTest, FailedWriteLeavesNoFileAndKeepsTheOldOne) {
    const std::vector<float> samples = {0.1f, 0.2f, 0.3f};
    // The disk fills up partway: the old file stays as it was.
    std::ofstream(path("old.wav")) << "old contents";
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit small{4096, limit.rlim_max};
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const auto error = write("old.wav", std::vector<float>(100000, 0.5f));
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, oldHandler);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->kind, AudioFileError::Kind::unwritable);
    EXPECT_NE(error->message.find(path("old.wav")), std::string::npos) << error->message;
    {
        std::ifstream old(path("old.wav"));
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(old), {}), "old contents");
    }

    // Over a directory: the rename fails after the data was written.
    fs::create_directory(path("taken.wav"));
    EXPECT_TRUE(write("taken.wav", samples));
    EXPECT_EQ(listing(), (std::vector<std::string>{"old.wav", "taken.wav"}));

    // A pipe (like a device) is refused, not replaced by a regular file.
    ASSERT_EQ(mkfifo(path("pipe.wav").c_str(), 0600), 0);
    EXPECT_TRUE(write("pipe.wav", samples));
    EXPECT_TRUE(fs::is_fifo(path("pipe.wav")));
    fs::remove(path("pipe.wav"));

    // A link stays a link; the file it names is written.
    fs::create_symlink("linked.wav", path("link.wav"));
    ASSERT_FALSE(write("link.wav", samples));
    EXPECT_TRUE(fs::is_symlink(path("link.wav")));
    EXPECT_TRUE(audiofile::readAudioFile(path("linked.wav")));
    fs::remove(path("link.wav"));
    fs::remove(path("linked.wav"));

    // A successful write replaces an existing file whole.
    ASSERT_FALSE(write("old.wav", samples));
    auto read = audiofile::readAudioFile(path("old.wav"));
    ASSERT_TRUE(read);
    EXPECT_EQ(read.value(), samples);
    EXPECT_EQ(listing(), (std::vector<std::string>{"old.wav", "taken.wav"}));
}

} // namespace
