#include "logbook/LogIndex.h"
#include "logbook/Bands.h"
#include "logbook/CallSign.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace logbook {

namespace {

std::string stationKey(std::string_view call) {
    if (const std::optional<CallSign> parsed = parseCallSign(call)) {
        return parsed->base;
    }
    return upperCase(call);
}

} // namespace

std::string LogIndex::duplicateKey(const Qso& qso) {
    return upperCase(qso.call) + '|' + canonicalBand(qso.band) + '|' + upperCase(qso.mode);
}

void LogIndex::add(Qso qso) {
    const std::string station = stationKey(qso.call);
    const auto found = byStation.find(station);
    if (found == byStation.end()) {
        byStation.emplace(station, WorkedBefore{upperCase(qso.call), qso.timeOn, 1});
    } else {
        ++found->second.count;
        if (qso.timeOn >= found->second.timeOn) {
            found->second.call = upperCase(qso.call);
            found->second.timeOn = qso.timeOn;
        }
    }
    startTimes[duplicateKey(qso)].push_back(qso.timeOn);
    contacts.push_back(std::move(qso));
}

std::vector<Qso> LogIndex::recent(size_t count) const {
    std::vector<size_t> order(contacts.size());
    for (size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    count = std::min(count, order.size());
    // Newest first; of equal start times the one added later first.
    const auto newer = [this](size_t a, size_t b) {
        return contacts[a].timeOn != contacts[b].timeOn ? contacts[a].timeOn > contacts[b].timeOn
                                                        : a > b;
    };
    std::partial_sort(order.begin(), order.begin() + static_cast<ptrdiff_t>(count), order.end(),
                      newer);
    std::vector<Qso> result;
    for (size_t i = 0; i < count; ++i) {
        result.push_back(contacts[order[i]]);
    }
    return result;
}

std::optional<WorkedBefore> LogIndex::workedBefore(std::string_view call) const {
    const auto found = byStation.find(stationKey(call));
    if (found == byStation.end()) {
        return std::nullopt;
    }
    return found->second;
}

bool LogIndex::isDuplicate(const Qso& qso) const {
    const auto found = startTimes.find(duplicateKey(qso));
    if (found == startTimes.end()) {
        return false;
    }
    return std::any_of(found->second.begin(), found->second.end(), [&qso](int64_t start) {
        return std::abs(start - qso.timeOn) <= kDuplicateWindowSeconds;
    });
}

} // namespace logbook
