#include "logbook/Bands.h"

#include <cctype>

namespace logbook {

namespace {

struct Band {
    const char* name;
    BandEdges edges;
};

// ADIF 3.1 band enumeration, lower and upper limits as the enumeration gives
// them in MHz, here in Hz.
constexpr Band kBands[] = {
    {"2190m", {135'700, 137'800}},
    {"630m", {472'000, 479'000}},
    {"560m", {501'000, 504'000}},
    {"160m", {1'800'000, 2'000'000}},
    {"80m", {3'500'000, 4'000'000}},
    {"60m", {5'060'000, 5'450'000}},
    {"40m", {7'000'000, 7'300'000}},
    {"30m", {10'100'000, 10'150'000}},
    {"20m", {14'000'000, 14'350'000}},
    {"17m", {18'068'000, 18'168'000}},
    {"15m", {21'000'000, 21'450'000}},
    {"12m", {24'890'000, 24'990'000}},
    {"10m", {28'000'000, 29'700'000}},
    {"8m", {40'000'000, 45'000'000}},
    {"6m", {50'000'000, 54'000'000}},
    {"5m", {54'000'001, 69'900'000}},
    {"4m", {70'000'000, 71'000'000}},
    {"2m", {144'000'000, 148'000'000}},
    {"1.25m", {222'000'000, 225'000'000}},
    {"70cm", {420'000'000, 450'000'000}},
    {"33cm", {902'000'000, 928'000'000}},
    {"23cm", {1'240'000'000, 1'300'000'000}},
    {"13cm", {2'300'000'000, 2'450'000'000}},
    {"9cm", {3'300'000'000, 3'500'000'000}},
    {"6cm", {5'650'000'000, 5'925'000'000}},
    {"3cm", {10'000'000'000, 10'500'000'000}},
    {"1.25cm", {24'000'000'000, 24'250'000'000}},
    {"6mm", {47'000'000'000, 47'200'000'000}},
    {"4mm", {75'500'000'000, 81'000'000'000}},
    {"2.5mm", {119'980'000'000, 123'000'000'000}},
    {"2mm", {134'000'000'000, 149'000'000'000}},
    {"1mm", {241'000'000'000, 250'000'000'000}},
    {"submm", {300'000'000'000, 7'500'000'000'000}},
};

} // namespace

std::string_view bandForFrequency(int64_t frequencyHz) {
    for (const Band& band : kBands) {
        if (frequencyHz >= band.edges.lowHz && frequencyHz <= band.edges.highHz) {
            return band.name;
        }
    }
    return {};
}

std::string canonicalBand(std::string_view band) {
    std::string lower;
    for (const char c : band) {
        lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return lower;
}

std::optional<BandEdges> bandEdges(std::string_view band) {
    const std::string lower = canonicalBand(band);
    for (const Band& entry : kBands) {
        if (lower == entry.name) {
            return entry.edges;
        }
    }
    return std::nullopt;
}

} // namespace logbook
