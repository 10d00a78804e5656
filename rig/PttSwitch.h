// The transmitter's push-to-talk line as the transmit sequencer sees it.
#pragma once

#include <string>

namespace tarn::rig {

class PttSwitch {
public:
    virtual ~PttSwitch() = default;
    // Keys (`on`) or releases the transmitter. Returns "" once the line is in
    // that state, or why it could not be set (Hamlib's message, or that the
    // rig did not answer in time). Blocks the caller for at most the
    // configured rig timeout. Any thread.
    virtual std::string setPtt(bool on) = 0;
};

} // namespace tarn::rig
