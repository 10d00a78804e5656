// A band full of PSK31 stations for the scanner's tests and benchmark: each
// station with its own carrier, level, start time, symbol clock error, drift
// and (optionally) third-order distortion, mixed with white noise.
//
// Stations are shaped as PSK31 is on the air: the amplitude follows a half
// sine through zero at each reversal, so idle is a pure pair of tones at
// ±15.625 Hz (whose third-order products a distortion then adds).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace testsignals {

struct Station {
    std::string text;
    double frequency = 1500.0;     // Hz at the start
    double snrDb = 10.0;           // mean power against the noise in 2500 Hz
    double startSeconds = 0.0;     // where it starts in the recording
    double clockPpm = 0.0;         // symbol clock error, parts per million
    double driftHzPerSecond = 0.0; // carrier ramp
    int idleBefore = 40;           // idle symbols before and after the text
    int idleAfter = 20;
    double cubic = 0.0; // distortion y = x + cubic·x³ on the unit-peak signal
};

// The station alone at unit peak (before distortion), 8000 Hz.
std::vector<float> renderStation(const Station& station);

// Stations and white noise of RMS `noiseRms`, `seconds` long. Each station's
// level is set from its SNR and the noise (σ²·2500/4000 in 2500 Hz; a
// noise RMS of 0 is taken as 0.1 for the levels and adds no noise).
std::vector<float> mixBand(const std::vector<Station>& stations, double seconds, double noiseRms,
                           uint32_t seed);

// Samples at which a station ends in a mixBand recording.
int64_t stationEndSample(const Station& station);

// The IMD of idle distorted by y = x + a·x³, dB (products against tones).
double imdOfCubic(double a);

// Edit distance of two texts over the length of `expected` (character error rate).
double characterErrorRate(const std::string& expected, const std::string& received);

} // namespace testsignals
