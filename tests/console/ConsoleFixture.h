// A console on a silent audio platform with its own settings file, for the
// console's tests.
#pragma once

#include "engine/AudioPlatform.h"
#include "settings/SettingsStore.h"
#include "console/TarnViewController.h"

#include <QTemporaryDir>

#include <memory>

struct ConsoleFixture {
    explicit ConsoleFixture(FormFactor formFactor = FormFactor::tablet)
        : platform(static_cast<int>(formFactor)),
          store(std::make_unique<SettingsStore>(directory.filePath("settings.ini"))),
          console(std::make_unique<TarnViewController>(platform, *store, formFactor)) {}

    TarnData& engine() { return *console->theData(); }

    // Sets every bin of the waterfall row `rowsBack` (0 = newest) to `level`.
    void fillRow(int rowsBack, float level) {
        auto* row = const_cast<float*>(engine().getCurrentSpectrum(rowsBack));
        for (int k = 0; k < tarn::kSpectrumSize; ++k)
            row[k] = level;
    }
    void fillAllRows(float level) {
        for (int r = 0; r < tarn::kWaterfallRows; ++r)
            fillRow(r, level);
    }

    QTemporaryDir directory;
    NullAudioPlatform platform;
    std::unique_ptr<SettingsStore> store;
    std::unique_ptr<TarnViewController> console;
};
