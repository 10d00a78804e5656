// Reception reports for the PSK spotting network, in the IPFIX form its
// collector (report.pskreporter.info, UDP port 4739) reads.
//
// Format as documented at https://pskreporter.info/pskdev.html, on top of
// IPFIX (RFC 7011). A datagram is a 16-byte message header (version 10,
// length, export time, sequence number, observation domain), then sets:
// - templates (only in some datagrams, see Spotter): an options template
//   set (set id 3) describing the receiver record, template 0x9992:
//   receiverCallsign, receiverLocator, decodingSoftware; and a template set
//   (set id 2) describing the sender records, template 0x9993:
//   senderCallsign, frequency, sNR, mode, informationSource,
//   flowStartSeconds, and template 0x9994, the same without frequency (for
//   a station without a rig, which knows only the audio frequency);
// - the receiver record (set id 0x9992) in every datagram;
// - sender records (set ids 0x9993 / 0x9994).
// The network's own fields are enterprise-specific elements of enterprise
// 30351 (senderCallsign 1, receiverCallsign 2, receiverLocator 4, frequency
// 5, sNR 6, decodingSoftware 8, mode 10, informationSource 11);
// flowStartSeconds is IANA element 150. Strings are IPFIX variable-length
// fields (a length byte, then the bytes); every set is padded with zeros to
// a multiple of 4 bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace reporting {

inline constexpr uint16_t kSpotPort = 4739;
inline constexpr const char* kSpotHost = "report.pskreporter.info";
inline constexpr uint32_t kPskReporterEnterprise = 30351;
inline constexpr uint16_t kReceiverTemplateId = 0x9992;
inline constexpr uint16_t kSenderTemplateId = 0x9993;
inline constexpr uint16_t kSenderNoFrequencyTemplateId = 0x9994;

// The reporting station.
struct ReceiverInfo {
    std::string callsign;
    std::string locator;
    std::string software; // "tarn-psk31 0.1.0"
};

// One station heard.
struct Spot {
    std::string call;
    int64_t frequencyHz = 0; // RF frequency; 0 when unknown
    int snrDb = 0;           // sent clamped to -128 .. 127
    std::string mode = "PSK31";
    int64_t heardAt = 0; // UTC seconds
};

struct ReportHeader {
    uint32_t exportTime = 0;        // UTC seconds
    uint32_t sequence = 0;          // data records sent before this datagram
    uint32_t observationDomain = 0; // fixed for a session
};

// Bytes a spot takes in a datagram, padding aside.
size_t spotRecordSize(const Spot& spot);
// Bytes a datagram takes before any sender record (header, templates when
// asked for, receiver record, the sender sets' headers and padding).
size_t reportOverhead(const ReceiverInfo& receiver, bool withTemplates);

// One datagram: templates when asked for, the receiver record and the spots.
// Strings longer than 254 bytes are cut there.
std::vector<uint8_t> encodeReport(const ReportHeader& header, const ReceiverInfo& receiver,
                                  const std::vector<Spot>& spots, bool withTemplates);

} // namespace reporting
