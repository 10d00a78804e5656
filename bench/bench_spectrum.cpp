// Costs of the spectrum path and of the whole receive chain with spectrum and
// AFC, on one core. The chain figure is reported as xRealTime: seconds of
// 8000 Hz audio processed per second.
#include "engine/TarnData.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

namespace {

std::vector<TarnComplex> randomBlock(int n) {
    std::mt19937 generator(1);
    std::normal_distribution<float> value(0.0f, 0.3f);
    std::vector<TarnComplex> block(n);
    for (TarnComplex& sample : block) {
        sample = {value(generator), value(generator)};
    }
    return block;
}

void fftOfSize(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    std::vector<TarnComplex> twiddles(n), scratch(n), output(n);
    TarnData::initFFTCoefficients(twiddles.data(), n);
    const std::vector<TarnComplex> input = randomBlock(n);
    for (auto _ : state) {
        TarnData::computeFFT(input.data(), output.data(), twiddles.data(), n, scratch.data());
        benchmark::DoNotOptimize(output.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(fftOfSize)->Arg(512)->Arg(1024)->Unit(benchmark::kMicrosecond);

// A BPSK carrier at 1500 Hz with a random reversal pattern at 31.25 baud and
// some noise: 60 s of receiver audio.
std::vector<float> pskAudio() {
    std::mt19937 generator(2);
    std::normal_distribution<double> noise(0.0, 0.05);
    std::bernoulli_distribution reversal(0.5);
    std::vector<float> audio(60 * 8000);
    double sign = 1.0;
    for (size_t n = 0; n < audio.size(); ++n) {
        const int k = static_cast<int>(n % 256);
        if (k == 0 && reversal(generator)) {
            sign = -sign;
        }
        const double envelope = std::sin(M_PI * k / 256.0);
        audio[n] = static_cast<float>(sign * 0.5 * envelope *
                                          std::sin(tarn::kTwoPi * 1500.0 * n / 8000.0) +
                                      noise(generator));
    }
    return audio;
}

void spectrumRow(benchmark::State& state) {
    NullAudioPlatform platform;
    auto tarn = TarnData::create(platform);
    const std::vector<float> audio = pskAudio();
    for (int k = 0; k < tarn::kSpectrumSize; ++k) {
        tarn->rawAudioSamplesForFFT[k] = {audio[k], 0.0f};
    }
    for (auto _ : state) {
        tarn->processSpectrumData();
        benchmark::ClobberMemory();
    }
}
BENCHMARK(spectrumRow)->Unit(benchmark::kMicrosecond);

void fftBasedAFC(benchmark::State& state) {
    NullAudioPlatform platform;
    auto tarn = TarnData::create(platform);
    const std::vector<TarnComplex> baseband = randomBlock(tarn::kRingSize);
    for (int n = 0; n < tarn::kRingSize; ++n) {
        tarn->secondStageInputAudioI[n] = baseband[n].re;
        tarn->secondStageInputAudioQ[n] = baseband[n].im;
    }
    for (auto _ : state) {
        tarn->useFFTForAFC = true;
        tarn->FFTAFCStable = 0;
        tarn->frequencyErrorOffset = 0.0f;
        tarn->FFTBasedAFC();
        benchmark::ClobberMemory();
    }
}
BENCHMARK(fftBasedAFC)->Unit(benchmark::kMicrosecond);

// The live chain in 2000-sample blocks: mixer, filters, demodulator, decoder,
// spectrum rows and AFC. Argument 0: the phase AFC (the steady state);
// argument 1: the FFT AFC kept armed for every block.
void receiveChain(benchmark::State& state) {
    const bool fftStage = state.range(0) != 0;
    NullAudioPlatform platform;
    auto tarn = TarnData::create(platform);
    const std::vector<float> audio = pskAudio();
    // Serve the start-up replay before timing.
    tarn->processInputAudioSamples(audio.data(), tarn::kInputBlockSamples);
    size_t first = tarn::kInputBlockSamples;
    for (auto _ : state) {
        if (first + tarn::kInputBlockSamples > audio.size()) {
            first = 0;
        }
        if (fftStage) {
            tarn->useFFTForAFC = true;
            tarn->FFTAFCStable = 0;
        }
        tarn->processInputAudioSamples(audio.data() + first, tarn::kInputBlockSamples);
        while (tarn->drainTextBuffer()) {
        }
        first += tarn::kInputBlockSamples;
    }
    state.counters["xRealTime"] = benchmark::Counter(
        static_cast<double>(state.iterations()) * tarn::kInputBlockSamples / tarn::kSampleRate,
        benchmark::Counter::kIsRate);
}
BENCHMARK(receiveChain)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

} // namespace
