// Costs on the audio host's live paths:
// - the capture callback's share of one 250 ms block (first channel, rate
//   conversion, into the ring), at 8000 and 48000 Hz stereo;
// - one block taken from the ring and run through the whole receive chain
//   on the host's thread (with range(1): after a retune, which replays the
//   8 s history first: the slowest block there is, which the 2 s ring must
//   absorb);
// - one output callback of 10 ms, at 8000 Hz and at 48000 Hz stereo with
//   the rate conversion.
//
// The counter "budget_percent" is the share of real time used: CPU time per
// call over the audio it covers.
#include "audio/InputBlocks.h"
#include "audio/Playout.h"
#include "engine/TarnData.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

// A PSK31 message at 1500 Hz in light noise, 8000 Hz.
std::vector<float> receiverAudio(TarnData& engine) {
    std::vector<float> audio = engine.renderString(std::string_view("CQ CQ CQ DE TARN1 TARN1 K\n"));
    std::mt19937 random(1);
    std::normal_distribution<float> noise(0.0f, 0.05f);
    for (float& x : audio) {
        x += noise(random);
    }
    return audio;
}

benchmark::Counter budget(benchmark::State& state, double secondsPerCall) {
    // CPU seconds over (calls x covered seconds / 100): percent of real time.
    return benchmark::Counter(static_cast<double>(state.iterations()) * secondsPerCall / 100.0,
                              benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// The capture callback's work for one block's worth of stereo device frames.
void BM_CaptureCallback(benchmark::State& state) {
    const double rate = static_cast<double>(state.range(0));
    const size_t frames = static_cast<size_t>(std::lround(rate / 4));
    std::vector<float> device(2 * frames);
    std::mt19937 random(2);
    std::normal_distribution<float> noise(0.0f, 0.1f);
    for (float& x : device) {
        x = noise(random);
    }
    tarnaudio::InputBlocks blocks(rate);
    std::array<float, tarnaudio::kBlockSamples> block{};
    for (auto _ : state) {
        blocks.write(device.data(), frames, 2);
        state.PauseTiming();
        while (blocks.takeBlock(block)) {
        }
        state.ResumeTiming();
    }
    state.counters["budget_percent"] = budget(state, 0.25);
}
BENCHMARK(BM_CaptureCallback)->Arg(8000)->Arg(48000)->Unit(benchmark::kMicrosecond);

// One block from the ring through the receive chain (the host's thread).
void BM_InputBlock(benchmark::State& state) {
    const bool replay = state.range(0) != 0;
    auto engine = std::make_unique<TarnData>(tarn::kTabletSquelch);
    const std::vector<float> audio = receiverAudio(*engine);
    tarnaudio::InputBlocks blocks(8000.0);
    std::array<float, tarnaudio::kBlockSamples> block{};
    size_t at = 0;
    for (auto _ : state) {
        state.PauseTiming();
        if (at + block.size() > audio.size()) {
            at = 0;
        }
        blocks.write(audio.data() + at, block.size(), 1);
        at += block.size();
        if (replay) {
            engine->setFrequency(engine->frequency()); // a retune: replay first
        }
        state.ResumeTiming();
        blocks.takeBlock(block);
        engine->processInputAudioSamples(block);
    }
    state.counters["budget_percent"] = budget(state, 0.25);
}
BENCHMARK(BM_InputBlock)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

// One output callback of 10 ms of stereo frames while a message plays.
void BM_OutputCallback(benchmark::State& state) {
    const double rate = static_cast<double>(state.range(0));
    const size_t frames = static_cast<size_t>(std::lround(rate / 100));
    TarnData engine(tarn::kTabletSquelch);
    const std::vector<float> message =
        engine.renderString(std::string_view("CQ CQ CQ DE TARN1 TARN1 K\n"));
    auto sending = std::make_shared<std::atomic<bool>>(true);
    tarnaudio::Playout playout;
    playout.prepare(rate);
    playout.start(std::make_unique<tarn::Transmission>(message, sending), 0);
    std::vector<float> out(2 * frames);
    int64_t dac = 0;
    for (auto _ : state) {
        if (playout.playedOutNs()) {
            state.PauseTiming();
            playout.start(std::make_unique<tarn::Transmission>(message, sending), 0);
            state.ResumeTiming();
        }
        playout.render(out.data(), frames, 2, dac, false);
        dac += 10'000'000;
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["budget_percent"] = budget(state, 0.01);
}
BENCHMARK(BM_OutputCallback)->Arg(8000)->Arg(48000)->Unit(benchmark::kMicrosecond);

} // namespace
