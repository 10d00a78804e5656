// Rendering a message to PSK31 audio: block size, carrier, phase reversals
// and their envelope, and the refusal of a message too long to count.
#include "TarnData.h"

#include "varicode.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

class Render : public ::testing::Test {
protected:
    void SetUp() override { tarn = TarnData::create(platform); }

    std::vector<float> render(std::u16string_view text) {
        tarn->renderString(text);
        const float* block = tarn->renderedAudio.load();
        return std::vector<float>(block, block + tarn->renderedAudioSize.load());
    }

    NullAudioPlatform platform;
    std::unique_ptr<TarnData> tarn;
};

TEST_F(Render, BlockHoldsTheIdleAndTheCharacterSymbols) {
    tarn->renderedAudioIndex = 77;
    const std::vector<float> e = render(u"e");
    EXPECT_EQ(e.size(), 22u * 256u); // 8 + "00" + "11" + "00" + 8
    EXPECT_EQ(tarn->renderedAudioIndex.load(), 0);
    EXPECT_EQ(e[0], 0.0f);
    EXPECT_EQ(render(u"").size(), 16u * 256u);
    EXPECT_EQ(render(u" ").size(), 21u * 256u);
}

TEST_F(Render, UnshapedSymbolsAreTheCarrierPlusTheOffset) {
    // At 1500 Hz the carrier advances 3π/8 per sample. In "e" the symbols
    // 10 and 11 are '1's after the tenth reversal (symbol 9): the second
    // half of 9 through the first half of 11 have full amplitude, and the
    // carrier phase is the sample number from the start of the message.
    const std::vector<float> e = render(u"e");
    for (int n = 9 * 256 + 128; n < 11 * 256 + 128; ++n) {
        const double expected = 0.5 * std::sin(n * 3.0 * M_PI / 8.0) + 0.1;
        ASSERT_NEAR(e[n], expected, 1e-6) << n;
    }
}

TEST_F(Render, ReversalsPassThroughZeroAndFlipTheCarrier) {
    const std::string symbols = tarn->varicodeParser->renderVaricodeString(8, u"Hi!", 8);
    const std::vector<float> audio = render(u"Hi!");
    ASSERT_EQ(audio.size(), symbols.size() * 256);
    double sign = 1.0;
    for (size_t i = 0; i < symbols.size(); ++i) {
        if (symbols[i] == '0') {
            sign = -sign;
            EXPECT_EQ(audio[i * 256], 0.0f) << i; // the envelope is 0 at the boundary
        }
        // At the middle of each symbol the envelope is 1: the carrier with
        // this symbol's sign.
        const size_t n = i * 256 + 128;
        EXPECT_NEAR(audio[n], sign * 0.5 * std::sin(n * 3.0 * M_PI / 8.0) + 0.1, 1e-6) << i;
    }
    // The last sample has nearly faded out.
    EXPECT_LT(std::fabs(audio.back()), 0.6 * 0.0002);
}

TEST_F(Render, SamplesStayWithinTheEnvelope) {
    for (double f : {500.0, 1234.5, 2500.0}) {
        tarn->setFrequency(f);
        std::u16string text;
        for (char16_t c = 0; c < 256; ++c) {
            text += c;
        }
        const std::vector<float> audio = render(text);
        for (float x : audio) {
            ASSERT_GE(x, -0.4f);
            ASSERT_LE(x, 0.6f);
        }
    }
}

TEST_F(Render, TheNextMessageUsesTheNewFrequencyAndANewBlock) {
    const std::vector<float> first = render(u"a");
    const float* firstBlock = tarn->renderedAudio.load();
    tarn->setFrequency(1000.0);
    const std::vector<float> second = render(u"a");
    EXPECT_NE(tarn->renderedAudio.load(), firstBlock);
    ASSERT_EQ(first.size(), second.size());
    // Symbols 12 and 13 are the "11" that ends 'a' ("1011"): unshaped, so
    // only the carrier differs (π/4 per sample at 1000 Hz).
    const int n = 12 * 256 + 102; // a carrier peak at 1000 Hz
    EXPECT_NEAR(std::fabs(second[n] - 0.1), 0.5 * std::fabs(std::sin(n * tarn::kTwoPi / 8.0)),
                1e-6);
    EXPECT_NEAR(std::fabs(first[n] - 0.1), 0.5 * std::fabs(std::sin(n * 3.0 * M_PI / 8.0)), 1e-6);
}

TEST_F(Render, BytesAndCodeUnitsRenderAlike) {
    const std::u16string wide = u"\u00C8 Hi \u0141";
    const std::vector<float> fromCodeUnits = render(wide);
    tarn->renderString(std::string_view("\xC8 Hi A"));
    const float* block = tarn->renderedAudio.load();
    const std::vector<float> fromBytes(block, block + tarn->renderedAudioSize.load());
    EXPECT_EQ(fromBytes, fromCodeUnits); // 0x141 is sent as 0x41
}

TEST_F(Render, RefusesAMessageWhoseSampleCountWouldOverflow) {
    render(u"ok");
    const float* before = tarn->renderedAudio.load();
    const int32_t size = tarn->renderedAudioSize.load();
    // 6 symbols per 'e' plus 16 idle: just over 2^31 / 256 symbols.
    const std::string text((INT32_MAX / 256 - 16) / 6 + 1, 'e');
    EXPECT_THROW(tarn->renderString(std::string_view(text)), std::length_error);
    EXPECT_EQ(tarn->renderedAudio.load(), before);
    EXPECT_EQ(tarn->renderedAudioSize.load(), size);
}

} // namespace
