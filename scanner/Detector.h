// Finds PSK31 signals in spectrum rows: the 1024-point rows of the input
// (bin k at k × 7.8125 Hz, natural-log power ln(re² + im² + 1e-12), a row
// every 1024 samples) that the main receiver's spectrum also makes.
//
// Per row: the noise floor of each bin is a low percentile of the averaged
// power of the bins within ±250 Hz, leaving out ±31 Hz around every open
// channel (robust against the signals in between, and in a crowded band not
// taken from the stations' own spectra); once settled it rises at most
// 0.1 dB per row, so a band that fills up keeps the floor measured before.
// A signal's score is its power over five bins (about 39 Hz, a PSK31
// signal's width), the idle sidebands at ±15.625 Hz being its outer bins,
// taken after removing the open channels' own spectra (a PSK31 spectrum is
// symmetric about its carrier, so within ±125 Hz of a channel what exceeds
// the mirror image belongs to someone else: a new station 40 Hz beside a
// busy one is seen, the busy one's side lobes are not). A
// candidate is a score that is the highest within ±3 bins, with balanced
// sidebands, standing kThresholdFactor above the floor over the same bins,
// and standing out either against the bins ±47 Hz away (so that the skirt of
// a strong station is not taken for a signal) or, in a crowded band where
// those are the neighbours, above a valley on both sides. A candidate seen
// in kRowsToConfirm rows near one frequency is confirmed.
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
    // this row; signals near `claimed` frequencies (open channels, ±20 Hz)
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
    std::vector<double> sorted; // the floor's window, sorted
    std::vector<double> window;
    std::vector<double> fiveBins; // averaged power over each bin and two each side
    std::vector<double> residual; // averaged, less the open channels' own spectra
    std::vector<Pending> pending;
    int rows = 0;
};

} // namespace scanner
