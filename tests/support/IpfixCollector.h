// A collector of spotting-network datagrams, written from the network's
// documentation and RFC 7011: reads IPFIX messages, remembering templates
// across them as a collector does, and fails the test on any fault of form.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace testipfix {

struct FieldSpec {
    uint16_t element; // without the enterprise bit
    uint16_t length;  // 0xffff: variable
    uint32_t enterprise;
    bool operator==(const FieldSpec&) const = default;
};

struct Value {
    uint64_t number = 0;
    std::string text;
};
// A data record: (element, enterprise) -> value.
using Record = std::map<std::pair<uint16_t, uint32_t>, Value>;

struct Datagram {
    uint32_t exportTime, sequence, domain;
    bool hadTemplates = false;
    std::vector<uint16_t> setIds;
    std::vector<std::pair<uint16_t, Record>> records; // with their template ids
};

// Reads datagrams, remembering templates across them; fails the test on any
// fault of form.
class Collector {
public:
    std::map<uint16_t, std::vector<FieldSpec>> templates;

    Datagram read(const std::vector<uint8_t>& bytes) {
        Datagram out{};
        size_t at = 0;
        const auto u8 = [&] { return at < bytes.size() ? bytes[at++] : 0; };
        const auto u16 = [&] { return static_cast<uint16_t>(u8() << 8 | u8()); };
        const auto u32 = [&] { return uint32_t{u16()} << 16 | u16(); };
        EXPECT_EQ(u16(), 10);           // IPFIX version
        EXPECT_EQ(u16(), bytes.size()); // message length
        out.exportTime = u32();
        out.sequence = u32();
        out.domain = u32();
        while (at < bytes.size()) {
            const size_t setStart = at;
            const uint16_t id = u16();
            const uint16_t length = u16();
            EXPECT_EQ(length % 4, 0) << "set " << id << " not padded";
            EXPECT_LE(setStart + length, bytes.size());
            const size_t setEnd = setStart + length;
            out.setIds.push_back(id);
            if (id == 2 || id == 3) {
                out.hadTemplates = true;
                while (setEnd - at >= 4 + (id == 3 ? 2 : 0) && bytes[at] != 0) {
                    const uint16_t templateId = u16();
                    const uint16_t count = u16();
                    if (id == 3) {
                        EXPECT_EQ(u16(), 0); // scope fields
                    }
                    std::vector<FieldSpec> fields;
                    for (uint16_t i = 0; i < count; ++i) {
                        const uint16_t element = u16();
                        const uint16_t fieldLength = u16();
                        const uint32_t enterprise = (element & 0x8000) ? u32() : 0;
                        fields.push_back(
                            {static_cast<uint16_t>(element & 0x7fff), fieldLength, enterprise});
                    }
                    templates[templateId] = fields;
                }
            } else {
                const auto found = templates.find(id);
                EXPECT_NE(found, templates.end()) << "data set " << id << " before its template";
                if (found == templates.end()) {
                    return out;
                }
                while (setEnd - at >= 4 && bytes[at] != 0) { // what remains is padding
                    Record record;
                    for (const FieldSpec& field : found->second) {
                        Value value;
                        if (field.length == 0xffff) {
                            const uint8_t n = u8();
                            value.text.assign(bytes.begin() + static_cast<ptrdiff_t>(at),
                                              bytes.begin() + static_cast<ptrdiff_t>(at + n));
                            at += n;
                        } else {
                            for (uint16_t i = 0; i < field.length; ++i) {
                                value.number = value.number << 8 | u8();
                            }
                        }
                        record[{field.element, field.enterprise}] = value;
                    }
                    out.records.push_back({id, record});
                }
            }
            at = setEnd;
        }
        return out;
    }
};

inline constexpr uint32_t kPsk = 30351;

inline Value field(const Record& record, uint16_t element, uint32_t enterprise = kPsk) {
    const auto found = record.find({element, enterprise});
    EXPECT_NE(found, record.end()) << "no element " << element;
    return found == record.end() ? Value{} : found->second;
}

} // namespace testipfix
