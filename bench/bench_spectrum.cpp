// Costs of the spectrum path on one core: the FFT at both sizes and one
// waterfall row (transform, log power, normalisation).
#include "engine/FFT.h"
#include "engine/WaterfallHistory.h"

#include <benchmark/benchmark.h>

#include <cmath>
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

// One waterfall row from a block of real input, as the receive chain makes it.
void spectrumRow(benchmark::State& state) {
    constexpr int n = 1024;
    std::vector<tarn::Complex> twiddles(n), scratch(n), output(n);
    tarn::initFFTCoefficients(twiddles.data(), n);
    std::vector<tarn::Complex> input = randomBlock(n);
    for (tarn::Complex& sample : input) {
        sample.im = 0.0f;
    }
    auto history = std::make_unique<tarn::WaterfallHistory>();
    std::vector<float> logPower(n);
    for (auto _ : state) {
        tarn::computeFFT(input.data(), output.data(), twiddles.data(), n, scratch.data());
        for (int k = 0; k < n; ++k) {
            const tarn::Complex bin = output[static_cast<size_t>(k)];
            logPower[static_cast<size_t>(k)] =
                static_cast<float>(std::log(bin.re * bin.re + bin.im * bin.im + 1e-12));
        }
        history->addRow(std::span<const float, n>(logPower.data(), n));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(spectrumRow)->Unit(benchmark::kMicrosecond);

} // namespace
