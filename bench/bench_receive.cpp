// Receive chain and transmitter speed: the chain through the sample entry in
// multiples of real time, a full history replay, and rendering a message.
//
//   cmake --preset release && cmake --build build/release --target bench_receive
//   build/release/bench/bench_receive
#include "engine/TarnData.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr size_t kHistorySamples = 64000; // the engine's replay history, 8 s

// 8 s of a PSK31 QSO at 1500 Hz in white noise (+10 dB in 2500 Hz), the
// way the audio thread hears it.
std::vector<float> noisySignal(TarnData& tarn) {
    const std::string text = "CQ CQ CQ de DL1ABC DL1ABC pse k\n"
                             "DL1ABC de G4XYZ ge om tnx fer call ur rst 579 579 hw? k\n";
    const std::vector<float> message = tarn.renderString(std::string_view(text));
    std::vector<float> samples(kHistorySamples, 0.0f);
    const size_t count = std::min(samples.size(), message.size());
    std::copy(message.begin(), message.begin() + static_cast<std::ptrdiff_t>(count),
              samples.begin());
    std::mt19937 generator(1);
    std::normal_distribution<double> noise(0.0, 0.14);
    for (float& x : samples) {
        x = static_cast<float>(x + noise(generator));
    }
    return samples;
}

// processInputAudioSamples in 2000-sample blocks, AFC on and the squelch
// open, so decisions, AFC and the waterfall all run.
void receiveChain(benchmark::State& state) {
    auto tarn = std::make_unique<TarnData>(tarn::kPhoneSquelch);
    const std::vector<float> input = noisySignal(*tarn);
    size_t first = 0;
    int64_t samples = 0;
    for (auto _ : state) {
        tarn->processInputAudioSamples(
            std::span<const float>(input.data() + first, tarn::kInputBlockSamples));
        first = (first + tarn::kInputBlockSamples) % input.size();
        samples += tarn::kInputBlockSamples;
        while (auto text = tarn->drainTextBuffer()) {
            benchmark::DoNotOptimize(text);
        }
    }
    state.SetItemsProcessed(samples);
    state.counters["realtime"] = benchmark::Counter(
        static_cast<double>(samples) / tarn::kSampleRate, benchmark::Counter::kIsRate);
}
BENCHMARK(receiveChain)->Unit(benchmark::kMicrosecond);

// One replay of the whole 8-second history, as a retune or a nudge runs it.
void historyReplay(benchmark::State& state) {
    auto tarn = std::make_unique<TarnData>(tarn::kPhoneSquelch);
    const std::vector<float> input = noisySignal(*tarn);
    tarn->processInputAudioSamples(input);
    for (auto _ : state) {
        // A nudge to the same frequency is a replay and nothing else.
        tarn->nudgeFrequency(tarn->frequency());
        while (auto text = tarn->drainTextBuffer()) {
            benchmark::DoNotOptimize(text);
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kHistorySamples));
}
BENCHMARK(historyReplay)->Unit(benchmark::kMillisecond);

// Rendering a 500-character message (about 3 minutes of signal).
void render500(benchmark::State& state) {
    auto tarn = std::make_unique<TarnData>(tarn::kTabletSquelch);
    std::string text;
    const std::string words = "the quick brown fox jumps over the lazy dog 0123456789 ";
    while (text.size() < 500) {
        text += words;
    }
    text.resize(500);
    size_t samples = 0;
    for (auto _ : state) {
        const std::vector<float> signal = tarn->renderString(std::string_view(text));
        benchmark::DoNotOptimize(signal.data());
        samples = signal.size();
    }
    state.counters["samples"] = static_cast<double>(samples);
}
BENCHMARK(render500)->Unit(benchmark::kMillisecond);

} // namespace
