// Costs on the live audio paths: one 2000-sample input buffer through the
// input queue (block assembly, optional rate conversion, the whole receive
// chain), and one call of the output render callback.
//
// The counter "budget_percent" is the share of real time used: CPU time per
// buffer over the 250 ms the buffer lasts (per render call: over its 32 ms).
#include "audio/InputQueue.h"
#include "engine/TarnData.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

// A PSK31 message at 1500 Hz in light noise, 8000 Hz, looping forever.
std::vector<float> receiverAudio(TarnData& engine) {
    std::vector<float> audio = engine.renderString(std::string_view("CQ CQ CQ DE TARN1 TARN1 K\n"));
    std::mt19937 random(1);
    std::normal_distribution<float> noise(0.0f, 0.05f);
    for (float& x : audio) {
        x += noise(random);
    }
    return audio;
}

struct Feed {
    TarnData* engine;
    tarnaudio::InputQueue* queue;
    static void deliver(void* context, AudioHandle, AudioHandle buffer, const float* samples,
                        uint32_t byteSize) {
        Feed* self = static_cast<Feed*>(context);
        self->engine->processInputAudioSamples(std::span<const float>(samples, byteSize / 4));
        self->queue->enqueue(buffer);
    }
};

// One engine buffer of 2000 samples (250 ms) from a device at `rate` Hz.
// With range(1) set, every buffer begins with a replay of the 8 s history, as
// the first buffer after a retune does: the slowest buffer there is, which
// the capture stream's host buffering (0.5 s) must absorb.
void BM_InputBuffer(benchmark::State& state) {
    const double rate = static_cast<double>(state.range(0));
    const bool replay = state.range(1) != 0;
    auto engine = std::make_unique<TarnData>(tarn::kTabletSquelch);
    const std::vector<float> audio8k = receiverAudio(*engine);
    // The device's view of the same audio (zero-order hold is enough for a
    // cost figure; the converter's work does not depend on the content).
    const size_t perBuffer = static_cast<size_t>(std::lround(rate / 4));
    std::vector<float> device(audio8k.size() * static_cast<size_t>(rate) / 8000);
    for (size_t i = 0; i < device.size(); ++i) {
        device[i] = audio8k[i * 8000 / static_cast<size_t>(rate)];
    }
    Feed feed{engine.get(), nullptr};
    tarnaudio::InputQueue queue(Feed::deliver, &feed);
    feed.queue = &queue;
    for (int i = 0; i < 8; ++i) {
        AudioHandle buffer = nullptr;
        queue.allocateBuffer(8000, &buffer);
        queue.enqueue(buffer);
    }
    queue.prepareConversion(rate);
    size_t at = 0;
    for (auto _ : state) {
        if (at + perBuffer > device.size()) {
            at = 0;
        }
        if (replay) {
            engine->setFrequency(engine->frequency()); // a retune: replay first
        }
        queue.deliverDeviceSamples(device.data() + at, perBuffer, 1);
        at += perBuffer;
    }
    // CPU seconds over (buffers x 0.25 s / 100): percent of real time.
    state.counters["budget_percent"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * 0.25 / 100.0,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_InputBuffer)
    ->Args({8000, 0})
    ->Args({48000, 0})
    ->Args({8000, 1})
    ->Unit(benchmark::kMicrosecond);

// One render call of 256 frames (32 ms), as the output stream asks for them.
void BM_OutputRenderCall(benchmark::State& state) {
    TarnData engine(tarn::kTabletSquelch);
    const std::vector<float> message =
        engine.renderString(std::string_view("CQ CQ CQ DE TARN1 TARN1 K\n"));
    auto sending = std::make_shared<std::atomic<bool>>(true);
    auto transmission = std::make_unique<tarn::Transmission>(message, sending);
    std::vector<float> left(256), right(256);
    for (auto _ : state) {
        if (transmission->exhausted()) {
            state.PauseTiming();
            transmission = std::make_unique<tarn::Transmission>(message, sending);
            state.ResumeTiming();
        }
        transmission->render(left);
        std::fill(right.begin(), right.end(), 0.0f);
        benchmark::DoNotOptimize(left.data());
    }
    state.counters["budget_percent"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * 0.032 / 100.0,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_OutputRenderCall)->Unit(benchmark::kNanosecond);

} // namespace
