#include "logbook/Qso.h"

#include <cctype>
#include <cstdio>

namespace logbook {

namespace {

// Days from 1970-01-01 to a civil date (Howard Hinnant's algorithm, valid
// far beyond any logged contact).
int64_t daysFromCivil(int64_t y, int m, int d) {
    y -= m <= 2;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const int64_t yoe = y - era * 400;
    const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

bool allDigits(std::string_view text) {
    for (const char c : text) {
        if (c < '0' || c > '9') {
            return false;
        }
    }
    return !text.empty();
}

int number(std::string_view digits) {
    int value = 0;
    for (const char c : digits) {
        value = value * 10 + (c - '0');
    }
    return value;
}

int64_t floorDiv(int64_t a, int64_t b) {
    return a / b - ((a % b != 0) && ((a < 0) != (b < 0)));
}

} // namespace

std::string upperCase(std::string_view text) {
    std::string result(text);
    for (char& c : result) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return result;
}

int daysInMonth(int year, int month) {
    static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && leap ? 29 : kDays[month - 1];
}

bool validDate(int year, int month, int day) {
    return month >= 1 && month <= 12 && day >= 1 && day <= daysInMonth(year, month);
}

int64_t toSeconds(const UtcTime& time) {
    return daysFromCivil(time.year, time.month, time.day) * 86400 + time.hour * 3600 +
           time.minute * 60 + time.second;
}

UtcTime fromSeconds(int64_t seconds) {
    const int64_t days = floorDiv(seconds, 86400);
    const int64_t rest = seconds - days * 86400;
    // Inverse of daysFromCivil.
    const int64_t z = days + 719468;
    const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const int64_t doe = z - era * 146097;
    const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const int64_t mp = (5 * doy + 2) / 153;
    UtcTime time;
    time.day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
    time.month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    time.year = static_cast<int>(yoe + era * 400 + (time.month <= 2));
    time.hour = static_cast<int>(rest / 3600);
    time.minute = static_cast<int>(rest / 60 % 60);
    time.second = static_cast<int>(rest % 60);
    return time;
}

std::optional<UtcTime> parseAdifDate(std::string_view text) {
    if (text.size() != 8 || !allDigits(text)) {
        return std::nullopt;
    }
    UtcTime time;
    time.year = number(text.substr(0, 4));
    time.month = number(text.substr(4, 2));
    time.day = number(text.substr(6, 2));
    // ADIF dates start in 1930.
    if (time.year < 1930 || !validDate(time.year, time.month, time.day)) {
        return std::nullopt;
    }
    return time;
}

std::optional<int> parseAdifTime(std::string_view text) {
    if ((text.size() != 4 && text.size() != 6) || !allDigits(text)) {
        return std::nullopt;
    }
    const int hour = number(text.substr(0, 2));
    const int minute = number(text.substr(2, 2));
    const int second = text.size() == 6 ? number(text.substr(4, 2)) : 0;
    if (hour > 23 || minute > 59 || second > 59) {
        return std::nullopt;
    }
    return hour * 3600 + minute * 60 + second;
}

std::string adifDate(int64_t seconds) {
    const UtcTime time = fromSeconds(seconds);
    char text[16];
    std::snprintf(text, sizeof text, "%04d%02d%02d", time.year, time.month, time.day);
    return text;
}

std::string adifTime(int64_t seconds) {
    const UtcTime time = fromSeconds(seconds);
    char text[16];
    std::snprintf(text, sizeof text, "%02d%02d%02d", time.hour, time.minute, time.second);
    return text;
}

std::optional<int64_t> parseDayArgument(std::string_view text) {
    std::string compact;
    if (text.size() == 10 && text[4] == '-' && text[7] == '-') {
        compact = std::string(text.substr(0, 4)) + std::string(text.substr(5, 2)) +
                  std::string(text.substr(8, 2));
    } else {
        compact = std::string(text);
    }
    const std::optional<UtcTime> date = parseAdifDate(compact);
    if (!date) {
        return std::nullopt;
    }
    return toSeconds(*date);
}

std::string displayTime(int64_t seconds) {
    const UtcTime time = fromSeconds(seconds);
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d", time.year, time.month, time.day,
                  time.hour, time.minute);
    return text;
}

} // namespace logbook
