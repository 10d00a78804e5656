// tarn-psk31 log: the station log from the command line: add a contact,
// list, export, import and check the ADIF file.
#include "logbook/AdifQso.h"
#include "logbook/Bands.h"
#include "logbook/CallSign.h"
#include "logbook/LogFile.h"
#include "logbook/LogIndex.h"
#include "tools/CommandLine.h"

#include <cctype>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>

namespace cli {

namespace {

const char* const kCommand = "log";

int64_t nowSeconds() {
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// "HH:MM" or "HH:MM:SS" as seconds after midnight.
std::optional<int> parseClock(const std::string& text) {
    std::string compact;
    for (const char c : text) {
        if (c != ':') {
            compact += c;
        }
    }
    const bool shaped = (text.size() == 5 && text[2] == ':') ||
                        (text.size() == 8 && text[2] == ':' && text[5] == ':');
    return shaped ? logbook::parseAdifTime(compact) : std::nullopt;
}

struct LogOptions {
    std::string subcommand;
    std::filesystem::path log = logbook::defaultLogPath();
    std::optional<int64_t> since;
    std::string output;
    std::string importFile;
    logbook::Qso qso;
    std::optional<int64_t> date;
    std::optional<int> timeOn;
    std::optional<int> timeOff;
    std::optional<double> frequencyMhz;
};

// Every option that takes a value, in the order the help lists them: what
// the help says of it and where its value goes. A text option fills its field
// of the contact as given; any other is read by `parse`, which returns false
// for a value that is not `expected`.
struct ValueOption {
    const char* name;
    const char* shortName; // or null
    const char* placeholder;
    const char* help; // '\n' continues in the help's text column
    bool forAdd;      // listed under "add:"
    std::string logbook::Qso::*text;
    bool (*parse)(LogOptions&, const std::string&) = nullptr;
    const char* expected = nullptr;
};

bool readDay(std::optional<int64_t>& day, const std::string& value) {
    day = logbook::parseDayArgument(value);
    return day.has_value();
}

bool readClock(std::optional<int>& clock, const std::string& value) {
    clock = parseClock(value);
    return clock.has_value();
}

constexpr const char* kDate = "a date YYYY-MM-DD";
constexpr const char* kClock = "a time HH:MM or HH:MM:SS";
using logbook::Qso;

const ValueOption kValueOptions[] = {
    {"--log", nullptr, "FILE",
     "the log (default $XDG_DATA_HOME/tarn-psk31/log.adi,\nelse ~/.local/share/tarn-psk31/log.adi)",
     false, nullptr,
     [](LogOptions& o, const std::string& v) {
         o.log = v;
         return true;
     }},
    {"--since", nullptr, "DATE", "only contacts from DATE (YYYY-MM-DD, UTC) on", false, nullptr,
     [](LogOptions& o, const std::string& v) { return readDay(o.since, v); }, kDate},
    {"--output", "-o", "FILE", "where export writes (replaced whole, or left alone)", false,
     nullptr,
     [](LogOptions& o, const std::string& v) {
         o.output = v;
         return true;
     }},
    {"--call", nullptr, "CALL", "the other station (required)", true, &Qso::call},
    {"--date", nullptr, "DATE", "UTC date of the contact (default today)", true, nullptr,
     [](LogOptions& o, const std::string& v) { return readDay(o.date, v); }, kDate},
    {"--time", nullptr, "HH:MM[:SS]", "UTC time on (default now)", true, nullptr,
     [](LogOptions& o, const std::string& v) { return readClock(o.timeOn, v); }, kClock},
    {"--time-off", nullptr, "HH:MM[:SS]",
     "UTC time off (default the time on; the next day when\nearlier)", true, nullptr,
     [](LogOptions& o, const std::string& v) { return readClock(o.timeOff, v); }, kClock},
    {"--freq", nullptr, "MHZ", "RF frequency in MHz; sets the band", true, nullptr,
     [](LogOptions& o, const std::string& v) {
         o.frequencyMhz = parseNumber(v);
         return o.frequencyMhz && *o.frequencyMhz > 0.0;
     },
     "a frequency in MHz"},
    {"--band", nullptr, "BAND", "ADIF band (20m, 70cm ...) when no frequency is known", true,
     &Qso::band},
    {"--mode", nullptr, "MODE", "ADIF mode (default PSK)", true, &Qso::mode},
    {"--submode", nullptr, "SUBMODE", "ADIF submode (default PSK31)", true, &Qso::submode},
    {"--rst-sent", nullptr, "R", "signal report sent", true, &Qso::rstSent},
    {"--rst-rcvd", nullptr, "R", "signal report received", true, &Qso::rstReceived},
    {"--name", nullptr, "N", "the other operator's name", true, &Qso::name},
    {"--qth", nullptr, "Q", "the other station's location", true, &Qso::qth},
    {"--locator", nullptr, "GRID", "the other station's locator", true, &Qso::gridsquare},
    {"--comment", nullptr, "TEXT", "a note on the contact", true, &Qso::comment},
    {"--my-call", nullptr, "CALL", "your own call", true, &Qso::stationCallsign},
    {"--my-locator", nullptr, "GRID", "your own locator", true, &Qso::myGridsquare},
};

void printLogHelp(std::FILE* out) {
    std::fputs("usage: tarn-psk31 log add --call CALL [OPTIONS]\n"
               "       tarn-psk31 log list [--since DATE]\n"
               "       tarn-psk31 log export -o FILE.adi [--since DATE]\n"
               "       tarn-psk31 log import FILE.adi\n"
               "       tarn-psk31 log check\n"
               "The station log, an ADIF 3.1 file that contacts are only ever appended to.\n"
               "import skips contacts already in the log (same call, band and mode within\n"
               "10 minutes); check reads the file strictly and tests every field's format.\n\n"
               "options:\n",
               out);
    bool addListed = false;
    for (const ValueOption& option : kValueOptions) {
        if (option.forAdd && !addListed) {
            std::fputs("add:\n", out);
            addListed = true;
        }
        std::string usage = option.shortName ? std::string(option.shortName) + ", " : "";
        usage += std::string(option.name) + " " + option.placeholder;
        std::string help = option.help;
        for (size_t at = help.find('\n'); at != std::string::npos; at = help.find('\n', at + 1)) {
            help.insert(at + 1, 24, ' ');
        }
        std::fprintf(out, "  %-21s %s\n", usage.c_str(), help.c_str());
    }
    std::fputs("  -h, --help            show this help\n", out);
}

bool readContacts(const std::filesystem::path& path, logbook::LogContents& contents) {
    std::string error;
    if (!logbook::LogFile(path).read(contents, error)) {
        reportError(kCommand, error);
        return false;
    }
    for (const std::string& problem : contents.problems) {
        reportError(kCommand, "warning: " + path.string() + ": " + problem);
    }
    return true;
}

int addContact(LogOptions& options) {
    logbook::Qso& qso = options.qso;
    if (qso.call.empty()) {
        return reportUsageError(kCommand, "add needs --call");
    }
    if (!logbook::isCallSign(qso.call)) {
        return reportUsageError(kCommand, cli::quoted(qso.call) + " is not a call sign");
    }
    for (char& c : qso.call) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    const int64_t now = nowSeconds();
    const int64_t day = options.date ? *options.date : now - now % 86400;
    qso.timeOn = day + (options.timeOn ? *options.timeOn : now % 86400);
    qso.timeOff = qso.timeOn;
    if (options.timeOff) {
        qso.timeOff = day + *options.timeOff;
        if (qso.timeOff < qso.timeOn) {
            qso.timeOff += 86400;
        }
    }
    if (options.frequencyMhz) {
        qso.frequencyHz = static_cast<int64_t>(std::llround(*options.frequencyMhz * 1e6));
        const std::string_view band = logbook::bandForFrequency(qso.frequencyHz);
        if (band.empty()) {
            return reportUsageError(kCommand, "--freq " + std::to_string(*options.frequencyMhz) +
                                                  " MHz is in no amateur band");
        }
        if (!qso.band.empty() && qso.band != band) {
            return reportUsageError(kCommand, "--freq lies in " + std::string(band) +
                                                  ", not in --band " + qso.band);
        }
        qso.band = std::string(band);
    }
    const std::vector<std::string> faults = logbook::checkRecord(logbook::toAdifRecord(qso));
    if (!faults.empty()) {
        return reportUsageError(kCommand, faults.front());
    }
    logbook::LogContents contents;
    if (!readContacts(options.log, contents)) {
        return kExitUsage;
    }
    logbook::LogIndex index;
    for (logbook::Qso& earlier : contents.contacts) {
        index.add(std::move(earlier));
    }
    const std::optional<logbook::WorkedBefore> before = index.workedBefore(qso.call);
    std::string error;
    if (!logbook::LogFile(options.log).append({qso}, error)) {
        reportError(kCommand, "not logged: " + error);
        return kExitFailure;
    }
    std::printf("logged %s %s %s\n", qso.call.c_str(), logbook::displayTime(qso.timeOn).c_str(),
                qso.band.empty() ? "(no band)" : qso.band.c_str());
    if (before) {
        std::printf("worked before: %s on %s\n", before->call.c_str(),
                    logbook::displayTime(before->timeOn).substr(0, 10).c_str());
    }
    return kExitOk;
}

int listContacts(const LogOptions& options) {
    logbook::LogContents contents;
    if (!readContacts(options.log, contents)) {
        return kExitUsage;
    }
    if (!contents.exists) {
        return reportUsageError(kCommand, options.log.string() + ": no such log");
    }
    for (const logbook::Qso& qso : contents.contacts) {
        if (options.since && qso.timeOn < *options.since) {
            continue;
        }
        char frequency[32] = "-";
        if (qso.frequencyHz > 0) {
            std::snprintf(frequency, sizeof frequency, "%.6f", qso.frequencyHz / 1e6);
        }
        std::printf("%s  %-12s %-6s %-11s %-7s %-4s %-4s %s\n",
                    logbook::displayTime(qso.timeOn).c_str(), qso.call.c_str(),
                    qso.band.empty() ? "-" : qso.band.c_str(), frequency,
                    (qso.submode.empty() ? qso.mode : qso.submode).c_str(),
                    qso.rstSent.empty() ? "-" : qso.rstSent.c_str(),
                    qso.rstReceived.empty() ? "-" : qso.rstReceived.c_str(), qso.name.c_str());
    }
    return kExitOk;
}

int exportContacts(const LogOptions& options) {
    if (options.output.empty()) {
        return reportUsageError(kCommand, "export needs -o FILE.adi");
    }
    logbook::LogContents contents;
    if (!readContacts(options.log, contents)) {
        return kExitUsage;
    }
    if (!contents.exists) {
        return reportUsageError(kCommand, options.log.string() + ": no such log");
    }
    std::vector<logbook::Qso> chosen;
    for (logbook::Qso& qso : contents.contacts) {
        if (!options.since || qso.timeOn >= *options.since) {
            chosen.push_back(std::move(qso));
        }
    }
    std::string error;
    if (!logbook::writeAdifFile(options.output, chosen, error)) {
        return reportUsageError(kCommand, error);
    }
    std::printf("exported %zu contacts to %s\n", chosen.size(), options.output.c_str());
    return kExitOk;
}

int importContacts(const LogOptions& options) {
    if (options.importFile.empty()) {
        return reportUsageError(kCommand, "import needs an ADIF file");
    }
    std::ifstream in(options.importFile, std::ios::binary);
    if (!in) {
        return reportUsageError(kCommand, options.importFile + ": cannot be read");
    }
    std::ostringstream buffer;
    buffer << in.rdbuf();
    const logbook::AdifDocument document =
        logbook::readAdif(buffer.str(), logbook::AdifReading::Lenient);
    for (const logbook::AdifProblem& problem : document.problems) {
        reportError(kCommand, "warning: " + options.importFile + ": line " +
                                  std::to_string(problem.line) + ": " + problem.message);
    }
    logbook::LogContents contents;
    if (!readContacts(options.log, contents)) {
        return kExitUsage;
    }
    logbook::LogIndex index;
    for (logbook::Qso& earlier : contents.contacts) {
        index.add(std::move(earlier));
    }
    std::vector<logbook::Qso> fresh;
    size_t duplicates = 0;
    size_t unreadable = 0;
    for (const logbook::AdifRecord& record : document.records) {
        std::optional<logbook::Qso> qso = logbook::qsoFromRecord(record);
        if (!qso) {
            ++unreadable;
            continue;
        }
        if (index.isDuplicate(*qso)) {
            ++duplicates;
            continue;
        }
        index.add(*qso);
        fresh.push_back(std::move(*qso));
    }
    std::string error;
    if (!fresh.empty() && !logbook::LogFile(options.log).append(fresh, error)) {
        reportError(kCommand, "nothing imported: " + error);
        return kExitFailure;
    }
    std::printf("imported %zu contacts, skipped %zu already logged, %zu unreadable\n", fresh.size(),
                duplicates, unreadable);
    return kExitOk;
}

int checkLog(const LogOptions& options) {
    std::ifstream in(options.log, std::ios::binary);
    if (!in) {
        return reportUsageError(kCommand, options.log.string() + ": cannot be read");
    }
    std::ostringstream buffer;
    buffer << in.rdbuf();
    const logbook::AdifDocument document =
        logbook::readAdif(buffer.str(), logbook::AdifReading::Strict);
    size_t faults = 0;
    const auto fault = [&faults, &options](const std::string& message) {
        ++faults;
        std::printf("%s: %s\n", options.log.c_str(), message.c_str());
    };
    for (const logbook::AdifProblem& problem : document.problems) {
        fault("line " + std::to_string(problem.line) + ": " + problem.message);
    }
    if (!document.hasHeader) {
        fault("no header");
    }
    for (const std::string& problem : logbook::checkHeader(document.header)) {
        fault("header: " + problem);
    }
    for (size_t i = 0; i < document.records.size(); ++i) {
        for (const std::string& problem : logbook::checkRecord(document.records[i])) {
            fault("record " + std::to_string(i + 1) + ": " + problem);
        }
    }
    std::printf("%zu records, %zu faults\n", document.records.size(), faults);
    return faults == 0 ? kExitOk : kExitFailure;
}

} // namespace

int logCommand(int argc, char** argv) {
    LogOptions options;
    ArgumentReader arguments(argc, argv);
    logbook::Qso& qso = options.qso;
    while (arguments.next()) {
        const std::string& option = arguments.option();
        if (option == "--help" || option == "-h") {
            printLogHelp(stdout);
            return kExitOk;
        }
        if (option.empty()) {
            if (options.subcommand.empty()) {
                options.subcommand = arguments.text();
                if (options.subcommand != "add" && options.subcommand != "list" &&
                    options.subcommand != "export" && options.subcommand != "import" &&
                    options.subcommand != "check") {
                    return reportUsageError(kCommand,
                                            "unknown log command " + cli::quoted(arguments.text()));
                }
            } else if (options.subcommand == "import" && options.importFile.empty()) {
                options.importFile = arguments.text();
            } else {
                return reportUsageError(kCommand,
                                        "unexpected argument " + cli::quoted(arguments.text()));
            }
            continue;
        }
        const std::optional<std::string> value = arguments.value();
        if (!value) {
            if (option.rfind("--", 0) != 0 && option != "-o") {
                return reportUsageError(kCommand, "unknown option " + cli::quoted(option));
            }
            return reportUsageError(kCommand, arguments.error());
        }
        const ValueOption* known = nullptr;
        for (const ValueOption& candidate : kValueOptions) {
            if (option == candidate.name ||
                (candidate.shortName && option == candidate.shortName)) {
                known = &candidate;
            }
        }
        if (!known) {
            return reportUsageError(kCommand, "unknown option " + cli::quoted(option));
        }
        if (known->text) {
            qso.*(known->text) = *value;
        } else if (!known->parse(options, *value)) {
            return reportUsageError(kCommand, option + " " + cli::quoted(*value) + " is not " +
                                                  known->expected);
        }
    }
    if (options.subcommand.empty()) {
        return reportUsageError(kCommand, "which log command? add, list, export, import or check");
    }
    if (!qso.band.empty()) {
        qso.band = logbook::canonicalBand(qso.band);
        if (!logbook::bandEdges(qso.band)) {
            return reportUsageError(kCommand,
                                    "--band " + cli::quoted(qso.band) + " is not an ADIF band");
        }
    }
    if (options.subcommand == "add") {
        return addContact(options);
    }
    if (options.subcommand == "list") {
        return listContacts(options);
    }
    if (options.subcommand == "export") {
        return exportContacts(options);
    }
    if (options.subcommand == "import") {
        return importContacts(options);
    }
    return checkLog(options);
}

} // namespace cli
