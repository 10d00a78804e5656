// Costs of the spectrum path on one core: the FFT at both sizes and one
// waterfall row (transform, log power, normalisation).
#include "engine/FFT.h"
#include "engine/SpectrumAnalyser.h"
#include "engine/WaterfallHistory.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <vector>

namespace {

std::vector<tarn::Complex> randomBlock(int n) {
    std::mt19937 generator(1);
    std::normal_distribution<float> value(0.0f, 0.3f);
    std::vector<tarn::Complex> block(static_cast<size_t>(n));
    for (tarn::Complex& sample : block) {
        sample = {value(generator), value(generator)};
    }
    return block;
}

void fftOfSize(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const size_t size = static_cast<size_t>(n);
    std::vector<tarn::Complex> twiddles(size), scratch(size), output(size);
    tarn::initFFTCoefficients(twiddles.data(), n);
    const std::vector<tarn::Complex> input = randomBlock(n);
    for (auto _ : state) {
        tarn::computeFFT(input.data(), output.data(), twiddles.data(), n, scratch.data());
        benchmark::DoNotOptimize(output.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(fftOfSize)->Arg(512)->Arg(1024)->Unit(benchmark::kMicrosecond);

// One waterfall row from a block of real input, as the receive chain makes
// it: 1024 samples into the analyser, whose last one runs the transform, the
// log power and the history's normalisation.
void spectrumRow(benchmark::State& state) {
    constexpr int n = tarn::SpectrumAnalyser::kSize;
    std::vector<float> block;
    for (const tarn::Complex& sample : randomBlock(n)) {
        block.push_back(sample.re);
    }
    auto analyser = std::make_unique<tarn::SpectrumAnalyser>();
    auto history = std::make_unique<tarn::WaterfallHistory>();
    for (auto _ : state) {
        analyser->push(block, *history);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(spectrumRow)->Unit(benchmark::kMicrosecond);

} // namespace
