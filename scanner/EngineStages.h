// The pieces of the main receiver that the scanner's channels reuse: the
// engine's FFT and its symbol filter. This file is the one place that names
// the engine's own spelling of them.
#pragma once

#include <cstdint>

namespace scanner::stages {

// One complex value, real then imaginary.
struct Complex {
    float re;
    float im;
};

constexpr int kSymbolFilterTaps = 64;

// The main receiver's symbol filter at 500 Hz (unit gain at 0 Hz, 0.79 at
// 15.625 Hz, below 0.0005 from 31.25 Hz on).
const float* symbolFilter();

// Twiddles for an n-point transform (entries 0 .. n/2 - 1 filled).
void makeTwiddles(Complex* table, int n);
// Forward, unscaled, natural order; n a power of two up to 1024; `scratch`
// holds n values.
void fft(const Complex* input, Complex* output, const Complex* twiddles, int n, Complex* scratch);

} // namespace scanner::stages
