#include "tools/ScanSpotting.h"

#include "logbook/LogFile.h"

#include <cmath>
#include <cstdio>
#include <random>

namespace cli {

const char* const kScanSpottingHelp =
    "  --spot               report every call heard to the spotting network\n"
    "                       (needs --callsign and --locator); with it:\n"
    "  --spot-host HOST:PORT  the network's collector\n"
    "                       (default report.pskreporter.info:4739)\n"
    "  --callsign CALL      your call sign, as the receiving station\n"
    "  --locator LOCATOR    your 4- or 6-character Maidenhead locator\n";

std::optional<int> takeScanSpottingOption(ArgumentReader& arguments, ScanSpottingOptions& options,
                                          const char* command) {
    const std::string& name = arguments.option();
    if (name == "--spot") {
        options.enabled = true;
        return kExitOk;
    }
    std::string* target = name == "--spot-host"  ? &options.address
                          : name == "--callsign" ? &options.callsign
                          : name == "--locator"  ? &options.locator
                                                 : nullptr;
    if (target == nullptr) {
        return std::nullopt;
    }
    const std::optional<std::string> value = arguments.value();
    if (!value) {
        return reportUsageError(command, arguments.error());
    }
    *target = *value;
    if (options.firstDetail.empty()) {
        options.firstDetail = name;
    }
    return kExitOk;
}

std::optional<std::string> scanSpottingUsageProblem(const ScanSpottingOptions& options) {
    if (!options.enabled && !options.firstDetail.empty()) {
        return options.firstDetail + " needs --spot";
    }
    return std::nullopt;
}

std::unique_ptr<ScanSpotting> ScanSpotting::open(const ScanSpottingOptions& options,
                                                 std::string& error) {
    error = reporting::spottingSetupProblem(options.callsign, options.locator);
    if (!error.empty()) {
        error = "--spot: " + error + " (--callsign, --locator)";
        return nullptr;
    }
    const std::optional<reporting::HostPort> to =
        reporting::parseHostPort(options.address, reporting::kSpotPort);
    if (!to) {
        error = "invalid --spot-host " + cli::quoted(options.address) + ": expected HOST:PORT";
        return nullptr;
    }
    const reporting::ReceiverInfo receiver{options.callsign, options.locator,
                                           "tarn-psk31 " + std::string(logbook::programVersion())};
    std::unique_ptr<ScanSpotting> spotting(new ScanSpotting(receiver, options.address));
    if (!spotting->socket.open(*to, error)) {
        error = "cannot reach " + options.address + ": " + error;
        return nullptr;
    }
    return spotting;
}

ScanSpotting::ScanSpotting(const reporting::ReceiverInfo& receiver, std::string collector)
    : address(std::move(collector)), spotter(
                                         receiver,
                                         [this](const std::vector<uint8_t>& datagram) {
                                             std::string error;
                                             if (!socket.send(datagram, error)) {
                                                 lastSendError = error;
                                             }
                                         },
                                         std::random_device{}()) {}

void ScanSpotting::text(const scanner::TextPiece& piece, int64_t rfHz, int64_t now) {
    heard.clear();
    calls.feed(piece.channel, piece.text, heard);
    spot(piece.snrDb, rfHz, now);
}

void ScanSpotting::closed(const scanner::ChannelReport& report, int64_t rfHz, int64_t now) {
    heard.clear();
    calls.closed(report.id, heard);
    spot(report.snrDb, rfHz, now);
}

void ScanSpotting::spot(double snrDb, int64_t rfHz, int64_t now) {
    for (std::string& call : heard) {
        reporting::Spot spot;
        spot.call = std::move(call);
        spot.frequencyHz = rfHz;
        spot.snrDb = static_cast<int>(std::lround(snrDb));
        spot.heardAt = now;
        spotted += spotter.heard(std::move(spot)) ? 1 : 0;
    }
}

bool ScanSpotting::finish(int64_t now, const char* command) {
    spotter.flush(now);
    const uint64_t datagrams = spotter.datagramsSent();
    std::fprintf(stderr, "tarn-psk31 %s: %zu call%s spotted in %llu datagram%s to %s\n", command,
                 spotted, spotted == 1 ? "" : "s", static_cast<unsigned long long>(datagrams),
                 datagrams == 1 ? "" : "s", address.c_str());
    if (!lastSendError.empty()) {
        reportError(command, "spots lost: " + lastSendError);
        return false;
    }
    return true;
}

} // namespace cli
