// The receive path's stages through their own interfaces: the two filters'
// responses, the phase decider's thresholds, character assembly, the
// squelch's strictness, the text ring, and the transmitter's preamble. (The
// varicode table, the modulator's waveform and the FFT's bits are pinned by
// the golden outputs: encode and decode of every byte, the trace and the
// waterfall rows.)
#include "engine/CharacterAssembler.h"
#include "engine/Decimator.h"
#include "engine/Modulator.h"
#include "engine/PhaseDecider.h"
#include "engine/SignalLevel.h"
#include "engine/SymbolFilter.h"
#include "engine/TarnData.h"
#include "engine/TextRing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace {

using tarn::Complex;

// Steady-state gain of the decimator for a complex tone of `hertz` at 8000 Hz.
double decimatorGain(double hertz) {
    tarn::Decimator decimator;
    double gain = 0.0;
    for (int n = 0; n < 8000; ++n) {
        const double phase = 2.0 * M_PI * hertz * n / 8000.0;
        float i;
        float q;
        if (decimator.push(static_cast<float>(std::cos(phase)), static_cast<float>(std::sin(phase)),
                           i, q) &&
            n > 2000) {
            gain = std::max(gain, std::hypot(double{i}, double{q}));
        }
    }
    return gain;
}

// Steady-state gain of the symbol filter for a complex tone at 500 Hz.
double symbolFilterGain(double hertz) {
    tarn::SymbolFilter filter;
    double gain = 0.0;
    for (int n = 0; n < 1500; ++n) {
        const double phase = 2.0 * M_PI * hertz * n / 500.0;
        const int32_t p =
            filter.push(static_cast<float>(std::cos(phase)), static_cast<float>(std::sin(phase)));
        if (n > 200) {
            const Complex out = filter.filtered(p);
            gain = std::max(gain, std::hypot(double{out.re}, double{out.im}));
        }
    }
    return gain;
}

TEST(Filters, DecimatorAndSymbolFilterPassTheSignalAndStopWhatAliases) {
    struct Row {
        double hertz, gain, tolerance;
    };
    // First stage: 0.5 at DC, 0.48 at the symbol rate, nulls from 250 Hz
    // (the 500 Hz output's Nyquist frequency) on.
    for (const Row& row : {Row{0, 0.5, 1e-3}, Row{31.25, 0.48, 0.01}, Row{125, 0.25, 0.01},
                           Row{250, 0.0, 2e-3}, Row{750, 0.0, 2e-3}, Row{-1000, 0.0, 2e-3}}) {
        EXPECT_NEAR(decimatorGain(row.hertz), row.gain, row.tolerance) << row.hertz << " Hz";
    }
    // Symbol filter: unit gain at DC, 0.79 at half the symbol rate, about
    // -65 dB from the symbol rate on.
    for (const Row& row : {Row{0, 1.0, 1e-3}, Row{15.625, 0.79, 0.01}, Row{31.25, 0.0, 6e-4},
                           Row{-100, 0.0, 5e-4}}) {
        EXPECT_NEAR(symbolFilterGain(row.hertz), row.gain, row.tolerance) << row.hertz << " Hz";
    }
}

// A sample that is not a finite number spoils every output it is part of,
// even as the newest sample, whose tap is zero (0·∞ and 0·NaN are NaN), and
// only those; the other side (Q here) stays finite.
TEST(Filters, DecimatorCarriesANonFiniteSampleThroughEveryTapItMeets) {
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const float bad : {inf, -inf, nan}) {
        for (const int at : {15, 14, 0}) { // tap 0, tap 1 and tap 15 of the first output
            SCOPED_TRACE(testing::Message() << bad << " at sample " << at);
            tarn::Decimator decimator;
            std::vector<bool> spoilt;
            for (int n = 0; n < 16 * 8; ++n) {
                const float x = n == at ? bad : 0.25f;
                float i;
                float q;
                if (decimator.push(x, 0.5f, i, q)) {
                    EXPECT_TRUE(std::isfinite(q));
                    spoilt.push_back(!std::isfinite(i));
                }
            }
            // In the four outputs that cover it, then gone.
            EXPECT_EQ(spoilt,
                      (std::vector<bool>{true, true, true, true, false, false, false, false}));
        }
    }
}

