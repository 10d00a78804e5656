#include "reporting/Spotter.h"
#include "logbook/AdifQso.h"
#include "logbook/CallSign.h"

#include <algorithm>
#include <cctype>

namespace reporting {

std::string spottingSetupProblem(const std::string& callsign, const std::string& locator) {
    if (callsign.empty()) {
        return "spotting needs your call sign";
    }
    if (!logbook::isCallSign(callsign)) {
        return "'" + callsign + "' is not a call sign";
    }
    if (locator.empty()) {
        return "spotting needs your locator";
    }
    if ((locator.size() != 4 && locator.size() != 6) || !logbook::isLocator(locator)) {
        return "'" + locator + "' is not a 4- or 6-character locator";
    }
    return {};
}

Spotter::Spotter(ReceiverInfo receiverInfo, Sink sinkFunction, uint32_t seed)
    : receiver(std::move(receiverInfo)), sink(std::move(sinkFunction)), random(seed),
      observationDomain(static_cast<uint32_t>(random())) {}

int64_t Spotter::jitter() {
    return std::uniform_int_distribution<int64_t>(0, kReportJitterSeconds - 1)(random);
}

bool Spotter::heard(Spot spot) {
    for (char& c : spot.call) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    const auto taken = lastTaken.find(spot.call);
    if (taken != lastTaken.end() && spot.heardAt - taken->second < kCallRepeatSeconds) {
        return false;
    }
    if (pending.size() >= kMostPendingSpots) {
        return false;
    }
    // Forget calls whose five minutes are over, now and then.
    if (lastTaken.size() > 4 * kMostPendingSpots) {
        std::erase_if(lastTaken, [&spot](const auto& entry) {
            return spot.heardAt - entry.second >= kCallRepeatSeconds;
        });
    }
    lastTaken[spot.call] = spot.heardAt;
    if (!dueAt) {
        const int64_t earliest = lastSentAt
                                     ? std::max(*lastSentAt + kReportIntervalSeconds, spot.heardAt)
                                     : spot.heardAt;
        dueAt = earliest + jitter();
    }
    pending.push_back(std::move(spot));
    return true;
}

void Spotter::poll(int64_t now) {
    if (dueAt && now >= *dueAt && !pending.empty()) {
        sendDatagram(now);
        dueAt.reset();
        if (!pending.empty()) {
            dueAt = now + kReportIntervalSeconds + jitter();
        }
    }
}

void Spotter::flush(int64_t now) {
    while (!pending.empty()) {
        sendDatagram(now);
    }
    dueAt.reset();
}

void Spotter::sendDatagram(int64_t now) {
    const bool withTemplates =
        datagrams < kTemplateDatagrams || now - lastTemplatesAt >= kTemplateRefreshSeconds;
    size_t size = reportOverhead(receiver, withTemplates);
    std::vector<Spot> spots;
    while (!pending.empty() &&
           (spots.empty() || size + spotRecordSize(pending.front()) <= kLargestDatagram)) {
        size += spotRecordSize(pending.front());
        spots.push_back(std::move(pending.front()));
        pending.pop_front();
    }
    ReportHeader header;
    header.exportTime = static_cast<uint32_t>(now);
    header.sequence = recordsSent;
    header.observationDomain = observationDomain;
    sink(encodeReport(header, receiver, spots, withTemplates));
    recordsSent += static_cast<uint32_t>(1 + spots.size());
    ++datagrams;
    lastSentAt = now;
    if (withTemplates) {
        lastTemplatesAt = now;
    }
}

} // namespace reporting
