#include "scanner/Channel.h"

#include "scanner/CarrierEstimate.h"
#include "scanner/ScannerTypes.h"

#include <cctype>
#include <cmath>

namespace scanner {

namespace {

constexpr double kBinsIn2500Hz = 2500.0 / 7.8125;
constexpr double kSnrWeight = 0.125; // per spectrum row while the station is there
constexpr int kAcquirePasses = 2;

} // namespace

Channel::Channel(int id, double frequency, double centre, double squelchDb, double openedAt)
    : channelId(id), centreHz(centre), startOffset(frequency - centre), tuner(frequency - centre),
      squelch(squelchDb), openedSeconds(openedAt) {}

void Channel::start(const std::vector<stages::Complex>& history, double noiseFloorBin) {
    for (int pass = 0; pass < kAcquirePasses; ++pass) {
        ChannelTuner probe(startOffset);
        std::vector<stages::Complex> samples;
        samples.reserve(history.size() / ChannelTuner::kDecimation + 1);
        stages::Complex out;
        for (const stages::Complex& x : history) {
            if (probe.push(x, out)) {
                samples.push_back(out);
            }
        }
        const std::optional<double> offset = estimateCarrierOffset(samples, pass > 0);
        if (!offset) {
            break;
        }
        startOffset += *offset;
    }
    tuner = ChannelTuner(startOffset);
    squelch.setNoiseFloor(noiseFloorBin);
    pushBlock(history.data(), static_cast<int>(history.size()));
}

void Channel::pushBlock(const stages::Complex* samples, int count) {
    for (int n = 0; n < count; ++n) {
        push(samples[n]);
    }
}

void Channel::push(stages::Complex sample) {
    stages::Complex out;
    if (squelch.open()) {
        quietSamples = 0;
    } else {
        ++quietSamples;
    }
    if (tuner.push(sample, out)) {
        baseband(out);
    }
}

void Channel::baseband(stages::Complex sample) {
    squelch.push(sample);
    imd.push(sample);
    const bool gated = squelch.gate();
    if (wasGated && !gated) {
        // The station has gone: bits of an unfinished character are noise.
        demodulator.dropOpenCharacter();
    }
    wasGated = gated;
    const int received = demodulator.push(sample.re, sample.im, gated);
    if (received >= 0) {
        const char byte = static_cast<char>(received);
        const char before = allText.empty() ? '\0' : allText.back();
        sawCq = sawCq || (std::toupper(static_cast<unsigned char>(before)) == 'C' &&
                          std::toupper(static_cast<unsigned char>(byte)) == 'Q');
        newText += byte;
        allText += byte;
        if (allText.size() > kReportTextBytes) {
            allText.erase(0, allText.size() - kReportTextBytes);
        }
    }
    if (demodulator.correction() != appliedCorrection) {
        appliedCorrection = demodulator.correction();
        tuner.setOffset(startOffset + appliedCorrection);
    }
}

void Channel::updateLevels(double noiseFloorBin, double excessPower) {
    squelch.setNoiseFloor(noiseFloorBin);
    if (!squelch.open() || noiseFloorBin <= 0.0) {
        return;
    }
    const double snr = excessPower / (noiseFloorBin * kBinsIn2500Hz);
    snrAverage = haveSnr ? snrAverage + kSnrWeight * (snr - snrAverage) : snr;
    haveSnr = true;
}

double Channel::snrDb() const {
    if (!haveSnr) {
        return squelch.snrDb();
    }
    return 10.0 * std::log10(snrAverage > 1e-10 ? snrAverage : 1e-10);
}

double Channel::quietSeconds() const {
    return static_cast<double>(quietSamples) / kFrontEndRate;
}

std::string Channel::takeNewText() {
    std::string out;
    out.swap(newText);
    return out;
}

} // namespace scanner
