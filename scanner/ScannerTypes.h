// The band scanner's settings and what it hands out: decoded text pieces,
// channel snapshots for a band panel, and a channel's final report.
//
// Levels here are decibels (unlike the main receiver's natural-log levels):
// SNR is the station's mean power against the noise power within 2500 Hz,
// IMD the third-order products of the idle signal (±46.875 Hz) against its
// two tones (±15.625 Hz), as operators read it (-25 dB clean, -15 dB splatter).
#pragma once

#include <optional>
#include <string>

namespace scanner {

constexpr int kSampleRate = 8000;   // input, Hz (real)
constexpr int kFrontEndRate = 4000; // the shared complex stream, Hz
constexpr int kBasebandRate = 500;  // each channel's baseband, Hz

struct ScannerConfig {
    bool enabled = true;             // the scanner runs at all
    double lowHz = 500.0;            // carriers are searched from here ...
    double highHz = 2500.0;          // ... to here, Hz (at most 2600 Hz apart)
    int maxChannels = 40;            // channels open at once, 1 .. 200
    double closeAfterSeconds = 20.0; // a channel closes after this long without signal
    double squelchSnrDb = -10.0;     // a channel prints while its SNR (dB in 2500 Hz) is above
};

// Why a configuration cannot be used (one line), or nothing when it can.
std::optional<std::string> configProblem(const ScannerConfig& config);

// One piece of text as a channel decoded it.
struct TextPiece {
    double seconds = 0.0;        // audio time of the decode, from the start
    int channel = 0;             // channel id, stable while the channel lives
    double frequency = 0.0;      // carrier, Hz
    double snrDb = 0.0;          // dB against the noise in 2500 Hz
    std::optional<double> imdDb; // none until an idle stretch was measured
    std::string text;            // the received bytes (0 .. 255 each)
};

// A channel as a band panel shows it.
struct ChannelSnapshot {
    int id = 0;
    double frequency = 0.0; // carrier, Hz
    double snrDb = 0.0;
    std::optional<double> imdDb;
    std::string latestText; // the newest received bytes, at most kLatestTextBytes
    bool callingCq = false; // "CQ" (any case) somewhere in the text received so far
    bool receiving = false; // squelch open: the station is on the air now
    double openedAt = 0.0;  // seconds into the audio
};

// A channel's whole story, handed on when it closes or the audio ends.
struct ChannelReport {
    int id = 0;
    double frequency = 0.0;
    double snrDb = 0.0;
    std::optional<double> imdDb;
    std::string text; // everything received (at most kReportTextBytes, the newest)
    double openedAt = 0.0;
    double closedAt = 0.0;
};

constexpr std::size_t kLatestTextBytes = 200;
constexpr std::size_t kReportTextBytes = 1 << 16;

} // namespace scanner
