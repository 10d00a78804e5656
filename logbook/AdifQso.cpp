#include "logbook/AdifQso.h"
#include "logbook/Bands.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace logbook {

namespace {

// "14.070350": MHz with six decimals is the hertz exactly.
std::string megahertz(int64_t hz) {
    char text[40];
    std::snprintf(text, sizeof text, "%lld.%06lld", static_cast<long long>(hz / 1'000'000),
                  static_cast<long long>(hz % 1'000'000));
    return text;
}

// An ADIF Number in MHz as whole hertz; nothing for a malformed or
// non-positive number.
std::optional<int64_t> parseMegahertz(std::string_view text) {
    if (text.empty() || text.size() > 24) {
        return std::nullopt;
    }
    int dots = 0;
    for (const char c : text) {
        if (c == '.') {
            ++dots;
        } else if (!std::isdigit(static_cast<unsigned char>(c))) {
            return std::nullopt;
        }
    }
    if (dots > 1 || text == ".") {
        return std::nullopt;
    }
    const double mhz = std::strtod(std::string(text).c_str(), nullptr);
    if (!(mhz > 0.0) || mhz > 1e7) {
        return std::nullopt;
    }
    return static_cast<int64_t>(std::llround(mhz * 1e6));
}

// ADIF mode enumeration (the modes, not the submodes).
constexpr const char* kModes[] = {
    "AM",     "ARDOP",  "ATV",     "CHIP", "CLO",   "CONTESTI", "CW",   "DIGITALVOICE",
    "DOMINO", "DSTAR",  "DYNAMIC", "FAX",  "FM",    "FSK441",   "FT8",  "HELL",
    "ISCAT",  "JT4",    "JT44",    "JT65", "JT6M",  "JT9",      "MFSK", "MSK144",
    "MT63",   "OLIVIA", "OPERA",   "PAC",  "PAX",   "PKT",      "PSK",  "PSK2K",
    "Q15",    "QRA64",  "ROS",     "RTTY", "RTTYM", "SSB",      "SSTV", "T10",
    "THOR",   "THRB",   "TOR",     "V4",   "VOI",   "WINMOR",   "WSPR",
};

// The PSK mode's submodes.
constexpr const char* kPskSubmodes[] = {
    "8PSK125",    "8PSK125F",  "8PSK125FL", "8PSK250",    "8PSK250F",   "8PSK250FL",  "8PSK500",
    "8PSK500F",   "8PSK1000",  "8PSK1000F", "8PSK1200F",  "FSK31",      "PSK10",      "PSK31",
    "PSK63",      "PSK63F",    "PSK63RC10", "PSK63RC20",  "PSK63RC32",  "PSK63RC4",   "PSK63RC5",
    "PSK125",     "PSK125C12", "PSK125R",   "PSK125RC10", "PSK125RC12", "PSK125RC16", "PSK125RC4",
    "PSK125RC5",  "PSK250",    "PSK250C6",  "PSK250R",    "PSK250RC2",  "PSK250RC3",  "PSK250RC5",
    "PSK250RC6",  "PSK250RC7", "PSK500",    "PSK500C2",   "PSK500C4",   "PSK500R",    "PSK500RC2",
    "PSK500RC3",  "PSK500RC4", "PSK800C2",  "PSK800RC2",  "PSK1000",    "PSK1000C2",  "PSK1000R",
    "PSK1000RC2", "PSKAM10",   "PSKAM31",   "PSKAM50",    "PSKFEC31",   "QPSK31",     "QPSK63",
    "QPSK125",    "QPSK250",   "QPSK500",   "SIM31",
};

template <size_t N> bool listed(const char* const (&list)[N], const std::string& value) {
    for (const char* entry : list) {
        if (value == entry) {
            return true;
        }
    }
    return false;
}

bool printableAscii(std::string_view text, bool multiline) {
    for (const char c : text) {
        const unsigned char u = static_cast<unsigned char>(c);
        if ((u < 32 || u > 126) && !(multiline && (c == '\r' || c == '\n'))) {
            return false;
        }
    }
    return true;
}

bool callCharacters(std::string_view text) {
    for (const char c : text) {
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '/') {
            return false;
        }
    }
    return !text.empty();
}

} // namespace

bool isLocator(std::string_view text) {
    if (text.size() != 2 && text.size() != 4 && text.size() != 6 && text.size() != 8) {
        return false;
    }
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = static_cast<char>(std::toupper(static_cast<unsigned char>(text[i])));
        const size_t pair = i / 2;
        const bool ok = pair == 0   ? (c >= 'A' && c <= 'R')
                        : pair == 2 ? (c >= 'A' && c <= 'X')
                                    : (c >= '0' && c <= '9');
        if (!ok) {
            return false;
        }
    }
    return true;
}

