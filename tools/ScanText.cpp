#include "tools/ScanText.h"

#include <cstdio>

namespace cli {

const char* const kScanOptionsHelp =
    "  --from HZ            lowest carrier searched (default 500)\n"
    "  --to HZ              highest carrier searched (default 2500)\n"
    "  --max-channels N     channels open at once, 1 .. 200 (default 40)\n"
    "  --close-after SECONDS  close a channel this long without signal (default 20)\n"
    "  --squelch-snr DB     a channel prints above this SNR (default -10)\n"
    "  --format text|jsonl  a line per channel at its close and at the end\n"
    "                       (default), or one JSON object per piece of text:\n"
    "                       {\"t\", \"ch\", \"freq\", \"snr\", \"imd\", \"text\"}\n";

std::optional<int> takeScanOption(ArgumentReader& arguments, scanner::ScannerConfig& config,
                                  bool& jsonLines, const char* command) {
    const std::string& name = arguments.option();
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
        jsonLines = *value == "jsonl";
    } else if (name == "--max-channels") {
        const std::optional<long long> n = parseInteger(*value, 1, 200);
        if (!n) {
            return invalid("a number of channels, 1 .. 200");
        }
        config.maxChannels = static_cast<int>(*n);
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
    return kExitOk;
}

std::string jsonText(const std::string& bytes) {
    std::string out;
    for (unsigned char c : bytes) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c >= 0x20 && c < 0x7f) {
            out += static_cast<char>(c);
        } else {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", c);
            out += escape;
        }
    }
    return out;
}

std::string readableText(const std::string& bytes) {
    std::string out;
    for (unsigned char c : bytes) {
        if (c < 0x20 || c == 0x7f) {
            out += ' ';
        } else if (c < 0x80) {
            out += static_cast<char>(c);
        } else {
            out += static_cast<char>(0xc0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3f));
        }
    }
    return out;
}

std::string decibelText(const std::optional<double>& value, const char* none) {
    if (!value) {
        return none;
    }
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.1f", *value);
    return buffer;
}

bool printTextPiece(const scanner::TextPiece& piece, std::optional<double> rfHz) {
    char rf[48] = "";
    if (rfHz) {
        std::snprintf(rf, sizeof rf, ", \"rf\": %.1f", *rfHz);
    }
    return std::printf("{\"t\": %.3f, \"ch\": %d, \"freq\": %.1f%s, \"snr\": %.1f, \"imd\": %s, "
                       "\"text\": \"%s\"}\n",
                       piece.seconds, piece.channel, piece.frequency, rf, piece.snrDb,
                       decibelText(piece.imdDb, "null").c_str(), jsonText(piece.text).c_str()) >= 0;
}

bool printChannelReport(const scanner::ChannelReport& report) {
    return std::printf("ch %-3d %7.1f Hz  SNR %5.1f dB  IMD %5s dB  %7.1f-%-7.1f s  %s\n",
                       report.id, report.frequency, report.snrDb,
                       decibelText(report.imdDb, "-").c_str(), report.openedAt, report.closedAt,
                       readableText(report.text).c_str()) >= 0;
}

} // namespace cli
