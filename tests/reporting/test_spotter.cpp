// Spotting-network datagrams read by an IPFIX collector written from the
// network's documentation and RFC 7011 (templates remembered across
// datagrams, as a collector does), and the rate rules under a simulated
// clock with 200 stations heard in one minute. (The trip through a real
// socket is proved by the logger datagram's test.)
#include "reporting/PskReport.h"
#include "reporting/Spotter.h"

#include <gtest/gtest.h>

#include <map>

using namespace reporting;

namespace {

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

constexpr uint32_t kPsk = 30351;

Value field(const Record& record, uint16_t element, uint32_t enterprise = kPsk) {
    const auto found = record.find({element, enterprise});
    EXPECT_NE(found, record.end()) << "no element " << element;
    return found == record.end() ? Value{} : found->second;
}

const ReceiverInfo kReceiver{"N0CALL", "JO62qm", "tarn-psk31 0.1.0"};

} // namespace

TEST(Spotting, DatagramFieldsAsTheCollectorReadsThem) {
    Spot withRig{"K1ABC/P", 14'070'950, -7, "PSK31", 1'709'294'400};
    Spot withoutRig{"3DA0RU", 0, 12, "PSK31", 1'709'294'410};
    const std::vector<uint8_t> bytes =
        encodeReport({1'709'294'460, 41, 0xdeadbeef}, kReceiver, {withRig, withoutRig}, true);
    Collector collector;
    const Datagram datagram = collector.read(bytes);
    EXPECT_EQ(datagram.exportTime, 1'709'294'460u);
    EXPECT_EQ(datagram.sequence, 41u);
    EXPECT_EQ(datagram.domain, 0xdeadbeefu);
    EXPECT_EQ(datagram.setIds, (std::vector<uint16_t>{3, 2, 0x9992, 0x9993, 0x9994}));

    const uint16_t v = 0xffff;
    EXPECT_EQ(collector.templates[0x9992],
              (std::vector<FieldSpec>{{2, v, kPsk}, {4, v, kPsk}, {8, v, kPsk}}));
    EXPECT_EQ(
        collector.templates[0x9993],
        (std::vector<FieldSpec>{
            {1, v, kPsk}, {5, 4, kPsk}, {6, 1, kPsk}, {10, v, kPsk}, {11, 1, kPsk}, {150, 4, 0}}));
    EXPECT_EQ(collector.templates[0x9994],
              (std::vector<FieldSpec>{
                  {1, v, kPsk}, {6, 1, kPsk}, {10, v, kPsk}, {11, 1, kPsk}, {150, 4, 0}}));

    ASSERT_EQ(datagram.records.size(), 3u);
    auto receiver = datagram.records[0].second;
    EXPECT_EQ(field(receiver, 2).text, "N0CALL");
    EXPECT_EQ(field(receiver, 4).text, "JO62qm");
    EXPECT_EQ(field(receiver, 8).text, "tarn-psk31 0.1.0");
    auto rig = datagram.records[1].second;
    EXPECT_EQ(field(rig, 1).text, "K1ABC/P");
    EXPECT_EQ(field(rig, 5).number, 14'070'950u);
    EXPECT_EQ(static_cast<int8_t>(field(rig, 6).number), -7);
    EXPECT_EQ(field(rig, 10).text, "PSK31");
    EXPECT_EQ(field(rig, 11).number, 1u); // extracted from received text
    EXPECT_EQ(field(rig, 150, 0).number, 1'709'294'400u);
    auto noRig = datagram.records[2].second;
    EXPECT_EQ(field(noRig, 1).text, "3DA0RU");
    EXPECT_EQ(noRig.count({5, kPsk}), 0u) << "no frequency without a rig";
    EXPECT_EQ(field(noRig, 6).number, 12u);
}

TEST(Spotting, RateRulesHoldWith200CallsInAMinute) {
    struct Sent {
        int64_t at;
        std::vector<uint8_t> bytes;
    };
    std::vector<Sent> sent;
    int64_t now = 1'709'294'400;
    const int64_t start = now;
    Spotter spotter(
        kReceiver,
        [&](const std::vector<uint8_t>& bytes) {
            sent.push_back({now, bytes});
        },
        7);
    // 200 calls in the first minute, each heard three times; the first 50
    // heard again after four and after six minutes.
    const auto call = [](int i) {
        return "K" + std::to_string(i % 10) + "A" + char('A' + i / 10 % 26);
    };
    std::multimap<int64_t, std::string> schedule;
    for (int i = 0; i < 200; ++i) {
        for (int repeat = 0; repeat < 3; ++repeat) {
            schedule.insert({start + i * 60 / 200 + repeat * 10 % 60, call(i)});
        }
        if (i < 50) {
            schedule.insert({start + 240 + i, call(i)});
            schedule.insert({start + 360 + i, call(i)});
        }
    }
    size_t accepted = 0;
    for (; now < start + 2 * 3600; ++now) {
        for (auto [begin, end] = schedule.equal_range(now); begin != end; ++begin) {
            accepted += spotter.heard({begin->second, 14'070'000 + accepted, -3, "PSK31", now});
        }
        spotter.poll(now);
    }
    EXPECT_EQ(accepted, 250u); // 200 once, and the 50 again after six minutes

    Collector collector;
    std::map<std::string, std::vector<int64_t>> reported; // call -> times heard
    uint32_t records = 0;
    int64_t lastTemplates = 0;
    for (size_t i = 0; i < sent.size(); ++i) {
        EXPECT_LE(sent[i].bytes.size(), kLargestDatagram);
        if (i > 0) {
            EXPECT_GE(sent[i].at - sent[i - 1].at, kReportIntervalSeconds) << "datagram " << i;
        }
        const Datagram datagram = collector.read(sent[i].bytes);
        const bool templatesDue = i < 3 || sent[i].at - lastTemplates >= 3600;
        EXPECT_EQ(datagram.hadTemplates, templatesDue) << "datagram " << i;
        if (datagram.hadTemplates) {
            lastTemplates = sent[i].at;
        }
        EXPECT_EQ(datagram.sequence, records);
        records += static_cast<uint32_t>(datagram.records.size());
        for (const auto& [set, fields] : datagram.records) {
            if (set != 0x9992) {
                reported[field(fields, 1).text].push_back(
                    static_cast<int64_t>(field(fields, 150, 0).number));
            }
        }
    }
    // Every call reported, none twice within five minutes.
    EXPECT_EQ(reported.size(), 200u);
    size_t total = 0;
    for (const auto& [name, times] : reported) {
        total += times.size();
        for (size_t i = 1; i < times.size(); ++i) {
            EXPECT_GE(times[i] - times[i - 1], kCallRepeatSeconds) << name;
        }
    }
    EXPECT_EQ(total, 250u);
    // The first datagram went at a random moment within a minute of the first call.
    ASSERT_FALSE(sent.empty());
    EXPECT_LT(sent[0].at - start, kReportJitterSeconds);
    EXPECT_EQ(spotter.pendingCount(), 0u);
    // The end of a recording sends what is pending at once.
    EXPECT_TRUE(spotter.heard({"DL0XA", 0, 0, "PSK31", now}));
    spotter.flush(now);
    EXPECT_EQ(spotter.pendingCount(), 0u);
    EXPECT_EQ(collector.read(sent.back().bytes).records.back().second.at({1, kPsk}).text, "DL0XA");
}

TEST(Spotting, NeedsTheOperatorsCallAndLocator) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"N0CALL", "JO62", ""},
        {"N0CALL", "JO62qm", ""},
        {"", "JO62", "needs your call sign"},
        {"599", "JO62", "is not a call sign"},
        {"N0CALL", "", "needs your locator"},
        {"N0CALL", "JO6", "not a 4- or 6-character locator"},
        {"N0CALL", "JO62qm12", "not a 4- or 6-character locator"},
    };
    for (const auto& [call, locator, problem] : cases) {
        const std::string found = spottingSetupProblem(call, locator);
        if (std::string(problem).empty()) {
            EXPECT_EQ(found, "") << call << " " << locator;
        } else {
            EXPECT_NE(found.find(problem), std::string::npos) << found;
        }
    }
}
