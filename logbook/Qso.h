// One contact as the station logs it, and the UTC calendar helpers the log
// uses. Times are whole seconds since 1970-01-01 00:00 UTC; the log never
// deals in local time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace logbook {

// A contact. Text fields hold ADIF strings (printable ASCII); empty means
// "not recorded" and is left out of the file.
struct Qso {
    std::string call;         // the other station, upper case
    int64_t timeOn = 0;       // start of the contact, UTC seconds
    int64_t timeOff = 0;      // end of the contact, UTC seconds (>= timeOn)
    int64_t frequencyHz = 0;  // RF frequency; 0 when unknown
    std::string band;         // ADIF band, lower case ("20m"); may be set without a frequency
    std::string mode = "PSK"; // ADIF mode
    std::string submode = "PSK31";
    std::string rstSent;
    std::string rstReceived;
    std::string name;
    std::string qth;
    std::string gridsquare; // the other station's locator
    std::string comment;
    std::string stationCallsign; // the operator's own call
    std::string myGridsquare;    // the operator's own locator
    // Fields the station does not interpret (read from other programs'
    // files), kept so that export and import lose nothing: upper-case ADIF
    // name and value, in file order.
    std::vector<std::pair<std::string, std::string>> otherFields;
};

// A calendar date and time of day in UTC.
struct UtcTime {
    int year = 1970;
    int month = 1; // 1 .. 12
    int day = 1;   // 1 .. 31
    int hour = 0;
    int minute = 0;
    int second = 0;
};

// `text` in ASCII upper case (calls, modes and ADIF names compare so).
std::string upperCase(std::string_view text);

// Days in a month of the proleptic Gregorian calendar.
int daysInMonth(int year, int month);
// UTC seconds of a calendar time (no range checks; use validDate first).
int64_t toSeconds(const UtcTime& time);
UtcTime fromSeconds(int64_t seconds);
bool validDate(int year, int month, int day);

// ADIF date "YYYYMMDD" and time "HHMM" / "HHMMSS". Nothing for anything
// else, including impossible dates (20230230) and times (2460).
std::optional<UtcTime> parseAdifDate(std::string_view text);
// Seconds after midnight.
std::optional<int> parseAdifTime(std::string_view text);
std::string adifDate(int64_t seconds); // "YYYYMMDD"
std::string adifTime(int64_t seconds); // "HHMMSS"

// "YYYY-MM-DD" (or "YYYYMMDD") as the UTC seconds of its midnight.
std::optional<int64_t> parseDayArgument(std::string_view text);
// "YYYY-MM-DD HH:MM" for listings.
std::string displayTime(int64_t seconds);

} // namespace logbook
