// Rendering a message to PSK31 audio: block size, carrier, phase reversals
// and their envelope, and the refusal of a message too long to count.
#include "engine/TarnData.h"

#include "varicode/varicode.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

class Render : public ::testing::Test {
protected:
    template <typename Text> std::vector<float> render(Text text) {
        tarn->renderString(text);
        const float* block = tarn->renderedAudio.load();
        return std::vector<float>(block, block + tarn->renderedAudioSize.load());
    }

    // A full-envelope sample: the carrier (amplitude 0.5, phase counted from
    // the start of the message) with the symbol's sign, plus the 0.1 offset.
    static double unshaped(size_t n, double sign, double frequency) {
        return sign * 0.5 * std::sin(n * (frequency * tarn::kTwoPi) / 8000.0) + 0.1;
    }

    NullAudioPlatform platform;
    std::unique_ptr<TarnData> tarn = TarnData::create(platform);
};

TEST_F(Render, BlockHoldsTheIdleAndTheCharacterSymbols) {
    tarn->renderedAudioIndex = 77;
    const std::vector<float> e = render(u"e");
    EXPECT_EQ(e.size(), 22u * 256u); // 8 + "00" + "11" + "00" + 8
    EXPECT_EQ(tarn->renderedAudioIndex.load(), 0);
    EXPECT_EQ(e[0], 0.0f);
    EXPECT_EQ(render(u"").size(), 16u * 256u);
    EXPECT_EQ(render(u" ").size(), 21u * 256u);

    // In "e" the symbols 10 and 11 are '1's after the tenth reversal (symbol
    // 9): the second half of 9 through the first half of 11 are unshaped.
    for (size_t n = 9 * 256 + 128; n < 11 * 256 + 128; ++n) {
        ASSERT_NEAR(e[n], unshaped(n, 1.0, 1500.0), 1e-6) << n;
    }
}

TEST_F(Render, EachMessageIsANewBlockOfReversalsAtTheTunedFrequency) {
    std::u16string text;
    for (char16_t c = 0; c < 256; ++c) {
        text += c;
    }
    const std::string symbols = tarn->varicodeParser->renderVaricodeString(8, text, 8);
    const float* previous = nullptr;
    for (double f : {1500.0, 500.0, 1234.5, 2500.0}) {
        SCOPED_TRACE(f);
        tarn->setFrequency(f);
        const std::vector<float> audio = render(text);
        EXPECT_NE(tarn->renderedAudio.load(), previous);
        previous = tarn->renderedAudio.load();
        ASSERT_EQ(audio.size(), symbols.size() * 256);
        double sign = 1.0;
        for (size_t i = 0; i < symbols.size(); ++i) {
            if (symbols[i] == '0') {
                sign = -sign;
                ASSERT_EQ(audio[i * 256], 0.0f) << i; // the envelope is 0 at the boundary
            }
            // At the middle of each symbol the envelope is 1.
            ASSERT_NEAR(audio[i * 256 + 128], unshaped(i * 256 + 128, sign, f), 1e-6) << i;
        }
        for (float x : audio) {
            ASSERT_GE(x, -0.4f);
            ASSERT_LE(x, 0.6f);
        }
        EXPECT_LT(std::fabs(audio.back()), 0.6 * 0.0002); // nearly faded out
    }
}

TEST_F(Render, BytesAndCodeUnitsRenderAlike) {
    // 0x141 is sent as 0x41.
    EXPECT_EQ(render(std::string_view("\xC8 Hi A")),
              render(std::u16string_view(u"\u00C8 Hi \u0141")));
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
