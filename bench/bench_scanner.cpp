// The band scanner over the whole 500-2500 Hz band with 10 and with 40
// stations on the air; `realtime` is audio seconds per CPU second.
#include "scanner/Scanner.h"
#include "tests/support/BandSignals.h"

#include <benchmark/benchmark.h>

namespace {

std::vector<float> busyBand(int stations) {
    std::vector<testsignals::Station> band;
    for (int i = 0; i < stations; ++i) {
        testsignals::Station s;
        for (int k = 0; k < 8; ++k) {
            s.text += "CQ CQ de N0CALL the quick brown fox jumps over the lazy dog ";
        }
        s.frequency = 525.0 + i * (1950.0 / stations);
        s.snrDb = 5.0 + (i % 10);
        s.startSeconds = 0.1 * (i % 7);
        band.push_back(s);
    }
    return testsignals::mixBand(band, 30.0, 0.05, 1);
}

void scanBand(benchmark::State& state) {
    const std::vector<float> audio = busyBand(static_cast<int>(state.range(0)));
    int channels = 0;
    for (auto _ : state) {
        scanner::Scanner scan(scanner::ScannerConfig{});
        for (size_t n = 0; n < audio.size(); n += 2000) {
            scan.process(audio.data() + n, std::min<size_t>(2000, audio.size() - n));
        }
        channels = scan.openChannels();
        scan.finish();
    }
    state.counters["channels"] = channels;
    state.counters["realtime"] = benchmark::Counter(static_cast<double>(audio.size()) / 8000.0 *
                                                        static_cast<double>(state.iterations()),
                                                    benchmark::Counter::kIsRate);
}

} // namespace

BENCHMARK(scanBand)->Arg(10)->Arg(40)->Unit(benchmark::kMillisecond);
