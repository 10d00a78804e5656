#include "scanner/Detector.h"

#include <algorithm>
#include <cmath>

namespace scanner {

namespace {

constexpr int kFloorReach = 32;           // bins each side for the floor (±250 Hz)
constexpr double kFloorQuantile = 0.2;    // of the averaged powers
constexpr double kFloorCorrection = 1.95; // mean / 20th percentile of a 3-row average of noise
constexpr int kFloorMinimumBins = 16;     // unmasked bins needed for an estimate
constexpr int kFloorWarmUpRows = 3;       // rows in which the floor follows freely
constexpr int kMaskBins = 4;              // bins each side of an open channel's carrier left out
const double kFloorRise = std::pow(10.0, 0.01);  // 0.1 dB per row
const double kFloorFall = std::pow(10.0, -0.05); // 0.5 dB per row
constexpr double kModelReach = 16.0; // bins each side of an open channel taken as its own (±125 Hz)
constexpr double kMirrorSlack = 1.0;     // a channel's side lobes: up to this times their mirror
constexpr int kHalfWidth = 2;            // score over 2 × 2 + 1 bins
constexpr double kThresholdFactor = 4.0; // score against the floor over the same bins
constexpr int kFlankDistance = 6;        // bins to the flanks (46.875 Hz)
constexpr double kFlankFactor = 2.5;     // score against the flanks' mean
constexpr int kValleyNear = 3;           // valley bins: 3 and 4 from the carrier
constexpr double kValleyFactor = 4.0;    // the signal's highest bin against the higher valley
constexpr double kBalance = 6.0;         // one sideband against the other, at most
constexpr int kRowsToConfirm = 3;
constexpr int kRowsToForget = 3;  // rows without a sighting before a candidate is dropped
constexpr double kMatchHz = 6.0;  // one candidate across rows
constexpr double kClaimHz = 20.0; // taken by an open channel
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

    // Noise floor: a low percentile of the averaged powers around each bin,
    // leaving out the bins of open channels (in a busy band their spectra
    // would otherwise be taken for noise). Where too few bins are left, the
    // reach doubles; where even that is mostly stations, the floor is held.
    // Once known, the floor rises at most kFloorRise per row: stations that
    // start together fill the band faster than the noise changes.
    std::vector<char> masked(static_cast<size_t>(size), 0);
    for (double f : claimed) {
        const int centre = static_cast<int>(std::lround(f / kBinHz));
        for (int k = centre - kMaskBins; k <= centre + kMaskBins; ++k) {
            if (k >= 0 && k < size) {
                masked[static_cast<size_t>(k)] = 1;
            }
        }
    }
    // The unmasked powers within kFloorReach of bin k, kept sorted as k
    // moves up one bin at a time (one value out, one in).
    auto unmasked = [&](int j) { return j >= 0 && j < size && !masked[static_cast<size_t>(j)]; };
    auto quantile = [](const std::vector<double>& sorted) {
        return sorted[static_cast<size_t>(kFloorQuantile * static_cast<double>(sorted.size()))];
    };
    const int from = std::max(0, firstBin - kHalfWidth - kFlankDistance);
    const int to = std::min(size - 1, lastBin + kHalfWidth + kFlankDistance);
    sorted.clear();
    for (int j = from - kFloorReach - 1; j <= from + kFloorReach - 1; ++j) { // k = from - 1
        if (unmasked(j)) {
            sorted.push_back(averaged[static_cast<size_t>(j)]);
        }
    }
    std::sort(sorted.begin(), sorted.end());
    for (int k = from; k <= to; ++k) {
        const int leaving = k - kFloorReach - 1;
        if (unmasked(leaving)) {
            const double value = averaged[static_cast<size_t>(leaving)];
            sorted.erase(std::lower_bound(sorted.begin(), sorted.end(), value));
        }
        const int entering = k + kFloorReach;
        if (unmasked(entering)) {
            const double value = averaged[static_cast<size_t>(entering)];
            sorted.insert(std::upper_bound(sorted.begin(), sorted.end(), value), value);
        }
        double estimate = 0.0;
        if (static_cast<int>(sorted.size()) >= kFloorMinimumBins) {
            estimate = quantile(sorted) * kFloorCorrection;
        } else {
            const int reach = 2 * kFloorReach;
            window.clear();
            for (int j = std::max(0, k - reach); j <= std::min(size - 1, k + reach); ++j) {
                if (unmasked(j)) {
                    window.push_back(averaged[static_cast<size_t>(j)]);
                }
            }
            if (static_cast<int>(window.size()) >= kFloorMinimumBins) {
                const auto nth =
                    window.begin() +
                    static_cast<long>(kFloorQuantile * static_cast<double>(window.size()));
                std::nth_element(window.begin(), nth, window.end());
                estimate = *nth * kFloorCorrection;
            }
        }
        double& f = floor[static_cast<size_t>(k)];
        if (estimate <= 0.0) {
            continue; // held
        }
        if (rows <= kFloorWarmUpRows || f == 0.0) {
            f = estimate; // the first rows' floor is rough (the average not full yet)
        } else {
            f = std::clamp(estimate, f * kFloorFall, f * kFloorRise);
        }
    }

