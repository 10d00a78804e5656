// tarn-psk31 scan as a user runs it: both output formats on a recording of
// two stations, and the one-line errors for bad input.
#include "audiofile/AudioFile.h"
#include "tests/support/BandSignals.h"
#include "tests/support/ScratchDirectoryTest.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <sys/wait.h>

namespace {

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

std::string slurp(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        out.push_back(line);
    }
    return out;
}

const testsignals::Station kStations[] = {
    {"CQ CQ de N0CALL pse k", 900.0, 8.0, 0.5, 50.0},
    {"QRZ? de \"G4XYZ\" \\ k", 1700.0, 8.0, 1.0, -50.0},
};

class ScanCommandTest : public ScratchDirectoryTest {
protected:
    void SetUp() override {
        ScratchDirectoryTest::SetUp();
        const std::vector<float> audio = testsignals::mixBand(
            std::vector<testsignals::Station>(std::begin(kStations), std::end(kStations)), 12.0,
            0.1, 21);
        ASSERT_FALSE(audiofile::writeWavFile(path("band.wav"), audio.data(),
                                             static_cast<int64_t>(audio.size()),
                                             audiofile::SampleFormat::float32));
    }

    Outcome run(const std::vector<std::string>& arguments) {
        std::string line = "'" TARN_PSK31_PROGRAM "' scan";
        for (const std::string& argument : arguments) {
            line += " '" + argument + "'";
        }
        line += " >" + path(".out") + " 2>" + path(".err");
        const int status = std::system(line.c_str());
        return Outcome{WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(path(".out")),
                       slurp(path(".err"))};
    }
};

} // namespace

// One JSON object per piece of text, every field in its format; the pieces
// of each channel add up to its station's text (quotes and backslashes
// escaped).
TEST_F(ScanCommandTest, JsonLinesCarryEveryField) {
    const Outcome outcome = run({path("band.wav"), "--format", "jsonl"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const std::regex piece(R"re(\{"t": \d+\.\d{3}, "ch": (\d+), "freq": (\d+\.\d), )re"
                           R"re("snr": -?\d+\.\d, "imd": (null|-?\d+\.\d), "text": "(.*)"\})re");
    std::map<int, std::string> texts;
    std::map<int, double> frequencies;
    for (const std::string& line : lines(outcome.out)) {
        std::smatch m;
        ASSERT_TRUE(std::regex_match(line, m, piece)) << line;
        texts[std::stoi(m[1])] += m[4];
        frequencies[std::stoi(m[1])] = std::stod(m[2]);
    }
    ASSERT_EQ(texts.size(), 2u) << outcome.out;
    const std::string expected[] = {"CQ CQ de N0CALL pse k", R"(QRZ? de \"G4XYZ\" \\ k)"};
    int station = 0;
    for (const auto& [channel, text] : texts) {
        EXPECT_NEAR(frequencies[channel], kStations[station].frequency, 1.0);
        EXPECT_NE(text.find(expected[station]), std::string::npos) << text;
        ++station;
    }
}

// A line per channel at the end: id, carrier, SNR, IMD, open time and text.
TEST_F(ScanCommandTest, TextGivesALinePerChannel) {
    const Outcome outcome = run({path("band.wav")});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const std::vector<std::string> got = lines(outcome.out);
    ASSERT_EQ(got.size(), 2u) << outcome.out;
    const std::regex channel(R"(ch \d+ +(\d+\.\d) Hz  SNR +-?\d+\.\d dB  IMD +(-|-?\d+\.\d) dB  )"
                             R"( *\d+\.\d- *\d+\.\d *s  (.*))");
    for (size_t i = 0; i < got.size(); ++i) {
        std::smatch m;
        ASSERT_TRUE(std::regex_match(got[i], m, channel)) << got[i];
        EXPECT_NEAR(std::stod(m[1]), kStations[i].frequency, 1.0);
        EXPECT_NE(m[3].str().find(kStations[i].text), std::string::npos) << got[i];
    }
}

// Bad input: one line on stderr, nothing on stdout, exit status 2.
TEST_F(ScanCommandTest, BadInputGetsOneLineAndStatusTwo) {
    const std::vector<std::vector<std::string>> cases = {
        {path("missing.wav")},
        {path("band.wav"), "--from", "3000"},
        {path("band.wav"), "--format", "xml"},
        {path("band.wav"), "--max-channels", "0"},
        {path("band.wav"), "--close-after", "soon"},
        {path("band.wav"), "--to"},
        {path("band.wav"), path("band.wav")},
    };
    for (const std::vector<std::string>& arguments : cases) {
        SCOPED_TRACE(arguments.back());
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(lines(outcome.err).size(), 1u) << outcome.err;
        EXPECT_EQ(outcome.out, "");
    }
}
