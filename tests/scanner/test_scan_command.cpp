// tarn-psk31 scan as a user runs it: both output formats on a recording of
// two stations, the calls heard spotted to a collector listening here, and
// the one-line errors for bad input.
#include "audiofile/AudioFile.h"
#include "tests/support/BandSignals.h"
#include "tests/support/CommandRun.h"
#include "tests/support/IpfixCollector.h"
#include "tests/support/LocalUdpSocket.h"
#include "tests/support/ScratchDirectoryTest.h"

#include <gtest/gtest.h>

#include <map>
#include <regex>

namespace {

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

    CommandOutcome run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "scan");
        return runCommand(TARN_PSK31_PROGRAM, arguments, directory);
    }
};

} // namespace

// One JSON object per piece of text, every field in its format; the pieces
// of each channel add up to its station's text (quotes and backslashes
// escaped).
TEST_F(ScanCommandTest, JsonLinesCarryEveryField) {
    const CommandOutcome outcome = run({path("band.wav"), "--format", "jsonl"});
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
    const CommandOutcome outcome = run({path("band.wav")});
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
        {path("band.wav"), "--spot", "--locator", "JO62"},
        {path("band.wav"), "--spot", "--callsign", "DL1ABC"},
        {path("band.wav"), "--callsign", "DL1ABC"},
        {path("band.wav"), "--spot", "--callsign", "DL1ABC", "--locator", "JO62", "--spot-host",
         "host:port"},
    };
    for (const std::vector<std::string>& arguments : cases) {
        SCOPED_TRACE(arguments.back());
        const CommandOutcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(lines(outcome.err).size(), 1u) << outcome.err;
        EXPECT_EQ(outcome.out, "");
    }
}

// Every call heard on a channel goes to the collector once, however often it
// was heard: without a rig, in the sender records that carry no frequency,
// with the channel's SNR and mode PSK31 beside the receiver's call, locator
// and software. The recording is far shorter than the five minutes between
// datagrams, so its end sends what is pending.
TEST_F(ScanCommandTest, SpotsEachCallHeardOnceToTheCollector) {
    const std::vector<float> audio =
        testsignals::mixBand({{"CQ CQ de K1ABC K1ABC pse k", 800.0, 8.0, 0.5, 0.0},
                              {"CQ de G4XYZ G4XYZ de G4XYZ k", 1500.0, 8.0, 1.0, 0.0}},
                             14.0, 0.1, 5);
    ASSERT_FALSE(audiofile::writeWavFile(path("cq.wav"), audio.data(),
                                         static_cast<int64_t>(audio.size()),
                                         audiofile::SampleFormat::float32));
    const LocalUdpSocket collector;
    ASSERT_NE(collector.port(), 0);

    const CommandOutcome outcome = run({path("cq.wav"), "--spot", "--spot-host",
                                        "127.0.0.1:" + std::to_string(collector.port()),
                                        "--callsign", "DL1ABC", "--locator", "JO62qm"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.err.find("2 calls spotted"), std::string::npos) << outcome.err;

    testipfix::Collector reader;
    std::map<std::string, int> calls;
    for (std::vector<uint8_t> bytes; !(bytes = collector.receive()).empty();) {
        const testipfix::Datagram datagram = reader.read(bytes);
        for (const auto& [set, record] : datagram.records) {
            if (set == 0x9992) {
                EXPECT_EQ(testipfix::field(record, 2).text, "DL1ABC");
                EXPECT_EQ(testipfix::field(record, 4).text, "JO62qm");
                EXPECT_EQ(testipfix::field(record, 8).text.rfind("tarn-psk31 ", 0), 0u);
                continue;
            }
            EXPECT_EQ(set, 0x9994) << "a frequency without a rig";
            EXPECT_EQ(record.count({5, testipfix::kPsk}), 0u);
            EXPECT_EQ(testipfix::field(record, 10).text, "PSK31");
            const auto snr = static_cast<int8_t>(testipfix::field(record, 6).number);
            EXPECT_GE(snr, 4);
            EXPECT_LE(snr, 12);
            ++calls[testipfix::field(record, 1).text];
        }
    }
    EXPECT_EQ(calls, (std::map<std::string, int>{{"G4XYZ", 1}, {"K1ABC", 1}}));
}
