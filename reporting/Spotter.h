// Reports the stations heard to the spotting network, keeping its rules:
// - at most one datagram per five minutes, sent at a random moment up to a
//   minute after the five minutes are up (so stations do not all report at
//   once);
// - each call at most once per five minutes (a call heard again sooner is
//   dropped);
// - the templates in the first three datagrams, then again once an hour;
// - every datagram from the same source port (the sink keeps one socket);
// - datagrams of at most 1400 bytes: what does not fit waits for the next.
// flush() sends what is pending at once, in as many datagrams as it takes,
// for when a recording has ended.
//
// The spotter reads no clock: every call carries the time (UTC seconds), so
// the owner passes the wall clock and tests a simulated one. Used from one
// thread.
#pragma once

#include "reporting/PskReport.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

namespace reporting {

inline constexpr int64_t kReportIntervalSeconds = 300;
inline constexpr int64_t kReportJitterSeconds = 60;
inline constexpr int64_t kCallRepeatSeconds = 300;
inline constexpr int kTemplateDatagrams = 3;
inline constexpr int64_t kTemplateRefreshSeconds = 3600;
inline constexpr size_t kLargestDatagram = 1400;
// Calls waiting beyond this many are dropped (a band scanner in a contest).
inline constexpr size_t kMostPendingSpots = 2000;

// Why spotting cannot start with these settings ("" when it can): it needs
// the operator's call sign and a 4- or 6-character locator.
std::string spottingSetupProblem(const std::string& callsign, const std::string& locator);

class Spotter {
public:
    using Sink = std::function<void(const std::vector<uint8_t>&)>;

    // `seed` drives the random moments and the observation domain; pass a
    // fixed one in tests, std::random_device otherwise.
    Spotter(ReceiverInfo receiver, Sink sink, uint32_t seed);

    // A station heard at spot.heardAt. False when the call was already
    // taken within five minutes, or too many are waiting.
    bool heard(Spot spot);
    // Sends a datagram when one is due; call at least once a second.
    void poll(int64_t now);
    // Sends everything pending now.
    void flush(int64_t now);

    size_t pendingCount() const { return pending.size(); }
    uint64_t datagramsSent() const { return datagrams; }
    // When the next datagram goes, if anything is pending.
    std::optional<int64_t> nextDatagramAt() const { return dueAt; }

private:
    void sendDatagram(int64_t now);
    int64_t jitter();

    ReceiverInfo receiver;
    Sink sink;
    std::mt19937 random;
    uint32_t observationDomain;
    std::deque<Spot> pending;
    std::unordered_map<std::string, int64_t> lastTaken; // call -> time heard
    std::optional<int64_t> dueAt;
    std::optional<int64_t> lastSentAt;
    int64_t lastTemplatesAt = 0;
    uint64_t datagrams = 0;
    uint32_t recordsSent = 0;
};

} // namespace reporting
