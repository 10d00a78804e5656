// The scanner on recordings with several stations, noise, drift and
// distortion: what it finds, what it copies, and what it prints on noise.
#include "tests/scanner/ScanRun.h"
#include "tests/support/BandSignals.h"

#include <gtest/gtest.h>

using testsignals::Station;

namespace {

constexpr double kNoiseRms = 0.1;

const char* const kTexts[] = {
    "CQ CQ CQ de N0CALL N0CALL pse k",
    "the quick brown fox jumps over the lazy dog 0123456789",
    "RST 599 599 name is Ann QTH Oslo hw cpy?",
    "TNX FER QSO 73 ES GL de G4XYZ sk",
    "rig here is 50 watts into a dipole at 10 m",
    "WX is sunny and warm, temp 25 C",
    "PSE QSL via bureau, 73 and good DX",
    "antenna tuner fixed the swr today",
    "hello from the middle of the band",
    "last station calling, QRZ? de K1ABC",
};

// `count` stations spread over the band, 0 .. 15 dB, staggered starts and
// clock errors of up to ±300 ppm.
std::vector<Station> band(int count) {
    std::vector<Station> stations;
    for (int i = 0; i < count; ++i) {
        Station s;
        s.text = kTexts[i % 10];
        s.frequency = 560.0 + i * (1880.0 / count) + 7.3 * (i % 3);
        s.snrDb = (i * 7) % 16;
        s.startSeconds = 0.4 + 1.7 * (i % 4);
        s.clockPpm = ((i % 5) - 2) * 150.0;
        stations.push_back(s);
    }
    return stations;
}

double longest(const std::vector<Station>& stations) {
    double end = 0.0;
    for (const Station& s : stations) {
        end = std::max(end, testsignals::stationEndSample(s) / 8000.0);
    }
    return end + 2.0;
}

} // namespace

// Every station of 0 dB or better copied with at most 1 % of its characters
// wrong, on a channel at its carrier; one channel per station.
TEST(Scanner, CopiesEveryStationInBandsOfTwoFiveAndTen) {
    for (int count : {2, 5, 10}) {
        SCOPED_TRACE(count);
        const std::vector<Station> stations = band(count);
        const ScanRun run = scan(testsignals::mixBand(stations, longest(stations), kNoiseRms, 7));
        EXPECT_EQ(run.reports.size(), stations.size());
        for (const Station& s : stations) {
            SCOPED_TRACE(s.frequency);
            const scanner::ChannelReport* r = run.nearest(s.frequency, 1.0);
            ASSERT_NE(r, nullptr);
            EXPECT_LE(testsignals::characterErrorRate(s.text, r->text), 0.01) << r->text;
        }
    }
}

// Found at -6 dB (the weakest the scanner promises to see) and copied.
TEST(Scanner, FindsAStationAtMinusSixDecibels) {
    const Station weak{"weak but there", 1720.0, -6.0, 1.0, 80.0};
    const ScanRun run = scan(testsignals::mixBand({weak}, 12.0, kNoiseRms, 3));
    ASSERT_EQ(run.reports.size(), 1u);
    EXPECT_NEAR(run.reports[0].frequency, weak.frequency, 1.0);
    EXPECT_NEAR(run.reports[0].snrDb, weak.snrDb, 2.0);
}

TEST(Scanner, CopiesTwoStationsFortyHertzApart) {
    const std::vector<Station> pair = {
        {kTexts[0], 1400.0, 6.0, 0.5, 100.0},
        {kTexts[1], 1440.0, 6.0, 0.7, -100.0},
    };
    const ScanRun run = scan(testsignals::mixBand(pair, longest(pair), kNoiseRms, 11));
    ASSERT_EQ(run.reports.size(), 2u);
    for (const Station& s : pair) {
        const scanner::ChannelReport* r = run.nearest(s.frequency, 1.0);
        ASSERT_NE(r, nullptr) << s.frequency;
        EXPECT_LE(testsignals::characterErrorRate(s.text, r->text), 0.01) << r->text;
    }
}

TEST(Scanner, TenMinutesOfNoisePrintNothing) {
    const ScanRun run = scan(testsignals::mixBand({}, 600.0, kNoiseRms, 5));
    EXPECT_TRUE(run.pieces.empty());
    EXPECT_TRUE(run.reports.empty());
}

// After the station stops, its channel prints at most two characters more,
// and the channel closes after the close time without signal.
TEST(Scanner, StopsPrintingWhenTheStationStopsAndClosesLater) {
    const Station s{kTexts[2], 1100.0, 3.0, 1.0, 0.0};
    const double end = testsignals::stationEndSample(s) / 8000.0;
    scanner::ScannerConfig config;
    config.closeAfterSeconds = 8.0;
    const ScanRun run = scan(testsignals::mixBand({s}, end + 30.0, kNoiseRms, 13), config);
    ASSERT_EQ(run.reports.size(), 1u);
    const std::string& text = run.reports[0].text;
    const size_t at = text.find(s.text);
    ASSERT_NE(at, std::string::npos) << text;
    EXPECT_LE(text.size() - s.text.size(), 2u) << text;
    EXPECT_NEAR(run.reports[0].closedAt, end + config.closeAfterSeconds, 1.0);
}

// 0.2 Hz/s for a minute: followed to the end and copied.
TEST(Scanner, FollowsADriftingStationForAMinute) {
    Station s;
    s.text.clear();
    while (s.text.size() < 240) { // about 65 s of text
        s.text += "drifting along the band but still copied ";
    }
    s.frequency = 1000.0;
    s.snrDb = 6.0;
    s.startSeconds = 0.5;
    s.driftHzPerSecond = 0.2;
    const double seconds = testsignals::stationEndSample(s) / 8000.0;
    ASSERT_GT(seconds, 60.0);
    const ScanRun run = scan(testsignals::mixBand({s}, seconds + 0.5, kNoiseRms, 17));
    ASSERT_EQ(run.reports.size(), 1u);
    EXPECT_NEAR(run.reports[0].frequency, 1000.0 + 0.2 * (seconds - 0.5), 1.5);
    EXPECT_LE(testsignals::characterErrorRate(s.text, run.reports[0].text), 0.01);
}

// A clean signal reads better than -30 dB; one with y = x + a·x³ reads
// within 2 dB of the IMD that a produces.
TEST(Scanner, ReadsIntermodulationDistortion) {
    struct Case {
        double cubic;
        double expectAtMost;
        std::optional<double> expect;
    };
    for (const Case& c :
         {Case{0.0, -30.0, std::nullopt}, Case{0.3, 0.0, testsignals::imdOfCubic(0.3)},
          Case{0.76, 0.0, testsignals::imdOfCubic(0.76)}}) {
        SCOPED_TRACE(c.cubic);
        Station s{"ok", 1500.0, 15.0, 0.5, 0.0};
        s.idleBefore = 150;
        s.cubic = c.cubic;
        const ScanRun run = scan(testsignals::mixBand({s}, 8.0, kNoiseRms, 19));
        ASSERT_EQ(run.reports.size(), 1u);
        ASSERT_TRUE(run.reports[0].imdDb.has_value());
        if (c.expect) {
            EXPECT_NEAR(*run.reports[0].imdDb, *c.expect, 2.0);
        } else {
            EXPECT_LT(*run.reports[0].imdDb, c.expectAtMost);
        }
    }
}
