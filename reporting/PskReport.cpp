#include "reporting/PskReport.h"

#include <algorithm>

namespace reporting {

namespace {

constexpr uint16_t kIpfixVersion = 10;
constexpr uint16_t kTemplateSetId = 2;
constexpr uint16_t kOptionsTemplateSetId = 3;
constexpr uint16_t kVariableLength = 0xffff;
constexpr uint16_t kEnterpriseBit = 0x8000;
constexpr uint16_t kFlowStartSeconds = 150;
// informationSource: 1 = taken from received text automatically.
constexpr uint8_t kAutomaticallyExtracted = 1;
constexpr size_t kLongestString = 254;

enum Element : uint16_t {
    senderCallsign = 1,
    receiverCallsign = 2,
    receiverLocator = 4,
    frequency = 5,
    sNR = 6,
    decodingSoftware = 8,
    mode = 10,
    informationSource = 11,
};

void putU8(std::vector<uint8_t>& out, uint8_t value) {
    out.push_back(value);
}
void putU16(std::vector<uint8_t>& out, uint16_t value) {
    out.push_back(static_cast<uint8_t>(value >> 8));
    out.push_back(static_cast<uint8_t>(value));
}
void putU32(std::vector<uint8_t>& out, uint32_t value) {
    putU16(out, static_cast<uint16_t>(value >> 16));
    putU16(out, static_cast<uint16_t>(value));
}
void putString(std::vector<uint8_t>& out, const std::string& text) {
    const size_t length = std::min(text.size(), kLongestString);
    putU8(out, static_cast<uint8_t>(length));
    out.insert(out.end(), text.begin(), text.begin() + static_cast<ptrdiff_t>(length));
}
void putEnterpriseField(std::vector<uint8_t>& out, uint16_t element, uint16_t length) {
    putU16(out, kEnterpriseBit | element);
    putU16(out, length);
    putU32(out, kPskReporterEnterprise);
}

// Starts a set; returns where its length goes.
size_t beginSet(std::vector<uint8_t>& out, uint16_t setId) {
    putU16(out, setId);
    const size_t at = out.size();
    putU16(out, 0);
    return at;
}
// Pads the set to a multiple of 4 bytes and fills in its length.
void endSet(std::vector<uint8_t>& out, size_t lengthAt) {
    while ((out.size() - (lengthAt - 2)) % 4 != 0) {
        out.push_back(0);
    }
    const size_t length = out.size() - (lengthAt - 2);
    out[lengthAt] = static_cast<uint8_t>(length >> 8);
    out[lengthAt + 1] = static_cast<uint8_t>(length);
}

void putTemplates(std::vector<uint8_t>& out) {
    size_t set = beginSet(out, kOptionsTemplateSetId);
    putU16(out, kReceiverTemplateId);
    putU16(out, 3); // fields
    putU16(out, 0); // scope fields
    putEnterpriseField(out, receiverCallsign, kVariableLength);
    putEnterpriseField(out, receiverLocator, kVariableLength);
    putEnterpriseField(out, decodingSoftware, kVariableLength);
    endSet(out, set);

    set = beginSet(out, kTemplateSetId);
    for (const bool withFrequency : {true, false}) {
        putU16(out, withFrequency ? kSenderTemplateId : kSenderNoFrequencyTemplateId);
        putU16(out, withFrequency ? 6 : 5);
        putEnterpriseField(out, senderCallsign, kVariableLength);
        if (withFrequency) {
            putEnterpriseField(out, frequency, 4);
        }
        putEnterpriseField(out, sNR, 1);
        putEnterpriseField(out, mode, kVariableLength);
        putEnterpriseField(out, informationSource, 1);
        putU16(out, kFlowStartSeconds);
        putU16(out, 4);
    }
    endSet(out, set);
}

void putSpot(std::vector<uint8_t>& out, const Spot& spot) {
    putString(out, spot.call);
    if (spot.frequencyHz > 0) {
        putU32(out, static_cast<uint32_t>(std::min<int64_t>(spot.frequencyHz, 0xffffffff)));
    }
    putU8(out, static_cast<uint8_t>(static_cast<int8_t>(std::clamp(spot.snrDb, -128, 127))));
    putString(out, spot.mode);
    putU8(out, kAutomaticallyExtracted);
    putU32(out, static_cast<uint32_t>(spot.heardAt));
}

} // namespace

size_t spotRecordSize(const Spot& spot) {
    return 1 + std::min(spot.call.size(), kLongestString) + (spot.frequencyHz > 0 ? 4 : 0) + 1 + 1 +
           std::min(spot.mode.size(), kLongestString) + 1 + 4;
}

size_t reportOverhead(const ReceiverInfo& receiver, bool withTemplates) {
    return encodeReport({}, receiver, {}, withTemplates).size() + 2 * (4 + 3);
}

std::vector<uint8_t> encodeReport(const ReportHeader& header, const ReceiverInfo& receiver,
                                  const std::vector<Spot>& spots, bool withTemplates) {
    std::vector<uint8_t> out;
    putU16(out, kIpfixVersion);
    putU16(out, 0); // length, filled in below
    putU32(out, header.exportTime);
    putU32(out, header.sequence);
    putU32(out, header.observationDomain);
    if (withTemplates) {
        putTemplates(out);
    }
    size_t set = beginSet(out, kReceiverTemplateId);
    putString(out, receiver.callsign);
    putString(out, receiver.locator);
    putString(out, receiver.software);
    endSet(out, set);
    for (const bool withFrequency : {true, false}) {
        const auto belongs = [withFrequency](const Spot& spot) {
            return (spot.frequencyHz > 0) == withFrequency;
        };
        if (std::none_of(spots.begin(), spots.end(), belongs)) {
            continue;
        }
        set = beginSet(out, withFrequency ? kSenderTemplateId : kSenderNoFrequencyTemplateId);
        for (const Spot& spot : spots) {
            if (belongs(spot)) {
                putSpot(out, spot);
            }
        }
        endSet(out, set);
    }
    out[2] = static_cast<uint8_t>(out.size() >> 8);
    out[3] = static_cast<uint8_t>(out.size());
    return out;
}

} // namespace reporting