TEST(PhaseDecider, AReversalIsAChangeFromHalfUpToOneAndAHalfTurnsOfPi) {
    const auto at = [](double turnsOfPi) {
        return Complex{static_cast<float>(std::cos(turnsOfPi * M_PI)),
                       static_cast<float>(std::sin(turnsOfPi * M_PI))};
    };
    struct Row {
        Complex earlier, later;
        int bit;
    };
    const Row rows[] = {
        {at(0.0), at(0.1), 1},
        {at(0.0), at(0.45), 1},
        {Complex{1, 0}, Complex{0, 1}, 0}, // exactly 0.5π: a reversal
        {at(0.0), at(1.0), 0},
        {at(0.2), at(-0.8), 0},
        {Complex{0, -1}, Complex{-1, 0}, 1}, // exactly 1.5π: no change
        {at(0.9), at(-0.9), 1},              // small change across the ±π seam
    };
    for (const Row& row : rows) {
        EXPECT_EQ(tarn::PhaseDecider::bit(row.earlier, row.later), row.bit)
            << row.earlier.re << "," << row.earlier.im << " -> " << row.later.re << ","
            << row.later.im;
    }
}

// The characters `bits` ('0'/'1') complete, in order.
std::string assemble(const std::string& bits) {
    tarn::CharacterAssembler assembler;
    std::string out;
    for (const char bit : bits) {
        const int code = assembler.push(bit == '1' ? 1 : 0);
        if (code != tarn::CharacterAssembler::kNone) {
            out += static_cast<char>(code);
        }
    }
    return out;
}

TEST(CharacterAssembler, TwoZerosCloseACharacterAndIdleIsIgnored) {
    EXPECT_EQ(assemble("1100"), "e");
    EXPECT_EQ(assemble("101100"), "a");
    EXPECT_EQ(assemble("100"), " ");
    EXPECT_EQ(assemble("0000110000101100000"), "ea"); // idle between characters
    EXPECT_EQ(assemble("1111111111111111"
                       "1100"),
              "e");                                                // 16 bits abandoned
    EXPECT_EQ(assemble("1111111111111100"), std::string(1, '\0')); // unknown: 0
}

TEST(SignalLevel, SquelchOpensOnlyStrictlyAboveAndTheLevelAveragesSymbols) {
    tarn::SignalLevel level(-20.0f);
    EXPECT_TRUE(level.open()); // starts at 0
    level.setSquelch(0.0f);
    EXPECT_FALSE(level.open());
    // A symbol of 16 powers at ln = -16 moves 1 % of the way there.
    level.update(-256.0f);
    EXPECT_FLOAT_EQ(level.level(), -0.16f);
    level.setSquelch(-0.16f);
    EXPECT_FALSE(level.open());
}

TEST(TextRing, HoldsAtMost255AndDeliversAWrappedRunInTwoParts) {
    tarn::TextRing ring;
    EXPECT_FALSE(ring.drain());
    for (int n = 0; n < 300; ++n) {
        ring.insert(static_cast<char>('a' + n % 26));
    }
    EXPECT_EQ(ring.drain()->size(), 255u); // the rest was dropped
    for (const char c : std::string("xyz\0!", 5)) {
        ring.insert(c);
    }
    EXPECT_EQ(*ring.drain(), "x"); // up to the end of the slots
    EXPECT_EQ(*ring.drain(), std::string("yz\0!", 4));
    EXPECT_FALSE(ring.drain());
}

// The preamble adds idle reversals at the start and changes nothing else:
// at 1500 Hz a symbol is 48 whole cycles, so after an even number of extra
// reversals the message is the same waveform, N symbols later.
TEST(Modulator, PreambleAddsIdleReversalsOnlyAtTheStart) {
    TarnData data(tarn::kTabletSquelch);
    const std::vector<float> plain = data.renderString(std::string_view("cq de n0call"));
    EXPECT_EQ(plain, tarn::Modulator::render(std::string_view("cq de n0call"), 1500.0));

    struct Case {
        int asked, used;
    };
    for (const Case c : {Case{0, 0}, Case{2, 2}, Case{8, 8}, Case{300, 250}, Case{-3, 0}}) {
        data.setPreambleReversals(c.asked);
        EXPECT_EQ(data.preambleReversals(), c.used);
        const std::vector<float> keyed = data.renderString(std::string_view("cq de n0call"));
        const size_t extra = static_cast<size_t>(c.used) * 256;
        ASSERT_EQ(keyed.size(), plain.size() + extra) << c.asked;
        // The head: N + 8 shaped reversals, as an empty message starts.
        const std::vector<float> idle =
            tarn::Modulator::render(std::string_view(""), 1500.0, c.used);
        EXPECT_TRUE(std::equal(keyed.begin(), keyed.begin() + static_cast<long>(extra + 8 * 256),
                               idle.begin()))
            << c.asked;
        float worst = 0.0f;
        for (size_t n = 0; n < plain.size(); ++n)
            worst = std::max(worst, std::abs(keyed[n + extra] - plain[n]));
        EXPECT_LT(worst, 1e-4f) << c.asked;
    }
}

} // namespace
