#include "tools/ListenScan.h"

#include "rig/RfFrequency.h"
#include "rig/RigConnection.h"
#include "scanner/Scanner.h"
#include "tools/Interrupt.h"
#include "tools/ScanText.h"

#include <chrono>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>

namespace cli {

const char* const kLiveScanOptionsHelp =
    "  --scan               decode every PSK31 station in the band at once\n"
    "                       (the scan command's output, live); with it:\n"
    "  --from HZ            lowest carrier searched (default 500)\n"
    "  --to HZ              highest carrier searched (default 2500)\n"
    "  --max-channels N     channels open at once, 1 .. 200 (default 40)\n"
    "  --close-after SECONDS  close a channel this long without signal (default 20)\n"
    "  --squelch-snr DB     a channel prints above this SNR (default -10)\n"
    "  --format text|jsonl  a line per channel at its close and at the end\n"
    "                       (default), or one JSON object per piece of text:\n"
    "                       {\"t\", \"ch\", \"freq\", \"snr\", \"imd\", \"text\"}, and\n"
    "                       \"rf\" (Hz) when the rig reports its dial\n";

std::optional<int> takeLiveScanOption(ArgumentReader& arguments, LiveScanOptions& options,
                                      const char* command) {
    const std::string& name = arguments.option();
    if (name == "--scan") {
        options.enabled = true;
        return kExitOk;
    }
    const bool known = name == "--from" || name == "--to" || name == "--max-channels" ||
                       name == "--close-after" || name == "--squelch-snr" || name == "--format";
    if (!known) {
        return std::nullopt;
    }
    const std::optional<std::string> value = arguments.value();
    if (!value) {
        return reportUsageError(command, arguments.error());
    }
    auto invalid = [&](const char* expected) {
        return reportUsageError(command, "invalid " + name + " " + quoted(*value) + ": expected " +
                                             expected);
    };
    if (name == "--format") {
        if (*value != "text" && *value != "jsonl") {
            return invalid("text or jsonl");
        }
        options.jsonLines = *value == "jsonl";
    } else if (name == "--max-channels") {
        const std::optional<long long> n = parseInteger(*value, 1, 200);
        if (!n) {
            return invalid("a number of channels, 1 .. 200");
        }
        options.config.maxChannels = static_cast<int>(*n);
    } else {
        const std::optional<double> number = parseNumber(*value);
        if (!number) {
            return invalid("a number");
        }
        double& target = name == "--from"          ? options.config.lowHz
                         : name == "--to"          ? options.config.highHz
                         : name == "--close-after" ? options.config.closeAfterSeconds
                                                   : options.config.squelchSnrDb;
        target = *number;
    }
    return kExitOk;
}

int runLiveScan(const tarnaudio::AudioHostOptions& audio, const LiveScanOptions& options,
                const tarn::rig::RigConnection* rig, const char* command) {
    if (const std::optional<std::string> problem = scanner::configProblem(options.config)) {
        return reportUsageError(command, *problem);
    }
    scanner::Scanner scan(options.config);
    // The sinks run on the host's thread while it lives, then on this one.
    bool writeFailed = false;
    if (options.jsonLines) {
        scan.setTextSink([&](const scanner::TextPiece& piece) {
            std::string rf;
            if (rig != nullptr) {
                const tarn::rig::RigStatus status = rig->status();
                if (const std::optional<double> hz =
                        tarn::rig::rfFrequency(status.dialHz, status.sideband, piece.frequency)) {
                    char buffer[48];
                    std::snprintf(buffer, sizeof buffer, ", \"rf\": %.1f", *hz);
                    rf = buffer;
                }
            }
            writeFailed |= std::printf("{\"t\": %.3f, \"ch\": %d, \"freq\": %.1f%s, \"snr\": %.1f, "
                                       "\"imd\": %s, \"text\": \"%s\"}\n",
                                       piece.seconds, piece.channel, piece.frequency, rf.c_str(),
                                       piece.snrDb, decibelText(piece.imdDb, "null").c_str(),
                                       jsonText(piece.text).c_str()) < 0;
            writeFailed |= std::fflush(stdout) != 0;
        });
    } else {
        scan.setReportSink([&](const scanner::ChannelReport& report) {
            writeFailed |=
                std::printf("ch %-3d %7.1f Hz  SNR %5.1f dB  IMD %5s dB  %7.1f-%-7.1f s  %s\n",
                            report.id, report.frequency, report.snrDb,
                            decibelText(report.imdDb, "-").c_str(), report.openedAt,
                            report.closedAt, readableText(report.text).c_str()) < 0;
            writeFailed |= std::fflush(stdout) != 0;
        });
    }
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
    }
    host.shutdown(); // no block reaches the scanner after this
    scan.finish();
    if (std::fflush(stdout) != 0 || writeFailed) {
        reportError(command, "cannot write the output");
        return kExitFailure;
    }
    return kExitOk;
}

} // namespace cli