    // What is left once the open channels' own spectra are taken out. A
    // PSK31 spectrum is symmetric about its carrier, so a channel's power at
    // an offset is at most what the mirror bin on its other side shows: the
    // side lobes of a busy station go, a new station beside it stays.
    residual = averaged;
    // Stations not yet on a channel: peaks of the five-bin power standing
    // above the floor, away from the open channels.
    std::vector<double> stations = claimed;
    fiveBins.assign(averaged.size(), 0.0);
    for (int c = firstBin - kHalfWidth; c <= lastBin + kHalfWidth; ++c) {
        double sum = 0.0;
        for (int d = -kHalfWidth; d <= kHalfWidth; ++d) {
            sum += averaged[static_cast<size_t>(c + d)];
        }
        fiveBins[static_cast<size_t>(c)] = sum;
    }
    for (int c = firstBin; c <= lastBin; ++c) {
        const double sum = fiveBins[static_cast<size_t>(c)];
        double best = 0.0;
        for (int e = c - kHalfWidth; e <= c + kHalfWidth; ++e) {
            best = std::max(best, fiveBins[static_cast<size_t>(e)]);
        }
        if (sum < best ||
            sum < kThresholdFactor * floor[static_cast<size_t>(c)] * (2 * kHalfWidth + 1)) {
            continue;
        }
        const bool open = std::any_of(claimed.begin(), claimed.end(), [&](double g) {
            return std::fabs(g / kBinHz - c) <= kHalfWidth;
        });
        if (!open) {
            stations.push_back(c * kBinHz);
        }
    }
    std::vector<double> others; // stations whose bins a mirror position may reach
    for (double f : claimed) {
        const double centre = f / kBinHz;
        others.clear();
        for (double g : stations) {
            if (g != f && std::fabs(g / kBinHz - centre) <= kModelReach + kMaskBins + 1.0) {
                others.push_back(g);
            }
        }
        const int lo = std::max(1, static_cast<int>(std::ceil(centre - kModelReach)));
        const int hi = std::min(size - 2, static_cast<int>(std::floor(centre + kModelReach)));
        for (int k = lo; k <= hi; ++k) {
            const double mirror = 2.0 * centre - k;
            const int m = static_cast<int>(std::floor(mirror));
            if (m < 0 || m + 1 >= size) {
                continue;
            }
            // A mirror bin that another station fills says nothing.
            const bool neighbour = std::any_of(others.begin(), others.end(), [&](double g) {
                return std::fabs(g / kBinHz - mirror) <= kMaskBins;
            });
            if (neighbour) {
                continue;
            }
            const double weight = mirror - m;
            const size_t i = static_cast<size_t>(k);
            const double mirrored = averaged[static_cast<size_t>(m)] * (1.0 - weight) +
                                    averaged[static_cast<size_t>(m + 1)] * weight;
            // Text makes the two sides differ from row to row by a few dB;
            // up to kMirrorSlack times the mirror is still the channel's own.
            const double own = std::min(averaged[i], kMirrorSlack * mirrored) - floor[i];
            if (own > 0.0) {
                residual[i] = std::max(residual[i] - own, std::min(averaged[i], floor[i]));
            }
        }
    }

    // Scores and candidates.
    auto score = [&](int centre) {
        double sum = 0.0;
        for (int k = centre - kHalfWidth; k <= centre + kHalfWidth; ++k) {
            sum += residual[static_cast<size_t>(k)];
        }
        return sum;
    };
    auto sidebands = [&](int centre) {
        return residual[static_cast<size_t>(centre - kHalfWidth)] +
               residual[static_cast<size_t>(centre)] +
               residual[static_cast<size_t>(centre + kHalfWidth)];
    };
    auto valleys = [&](int centre) {
        double peak = 0.0;
        for (int k = centre - kHalfWidth; k <= centre + kHalfWidth; ++k) {
            peak = std::max(peak, residual[static_cast<size_t>(k)]);
        }
        const double left = std::min(residual[static_cast<size_t>(centre - kValleyNear)],
                                     residual[static_cast<size_t>(centre - kValleyNear - 1)]);
        const double right = std::min(residual[static_cast<size_t>(centre + kValleyNear)],
                                      residual[static_cast<size_t>(centre + kValleyNear + 1)]);
        return kValleyFactor * std::max(left, right) < peak;
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
        // A station's sidebands (idle tones, or the spread of text) are
        // balanced. Two idle stations 49 Hz apart put their inner tones
        // 17.5 Hz apart in the gap between them, which looks like a
        // station with only a centre and one sideband.
        const double low = residual[static_cast<size_t>(c - kHalfWidth)];
        const double high = residual[static_cast<size_t>(c + kHalfWidth)];
        if (kBalance * std::min(low, high) < std::max(low, high)) {
            continue;
        }
        // Against the geometric mean of the flanks: the skirt of a strong
        // station (falling as the square of the distance) never passes, a
        // station with a neighbour on one flank does.
        // In a crowded band the flanks are the neighbours themselves; there
        // a station shows as a peak with a valley on both sides (23 - 31 Hz
        // out), which a skirt, rising towards its station, never has.
        const double flanks = std::sqrt(score(c - kFlankDistance) * score(c + kFlankDistance));
        if (s < kFlankFactor * flanks && !valleys(c)) {
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
                    std::max(0.0, residual[static_cast<size_t>(k)] - floor[static_cast<size_t>(k)]);
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
