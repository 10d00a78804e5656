#include "scanner/Detector.h"

#include <algorithm>
#include <cmath>

namespace scanner {

namespace {

constexpr int kFloorReach = 32;           // bins each side for the floor (±250 Hz)
constexpr double kFloorQuantile = 0.2;    // of the averaged powers
constexpr double kFloorCorrection = 1.95; // mean / 20th percentile of a 3-row average of noise
constexpr int kHalfWidth = 2;             // score over 2 × 2 + 1 bins
constexpr double kThresholdFactor = 4.0;  // score against the floor over the same bins
constexpr int kFlankDistance = 6;         // bins to the flanks (46.875 Hz)
constexpr double kFlankFactor = 2.5;      // score against the flanks' mean
constexpr int kRowsToConfirm = 3;
constexpr int kRowsToForget = 3;  // rows without a sighting before a candidate is dropped
constexpr double kMatchHz = 6.0;  // one candidate across rows
constexpr double kClaimHz = 25.0; // taken by an open channel
constexpr double kBinsIn2500Hz = 2500.0 / Detector::kBinHz;

} // namespace

Detector::Detector(double lowHz, double highHz)
    : firstBin(static_cast<int>(std::floor(lowHz / kBinHz))),
      lastBin(static_cast<int>(std::ceil(highHz / kBinHz))), power(kBins / 2 + 1),
      averaged(kBins / 2 + 1), floor(kBins / 2 + 1) {
    firstBin = std::max(firstBin, kHalfWidth + kFlankDistance);
    lastBin = std::min(lastBin, kBins / 2 - kHalfWidth - kFlankDistance);
    previous[0].assign(power.size(), 0.0);
    previous[1].assign(power.size(), 0.0);
}

double Detector::noiseFloor(double frequency) const {
    int bin = static_cast<int>(std::lround(frequency / kBinHz));
    bin = std::clamp(bin, 0, kBins / 2);
    return floor[static_cast<size_t>(bin)];
}

std::vector<Detection> Detector::addRow(const float* logPower, const std::vector<double>& claimed) {
    const int size = kBins / 2 + 1;
    for (int k = 0; k < size; ++k) {
        const size_t i = static_cast<size_t>(k);
        power[i] = std::exp(static_cast<double>(logPower[k]));
        const int seen = std::min(rows + 1, 3);
        averaged[i] =
            (power[i] + (seen > 1 ? previous[0][i] : 0.0) + (seen > 2 ? previous[1][i] : 0.0)) /
            seen;
    }
    previous[1] = previous[0];
    previous[0] = power;
    ++rows;

    // Noise floor: a low percentile of the averaged powers around each bin.
    std::vector<double> window;
    const int from = std::max(0, firstBin - kHalfWidth - kFlankDistance);
    const int to = std::min(size - 1, lastBin + kHalfWidth + kFlankDistance);
    for (int k = from; k <= to; ++k) {
        const int lo = std::max(0, k - kFloorReach);
        const int hi = std::min(size - 1, k + kFloorReach);
        window.assign(averaged.begin() + lo, averaged.begin() + hi + 1);
        const size_t nth = static_cast<size_t>(kFloorQuantile * static_cast<double>(window.size()));
        std::nth_element(window.begin(), window.begin() + static_cast<long>(nth), window.end());
        floor[static_cast<size_t>(k)] = window[nth] * kFloorCorrection;
    }

    // Scores and candidates.
    auto score = [&](int centre) {
        double sum = 0.0;
        for (int k = centre - kHalfWidth; k <= centre + kHalfWidth; ++k) {
            sum += averaged[static_cast<size_t>(k)];
        }
        return sum;
    };
    auto sidebands = [&](int centre) {
        return averaged[static_cast<size_t>(centre - kHalfWidth)] +
               averaged[static_cast<size_t>(centre)] +
               averaged[static_cast<size_t>(centre + kHalfWidth)];
    };
    std::vector<Detection> found;
    for (int c = firstBin; c <= lastBin; ++c) {
        const double s = score(c);
        const double noise = floor[static_cast<size_t>(c)] * (2 * kHalfWidth + 1);
        if (s < kThresholdFactor * noise) {
            continue;
        }
        // The peak is placed by the carrier bin and the two sideband bins:
        // sharper than the five-bin sum, it parts idle stations 40 Hz
        // apart, whose nearest tones lie only 8.75 Hz from each other.
        const double shape = sidebands(c);
        bool highest = true;
        for (int d = -3; d <= 3 && highest; ++d) {
            const int other = c + d;
            if (d != 0 && other >= kHalfWidth && other <= size - 1 - kHalfWidth) {
                highest = d < 0 ? shape > sidebands(other) : shape >= sidebands(other);
            }
        }
        if (!highest) {
            continue;
        }
        // Against the geometric mean of the flanks: the skirt of a strong
        // station (falling as the square of the distance) never passes, a
        // station with a neighbour on one flank does.
        const double flanks = std::sqrt(score(c - kFlankDistance) * score(c + kFlankDistance));
        if (s < kFlankFactor * flanks) {
            continue;
        }
        // Power centroid of the five bins, taken again around the first
        // result so that a peak bin beside the carrier does not pull it.
        double bin = c;
        for (int pass = 0; pass < 2; ++pass) {
            const int middle = static_cast<int>(std::lround(bin));
            double weight = 0.0;
            double moment = 0.0;
            for (int k = middle - kHalfWidth; k <= middle + kHalfWidth; ++k) {
                const double excess =
                    std::max(0.0, averaged[static_cast<size_t>(k)] - floor[static_cast<size_t>(k)]);
                weight += excess;
                moment += excess * k;
            }
            bin = weight > 0.0 ? moment / weight : bin;
        }
        const double snr = (s - noise) / (floor[static_cast<size_t>(c)] * kBinsIn2500Hz);
        found.push_back(Detection{bin * kBinHz, 10.0 * std::log10(std::max(snr, 1e-6))});
    }

    // Persistence: candidates seen in enough rows near one frequency.
    std::vector<Detection> confirmed;
    for (const Detection& detection : found) {
        const bool taken = std::any_of(claimed.begin(), claimed.end(), [&](double f) {
            return std::fabs(f - detection.frequency) < kClaimHz;
        });
        if (taken) {
            continue;
        }
        auto match = std::find_if(pending.begin(), pending.end(), [&](const Pending& p) {
            return p.lastRow != rows && std::fabs(p.frequency - detection.frequency) < kMatchHz;
        });
        if (match == pending.end()) {
            pending.push_back(Pending{detection.frequency, detection.snrDb, 1, rows});
            continue;
        }
        match->hits += 1;
        match->frequency += (detection.frequency - match->frequency) / match->hits;
        match->snrDb = detection.snrDb;
        match->lastRow = rows;
        if (match->hits >= kRowsToConfirm) {
            confirmed.push_back(Detection{match->frequency, match->snrDb});
        }
    }
    std::erase_if(pending, [&](const Pending& p) {
        return rows - p.lastRow >= kRowsToForget || p.hits >= kRowsToConfirm;
    });
    // Two confirmations in one row closer than a channel's claim: keep the stronger.
    std::sort(confirmed.begin(), confirmed.end(),
              [](const Detection& a, const Detection& b) { return a.snrDb > b.snrDb; });
    std::vector<Detection> kept;
    for (const Detection& d : confirmed) {
        const bool near = std::any_of(kept.begin(), kept.end(), [&](const Detection& k) {
            return std::fabs(k.frequency - d.frequency) < kClaimHz;
        });
        if (!near) {
            kept.push_back(d);
        }
    }
    return kept;
}

} // namespace scanner
