#include "console/AutoSquelch.h"

#include <algorithm>
#include <cmath>

namespace {

// A tail falls by at least this much over its kFallTicks ticks (ln), and by
// at least this share of its height above the noise: a station's own
// reading wanders less than that in 0.6 s.
constexpr float kLeastFall = 0.08f;
constexpr float kFallShare = 0.1f;

} // namespace

AutoSquelch::AutoSquelch(float marginDb) {
    setMarginDb(marginDb);
}

void AutoSquelch::setMarginDb(float marginDb) {
    marginDb_ = std::clamp(marginDb, 0.0f, 10.0f);
}

float AutoSquelch::marginLn() const {
    // dB of power to natural log of power: ln(10) / 10 per dB.
    return marginDb_ * static_cast<float>(std::log(10.0) / 10.0);
}

void AutoSquelch::reset() {
    *this = AutoSquelch(marginDb_);
}

std::optional<float> AutoSquelch::noiseLevel() const {
    if (!squelch)
        return std::nullopt;
    if (blockTicks == 0 && blocksKept == 0)
        return lastReading; // still settling
    float lowest = blockTicks > 0 ? blockMinimum : blockMinima[0];
    for (int i = 0; i < blocksKept; ++i)
        lowest = std::min(lowest, blockMinima[i]);
    return lowest;
}

void AutoSquelch::endBlock() {
    // A block of station only is no measure of the noise, unless the
    // "station" has lasted longer than any over does.
    if (blockAllAbove && ++skippedBlocks <= kMaxSkipped) {
        blockTicks = 0;
        return;
    }
    skippedBlocks = 0;
    blockMinima[nextBlock] = blockMinimum;
    nextBlock = (nextBlock + 1) % kBlocks;
    blocksKept = std::min(blocksKept + 1, kBlocks);
    blockTicks = 0;
}

bool AutoSquelch::tailFading() const {
    if (recentCount <= kFallTicks)
        return false;
    for (int i = 1; i <= kFallTicks; ++i)
        if (!(recent[i] < recent[i - 1]))
            return false;
    const float fall = recent[0] - recent[kFallTicks];
    const float height = recent[0] - noiseLevel().value_or(recent[kFallTicks]);
    return fall > std::max(kLeastFall, kFallShare * height);
}

float AutoSquelch::update(float signalLevel) {
    lastReading = signalLevel;
    if (settleTicks < kSettleTicks) {
        ++settleTicks;
        squelch = signalLevel + marginLn();
        return *squelch;
    }
    // The block's lowest reading, and whether it ever came down to the
    // squelch (judged against the squelch before this reading).
    if (blockTicks == 0) {
        blockMinimum = signalLevel;
        blockAllAbove = true;
    } else {
        blockMinimum = std::min(blockMinimum, signalLevel);
    }
    if (!squelch || signalLevel <= *squelch)
        blockAllAbove = false;
    if (++blockTicks == kBlockTicks)
        endBlock();

    if (recentCount <= kFallTicks) {
        recent[recentCount++] = signalLevel;
    } else {
        std::rotate(recent.begin(), recent.begin() + 1, recent.end());
        recent[kFallTicks] = signalLevel;
    }

    const float base = *noiseLevel() + marginLn();
    if (closedOnTail) {
        tailLowest = std::min(tailLowest, signalLevel);
        // Climbing again, or down at the noise: the ordinary squelch.
        if (signalLevel > tailLowest + kClosedAbove || tailLowest + kClosedAbove <= base)
            closedOnTail = false;
    } else if (signalLevel > base && tailFading()) {
        closedOnTail = true;
        tailLowest = signalLevel;
    }
    squelch = closedOnTail ? tailLowest + kClosedAbove : base;
    return *squelch;
}
