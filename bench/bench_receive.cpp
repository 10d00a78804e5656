// Receive chain and transmitter speed on one core: the mixer alone (the
// chain's floor: one sin and one cos per sample), the whole receive chain
// through the façade in multiples of real time, one Receiver alone, a full
// history replay, and rendering a message.
//
//   taskset -c 1 build/release/bench/bench_receive
//       --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
// (one command line). Compare the chain with mixerAlone from the same run:
// on a shared machine the absolute times move by 10 % from run to run.
#include "engine/Mixer.h"
#include "engine/Receiver.h"
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
std::vector<float> noisySignal() {
    const std::string text = "CQ CQ CQ de DL1ABC DL1ABC pse k\n"
                             "DL1ABC de G4XYZ ge om tnx fer call ur rst 579 579 hw? k\n";
    const std::vector<float> message = TarnData(tarn::kPhoneSquelch).renderString(text);
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

void realTime(benchmark::State& state, int64_t samples) {
    state.SetItemsProcessed(samples);
    state.counters["realtime"] = benchmark::Counter(
        static_cast<double>(samples) / tarn::kSampleRate, benchmark::Counter::kIsRate);
}

// The mixer alone at 1500 Hz over the same blocks: the floor of the chain.
void mixerAlone(benchmark::State& state) {
    const std::vector<float> input = noisySignal();
    tarn::Mixer mixer;
    const float step = static_cast<float>(1500.0 * tarn::Mixer::kTwoPi / tarn::kSampleRate);
    size_t first = 0;
    int64_t samples = 0;
    for (auto _ : state) {
        float sumI = 0.0f;
        float sumQ = 0.0f;
        for (size_t n = 0; n < tarn::kInputBlockSamples; ++n) {
            float i;
            float q;
            mixer.mix(input[first + n], step, i, q);
            sumI += i;
            sumQ += q;
        }
        benchmark::DoNotOptimize(sumI);
        benchmark::DoNotOptimize(sumQ);
        first = (first + tarn::kInputBlockSamples) % input.size();
        samples += tarn::kInputBlockSamples;
    }
    realTime(state, samples);
}
BENCHMARK(mixerAlone)->Unit(benchmark::kMicrosecond);

// processInputAudioSamples in 2000-sample blocks, AFC on and the squelch
// open, so decisions, AFC and the waterfall all run: what decode does.
void receiveChain(benchmark::State& state) {
    auto tarn = std::make_unique<TarnData>(tarn::kPhoneSquelch);
    const std::vector<float> input = noisySignal();
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
    realTime(state, samples);
}
BENCHMARK(receiveChain)->Unit(benchmark::kMicrosecond);

// One Receiver alone (no spectrum, no history): what each receiver of a
// band scanner costs.
void receiverAlone(benchmark::State& state) {
    auto receiver = std::make_unique<tarn::Receiver>(1500.0, tarn::kPhoneSquelch);
    const std::vector<float> input = noisySignal();
    size_t first = 0;
    int64_t samples = 0;
    for (auto _ : state) {
        for (size_t n = 0; n < tarn::kInputBlockSamples; ++n) {
            receiver->processSample(input[first + n]);
        }
        first = (first + tarn::kInputBlockSamples) % input.size();
        samples += tarn::kInputBlockSamples;
        while (auto text = receiver->drainText()) {
            benchmark::DoNotOptimize(text);
        }
    }
    realTime(state, samples);
}
BENCHMARK(receiverAlone)->Unit(benchmark::kMicrosecond);

// One replay of the whole 8-second history, as a retune or a nudge runs it.
void historyReplay(benchmark::State& state) {
    auto tarn = std::make_unique<TarnData>(tarn::kPhoneSquelch);
    const std::vector<float> input = noisySignal();
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
