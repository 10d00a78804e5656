// tarn-psk31 spectrum as a user runs it, and the PNG encoder behind it.
#include "AudioFile.h"
#include "PngWriter.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/wait.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

uint32_t bigEndian(const std::vector<uint8_t>& bytes, size_t at) {
    return uint32_t{bytes[at]} << 24 | uint32_t{bytes[at + 1]} << 16 |
           uint32_t{bytes[at + 2]} << 8 | bytes[at + 3];
}

struct Png {
    uint32_t width = 0, height = 0;
    std::vector<uint8_t> pixels; // RGB rows, filter bytes removed
};

// Reads back what encodePng writes, checking every chunk's CRC.
Png readPng(const std::vector<uint8_t>& file) {
    Png png;
    const uint8_t signature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    EXPECT_TRUE(file.size() > 8 && std::memcmp(file.data(), signature, 8) == 0);
    std::vector<uint8_t> packed;
    std::string last;
    for (size_t at = 8; at + 12 <= file.size();) {
        const uint32_t length = bigEndian(file, at);
        const std::string type(file.begin() + at + 4, file.begin() + at + 8);
        const uLong crc = crc32(0L, file.data() + at + 4, length + 4);
        EXPECT_EQ(bigEndian(file, at + 8 + length), crc) << type;
        const uint8_t* data = file.data() + at + 8;
        if (type == "IHDR") {
            png.width = bigEndian(file, at + 8);
            png.height = bigEndian(file, at + 12);
            EXPECT_EQ(std::vector<uint8_t>(data + 8, data + 13),
                      (std::vector<uint8_t>{8, 2, 0, 0, 0}));
        } else if (type == "IDAT") {
            packed.insert(packed.end(), data, data + length);
        }
        last = type;
        at += 12 + length;
    }
    EXPECT_EQ(last, "IEND");
    const size_t rowBytes = png.width * 3;
    std::vector<uint8_t> raw((rowBytes + 1) * png.height);
    uLongf rawSize = raw.size();
    EXPECT_EQ(uncompress(raw.data(), &rawSize, packed.data(), packed.size()), Z_OK);
    EXPECT_EQ(rawSize, raw.size());
    for (uint32_t y = 0; y < png.height; ++y) {
        EXPECT_EQ(raw[y * (rowBytes + 1)], 0) << "row " << y << " filter";
        png.pixels.insert(png.pixels.end(), raw.begin() + y * (rowBytes + 1) + 1,
                          raw.begin() + (y + 1) * (rowBytes + 1));
    }
    return png;
}

std::vector<uint8_t> slurp(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

TEST(PngWriter, WritesAPictureThatReadsBack) {
    std::vector<uint8_t> rgb(5 * 3 * 3);
    for (size_t i = 0; i < rgb.size(); ++i) {
        rgb[i] = static_cast<uint8_t>(i * 7);
    }
    const Png png = readPng(cli::encodePng(5, 3, rgb));
    EXPECT_EQ(png.width, 5u);
    EXPECT_EQ(png.height, 3u);
    EXPECT_EQ(png.pixels, rgb);
    EXPECT_THROW(cli::encodePng(5, 2, rgb), std::invalid_argument);
    EXPECT_THROW(cli::encodePng(0, 0, {}), std::invalid_argument);
}

class SpectrumCommand : public testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/tarn-spectrum-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        directory = pattern;
    }
    void TearDown() override { fs::remove_all(directory); }

    std::string path(const std::string& name) const { return (directory / name).string(); }

    // A recording of `seconds` of a steady tone at `frequency` Hz.
    std::string tone(const std::string& name, double seconds, double frequency) const {
        std::vector<float> samples(static_cast<size_t>(seconds * 8000));
        for (size_t n = 0; n < samples.size(); ++n) {
            samples[n] = static_cast<float>(0.3 * std::sin(2 * M_PI * frequency * n / 8000.0));
        }
        EXPECT_FALSE(audiofile::writeWavFile(path(name), samples.data(),
                                             static_cast<int64_t>(samples.size()),
                                             audiofile::SampleFormat::float32));
        return path(name);
    }

    // Runs the program; returns its exit status, stderr in `errors`.
    int run(const std::string& arguments) {
        const std::string line = std::string(TARN_PSK31_PROGRAM) + " spectrum " + arguments + " >" +
                                 path(".out") + " 2>" + path(".err");
        const int status = std::system(line.c_str());
        const std::vector<uint8_t> err = slurp(path(".err"));
        errors.assign(err.begin(), err.end());
        fs::remove(path(".out"));
        fs::remove(path(".err"));
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    // Files left in the directory (temporary ones included).
    size_t fileCount() const {
        return static_cast<size_t>(std::distance(fs::directory_iterator(directory), {}));
    }

    fs::path directory;
    std::string errors;
};

