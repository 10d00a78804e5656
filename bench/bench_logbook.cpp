// Opening the station log: reading a 10,000-contact ADIF file and building
// the index the operating screen asks for "worked before".
#include "logbook/LogFile.h"
#include "logbook/LogIndex.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace {

// A log of `count` contacts, written the way the station writes it, in a
// scratch directory removed at exit.
class ScratchLog {
public:
    explicit ScratchLog(int count) {
        char pattern[] = "/tmp/tarn-bench-XXXXXX";
        directory = mkdtemp(pattern);
        file = directory / "log.adi";
        std::vector<logbook::Qso> contacts;
        for (int i = 0; i < count; ++i) {
            logbook::Qso qso;
            qso.call = "K" + std::to_string(i % 10) + std::string(1, char('A' + i / 10 % 26)) +
                       std::string(1, char('A' + i / 260 % 26)) + "C";
            qso.timeOn = 1'600'000'000 + static_cast<int64_t>(i) * 900;
            qso.timeOff = qso.timeOn + 300;
            qso.frequencyHz = 14'070'000 + i % 3000;
            qso.rstSent = "599";
            qso.rstReceived = "579";
            qso.name = "Operator";
            qso.gridsquare = "FN42";
            qso.stationCallsign = "N0CALL";
            qso.myGridsquare = "JO62qm";
            contacts.push_back(std::move(qso));
        }
        std::string error;
        if (!logbook::LogFile(file).append(contacts, error)) {
            std::abort();
        }
    }
    ~ScratchLog() { std::filesystem::remove_all(directory); }

    std::filesystem::path directory;
    std::filesystem::path file;
};

void BM_OpenLog10000(benchmark::State& state) {
    const ScratchLog log(10'000);
    for (auto _ : state) {
        logbook::LogContents contents;
        std::string error;
        logbook::LogFile(log.file).read(contents, error);
        logbook::LogIndex index;
        for (logbook::Qso& qso : contents.contacts) {
            index.add(std::move(qso));
        }
        benchmark::DoNotOptimize(index.workedBefore("K5ABC"));
        if (index.size() != 10'000) {
            state.SkipWithError("contacts lost");
        }
    }
    state.counters["bytes"] = static_cast<double>(std::filesystem::file_size(log.file));
}
BENCHMARK(BM_OpenLog10000)->Unit(benchmark::kMillisecond);

} // namespace