AdifRecord toAdifRecord(const Qso& qso) {
    AdifRecord record;
    const auto add = [&record](const char* name, std::string value) {
        if (!value.empty()) {
            record.push_back({name, std::move(value)});
        }
    };
    add("CALL", upperCase(qso.call));
    add("QSO_DATE", adifDate(qso.timeOn));
    add("TIME_ON", adifTime(qso.timeOn));
    add("QSO_DATE_OFF", adifDate(qso.timeOff));
    add("TIME_OFF", adifTime(qso.timeOff));
    std::string band = qso.band;
    if (band.empty() && qso.frequencyHz > 0) {
        band = std::string(bandForFrequency(qso.frequencyHz));
    }
    add("BAND", canonicalBand(band));
    add("FREQ", qso.frequencyHz > 0 ? megahertz(qso.frequencyHz) : "");
    add("MODE", upperCase(qso.mode));
    add("SUBMODE", upperCase(qso.submode));
    add("RST_SENT", qso.rstSent);
    add("RST_RCVD", qso.rstReceived);
    add("NAME", qso.name);
    add("QTH", qso.qth);
    add("GRIDSQUARE", qso.gridsquare);
    add("COMMENT", qso.comment);
    add("STATION_CALLSIGN", upperCase(qso.stationCallsign));
    add("MY_GRIDSQUARE", qso.myGridsquare);
    for (const auto& [name, value] : qso.otherFields) {
        record.push_back({name, value});
    }
    return record;
}

std::optional<Qso> qsoFromRecord(const AdifRecord& record, std::string* why) {
    const auto fail = [why](std::string reason) -> std::optional<Qso> {
        if (why != nullptr) {
            *why = std::move(reason);
        }
        return std::nullopt;
    };
    const std::string* call = findField(record, "CALL");
    const std::string* date = findField(record, "QSO_DATE");
    const std::string* timeOn = findField(record, "TIME_ON");
    if (call == nullptr || call->empty()) {
        return fail("no CALL");
    }
    if (!callCharacters(*call)) {
        return fail("CALL '" + *call + "' is not a call sign");
    }
    if (date == nullptr || !parseAdifDate(*date)) {
        return fail("no valid QSO_DATE");
    }
    if (timeOn == nullptr || !parseAdifTime(*timeOn)) {
        return fail("no valid TIME_ON");
    }
    Qso qso;
    qso.mode.clear();
    qso.submode.clear();
    qso.call = upperCase(*call);
    qso.timeOn = toSeconds(*parseAdifDate(*date)) + *parseAdifTime(*timeOn);
    qso.timeOff = qso.timeOn;
    std::optional<UtcTime> dateOff;
    for (const AdifField& field : record) {
        const std::string& v = field.value;
        const std::string& n = field.name;
        if (n == "CALL" || n == "QSO_DATE" || n == "TIME_ON") {
        } else if (n == "QSO_DATE_OFF" && parseAdifDate(v)) {
            dateOff = parseAdifDate(v);
        } else if (n == "TIME_OFF" && parseAdifTime(v)) {
            qso.timeOff = *parseAdifTime(v); // seconds of day until the date is known
        } else if (n == "FREQ" && parseMegahertz(v)) {
            qso.frequencyHz = *parseMegahertz(v);
        } else if (n == "BAND") {
            qso.band = canonicalBand(v);
        } else if (n == "MODE") {
            qso.mode = upperCase(v);
        } else if (n == "SUBMODE") {
            qso.submode = upperCase(v);
        } else if (n == "RST_SENT") {
            qso.rstSent = v;
        } else if (n == "RST_RCVD") {
            qso.rstReceived = v;
        } else if (n == "NAME") {
            qso.name = v;
        } else if (n == "QTH") {
            qso.qth = v;
        } else if (n == "GRIDSQUARE") {
            qso.gridsquare = v;
        } else if (n == "COMMENT") {
            qso.comment = v;
        } else if (n == "STATION_CALLSIGN") {
            qso.stationCallsign = upperCase(v);
        } else if (n == "MY_GRIDSQUARE") {
            qso.myGridsquare = v;
        } else {
            qso.otherFields.push_back({n, v});
        }
    }
    if (findField(record, "TIME_OFF") != nullptr && parseAdifTime(*findField(record, "TIME_OFF"))) {
        const int64_t secondOfDay = qso.timeOff;
        if (dateOff) {
            qso.timeOff = toSeconds(*dateOff) + secondOfDay;
        } else {
            // Without QSO_DATE_OFF, a time off before the time on is the next day.
            const int64_t dayStart = qso.timeOn - qso.timeOn % 86400;
            qso.timeOff = dayStart + secondOfDay;
            if (qso.timeOff < qso.timeOn) {
                qso.timeOff += 86400;
            }
        }
    }
    if (qso.band.empty() && qso.frequencyHz > 0) {
        qso.band = std::string(bandForFrequency(qso.frequencyHz));
    }
    return qso;
}