TEST_F(SpectrumCommand, DrawsTheWaterfallAndWritesTheRawRows) {
    const std::string input = tone("tone.wav", 10.0, 1500.0);
    ASSERT_EQ(run(input + " -o " + path("w.png") + " --raw " + path("rows.f32")), 0) << errors;

    const Png png = readPng(slurp(path("w.png")));
    EXPECT_EQ(png.width, 257u); // 500 .. 2500 Hz at 7.8125 Hz per pixel
    EXPECT_EQ(png.height, 78u); // 80000 samples / 1024 per row
    // The tone (bin 192, pixel 128) is the brightest column of the newest row.
    const uint8_t* top = png.pixels.data();
    int brightest = 0;
    for (int x = 0; x < 257; ++x) {
        if (top[x * 3 + 1] > top[brightest * 3 + 1]) {
            brightest = x;
        }
    }
    EXPECT_EQ(brightest, 128);

    const std::vector<uint8_t> raw = slurp(path("rows.f32"));
    ASSERT_EQ(raw.size(), 512u * 1024u * 4u);
    std::vector<float> rows(512 * 1024);
    for (size_t i = 0; i < rows.size(); ++i) {
        const uint32_t bits = uint32_t{raw[4 * i]} | uint32_t{raw[4 * i + 1]} << 8 |
                              uint32_t{raw[4 * i + 2]} << 16 | uint32_t{raw[4 * i + 3]} << 24;
        std::memcpy(&rows[i], &bits, 4);
        ASSERT_TRUE(rows[i] >= 0.0f && rows[i] <= 3.0f) << i;
    }
    // Newest row first: it shows the tone; rows the recording never reached
    // are still empty.
    EXPECT_EQ(std::max_element(rows.begin() + 64, rows.begin() + 320) - rows.begin(), 192);
    EXPECT_TRUE(std::all_of(rows.begin() + 78 * 1024, rows.end(), [](float v) { return v == 0; }));
    EXPECT_EQ(fileCount(), 3u);
}

TEST_F(SpectrumCommand, BadRequestsLeaveNoFilesBehind) {
    const std::string input = tone("tone.wav", 3.0, 1000.0);
    const std::string shortInput = tone("short.wav", 0.1, 1000.0);
    const std::string out = " -o " + path("w.png") + " --raw " + path("rows.f32");
    EXPECT_EQ(run(input), 2);
    EXPECT_NE(errors.find("-o OUT.png"), std::string::npos) << errors;
    EXPECT_EQ(run(path("missing.wav") + out), 2);
    EXPECT_NE(errors.find("missing.wav"), std::string::npos) << errors;
    EXPECT_EQ(run(shortInput + out), 2);
    EXPECT_NE(errors.find("shorter than one spectrum row"), std::string::npos) << errors;
    EXPECT_EQ(run(input + " -o " + path("nowhere/w.png")), 2);
    EXPECT_EQ(run(input + " -o " + input), 2);
    EXPECT_EQ(run(input + " -o " + path("w.png") + " --raw " + path("w.png")), 2);
    EXPECT_EQ(run(input + out + " --frequency x"), 2);
    EXPECT_EQ(run(input + out + " --bogus"), 2);
    EXPECT_EQ(fileCount(), 2u) << "only the two recordings";
}

} // namespace
