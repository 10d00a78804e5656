// tarn-psk31 and the files it is given: damaged samples, awkward names and
// paths, and libraries that would talk on stderr.
#include "audiofile/AudioFile.h"

#include "tests/tools/CliTest.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr const char* kText = "the quick brown fox jumps over the lazy dog";

// Writes mono float samples at `rate` Hz with libsndfile, values untouched.
void writeFloatWav(const std::string& file, const std::vector<float>& samples, int rate) {
    SF_INFO info{0, rate, 1, SF_FORMAT_WAV | SF_FORMAT_FLOAT, 0, 0};
    SNDFILE* out = sf_open(file.c_str(), SFM_WRITE, &info);
    ASSERT_NE(out, nullptr);
    sf_writef_float(out, samples.data(), static_cast<sf_count_t>(samples.size()));
    sf_close(out);
}

TEST_F(CliTest, SamplesThatAreNotFiniteAreCleanedAndReportedOnce) {
    ASSERT_EQ(run({"encode", "--text", kText, "--lead-in", "2", "-o", path("s.wav")}).status, 0);
    auto clean = audiofile::readAudioFile(path("s.wav"));
    ASSERT_TRUE(clean);
    const std::vector<float>& x = clean.value();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    struct Case {
        std::vector<float> bad; // put at 0.5 s, one after the other
        int rate;               // Hz; 16000 goes through the rate converter
        const char* said;
    };
    const std::vector<Case> cases = {
        {{nan}, 8000, "1 sample was"},
        {{inf}, 8000, "1 sample was"},
        {{-inf, nan, inf}, 8000, "3 samples were"},
        {{nan, -inf}, 16000, "2 samples were"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.said + std::string(" at ") + std::to_string(c.rate));
        std::vector<float> samples;
        if (c.rate == 8000) {
            samples = x;
        } else {
            // Twice the rate by linear interpolation; its images lie above 4000 Hz.
            for (size_t n = 0; n + 1 < x.size(); ++n) {
                samples.push_back(x[n]);
                samples.push_back(0.5f * (x[n] + x[n + 1]));
            }
        }
        const size_t at = static_cast<size_t>(c.rate / 2);
        std::copy(c.bad.begin(), c.bad.end(), samples.begin() + static_cast<ptrdiff_t>(at));
        writeFloatWav(path("bad.wav"), samples, c.rate);

        const Outcome decoded = run({"decode", path("bad.wav"), "--retune-at", "5"});
        EXPECT_EQ(decoded.status, 0);
        EXPECT_NE(decoded.out.find("jumps over the lazy dog"), std::string::npos) << decoded.out;
        EXPECT_EQ(lineCount(decoded.err), 1u) << decoded.err;
        EXPECT_NE(decoded.err.find(c.said), std::string::npos) << decoded.err;
    }
    // A clean recording says nothing.
    EXPECT_EQ(run({"decode", path("s.wav")}).err, "");
}

TEST_F(CliTest, NamesAndLibraryNotesStayOnOneQuotedLine) {
    // An MPEG frame header followed by nothing: the MP3 decoder gives up
    // with notes of its own.
    std::string frame = "\xff\xfb\x90";
    frame += std::string(2001, '\0');
    std::ofstream(path("broken.mp3"), std::ios::binary) << frame;
    const struct {
        std::vector<std::string> arguments;
        std::string said;
    } cases[] = {
        {{"decode", "no\nsuch\nfile.wav"}, "no such file: 'no'$'\\n''such'$'\\n''file.wav'"},
        {{"decode", "\x1b[2J.wav"}, "$'\\x1b''[2J.wav'"},
        {{"decode", "it's.wav"}, "'it'$'\\'''s.wav'"},
        {{"decode", "caf\xc3\xa9\x9b.wav"}, "'caf\xc3\xa9'$'\\x9b''.wav'"},
        {{"decode", path("broken.mp3")}, "not a readable audio file"},
        {{"spectrum", path("broken.mp3"), "-o", path("w.png")}, "not a readable audio file"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.arguments));
        const Outcome result = run(c.arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(lineCount(result.err), 1u) << result.err;
        EXPECT_EQ(result.err.find('\x1b'), std::string::npos);
        EXPECT_NE(result.err.find(c.said), std::string::npos) << result.err;
        EXPECT_EQ(result.err.find("does not exist"), std::string::npos) << result.err;
    }
}

TEST_F(CliTest, LongAbsolutePathsDecode) {
    // Just past libsndfile's 1024-byte name buffer, and near the system's
    // 4096-byte limit.
    for (const size_t length : {1030u, 4000u}) {
        SCOPED_TRACE(length);
        fs::path folder = directory / "long";
        const std::string name = "/msg.wav";
        while (folder.string().size() + name.size() < length) {
            const size_t room = length - folder.string().size() - name.size() - 1;
            folder /= std::string(std::min<size_t>(room, 200), 'd');
        }
        fs::create_directories(folder);
        const std::string file = folder.string() + name;
        ASSERT_EQ(file.size(), length);
        ASSERT_EQ(run({"encode", "--text", "CQ DE N0CALL", "-o", file}).status, 0);
        const Outcome decoded = run({"decode", file});
        EXPECT_EQ(decoded.status, 0) << decoded.err;
        EXPECT_NE(decoded.out.find("DE N0CALL"), std::string::npos) << decoded.out;
        fs::remove_all(directory / "long");
    }
}

} // namespace
