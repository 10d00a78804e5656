// One radio under Hamlib control: the connection, the push-to-talk line and
// the dial frequency.
//
// A worker thread of the connection's own owns the Hamlib RIG handle; every
// Hamlib call runs there. It opens the rig at construction and, after any
// failure, reopens it with a back-off of 1, 2, 4 ... up to 30 s (at once when
// PTT is asked for meanwhile). It polls the dial frequency and mode about
// once a second and publishes them through status(). Each failure is logged
// once, with Hamlib's message; the same failure repeating is not logged
// again until the rig has been reached in between.
//
// Callers never wait longer than the configured timeout: a request the
// worker has not answered by then is reported as timed out (a PTT-on that
// times out is withdrawn and followed by a release, so a late answer cannot
// leave the transmitter keyed). Destruction releases PTT if it is keyed,
// closes the rig and returns within the timeout even when Hamlib is stuck
// (the worker then finishes on its own).
#pragma once

#include "rig/PttSwitch.h"
#include "rig/RfFrequency.h"
#include "rig/RigConfig.h"

#include <memory>
#include <string>

namespace tarn::rig {

// A copy of what the connection knows, taken at one instant.
struct RigStatus {
    bool connected = false;
    // Dial frequency in Hz and Hamlib's mode name ("USB"), as last polled;
    // 0 and "" while unknown (no rig model, not connected yet, or the rig
    // cannot tell).
    double dialHz = 0.0;
    std::string mode;
    Sideband sideband = Sideband::Unknown;
    // The PTT line as this program last set it successfully.
    bool pttOn = false;
    // The last failure's message (Hamlib's), "" since the last success.
    std::string error;
};

class RigConnection : public PttSwitch {
public:
    // Starts the worker and the first open; returns at once. `config` must
    // pass validateRigConfig(). Without rig control or a PTT method
    // (usesHamlib false) nothing is opened and setPtt succeeds trivially.
    explicit RigConnection(const RigConfig& config);
    ~RigConnection() override;
    RigConnection(const RigConnection&) = delete;
    RigConnection& operator=(const RigConnection&) = delete;

    std::string setPtt(bool on) override;
    // Queues a release without waiting for it; any thread (not a signal
    // handler: see EmergencyRelease).
    void releasePttSoon();

    RigStatus status() const;
    const RigConfig& config() const;

    struct Worker;

private:
    std::shared_ptr<Worker> worker;
};

} // namespace tarn::rig
