// tarn-psk31 scan: a recording in, every PSK31 station in the band decoded
// at once. JSON Lines (one object per piece of text as it is decoded) or a
// readable line per channel as channels close and at the end. With --spot,
// the calls heard go to the spotting network, paced by the recording's own
// clock, and what is still pending when it ends goes at once.
#include "audiofile/AudioFile.h"
#include "scanner/Scanner.h"
#include "tools/CommandLine.h"
#include "tools/Interrupt.h"
#include "tools/Progress.h"
#include "tools/ScanSpotting.h"
#include "tools/ScanText.h"

#include <cmath>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

namespace cli {

namespace {

void printScanHelp(std::FILE* out) {
    std::fprintf(out,
                 "usage: tarn-psk31 scan FILE [OPTIONS]\n"
                 "Decodes every PSK31 station in the band at once, each on a channel of\n"
                 "its own. FILE is any format libsndfile reads; it is converted to 8000 Hz.\n"
                 "SNR is the station's power against the noise in 2500 Hz; IMD the idle\n"
                 "signal's third-order products against its tones (-25 dB clean).\n\n"
                 "options:\n"
                 "%s"
                 "  --channel N          channel of a multi-channel recording (default 1)\n"
                 "  -h, --help           show this help\n"
                 "spotting (calls paced by the recording's time, the rest sent at its end;\n"
                 "no frequency is reported, as a recording has no dial):\n"
                 "%s",
                 kScanOptionsHelp, kScanSpottingHelp);
}

} // namespace

int scanCommand(int argc, char** argv) {
    const char* const command = "scan";
    scanner::ScannerConfig config;
    std::string input;
    bool jsonLines = false;
    int channel = 1;
    ScanSpottingOptions spotOptions;
    ArgumentReader arguments(argc, argv);
    while (arguments.next()) {
        const std::string& name = arguments.option();
        if (name.empty()) {
            if (!input.empty()) {
                return reportUsageError(command, "more than one recording given: " +
                                                     quoted(arguments.text()));
            }
            input = arguments.text();
            continue;
        }
        if (name == "--help" || name == "-h") {
            printScanHelp(stdout);
            return kExitOk;
        }
        std::optional<int> taken = takeScanOption(arguments, config, jsonLines, command);
        if (!taken) {
            taken = takeScanSpottingOption(arguments, spotOptions, command);
        }
        if (taken) {
            if (*taken != kExitOk) {
                return *taken;
            }
            continue;
        }
        if (name != "--channel") {
            reportError(command, "unknown option " + quoted(arguments.text()));
            printScanHelp(stderr);
            return kExitUsage;
        }
        const std::optional<std::string> value = arguments.value();
        if (!value) {
            return reportUsageError(command, arguments.error());
        }
        const std::optional<long long> n = parseInteger(*value, 1, 1 << 16);
        if (!n) {
            return reportUsageError(command, "invalid --channel " + quoted(*value) +
                                                 ": expected a channel number, 1 or more");
        }
        channel = static_cast<int>(*n);
    }
    if (input.empty()) {
        reportError(command, "no recording given");
        printScanHelp(stderr);
        return kExitUsage;
    }
    if (const std::optional<std::string> problem = scanner::configProblem(config)) {
        return reportUsageError(command, *problem);
    }
    if (const std::optional<std::string> problem = scanSpottingUsageProblem(spotOptions)) {
        return reportUsageError(command, *problem);
    }
    auto opened = audiofile::AudioFileReader::open(input, channel);
    if (!opened) {
        return reportUsageError(command, opened.error().message);
    }
    audiofile::AudioFileReader& reader = *opened.value();
    std::unique_ptr<ScanSpotting> spotting;
    if (spotOptions.enabled) {
        std::string problem;
        spotting = ScanSpotting::open(spotOptions, problem);
        if (!spotting) {
            return reportUsageError(command, problem);
        }
    }
    // The recording's clock: UTC seconds at the start of the run, plus the
    // audio's own time.
    const int64_t startedAt = static_cast<int64_t>(std::time(nullptr));
    const auto clock = [&](double seconds) {
        return startedAt + static_cast<int64_t>(std::floor(seconds));
    };

    bool writeFailed = false;
    scanner::Scanner scan(config);
    scan.setTextSink([&](const scanner::TextPiece& piece) {
        if (spotting) {
            spotting->text(piece, 0, clock(piece.seconds));
        }
        if (jsonLines) {
            writeFailed |= !printTextPiece(piece, std::nullopt);
        }
    });
    scan.setReportSink([&](const scanner::ChannelReport& report) {
        if (spotting) {
            spotting->closed(report, 0, clock(report.closedAt));
        }
        if (!jsonLines) {
            writeFailed |= !printChannelReport(report);
        }
    });

    const InterruptGuard interruptGuard;
    ProgressLine progress("scanning " + input, reader.expectedSamples());
    std::vector<float> block(2000);
    int64_t done = 0;
    for (;;) {
        auto got = reader.read(block.data(), static_cast<int64_t>(block.size()));
        if (!got) {
            progress.finish();
            if (spotting) { // the calls heard up to the damage still go
                scan.finish();
                spotting->finish(clock(scan.seconds()), command);
            }
            return reportUsageError(command, got.error().message);
        }
        if (got.value() == 0) {
            break;
        }
        scan.process(block.data(), static_cast<std::size_t>(got.value()));
        if (spotting) {
            spotting->poll(clock(scan.seconds()));
        }
        done += got.value();
        progress.update(done);
        if (jsonLines) {
            std::fflush(stdout);
        }
        if (const int signal = InterruptGuard::received()) {
            progress.finish();
            scan.finish();
            if (spotting) {
                spotting->finish(clock(scan.seconds()), command);
            }
            std::fflush(stdout);
            return 128 + signal;
        }
    }
    progress.finish();
    scan.finish();
    const bool spotsSent = !spotting || spotting->finish(clock(scan.seconds()), command);
    if (std::fflush(stdout) != 0 || writeFailed) {
        return reportUsageError(command, "cannot write the output");
    }
    return spotsSent ? kExitOk : kExitFailure;
}

} // namespace cli
