// The ADIF band enumeration: each band's name and its edges in hertz.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace logbook {

struct BandEdges {
    int64_t lowHz;
    int64_t highHz; // inclusive
};

// The band holding an RF frequency ("20m" for 14 070 000 Hz), or "" when the
// frequency is outside every amateur band.
std::string_view bandForFrequency(int64_t frequencyHz);
// The edges of a band named as ADIF names it (any letter case), or nothing.
std::optional<BandEdges> bandEdges(std::string_view band);
// The ADIF spelling of a band name given in any case ("20M" -> "20m").
std::string canonicalBand(std::string_view band);

} // namespace logbook
