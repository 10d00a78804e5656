// One Receiver, and the engine around it, through their interfaces: copy in
// noise at several carriers, the symbol clock locking from any alignment,
// the AFC pulling in after a tap, the squelch, tuning limits, the waterfall
// and sending without an output.
#include "engine/Receiver.h"
#include "engine/TarnData.h"
#include "log/TarnLog.h"
#include "tests/support/TestSignals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

namespace {

const std::string kText = "CQ CQ de DL1ABC DL1ABC pse k\n";

std::string receive(tarn::Receiver& receiver, const std::vector<float>& samples) {
    std::string text;
    for (const float x : samples) {
        receiver.processSample(x);
    }
    while (auto part = receiver.drainText()) {
        text += *part;
    }
    return text;
}

TEST(Receiver, CopiesCleanlyInNoiseAcrossTheBand) {
    for (const double hertz : {520.0, 1000.0, 1500.0, 2125.5, 2480.0}) {
        SCOPED_TRACE(hertz);
        std::vector<float> signal = testsignals::messageWithIdle(kText, hertz, 32, 8);
        testsignals::addNoise(signal, 0.25, 5);
        tarn::Receiver receiver(hertz, tarn::kTabletSquelch);
        // A cold receiver may make a character of the noise before it locks.
        const std::string text = receive(receiver, signal);
        EXPECT_TRUE(text.ends_with(kText) && text.size() <= kText.size() + 1) << text;
    }
}

TEST(Receiver, SymbolClockLocksWithin40SymbolsFromAnyAlignment) {
    int lockedAtZero = -1;
    for (const int delay : {0, 37, 64, 101, 128, 173, 200, 251}) {
        SCOPED_TRACE(delay);
        std::vector<float> signal(static_cast<size_t>(delay), 0.0f);
        const std::vector<float> onAir = testsignals::messageWithIdle(kText, 1500.0, 64, 8);
        signal.insert(signal.end(), onAir.begin(), onAir.end());
        tarn::Receiver receiver(1500.0, -40.0f);
        // The instant after each symbol of idle; locked once it stays within
        // one sample of where it ends (it dithers by one in a steady lock).
        std::vector<int> phases;
        for (int symbol = 0; symbol < 64; ++symbol) {
            for (int n = 0; n < 256; ++n) {
                receiver.processSample(signal[static_cast<size_t>(symbol * 256 + n)]);
            }
            phases.push_back(receiver.symbolPhase());
        }
        const int phase = phases.back();
        int locked = 64;
        while (locked > 0 &&
               std::min((phases[static_cast<size_t>(locked - 1)] - phase + 16) % 16,
                        (phase - phases[static_cast<size_t>(locked - 1)] + 16) % 16) <= 1) {
            --locked;
        }
        EXPECT_LE(locked, 40);
        // The instant follows the signal: 16 input samples per step.
        const int expected = (phase - delay / 16 + 64) % 16;
        if (lockedAtZero < 0) {
            lockedAtZero = expected;
        }
        const int apart = (expected - lockedAtZero + 16) % 16;
        EXPECT_TRUE(apart <= 1 || apart == 15) << expected << " vs " << lockedAtZero;
        // And the text after the idle comes through whole.
        const std::string text =
            receive(receiver, std::vector<float>(signal.begin() + 64 * 256, signal.end()));
        EXPECT_TRUE(text.ends_with(kText) && text.size() <= kText.size() + 1) << text;
    }
}

TEST(Receiver, SquelchAboveTheSignalStopsDecisionsAndAFC) {
    std::vector<float> signal = testsignals::messageWithIdle(kText, 1504.0, 32, 8);
    tarn::Receiver receiver(1500.0, 5.0f);
    EXPECT_EQ(receive(receiver, signal), "");
    EXPECT_EQ(receiver.frequencyErrorOffset(), 0.0f);
    EXPECT_EQ(receiver.frequency(), 1500.0);
    EXPECT_LT(receiver.signalLevel(), 5.0f); // measured all the same
    EXPECT_GT(receiver.signalLevel(), -10.0f);
}

TEST(Engine, AFCPullsInAfterATapAndCopies) {
    for (const double off : {4.0, -6.0, 7.0}) {
        SCOPED_TRACE(off);
        const double carrier = 1500.0 + off;
        std::vector<float> signal =
            testsignals::messageWithIdle(kText + kText + kText, carrier, 64, 8);
        testsignals::addNoise(signal, 0.1, 9);
        TarnData engine(tarn::kTabletSquelch);
        // Tapped 1 s into the signal, at the nominal 1500 Hz; tracking
        // within half a hertz from 12 s on.
        const std::span<const float> all(signal);
        testsignals::runReceiver(engine, all.first(8000));
        engine.setFrequency(1500.0);
        const testsignals::ReceiveRun run =
            testsignals::runReceiver(engine, all.subspan(8000), carrier, 11 * 8000);
        EXPECT_LT(run.largestTrackingError, 0.5);
        EXPECT_NE(run.text.find(kText), std::string::npos) << run.text;
    }
}

TEST(Engine, TuningIsClampedLockingFoldsTheCorrectionIn) {
    TarnData engine(tarn::kPhoneSquelch);
    tarn::EngineStatus status = engine.status();
    EXPECT_EQ(status.frequency, 1500.0);
    EXPECT_EQ(status.squelch, -30.0f);
    EXPECT_TRUE(status.afcOn && status.afcAcquiring && !status.sending);
    for (const auto& [asked, tuned] :
         {std::pair{100.0, 500.0}, {3000.0, 2500.0}, {1234.5, 1234.5}}) {
        engine.setFrequency(asked);
        EXPECT_EQ(engine.frequency(), tuned);
        engine.nudgeFrequency(asked);
        EXPECT_EQ(engine.frequency(), tuned);
        EXPECT_FALSE(engine.status().afcAcquiring);
    }
    engine.setAutomaticFrequencyControl(false);
    EXPECT_FALSE(engine.status().afcOn);
}

TEST(Engine, WaterfallRowsComeEvery1024SamplesAndShowATone) {
    TarnData engine(tarn::kTabletSquelch);
    std::array<float, tarn::kSpectrumSize> row;
    EXPECT_FALSE(engine.copySpectrumRow(512, row));
    EXPECT_FALSE(engine.copySpectrumRow(-1, row));
    std::vector<float> tone(1023);
    for (size_t n = 0; n < tone.size(); ++n) {
        tone[n] = static_cast<float>(0.3 * std::sin(2.0 * M_PI * 1500.0 * n / 8000.0));
    }
    engine.processInputAudioSamples(tone);
    EXPECT_EQ(engine.status().waterfallRow, 0);
    engine.processInputAudioSamples(std::vector<float>{0.0f});
    EXPECT_EQ(engine.status().waterfallRow, 1);
    ASSERT_TRUE(engine.copySpectrumRow(0, row));
    int peak = 64;
    for (int k = 64; k < 320; ++k) {
        peak = row[static_cast<size_t>(k)] > row[static_cast<size_t>(peak)] ? k : peak;
        EXPECT_TRUE(row[static_cast<size_t>(k)] >= 0.0f && row[static_cast<size_t>(k)] <= 3.0f);
    }
    EXPECT_EQ(peak, 192); // 1500 / 7.8125
}

TEST(Engine, SendingWithoutAnOutputLogsAndStaysIdle) {
    TarnData engine(tarn::kTabletSquelch);
    TarnLogCapture log;
    EXPECT_TRUE(engine.sendString(std::string_view("CQ")));
    EXPECT_EQ(log.text(), "Failed to start output audio: -9996\n");
    EXPECT_FALSE(engine.isSending());
    engine.stopAudioOutput(); // nothing to stop
}

} // namespace
