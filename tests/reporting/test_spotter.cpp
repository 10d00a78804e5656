// Spotting-network datagrams read by an IPFIX collector written from the
// network's documentation and RFC 7011 (templates remembered across
// datagrams, as a collector does), and the rate rules under a simulated
// clock with 200 stations heard in one minute; the calls of a band
// scanner's channels kept apart; the collector's name looked up off the
// caller's thread. (The scan command's test sends through a real socket.)
#include "reporting/ChannelCalls.h"
#include "reporting/PskReport.h"
#include "reporting/Spotter.h"
#include "reporting/UdpSender.h"
#include "tests/support/IpfixCollector.h"

#include <gtest/gtest.h>

#include <map>
#include <thread>

using namespace reporting;

namespace {

using namespace testipfix;

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
            accepted += spotter.heard(
                {begin->second, static_cast<int64_t>(14'070'000 + accepted), -3, "PSK31", now});
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

// Two stations' text interleaved piece by piece never makes one call of
// both; a channel closing judges its last word.
TEST(Spotting, EachScannerChannelHasItsOwnMatcher) {
    ChannelCalls calls;
    std::vector<std::string> heard;
    const std::pair<int, const char*> pieces[] = {
        {1, "CQ CQ de K1"}, {2, "QRZ? de G4"}, {1, "ABC pse k "}, {2, "XYZ k "}, {3, "cq de DL0XA"},
    };
    for (const auto& [channel, text] : pieces) {
        calls.feed(channel, text, heard);
    }
    EXPECT_EQ(heard, (std::vector<std::string>{"K1ABC", "G4XYZ"}));
    calls.closed(3, heard);
    calls.closed(3, heard);
    EXPECT_EQ(heard, (std::vector<std::string>{"K1ABC", "G4XYZ", "DL0XA"}));
    EXPECT_EQ(calls.channels(), 2u);
}

TEST(Spotting, LooksTheCollectorUpOnAThreadOfItsOwn) {
    AddressLookup lookup({"127.0.0.1", kSpotPort});
    const ResolvedAddress* found = nullptr;
    while ((found = lookup.result()) == nullptr) {
        std::this_thread::yield();
    }
    EXPECT_EQ(found->error, "");
    UdpSender sender;
    std::string error;
    EXPECT_TRUE(sender.open(*found, error)) << error;
    EXPECT_NE(sender.sourcePort(), 0);
    EXPECT_FALSE(sender.open(ResolvedAddress{{}, "nowhere: not known"}, error));
    EXPECT_EQ(error, "nowhere: not known");
}
