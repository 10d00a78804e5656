// The band scanner's calls reported to the spotting network from the
// command line (`scan --spot` on a recording, `listen --scan --spot` live):
// each channel's text goes through a heard-call matcher of its own, and
// every call found is a spot with the channel's SNR and, when a rig reports
// its dial, its RF frequency. The spotter's rate rules run on the clock the
// caller passes: the recording's own for scan, the wall clock for listen.
// Used from one thread at a time.
#pragma once

#include "reporting/ChannelCalls.h"
#include "reporting/Spotter.h"
#include "reporting/UdpSender.h"
#include "scanner/ScannerTypes.h"
#include "tools/CommandLine.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace cli {

struct ScanSpottingOptions {
    bool enabled = false; // --spot given
    std::string address = "report.pskreporter.info:4739";
    std::string callsign;
    std::string locator;
    std::string firstDetail; // the first of --spot-host, --callsign, --locator given
};

// The help lines of the spotting options.
extern const char* const kScanSpottingHelp;

// Takes the current option if it is one of spotting's (--spot, --spot-host,
// --callsign, --locator): nothing when it is not, kExitOk when taken, else
// the usage error's status.
std::optional<int> takeScanSpottingOption(ArgumentReader& arguments, ScanSpottingOptions& options,
                                          const char* command);

// A one-line reason when the options cannot be used as given (details
// without --spot), or nothing.
std::optional<std::string> scanSpottingUsageProblem(const ScanSpottingOptions& options);

class ScanSpotting {
public:
    // Checks the options and opens the socket to the collector (a name
    // lookup: may take a moment). Nothing, with a one-line reason in
    // `error`, when the options are wrong or the collector unreachable.
    static std::unique_ptr<ScanSpotting> open(const ScanSpottingOptions& options,
                                              std::string& error);

    // Text a channel decoded. `rfHz` is the RF frequency, 0 without a rig;
    // `now` UTC seconds.
    void text(const scanner::TextPiece& piece, int64_t rfHz, int64_t now);
    // A channel closed (or the audio ended): its last word is judged.
    void closed(const scanner::ChannelReport& report, int64_t rfHz, int64_t now);
    // Sends a datagram when one is due; call at least once a second.
    void poll(int64_t now) { spotter.poll(now); }
    // Sends everything still pending at once and says on stderr how many
    // calls went in how many datagrams. False, after a one-line error, when
    // the system refused a datagram (it is then lost).
    bool finish(int64_t now, const char* command);

private:
    ScanSpotting(const reporting::ReceiverInfo& receiver, std::string address);
    void spot(double snrDb, int64_t rfHz, int64_t now);

    std::string address; // HOST:PORT as given
    reporting::UdpSender socket;
    reporting::Spotter spotter;
    reporting::ChannelCalls calls;
    std::vector<std::string> heard;
    size_t spotted = 0; // spots taken (a call heard again after five minutes counts again)
    std::string lastSendError;
};

} // namespace cli
