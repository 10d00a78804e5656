// The Logged ADIF datagram, decoded as its documentation describes it
// (big-endian quint32 magic, schema and type, then utf8 id and ADIF text as
// a quint32 count and bytes), after a trip through a real UDP socket.
#include "logbook/Adif.h"
#include "logbook/AdifQso.h"
#include "reporting/LoggedAdif.h"
#include "reporting/UdpSender.h"
#include "tests/support/LocalUdpSocket.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace reporting;

namespace {

struct LoggedAdifMessage {
    uint32_t magic = 0, schema = 0, type = 0;
    std::string id, adif;
};

// Reads the message; nothing when it is short or has bytes left over.
std::optional<LoggedAdifMessage> decode(const std::vector<uint8_t>& bytes) {
    size_t at = 0;
    const auto u32 = [&](uint32_t& value) {
        for (const size_t end = at + 4; at < end; ++at) {
            if (at >= bytes.size()) {
                return false;
            }
            value = value << 8 | bytes[at];
        }
        return true;
    };
    const auto utf8 = [&](std::string& text) {
        uint32_t count = 0;
        if (!u32(count) || bytes.size() - at < count) {
            return false;
        }
        text.assign(bytes.begin() + static_cast<ptrdiff_t>(at),
                    bytes.begin() + static_cast<ptrdiff_t>(at + count));
        at += count;
        return true;
    };
    LoggedAdifMessage m;
    if (!u32(m.magic) || !u32(m.schema) || !u32(m.type) || !utf8(m.id) || !utf8(m.adif) ||
        at != bytes.size()) {
        return std::nullopt;
    }
    return m;
}

} // namespace

TEST(LoggedAdif, DatagramReachesAListenerAndCarriesOneValidAdifRecord) {
    logbook::Qso qso;
    qso.call = "3DA0RU";
    qso.timeOn = 1'709'294'400; // 2024-03-01 12:00:00
    qso.timeOff = qso.timeOn + 300;
    qso.frequencyHz = 7'040'500;
    qso.rstSent = "599";
    qso.stationCallsign = "N0CALL";
    qso.myGridsquare = "JO62";

    // Loopback UDP is delivered before the send returns.
    const LocalUdpSocket listener;
    ASSERT_NE(listener.port(), 0);
    UdpSender sender;
    std::string error;
    ASSERT_TRUE(sender.open({"127.0.0.1", listener.port()}, error)) << error;
    ASSERT_TRUE(sender.send(encodeLoggedAdif(kLoggerClientId, loggedAdifText(qso)), error))
        << error;
    uint16_t from = 0;
    const std::vector<uint8_t> bytes = listener.receive(&from);
    ASSERT_FALSE(bytes.empty());
    EXPECT_EQ(from, sender.sourcePort());

    const std::optional<LoggedAdifMessage> message = decode(bytes);
    ASSERT_TRUE(message);
    EXPECT_EQ(message->magic, 0xadbccbdau);
    EXPECT_EQ(message->schema, 3u);
    EXPECT_EQ(message->type, 12u);
    EXPECT_EQ(message->id, "tarn-psk31");
    // The text is a whole ADIF file: header, one record, every field sound.
    const logbook::AdifDocument document =
        logbook::readAdif(message->adif, logbook::AdifReading::Strict);
    ASSERT_TRUE(document.problems.empty()) << document.problems[0].message;
    ASSERT_TRUE(document.hasHeader);
    EXPECT_EQ(*logbook::findField(document.header, "PROGRAMID"), "tarn-psk31");
    ASSERT_EQ(document.records.size(), 1u);
    EXPECT_TRUE(logbook::checkRecord(document.records[0]).empty());
    EXPECT_EQ(*logbook::findField(document.records[0], "CALL"), "3DA0RU");
    EXPECT_EQ(*logbook::findField(document.records[0], "BAND"), "40m");
    EXPECT_EQ(*logbook::findField(document.records[0], "SUBMODE"), "PSK31");
}

TEST(LoggedAdif, DestinationsAsTheOperatorTypesThem) {
    const std::tuple<const char*, const char*, uint16_t> cases[] = {
        {"127.0.0.1", "127.0.0.1", 2237},
        {"localhost:2238", "localhost", 2238},
        {"[::1]:4739", "::1", 4739},
        {"::1", "::1", 2237}, // bare IPv6: default port
        {"host:0", nullptr, 0},
        {"host:65536", nullptr, 0},
        {"host:", nullptr, 0},
        {":2237", nullptr, 0},
        {"host:22x", nullptr, 0},
    };
    for (const auto& [text, host, port] : cases) {
        const std::optional<HostPort> parsed = parseHostPort(text, kLoggerPort);
        ASSERT_EQ(parsed.has_value(), host != nullptr) << text;
        if (parsed) {
            EXPECT_EQ(parsed->host, host) << text;
            EXPECT_EQ(parsed->port, port) << text;
        }
    }
}
