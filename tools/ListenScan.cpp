#include "tools/ListenScan.h"

#include "rig/RfFrequency.h"
#include "rig/RigConnection.h"
#include "scanner/Scanner.h"
#include "tools/Interrupt.h"
#include "tools/ScanText.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace cli {

const char* liveScanOptionsHelp() {
    static const std::string help =
        std::string("  --scan               decode every PSK31 station in the band at once\n"
                    "                       (the scan command's output, live); with it:\n") +
        kScanOptionsHelp +
        "                       with \"rf\" (Hz) added when the rig reports its dial\n" +
        kScanSpottingHelp;
    return help.c_str();
}

std::optional<int> takeLiveScanOption(ArgumentReader& arguments, LiveScanOptions& options,
                                      const char* command) {
    if (arguments.option() == "--scan") {
        options.enabled = true;
        return kExitOk;
    }
    std::optional<int> taken =
        takeScanOption(arguments, options.config, options.jsonLines, command);
    if (!taken) {
        taken = takeScanSpottingOption(arguments, options.spotting, command);
    }
    if (taken && options.firstScanOption.empty()) {
        options.firstScanOption = arguments.option();
    }
    return taken;
}

std::optional<std::string> liveScanUsageProblem(const LiveScanOptions& options) {
    if (!options.enabled && !options.firstScanOption.empty()) {
        return options.firstScanOption + " needs --scan";
    }
    return scanSpottingUsageProblem(options.spotting);
}

int runLiveScan(const tarnaudio::AudioHostOptions& audio, const LiveScanOptions& options,
                const tarn::rig::RigConnection* rig, const char* command) {
    if (const std::optional<std::string> problem = scanner::configProblem(options.config)) {
        return reportUsageError(command, *problem);
    }
    std::unique_ptr<ScanSpotting> spotting;
    if (options.spotting.enabled) {
        std::string problem;
        spotting = ScanSpotting::open(options.spotting, problem);
        if (!spotting) {
            return reportUsageError(command, problem);
        }
    }
    // Spotting is fed on the host's thread and polled on this one.
    std::mutex spottingInUse;
    const auto wallClock = [] { return static_cast<int64_t>(std::time(nullptr)); };
    // The RF frequency of a carrier, when the rig reports its dial.
    const auto rfOf = [rig](double carrierHz) -> std::optional<double> {
        if (rig == nullptr) {
            return std::nullopt;
        }
        const tarn::rig::RigStatus status = rig->status();
        return tarn::rig::rfFrequency(status.dialHz, status.sideband, carrierHz);
    };
    scanner::Scanner scan(options.config);
    // The sinks run on the host's thread while it lives, then on this one.
    bool writeFailed = false;
    scan.setTextSink([&](const scanner::TextPiece& piece) {
        const std::optional<double> rfHz = rfOf(piece.frequency);
        if (spotting) {
            const std::lock_guard<std::mutex> lock(spottingInUse);
            spotting->text(piece, rfHz ? std::llround(*rfHz) : 0, wallClock());
        }
        if (options.jsonLines) {
            writeFailed |= !printTextPiece(piece, rfHz);
            writeFailed |= std::fflush(stdout) != 0;
        }
    });
    scan.setReportSink([&](const scanner::ChannelReport& report) {
        if (spotting) {
            const std::optional<double> rfHz = rfOf(report.frequency);
            const std::lock_guard<std::mutex> lock(spottingInUse);
            spotting->closed(report, rfHz ? std::llround(*rfHz) : 0, wallClock());
        }
        if (!options.jsonLines) {
            writeFailed |= !printChannelReport(report);
            writeFailed |= std::fflush(stdout) != 0;
        }
    });
    tarnaudio::AudioHost host(
        audio, [&scan](std::span<const float> block) { scan.process(block.data(), block.size()); });
    if (!host.inputRunning()) {
        host.shutdown();
        return reportUsageError(command, "cannot record from the input (no sound server or "
                                         "device?); 'tarn-psk31 devices' lists the inputs");
    }
    const InterruptGuard interruptGuard;
    std::fprintf(stderr,
                 "tarn-psk31 listen: listening to %s for every station from %.0f to %.0f Hz; "
                 "Ctrl-C stops\n",
                 quoted(host.inputDeviceName()).c_str(), options.config.lowHz,
                 options.config.highHz);
    while (InterruptGuard::received() == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        if (spotting) {
            const std::lock_guard<std::mutex> lock(spottingInUse);
            spotting->poll(wallClock());
        }
    }
    host.shutdown(); // no block reaches the scanner after this
    scan.finish();
    const bool spotsSent = !spotting || spotting->finish(wallClock(), command);
    if (std::fflush(stdout) != 0 || writeFailed) {
        reportError(command, "cannot write the output");
        return kExitFailure;
    }
    return spotsSent ? kExitOk : kExitFailure;
}

} // namespace cli
