// tarn-psk31 decode: a recording in, the received text out.
#include "tools/CommandLine.h"
#include "tools/DecodeRun.h"

#include <cstdio>

namespace cli {

namespace {

void printDecodeHelp(std::FILE* out) {
    std::fprintf(out,
                 "usage: tarn-psk31 decode FILE [OPTIONS]\n"
                 "Runs a recording through the receiver, 2000 samples (250 ms) at a\n"
                 "time, and writes the received text to standard output byte for byte.\n"
                 "FILE is any format libsndfile reads; it is converted to 8000 Hz mono.\n\n"
                 "options:\n%s"
                 "%s"
                 "  -h, --help           show this help\n",
                 kReceiveOptionsHelp, kRecordingOptionsHelp);
}

} // namespace

int decodeCommand(int argc, char** argv) {
    const char* const command = "decode";
    DecodeOptions options;
    bool haveInput = false;
    ArgumentReader arguments(argc, argv);
    while (arguments.next()) {
        if (arguments.option().empty()) {
            if (haveInput) {
                return reportUsageError(command, "more than one recording given: " +
                                                     quoted(arguments.text()));
            }
            options.input = arguments.text();
            haveInput = true;
            continue;
        }
        if (arguments.option() == "--help" || arguments.option() == "-h") {
            printDecodeHelp(stdout);
            return kExitOk;
        }
        if (const std::optional<int> status =
                takeReceiveOption(arguments, options, command, printDecodeHelp)) {
            return *status;
        }
    }
    if (!haveInput) {
        reportError(command, "no recording given");
        printDecodeHelp(stderr);
        return kExitUsage;
    }
    return runDecode(options, command);
}

} // namespace cli
