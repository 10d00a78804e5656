// AutoSquelch on the real receiver: recordings of stations separated by long
// stretches of noise, at three noise levels, played through the engine with
// the squelch set from AutoSquelch at every display tick (0.2 s). The
// stations' text must come through and the noise between them must print (at
// most) a couple of characters a minute.
#include "console/AutoSquelch.h"
#include "engine/TarnData.h"
#include "tests/support/BandSignals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using testsignals::Station;

constexpr int kTickSamples = 1600; // 0.2 s at 8000 Hz
constexpr double kLeadInSeconds = 30.0;
constexpr double kGapSeconds = 60.0;
// Characters of a station still leave the decoder this long after its end
// (the decision lags seven symbols, plus a tick).
constexpr double kDecoderLagSeconds = 0.5;

struct Played {
    std::vector<std::string> stationText; // received while each station was on
    std::vector<float> stationHeight;     // highest reading above the noise, ln
    int gapCharacters = 0;                // received in the gaps between them
    double gapSeconds = 0.0;
};

// Stations every kGapSeconds after a quiet lead-in, all at 1500 Hz.
std::vector<Station> stationsAt(const std::vector<double>& snrDb) {
    const char* const texts[] = {"CQ CQ de DL1ABC DL1ABC pse k", "UR 599 599 name Ann qth Oslo",
                                 "TNX QSO 73 de G4XYZ sk", "QRZ? de OH2AB OH2AB k"};
    std::vector<Station> stations;
    double start = kLeadInSeconds;
    for (size_t i = 0; i < snrDb.size(); ++i) {
        Station station;
        station.text = texts[i % 4];
        station.snrDb = snrDb[i];
        station.startSeconds = start;
        stations.push_back(station);
        start = static_cast<double>(testsignals::stationEndSample(station)) / 8000.0 + kGapSeconds;
    }
    return stations;
}

// Plays the recording through a receiver tuned to 1500 Hz with AFC on, with
// AutoSquelch setting the squelch every tick.
Played play(const std::vector<Station>& stations, double noiseRms) {
    const double end =
        static_cast<double>(testsignals::stationEndSample(stations.back())) / 8000.0 + kGapSeconds;
    const std::vector<float> recording = testsignals::mixBand(stations, end, noiseRms, 2024);
    TarnData receiver(tarn::kTabletSquelch);
    AutoSquelch squelch;
    Played played;
    played.stationText.resize(stations.size());
    played.stationHeight.resize(stations.size());
    for (size_t at = 0; at + kTickSamples <= recording.size(); at += kTickSamples) {
        receiver.processInputAudioSamples(
            std::span<const float>(recording.data() + at, kTickSamples));
        receiver.setBackgroundNoiseLevel(squelch.update(receiver.status().signalLevel));
        std::string text;
        while (const std::optional<std::string> drained = receiver.drainTextBuffer())
            text += *drained;
        // Which stretch this tick's characters belong to.
        const double now = static_cast<double>(at + kTickSamples) / 8000.0;
        bool inStation = false;
        for (size_t i = 0; i < stations.size(); ++i) {
            const double from = stations[i].startSeconds;
            const double to =
                static_cast<double>(testsignals::stationEndSample(stations[i])) / 8000.0 +
                kDecoderLagSeconds;
            if (now > from && now <= to) {
                played.stationText[i] += text;
                if (squelch.noiseLevel())
                    played.stationHeight[i] =
                        std::max(played.stationHeight[i],
                                 receiver.status().signalLevel - *squelch.noiseLevel());
                inStation = true;
            }
        }
        if (!inStation && now > kLeadInSeconds) {
            played.gapCharacters += static_cast<int>(text.size());
            played.gapSeconds += 0.2;
        }
    }
    return played;
}

struct NoiseCase {
    const char* name;
    double noiseRms;
};

class AutoSquelchOnAir : public testing::TestWithParam<NoiseCase> {};

// Strong, ordinary and weak stations; the weakest stands 3 dB above the
// noise in the receiver's reading (its first characters come while the
// reading is still rising towards its level).
const std::vector<double> kStationSnrDb = {10.0, -4.0, -9.0, -12.0};

TEST_P(AutoSquelchOnAir, StationsPrintAndNoiseStaysQuiet) {
    const std::vector<Station> stations = stationsAt(kStationSnrDb);
    const Played played = play(stations, GetParam().noiseRms);
    const double gapMinutes = played.gapSeconds / 60.0;
    std::printf("[ figures  ] noise %.3f: %d characters in %.1f min of gaps (%.2f per minute)\n",
                GetParam().noiseRms, played.gapCharacters, gapMinutes,
                played.gapCharacters / gapMinutes);
    EXPECT_LE(played.gapCharacters, 2.0 * gapMinutes);
    // The weakest station really is a 3 dB one.
    EXPECT_LT(played.stationHeight.back(), 3.5 * std::log(10.0) / 10.0);
    for (size_t i = 0; i < stations.size(); ++i) {
        const double errors =
            testsignals::characterErrorRate(stations[i].text, played.stationText[i]);
        std::printf("[ figures  ] station at %.1f dB, %.2f dB above the noise: error rate %.3f, "
                    "\"%s\"\n",
                    stations[i].snrDb, played.stationHeight[i] * 10.0 / std::log(10.0), errors,
                    played.stationText[i].c_str());
        EXPECT_LE(errors, 0.1) << "station " << i << " received \"" << played.stationText[i]
                               << "\"";
    }
}

INSTANTIATE_TEST_SUITE_P(NoiseLevels, AutoSquelchOnAir,
                         testing::Values(NoiseCase{"quiet", 0.02}, NoiseCase{"moderate", 0.1},
                                         NoiseCase{"loud", 0.5}),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
