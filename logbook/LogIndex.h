// The log held in memory for the operating screen: the recent-contacts
// table, "worked before" for the call being typed, and the duplicate rule
// used by import. Lookups are hash-table lookups, quick for any log size.
#pragma once

#include "logbook/Qso.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace logbook {

// Two contacts are the same one logged twice when call, band and mode agree
// and their start times are at most this far apart.
inline constexpr int64_t kDuplicateWindowSeconds = 10 * 60;

struct WorkedBefore {
    std::string call; // as logged (may carry a portable prefix or suffix)
    int64_t timeOn;   // the latest contact
    size_t count;     // contacts with this station
};

class LogIndex {
public:
    void add(Qso qso);

    size_t size() const { return contacts.size(); }
    const Qso& at(size_t index) const { return contacts[index]; } // in the order added
    // The newest `count` contacts by start time, newest first.
    std::vector<Qso> recent(size_t count) const;

    // The latest contact with a station, matched by its home call (K1ABC,
    // K1ABC/P and DL/K1ABC are one station).
    std::optional<WorkedBefore> workedBefore(std::string_view call) const;
    // Whether the log already holds this contact (see kDuplicateWindowSeconds).
    bool isDuplicate(const Qso& qso) const;

private:
    static std::string duplicateKey(const Qso& qso);

    std::vector<Qso> contacts;
    std::unordered_map<std::string, WorkedBefore> byStation;
    std::unordered_map<std::string, std::vector<int64_t>> startTimes; // by duplicate key
};

} // namespace logbook
