// The coarse stage of the automatic frequency control, run after every full
// retune: a 512-point transform of the newest 1.024 s of baseband (no
// window) and the balance of bins 1 .. 23 above the centre against those
// below (±22.5 Hz at 0.977 Hz per bin), each weighted by its distance. The
// balance (-1 .. 1) moves the offset by 0.3 Hz per unit, within ±8 Hz; after
// its 20th quiet evaluation (|balance| < 0.01) since the retune it hands over
// to the phase stage.
//
// Threads: step runs on the receive chain's thread; rearm may come from any.
#pragma once

#include "engine/FFT.h"
#include "engine/SymbolFilter.h"

#include <atomic>
#include <cstdint>

namespace tarn {

class FFTAFC {
public:
    static constexpr int kSize = 512;

    enum class Result { adjusted, handedOver };

    // One evaluation; adjusts `offset` (Hz) unless it hands over.
    Result step(const SymbolFilter& baseband, std::atomic<float>& offset);

    // Counts quiet evaluations from 0 again (a full retune).
    void rearm() { quiet_.store(0, std::memory_order_relaxed); }

private:
    std::atomic<int32_t> quiet_{0};
};

} // namespace tarn
