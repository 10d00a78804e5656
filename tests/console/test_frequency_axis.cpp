// The display's frequency axis: the drawn and tapped spans, taps back to Hz,
// and the one-hertz difference between the two. (The bins and positions it
// gives the drawing are pinned by the console's frame hashes.)
#include "console/FrequencyAxis.h"

#include <gtest/gtest.h>

namespace {

TEST(FrequencyAxis, SpansOfEachModeForDrawingAndTapping) {
    struct Case {
        int mode;
        bool zoomed;
        float drawnLow, drawnHigh, tapLow, tapHigh;
    };
    const Case cases[] = {
        {0, false, 501.0f, 2501.0f, 500.0f, 2500.0f},
        {1, false, 501.0f, 2501.0f, 500.0f, 2500.0f},
        {1, true, 1437.0f, 1565.0f, 1436.0f, 1564.0f},
        {0, true, 1245.0f, 1757.0f, 1244.0f, 1756.0f},
        {7, true, 501.0f, 2501.0f, 500.0f, 2500.0f}, // zoom means nothing elsewhere
    };
    for (const Case& c : cases) {
        const FrequencyAxis drawn = FrequencyAxis::forDrawing(1500.0, c.mode, c.zoomed);
        const FrequencyAxis tapped = FrequencyAxis::forTapping(1500.0, c.mode, c.zoomed);
        EXPECT_EQ(drawn.low(), c.drawnLow);
        EXPECT_EQ(drawn.high(), c.drawnHigh);
        EXPECT_EQ(tapped.low(), c.tapLow);
        EXPECT_EQ(tapped.high(), c.tapHigh);
        EXPECT_EQ(drawn.low() - tapped.low(), FrequencyAxis::kDrawnSpanShiftHz);
    }
}

TEST(FrequencyAxis, TapsMapBackToHertz) {
    struct Case {
        int mode;
        bool zoomed;
        float x;
        double expected;
    };
    const Case cases[] = {
        {0, false, 0.0f, 500.0},   {0, false, 800.0f, 2500.0}, {0, false, 400.0f, 1500.0},
        {1, true, 200.0f, 1468.0}, {0, true, 200.0f, 1372.0},
    };
    for (const Case& c : cases)
        EXPECT_EQ(FrequencyAxis::forTapping(1500.0, c.mode, c.zoomed).frequencyAt(c.x, 800.0f),
                  c.expected);
}

} // namespace
