// tarn-psk31 spectrum as a user runs it. The pictures are read back with
// Qt's PNG reader, independent of the encoder, pixel by pixel.
#include "audiofile/AudioFile.h"

#include "tests/tools/CliTest.h"

#include <QImage>

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <vector>

namespace {

QImage readPng(const std::string& file) {
    return QImage::fromData(reinterpret_cast<const uchar*>(file.data()),
                            static_cast<int>(file.size()), "PNG");
}

class SpectrumCommand : public CliTest {
protected:
    // A recording of a steady tone at `first` Hz for `seconds`, then as long
    // at `second` Hz.
    std::string tones(const std::string& name, double seconds, double first, double second) const {
        std::vector<float> samples(static_cast<size_t>(2 * seconds * 8000));
        for (size_t n = 0; n < samples.size(); ++n) {
            const double hz = n < samples.size() / 2 ? first : second;
            samples[n] = static_cast<float>(0.3 * std::sin(2 * M_PI * hz * n / 8000.0));
        }
        EXPECT_FALSE(audiofile::writeWavFile(path(name), samples.data(),
                                             static_cast<int64_t>(samples.size()),
                                             audiofile::SampleFormat::float32));
        return path(name);
    }
};

TEST_F(SpectrumCommand, DrawsTheWaterfallNewestRowOnTopAndWritesTheRawRows) {
    // 5 s at 1000 Hz, then 5 s at 2000 Hz: 78 rows of 1024 samples.
    const std::string input = tones("tones.wav", 5.0, 1000.0, 2000.0);
    const Outcome drawn = run({"spectrum", input, "-o", path("w.png"), "--raw", path("rows.f32")});
    ASSERT_EQ(drawn.status, 0) << drawn.err;
    EXPECT_EQ(listing(), (std::vector<std::string>{"rows.f32", "tones.wav", "w.png"}));

    // 512 rows of 1024 little-endian floats, newest first, levels 0 .. 3;
    // rows the recording never reached are still empty.
    const std::string raw = slurp(path("rows.f32"));
    ASSERT_EQ(raw.size(), 512u * 1024u * 4u);
    static_assert(std::endian::native == std::endian::little, "the file is read as it lies");
    std::vector<float> rows(512 * 1024);
    std::memcpy(rows.data(), raw.data(), raw.size());
    for (size_t i = 0; i < rows.size(); ++i) {
        ASSERT_TRUE(rows[i] >= 0.0f && rows[i] <= 3.0f) << i;
    }
    // At 7.8125 Hz per bin, 2000 Hz is bin 256 in the newest row and 1000 Hz
    // bin 128 in the oldest.
    const auto peakBin = [&](int row) {
        return std::max_element(rows.begin() + row * 1024, rows.begin() + row * 1024 + 512) -
               (rows.begin() + row * 1024);
    };
    EXPECT_EQ(peakBin(0), 256);
    EXPECT_EQ(peakBin(77), 128);
    EXPECT_TRUE(std::all_of(rows.begin() + 78 * 1024, rows.end(), [](float v) { return v == 0; }));

    // The picture shows the same rows, newest at the top, bins 64 .. 320
    // (500 .. 2500 Hz) from left to right: red rises over levels 0 .. 3,
    // green and blue over 0 .. 1.5, so silence is black, a level of 1.5
    // cyan and 3 white.
    const QImage png = readPng(slurp(path("w.png")));
    ASSERT_EQ(png.size(), QSize(257, 78));
    const auto byte = [](float fraction) { return std::lround(std::min(fraction, 1.0f) * 255); };
    for (int y = 0; y < 78; ++y) {
        for (int x = 0; x < 257; ++x) {
            const float level = rows[y * 1024 + 64 + x];
            const QRgb pixel = png.pixel(x, y);
            ASSERT_EQ(qRed(pixel), byte(level / 3.0f)) << x << ", " << y;
            ASSERT_EQ(qGreen(pixel), byte(level / 1.5f)) << x << ", " << y;
            ASSERT_EQ(qBlue(pixel), qGreen(pixel)) << x << ", " << y;
        }
    }
}

TEST_F(SpectrumCommand, BadRequestsLeaveNoFilesBehind) {
    const std::string input = tones("tones.wav", 1.5, 1000.0, 1000.0);
    const std::string shortInput = tones("short.wav", 0.05, 1000.0, 1000.0);
    const std::string png = path("w.png");
    const std::string raw = path("rows.f32");
    // Refusals of an output that is an input are tested with the other commands'.
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{input}, "-o OUT.png"},
        {{path("missing.wav"), "-o", png, "--raw", raw}, "missing.wav"},
        {{shortInput, "-o", png, "--raw", raw}, "shorter than one spectrum row"},
        {{input, "-o", path("nowhere/w.png")}, "nowhere/w.png"},
        {{input, "-o", png, "--raw", raw, "--frequency", "x"}, "--frequency"},
        {{input, "-o", png, "--raw", raw, "--bogus"}, "--bogus"},
    };
    for (const auto& [arguments, words] : cases) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        std::vector<std::string> command = {"spectrum"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const Outcome result = run(command);
        EXPECT_EQ(result.status, 2);
        EXPECT_NE(result.err.find(words), std::string::npos) << result.err;
    }
    EXPECT_EQ(listing(), (std::vector<std::string>{"short.wav", "tones.wav"}));
}

} // namespace
