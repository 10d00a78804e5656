// The console's refresh tick with its drawing, through whatever GL the
// display offers (software GL under Xvfb):
//   xvfb-run -a -s "-screen 0 1280x800x24" build/release/bench/bench_console
#include "console/SpectrumView.h"
#include "console/TarnViewController.h"
#include "settings/SettingsStore.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <cmath>

namespace {

QApplication& application() {
    static int argc = 1;
    static char name[] = "bench_console";
    static char* argv[] = {name, nullptr};
    static QApplication app(argc, argv);
    return app;
}

// A console window of 1280x800 whose display is tall enough for all 512
// waterfall rows, with every row holding a noisy level and two signals.
struct ShownConsole {
    ShownConsole() : store(directory.filePath("settings.ini")), console(std::nullopt, store) {
        console.resize(1280, 800);
        console.show();
        exposed = QTest::qWaitForWindowExposed(&console);
        console.spectrumDisplay()->setFixedHeight(520);
        QCoreApplication::processEvents();
        // A full waterfall: noise with two signals (bins 192 and 243).
        std::vector<float> audio(static_cast<size_t>(tarn::kWaterfallRows) * tarn::kSpectrumSize);
        uint32_t noise = 1;
        for (size_t n = 0; n < audio.size(); ++n) {
            noise = noise * 1664525u + 1013904223u;
            audio[n] = static_cast<float>(0.2 * std::sin(n * 2 * M_PI * 1500.0 / 8000.0) +
                                          0.1 * std::sin(n * 2 * M_PI * 1898.4375 / 8000.0) +
                                          0.05 * (noise / 4294967296.0 - 0.5));
        }
        console.theData()->processInputAudioSamples(audio);
    }

    // One tick, with the drawing finished by the GL before the clock stops.
    void tick() {
        console.updateDisplay();
        SpectrumView* view = console.spectrumDisplay();
        view->makeCurrent();
        view->context()->functions()->glFinish();
        view->doneCurrent();
    }

    QTemporaryDir directory;
    SettingsStore store;
    TarnViewController console;
    bool exposed = false; // false: no display to measure on
};

void BM_RefreshTickWaterfall(benchmark::State& state) {
    application();
    ShownConsole shown;
    if (!shown.exposed) {
        state.SkipWithError("the console window was never shown");
        return;
    }
    shown.console.displayMode = 0;
    const int framesBefore = shown.console.spectrumDisplay()->framesDrawn();
    for (auto _ : state)
        shown.tick();
    state.counters["frames/tick"] =
        double(shown.console.spectrumDisplay()->framesDrawn() - framesBefore) /
        double(state.iterations());
    state.counters["rows"] = std::min(shown.console.spectrumDisplay()->height(), 512);
    state.counters["width"] = shown.console.spectrumDisplay()->width();
}
BENCHMARK(BM_RefreshTickWaterfall)->Unit(benchmark::kMillisecond);

void BM_RefreshTickSpectrum(benchmark::State& state) {
    application();
    ShownConsole shown;
    if (!shown.exposed) {
        state.SkipWithError("the console window was never shown");
        return;
    }
    shown.console.displayMode = 1;
    for (auto _ : state)
        shown.tick();
}
BENCHMARK(BM_RefreshTickSpectrum)->Unit(benchmark::kMillisecond);

// From creating the console (engine included) to the first tick that draws
// a waterfall row made from input.
void BM_StartToFirstDrawnRow(benchmark::State& state) {
    application();
    for (auto _ : state) {
        QElapsedTimer clock;
        clock.start();
        QTemporaryDir directory;
            SettingsStore store(directory.filePath("settings.ini"));
        TarnViewController console(std::nullopt, store);
        console.resize(1280, 800);
        console.show();
        if (!QTest::qWaitForWindowExposed(&console)) {
            state.SkipWithError("the console window was never shown");
            return;
        }
        // One input block, as the first buffer from the radio would bring.
        std::vector<float> block(2000);
        for (size_t i = 0; i < block.size(); ++i)
            block[i] = static_cast<float>(0.3 * std::sin(i * 2 * M_PI * 1500.0 / 8000.0));
        console.theData()->processInputAudioSamples(block);
        const int rowBefore = console.theData()->status().waterfallRow;
        bool drawn = false;
        QObject::connect(console.updateDisplayTimer, &QTimer::timeout, &console,
                         [&] { drawn = console.theData()->status().waterfallRow != 0; });
        if (!QTest::qWaitFor([&] { return drawn; }, 5000)) {
            state.SkipWithError("no waterfall row was drawn within 5 s");
            return;
        }
        state.SetIterationTime(clock.nsecsElapsed() * 1e-9);
        benchmark::DoNotOptimize(rowBefore);
    }
}
BENCHMARK(BM_StartToFirstDrawnRow)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

} // namespace
