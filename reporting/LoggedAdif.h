// The "Logged ADIF" datagram that loggers and map programs accept on UDP
// (conventionally port 2237) from digital-mode programs.
//
// Format, as documented in the comment block of WSJT-X's
// Network/NetworkMessage.hpp ("Logged ADIF  Out  12"; also
// https://github.com/n4af/TR4W/wiki/WSJT-X-UDP-Interface-API): big-endian
// fields in Qt's QDataStream encoding,
//   quint32 magic 0xadbccbda, quint32 schema (3 = Qt 5.4 stream format),
//   quint32 message type 12, utf8 id, utf8 ADIF text,
// where utf8 is a quint32 byte count followed by the bytes (no terminator).
// The ADIF text is a whole ADIF file with one record, so a receiver can
// treat it as an ordinary log file.
#pragma once

#include "logbook/Qso.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace reporting {

inline constexpr uint32_t kWsjtxMagic = 0xadbccbda;
inline constexpr uint32_t kWsjtxSchema = 3;
inline constexpr uint32_t kLoggedAdifType = 12;
inline constexpr uint16_t kLoggerPort = 2237;
// The id that names this program to the receiver.
inline constexpr std::string_view kLoggerClientId = "tarn-psk31";

// The ADIF text of one contact: a header (ADIF_VER, PROGRAMID) and the
// record.
std::string loggedAdifText(const logbook::Qso& qso);
// The datagram carrying an ADIF text.
std::vector<uint8_t> encodeLoggedAdif(std::string_view id, std::string_view adifText);

} // namespace reporting
