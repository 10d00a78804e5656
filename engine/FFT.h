// The engine's radix-2 FFT over interleaved complex floats: forward,
// unscaled, natural order, N a power of two up to 1024. Used at 1024 points
// for the waterfall and at 512 points for the coarse AFC.
#pragma once

namespace tarn {

// One complex value: real then imaginary, 32-bit floats; arrays interleave.
struct Complex {
    float re;
    float im;
};

// Entries 0 .. n/2 - 1 of `table` become e^(-j2πk/n) (double, narrowed).
// Sizes -1, 0 and 1 need no twiddles and leave the table alone.
void initFFTCoefficients(Complex* table, int n);

// X[k] = Σ x[n]·e^(-j2πkn/N) into output[0 .. n-1]. `twiddles` were made
// for this n; `scratch` holds n values and belongs to the caller.
void computeFFT(const Complex* input, Complex* output, const Complex* twiddles, int n,
                Complex* scratch);

} // namespace tarn
