// The received-text ring: what the display gets back, in order, when full,
// wrapped or empty.
#include "engine/TarnData.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

class TextRing : public ::testing::Test {
protected:
    NullAudioPlatform platform;
    std::unique_ptr<TarnData> tarn = TarnData::create(platform);
};

TEST_F(TextRing, EmptyGivesNothingAndEveryByteComesBackAsItIs) {
    EXPECT_FALSE(tarn->drainTextBuffer().has_value());
    // 0 is what the decoder hands over for an unknown pattern; control
    // characters and bytes above 127 pass unchanged.
    const std::string bytes{
        'A', '\0', '\r', '\n', static_cast<char>(0xC8), static_cast<char>(0xFF)};
    for (char c : bytes) {
        tarn->insertReceivedChar(c);
    }
    EXPECT_EQ(tarn->drainTextBuffer(), bytes);
    EXPECT_FALSE(tarn->drainTextBuffer().has_value());
}

TEST_F(TextRing, HoldsAtMost255AndDropsWhatComesAfter) {
    std::string sent;
    for (int n = 0; n < 300; ++n) {
        sent += static_cast<char>('a' + n % 26);
        tarn->insertReceivedChar(sent.back());
    }
    EXPECT_EQ(tarn->textBufferHead, 255);
    EXPECT_EQ(tarn->drainTextBuffer(), sent.substr(0, 255));
    EXPECT_FALSE(tarn->drainTextBuffer().has_value());
    // Room again after the drain; the dropped characters stay lost.
    tarn->insertReceivedChar('!');
    EXPECT_EQ(tarn->drainTextBuffer(), std::optional<std::string>("!"));
}

TEST_F(TextRing, WrappedTextComesInTwoDrains) {
    tarn->textBufferTail = tarn->textBufferHead = 250;
    const std::string text = "0123456789";
    for (char c : text) {
        tarn->insertReceivedChar(c);
    }
    EXPECT_EQ(tarn->textBufferHead, 4);
    EXPECT_EQ(tarn->drainTextBuffer(), text.substr(0, 6));
    EXPECT_EQ(tarn->textBufferTail, 0);
    EXPECT_EQ(tarn->drainTextBuffer(), text.substr(6));
    EXPECT_FALSE(tarn->drainTextBuffer().has_value());
}

} // namespace
