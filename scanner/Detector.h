// Finds PSK31 signals in spectrum rows: the 1024-point rows of the input
// (bin k at k × 7.8125 Hz, natural-log power ln(re² + im² + 1e-12), a row
// every 1024 samples) that the main receiver's spectrum also makes.
//
// Per row: the noise floor of each bin is a low percentile of the averaged
// power of the bins within ±250 Hz (robust against the signals in between);
// a signal's score is its power over five bins (about 39 Hz, a PSK31 signal's
// width), the idle sidebands at ±15.625 Hz being its outer bins. A candidate
// is a score that is the highest within ±3 bins, stands kThresholdFactor
// above the floor over the same bins, and stands out against the bins ±47 Hz
// away (so that the skirt of a strong station is not taken for a signal).
// A candidate seen in kRowsToConfirm rows near one frequency is confirmed.
#pragma once

#include <optional>
#include <vector>

namespace scanner {

struct Detection {
    double frequency; // Hz, the power centroid of the signal's five bins
    double snrDb;     // power in those bins against the noise in 2500 Hz
};

class Detector {
public:
    static constexpr int kBins = 1024;
    static constexpr double kBinHz = 7.8125;

    Detector(double lowHz, double highHz);

    // One spectrum row (kBins log powers). Returns the signals confirmed by
    // this row; signals near `claimed` frequencies (open channels, ±25 Hz)
    // are left out.
    std::vector<Detection> addRow(const float* logPower, const std::vector<double>& claimed);

    // Noise power of one bin near `frequency` (the row's own units: |X|²),
    // from the last row; 0 before the first row.
    double noiseFloor(double frequency) const;
    // Power of one bin (|X|², the last row).
    double binPower(int bin) const { return power[static_cast<size_t>(bin)]; }

private:
    struct Pending {
        double frequency;
        double snrDb;
        int hits;
        int lastRow;
    };

    int firstBin; // bins searched (carriers)
    int lastBin;
    std::vector<double> power;    // the last row, linear
    std::vector<double> averaged; // mean of the last three rows
    std::vector<double> previous[2];
    std::vector<double> floor;
    std::vector<Pending> pending;
    int rows = 0;
};

} // namespace scanner
