// AutoSquelch: the squelch level that fits the signal at the tuned frequency,
// worked out from the engine's signal reading (smoothed natural log of power,
// the same units as the squelch) taken once per display tick.
//
// The noise level is the lowest reading of the last minute (kept as the
// minima of twelve 5 s blocks). A 5 s block whose every reading stood above
// the squelch holds a station, not noise, and is left out, unless such
// blocks go on for 90 s (longer than most overs: then the noise itself has
// risen). The squelch sits a settable margin above the noise level.
//
// The reading itself needs about 20 s (six time constants) to settle after
// the receiver starts; until then the squelch stays just above it, so that
// nothing prints while the level is still unknown.
//
// After a station stops, the smoothed reading takes seconds to sink back to
// the noise (its time constant is 3.2 s), and a squelch at noise + margin
// would let that tail print noise. A reading that keeps falling steeply is
// such a tail: the squelch then closes just above the reading and follows it
// down to noise + margin; a reading that climbs again (the next station)
// opens it at once.
//
// No Qt, no clock: one update() per tick, every tick kTickSeconds apart.
#pragma once

#include <array>
#include <optional>

class AutoSquelch {
public:
    static constexpr double kTickSeconds = 0.2;
    // 1.5 dB: the reading of noise wanders by less than 0.05 (ln), and a
    // signal whose reading stands 3 dB (0.69) above the noise opens.
    static constexpr float kDefaultMarginDb = 1.5f;

    explicit AutoSquelch(float marginDb = kDefaultMarginDb);

    // Margin of the squelch above the noise level, in dB (0 .. 10; outside
    // values are clamped).
    void setMarginDb(float marginDb);
    float marginDb() const { return marginDb_; }

    // One reading of the signal level (ln power); returns the squelch level
    // to set now.
    float update(float signalLevel);

    // The noise level found so far (ln power), nothing before the first
    // reading.
    std::optional<float> noiseLevel() const;
    // The squelch level of the last update (noise level + margin, or higher
    // while a station's tail fades), nothing before the first reading.
    std::optional<float> squelchLevel() const { return squelch; }

    // Forgets every reading (a new receiver, a new band).
    void reset();

private:
    static constexpr int kBlockTicks = 25;       // 5 s
    static constexpr int kBlocks = 12;           // a minute of blocks
    static constexpr int kMaxSkipped = 18;       // 90 s of station-only blocks
    static constexpr int kSettleTicks = 100;     // 20 s
    static constexpr int kFallTicks = 3;         // falls in a row that make a tail
    static constexpr float kClosedAbove = 0.05f; // squelch above a fading reading

    float marginLn() const;
    void endBlock();
    bool tailFading() const;

    float marginDb_;
    std::array<float, kBlocks> blockMinima{};
    int blocksKept = 0;
    int nextBlock = 0;
    float blockMinimum = 0.0f;
    bool blockAllAbove = true; // every reading of this block above the squelch
    int blockTicks = 0;
    int settleTicks = 0;
    float lastReading = 0.0f;
    int skippedBlocks = 0;
    std::array<float, kFallTicks + 1> recent{}; // newest last
    int recentCount = 0;
    bool closedOnTail = false;
    float tailLowest = 0.0f; // lowest reading since the tail closed the squelch
    std::optional<float> squelch;
};
