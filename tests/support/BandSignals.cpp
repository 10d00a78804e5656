#include "tests/support/BandSignals.h"
#include "tests/support/TestSignals.h"

#include "varicode/varicode.h"

#include <algorithm>
#include <cmath>

namespace testsignals {

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kSymbolSamples = 256.0;

double symbolLength(const Station& s) {
    return kSymbolSamples * (1.0 + s.clockPpm * 1e-6);
}

std::string symbolsOf(const Station& s) {
    return varicode().renderVaricodeString(s.idleBefore, std::string_view(s.text), s.idleAfter);
}

} // namespace

std::vector<float> renderStation(const Station& s) {
    const std::string symbols = symbolsOf(s);
    const double length = symbolLength(s);
    const auto count = static_cast<int64_t>(std::ceil(symbols.size() * length));
    std::vector<float> out(static_cast<size_t>(count));
    double sign = 1.0;
    size_t current = static_cast<size_t>(-1);
    bool reversalHere = true;
    bool reversalNext = true;
    for (int64_t n = 0; n < count; ++n) {
        const double position = n / length; // in symbols
        const size_t i = std::min(static_cast<size_t>(position), symbols.size() - 1);
        if (i != current) {
            current = i;
            reversalHere = i == 0 || symbols[i] == '0';
            reversalNext = i + 1 >= symbols.size() || symbols[i + 1] == '0';
            if (symbols[i] == '0') {
                sign = -sign;
            }
        }
        const double u = position - static_cast<double>(i);
        double envelope = 1.0;
        if ((u < 0.5 && reversalHere) || (u >= 0.5 && reversalNext)) {
            envelope = std::fabs(std::sin(kPi * u));
        }
        const double t = n / 8000.0;
        const double phase = 2.0 * kPi * (s.frequency * t + 0.5 * s.driftHzPerSecond * t * t);
        const double x = sign * envelope * std::cos(phase);
        out[static_cast<size_t>(n)] = static_cast<float>(x + s.cubic * x * x * x);
    }
    return out;
}

std::vector<float> mixBand(const std::vector<Station>& stations, double seconds, double noiseRms,
                           uint32_t seed) {
    std::vector<float> out(static_cast<size_t>(seconds * 8000.0), 0.0f);
    const double levelRms = noiseRms > 0.0 ? noiseRms : 0.1;
    const double noiseIn2500 = levelRms * levelRms * 2500.0 / 4000.0;
    for (const Station& s : stations) {
        const std::vector<float> signal = renderStation(s);
        double power = 0.0;
        for (float x : signal) {
            power += static_cast<double>(x) * x;
        }
        power /= static_cast<double>(signal.size());
        const double gain = std::sqrt(noiseIn2500 * std::pow(10.0, s.snrDb / 10.0) / power);
        const auto start = static_cast<size_t>(s.startSeconds * 8000.0);
        for (size_t n = 0; n < signal.size() && start + n < out.size(); ++n) {
            out[start + n] += static_cast<float>(gain * signal[n]);
        }
    }
    if (noiseRms > 0.0) {
        addNoise(out, noiseRms, seed);
    }
    return out;
}

int64_t stationEndSample(const Station& s) {
    return static_cast<int64_t>(s.startSeconds * 8000.0) +
           static_cast<int64_t>(std::ceil(symbolsOf(s).size() * symbolLength(s)));
}

double imdOfCubic(double a) {
    // Idle at unit peak is two tones of amplitude B = 1/2; x³ adds 9/4·B³ to
    // each tone and 3/4·B³ at 2f1 - f2 and 2f2 - f1.
    const double b = 0.5;
    return 20.0 * std::log10(0.75 * a * b * b * b / (b + 2.25 * a * b * b * b));
}

double characterErrorRate(const std::string& expected, const std::string& received) {
    std::vector<size_t> row(received.size() + 1);
    for (size_t j = 0; j <= received.size(); ++j) {
        row[j] = j;
    }
    for (size_t i = 1; i <= expected.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= received.size(); ++j) {
            const size_t above = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1,
                               diagonal + (expected[i - 1] == received[j - 1] ? 0 : 1)});
            diagonal = above;
        }
    }
    return expected.empty() ? 0.0 : static_cast<double>(row[received.size()]) / expected.size();
}

} // namespace testsignals
