// tarn-psk31 scan: a recording in, every PSK31 station in the band decoded
// at once. JSON Lines (one object per piece of text as it is decoded) or a
// readable line per channel as channels close and at the end.
#include "audiofile/AudioFile.h"
#include "scanner/Scanner.h"
#include "tools/CommandLine.h"
#include "tools/Interrupt.h"
#include "tools/Progress.h"
#include "tools/ScanText.h"

#include <cstdio>
#include <string>
#include <vector>

namespace cli {

namespace {

void printScanHelp(std::FILE* out) {
    std::fputs("usage: tarn-psk31 scan FILE [OPTIONS]\n"
               "Decodes every PSK31 station in the band at once, each on a channel of\n"
               "its own. FILE is any format libsndfile reads; it is converted to 8000 Hz.\n"
               "SNR is the station's power against the noise in 2500 Hz; IMD the idle\n"
               "signal's third-order products against its tones (-25 dB clean).\n\n"
               "options:\n"
               "  --from HZ            lowest carrier searched (default 500)\n"
               "  --to HZ              highest carrier searched (default 2500)\n"
               "  --max-channels N     channels open at once, 1 .. 200 (default 40)\n"
               "  --close-after SECONDS  close a channel this long without signal (default 20)\n"
               "  --squelch-snr DB     a channel prints above this SNR (default -10)\n"
               "  --format text|jsonl  a line per channel at its close and at the end\n"
               "                       (default), or one JSON object per piece of text:\n"
               "                       {\"t\", \"ch\", \"freq\", \"snr\", \"imd\", \"text\"}\n"
               "  --channel N          channel of a multi-channel recording (default 1)\n"
               "  -h, --help           show this help\n",
               out);
}

} // namespace

int scanCommand(int argc, char** argv) {
    const char* const command = "scan";
    scanner::ScannerConfig config;
    std::string input;
    bool jsonLines = false;
    int channel = 1;
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
        const bool known = name == "--from" || name == "--to" || name == "--max-channels" ||
                           name == "--close-after" || name == "--squelch-snr" ||
                           name == "--format" || name == "--channel";
        if (!known) {
            reportError(command, "unknown option " + quoted(arguments.text()));
            printScanHelp(stderr);
            return kExitUsage;
        }
        const std::optional<std::string> value = arguments.value();
        if (!value) {
            return reportUsageError(command, arguments.error());
        }
        auto invalid = [&](const char* expected) {
            return reportUsageError(command, "invalid " + name + " " + quoted(*value) +
                                                 ": expected " + expected);
        };
        if (name == "--format") {
            if (*value != "text" && *value != "jsonl") {
                return invalid("text or jsonl");
            }
            jsonLines = *value == "jsonl";
        } else if (name == "--max-channels") {
            const std::optional<long long> n = parseInteger(*value, 1, 200);
            if (!n) {
                return invalid("a number of channels, 1 .. 200");
            }
            config.maxChannels = static_cast<int>(*n);
        } else if (name == "--channel") {
            const std::optional<long long> n = parseInteger(*value, 1, 1 << 16);
            if (!n) {
                return invalid("a channel number, 1 or more");
            }
            channel = static_cast<int>(*n);
        } else {
            const std::optional<double> number = parseNumber(*value);
            if (!number) {
                return invalid("a number");
            }
            double& target = name == "--from"          ? config.lowHz
                             : name == "--to"          ? config.highHz
                             : name == "--close-after" ? config.closeAfterSeconds
                                                       : config.squelchSnrDb;
            target = *number;
        }
    }
    if (input.empty()) {
        reportError(command, "no recording given");
        printScanHelp(stderr);
        return kExitUsage;
    }
    if (const std::optional<std::string> problem = scanner::configProblem(config)) {
        return reportUsageError(command, *problem);
    }
    auto opened = audiofile::AudioFileReader::open(input, channel);
    if (!opened) {
        return reportUsageError(command, opened.error().message);
    }
    audiofile::AudioFileReader& reader = *opened.value();

    bool writeFailed = false;
    scanner::Scanner scan(config);
    if (jsonLines) {
        scan.setTextSink([&](const scanner::TextPiece& piece) {
            writeFailed |= std::printf("{\"t\": %.3f, \"ch\": %d, \"freq\": %.1f, \"snr\": %.1f, "
                                       "\"imd\": %s, \"text\": \"%s\"}\n",
                                       piece.seconds, piece.channel, piece.frequency, piece.snrDb,
                                       decibelText(piece.imdDb, "null").c_str(),
                                       jsonText(piece.text).c_str()) < 0;
        });
    } else {
        scan.setReportSink([&](const scanner::ChannelReport& report) {
            writeFailed |=
                std::printf("ch %-3d %7.1f Hz  SNR %5.1f dB  IMD %5s dB  %7.1f-%-7.1f s  %s\n",
                            report.id, report.frequency, report.snrDb,
                            decibelText(report.imdDb, "-").c_str(), report.openedAt,
                            report.closedAt, readableText(report.text).c_str()) < 0;
        });
    }

    const InterruptGuard interruptGuard;
    ProgressLine progress("scanning " + input, reader.expectedSamples());
    std::vector<float> block(2000);
    int64_t done = 0;
    for (;;) {
        auto got = reader.read(block.data(), static_cast<int64_t>(block.size()));
        if (!got) {
            progress.finish();
            return reportUsageError(command, got.error().message);
        }
        if (got.value() == 0) {
            break;
        }
        scan.process(block.data(), static_cast<std::size_t>(got.value()));
        done += got.value();
        progress.update(done);
        if (jsonLines) {
            std::fflush(stdout);
        }
        if (const int signal = InterruptGuard::received()) {
            progress.finish();
            scan.finish();
            std::fflush(stdout);
            return 128 + signal;
        }
    }
    progress.finish();
    scan.finish();
    if (std::fflush(stdout) != 0 || writeFailed) {
        return reportUsageError(command, "cannot write the output");
    }
    return kExitOk;
}

} // namespace cli
