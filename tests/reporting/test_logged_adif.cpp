// The Logged ADIF datagram, decoded as its documentation describes it
// (big-endian quint32 magic, schema and type, then utf8 id and ADIF text as
// a quint32 count and bytes), after a trip through a real UDP socket.
#include "logbook/Adif.h"
#include "logbook/AdifQso.h"
#include "reporting/LoggedAdif.h"
#include "reporting/UdpSender.h"

#include "UdpListener.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace reporting;

namespace {

struct LoggedAdifMessage {
    uint32_t magic, schema, type;
    std::string id, adif;
};

// Reads the message; nothing when it is short or has bytes left over.
std::optional<LoggedAdifMessage> decode(const std::vector<uint8_t>& bytes) {
    size_t at = 0;
    const auto u32 = [&](uint32_t& value) {
        if (bytes.size() - at < 4) {
            return false;
        }
        value = uint32_t{bytes[at]} << 24 | uint32_t{bytes[at + 1]} << 16 |
                uint32_t{bytes[at + 2]} << 8 | bytes[at + 3];
        at += 4;
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
    LoggedAdifMessage message;
    if (!u32(message.magic) || !u32(message.schema) || !u32(message.type) || !utf8(message.id) ||
        !utf8(message.adif) || at != bytes.size()) {
        return std::nullopt;
    }
    return message;
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

    UdpListener listener;
    UdpSender sender;
    std::string error;
    ASSERT_TRUE(sender.open({"127.0.0.1", listener.port()}, error)) << error;
    ASSERT_TRUE(sender.send(encodeLoggedAdif(kLoggerClientId, loggedAdifText(qso)), error))
        << error;
    const std::optional<UdpListener::Datagram> datagram = listener.receive();
    ASSERT_TRUE(datagram);
    EXPECT_EQ(datagram->fromPort, sender.sourcePort());

    const std::optional<LoggedAdifMessage> message = decode(datagram->bytes);
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
    const std::tuple<const char*, std::optional<std::pair<std::string, uint16_t>>> cases[] = {
        {"127.0.0.1", std::pair<std::string, uint16_t>{"127.0.0.1", 2237}},
        {"localhost:2238", std::pair<std::string, uint16_t>{"localhost", 2238}},
        {"[::1]:4739", std::pair<std::string, uint16_t>{"::1", 4739}},
        {"host:0", std::nullopt},
        {"host:65536", std::nullopt},
        {"host:", std::nullopt},
        {":2237", std::nullopt},
        {"host:22x", std::nullopt},
        {"::1", std::pair<std::string, uint16_t>{"::1", 2237}}, // bare IPv6: default port
    };
    for (const auto& [text, expected] : cases) {
        const std::optional<HostPort> parsed = parseHostPort(text, kLoggerPort);
        ASSERT_EQ(parsed.has_value(), expected.has_value()) << text;
        if (parsed) {
            EXPECT_EQ(parsed->host, expected->first) << text;
            EXPECT_EQ(parsed->port, expected->second) << text;
        }
    }
}
