// listen --scan: the band scanner on live input. Every PSK31 station in the
// band decoded at once, printed as the scan command prints a recording's
// (a readable line per channel as it closes, or JSON Lines with
// --format jsonl), with the RF frequency when the rig reports its dial;
// with --spot the calls heard go to the spotting network.
#pragma once

#include "audio/AudioHost.h"
#include "scanner/ScannerTypes.h"
#include "tools/CommandLine.h"
#include "tools/ScanSpotting.h"

#include <optional>
#include <string>

namespace tarn::rig {
class RigConnection;
}

namespace cli {

struct LiveScanOptions {
    bool enabled = false; // --scan given
    scanner::ScannerConfig config;
    bool jsonLines = false;
    ScanSpottingOptions spotting;
    std::string firstScanOption; // the first of the options above given, --scan aside
};

// The scanner's and spotting's options, for listen's help.
const char* liveScanOptionsHelp();

// Takes the current option if it is one of the scanner's (--scan, --from,
// --to, --max-channels, --close-after, --squelch-snr, --format) or
// spotting's (--spot, --spot-host, --callsign, --locator): nothing when it
// is not, kExitOk when taken, else the usage error's status.
std::optional<int> takeLiveScanOption(ArgumentReader& arguments, LiveScanOptions& options,
                                      const char* command);

// A one-line reason when the options cannot be used as given (a scanner
// option without --scan), or nothing.
std::optional<std::string> liveScanUsageProblem(const LiveScanOptions& options);

// Scans the input of `audio` until Ctrl-C or SIGTERM; `rig` (may be null)
// gives the dial frequency. Returns the exit status.
int runLiveScan(const tarnaudio::AudioHostOptions& audio, const LiveScanOptions& options,
                const tarn::rig::RigConnection* rig, const char* command);

} // namespace cli