std::vector<std::string> checkRecord(const AdifRecord& record) {
    std::vector<std::string> faults;
    const auto fault = [&faults](const std::string& name, const std::string& value,
                                 const char* what) {
        faults.push_back(name + " '" + value + "': " + what);
    };
    for (const char* required : {"CALL", "QSO_DATE", "TIME_ON"}) {
        if (findField(record, required) == nullptr) {
            faults.push_back(std::string("no ") + required);
        }
    }
    for (const AdifField& field : record) {
        const std::string& n = field.name;
        const std::string& v = field.value;
        const bool multiline = n == "NOTES" || n == "ADDRESS" || n == "QSLMSG";
        if (!printableAscii(v, multiline)) {
            fault(n, v, "not printable ASCII");
        }
        if ((n == "QSO_DATE" || n == "QSO_DATE_OFF") && !parseAdifDate(v)) {
            fault(n, v, "not a date YYYYMMDD from 1930 on");
        } else if ((n == "TIME_ON" || n == "TIME_OFF") && !parseAdifTime(v)) {
            fault(n, v, "not a time HHMM or HHMMSS");
        } else if ((n == "BAND" || n == "BAND_RX") && !bandEdges(v)) {
            fault(n, v, "not in the band enumeration");
        } else if ((n == "FREQ" || n == "FREQ_RX") && !parseMegahertz(v)) {
            fault(n, v, "not a positive number of MHz");
        } else if (n == "MODE" && !listed(kModes, upperCase(v))) {
            fault(n, v, "not in the mode enumeration");
        } else if ((n == "GRIDSQUARE" || n == "MY_GRIDSQUARE") && !isLocator(v)) {
            fault(n, v, "not a Maidenhead locator");
        } else if ((n == "CALL" || n == "STATION_CALLSIGN" || n == "OPERATOR") &&
                   !callCharacters(v)) {
            fault(n, v, "not a call sign");
        }
    }
    const std::string* band = findField(record, "BAND");
    const std::string* freq = findField(record, "FREQ");
    if (band != nullptr && freq != nullptr && bandEdges(*band) && parseMegahertz(*freq)) {
        const BandEdges edges = *bandEdges(*band);
        const int64_t hz = *parseMegahertz(*freq);
        if (hz < edges.lowHz || hz > edges.highHz) {
            fault("FREQ", *freq, "outside BAND");
        }
    }
    const std::string* mode = findField(record, "MODE");
    const std::string* submode = findField(record, "SUBMODE");
    if (submode != nullptr) {
        if (mode == nullptr) {
            fault("SUBMODE", *submode, "without a MODE");
        } else if (upperCase(*mode) == "PSK" && !listed(kPskSubmodes, upperCase(*submode))) {
            fault("SUBMODE", *submode, "not a submode of PSK");
        } else if (upperCase(*submode) == "PSK31" && upperCase(*mode) != "PSK") {
            fault("SUBMODE", *submode, "belongs to MODE PSK");
        }
    }
    return faults;
}

std::vector<std::string> checkHeader(const AdifRecord& header) {
    std::vector<std::string> faults;
    const std::string* version = findField(header, "ADIF_VER");
    if (version == nullptr) {
        faults.push_back("no ADIF_VER");
    } else if (version->size() != 5 || (*version)[1] != '.' || (*version)[3] != '.' ||
               !std::isdigit(static_cast<unsigned char>((*version)[0])) ||
               !std::isdigit(static_cast<unsigned char>((*version)[2])) ||
               !std::isdigit(static_cast<unsigned char>((*version)[4]))) {
        faults.push_back("ADIF_VER '" + *version + "': not a version N.N.N");
    }
    if (findField(header, "PROGRAMID") == nullptr) {
        faults.push_back("no PROGRAMID");
    }
    const std::string* created = findField(header, "CREATED_TIMESTAMP");
    if (created == nullptr) {
        faults.push_back("no CREATED_TIMESTAMP");
    } else if (created->size() != 15 || (*created)[8] != ' ' ||
               !parseAdifDate(created->substr(0, 8)) || created->substr(9).size() != 6 ||
               !parseAdifTime(created->substr(9))) {
        faults.push_back("CREATED_TIMESTAMP '" + *created + "': not YYYYMMDD HHMMSS");
    }
    return faults;
}

} // namespace logbook
