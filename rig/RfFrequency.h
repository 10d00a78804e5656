// The radio frequency of a signal heard at an audio frequency: the dial
// frequency plus the audio frequency on the upper sideband, minus it on the
// lower one.
#pragma once

#include <optional>
#include <string_view>

namespace tarn::rig {

// How an audio tone maps to RF in a receive mode.
//   Upper: RF = dial + audio (USB, data USB, CW, reversed RTTY)
//   Lower: RF = dial - audio (LSB, data LSB, reversed CW, RTTY)
//   Carrier: RF = dial (AM and FM: the tone modulates the carrier)
//   Unknown: no mode or one without a defined mapping.
enum class Sideband { Unknown, Upper, Lower, Carrier };

// The sideband of a mode as Hamlib names it ("USB", "PKTLSB", "FM", ...).
Sideband sidebandOfMode(std::string_view hamlibMode);

// RF in Hz of a signal at `audioHz` with the dial at `dialHz`; nothing when
// the sideband is unknown or the dial is not known (0 or less).
std::optional<double> rfFrequency(double dialHz, Sideband sideband, double audioHz);

} // namespace tarn::rig
