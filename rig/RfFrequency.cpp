#include "rig/RfFrequency.h"

namespace tarn::rig {

namespace {

struct ModeSide {
    std::string_view mode;
    Sideband side;
};

// Hamlib's mode names (rig_strrmode). RTTY is conventionally received on
// the lower sideband and CW on the upper; their "R" modes are the reverse.
constexpr ModeSide kModes[] = {
    {"USB", Sideband::Upper},     {"PKTUSB", Sideband::Upper},  {"ECSSUSB", Sideband::Upper},
    {"CW", Sideband::Upper},      {"RTTYR", Sideband::Upper},   {"LSB", Sideband::Lower},
    {"PKTLSB", Sideband::Lower},  {"ECSSLSB", Sideband::Lower}, {"CWR", Sideband::Lower},
    {"RTTY", Sideband::Lower},    {"AM", Sideband::Carrier},    {"AMS", Sideband::Carrier},
    {"PKTAM", Sideband::Carrier}, {"FM", Sideband::Carrier},    {"WFM", Sideband::Carrier},
    {"FMN", Sideband::Carrier},   {"PKTFM", Sideband::Carrier}, {"PKTFMN", Sideband::Carrier},
    {"SAM", Sideband::Carrier},   {"SAL", Sideband::Lower},     {"SAH", Sideband::Upper},
};

} // namespace

Sideband sidebandOfMode(std::string_view hamlibMode) {
    for (const ModeSide& entry : kModes) {
        if (entry.mode == hamlibMode) {
            return entry.side;
        }
    }
    return Sideband::Unknown;
}

std::optional<double> rfFrequency(double dialHz, Sideband sideband, double audioHz) {
    if (!(dialHz > 0.0)) {
        return std::nullopt;
    }
    switch (sideband) {
    case Sideband::Upper:
        return dialHz + audioHz;
    case Sideband::Lower:
        return dialHz - audioHz;
    case Sideband::Carrier:
        return dialHz;
    case Sideband::Unknown:
        break;
    }
    return std::nullopt;
}

} // namespace tarn::rig
