// A console on a silent audio platform with its own settings file, for the
// console's tests.
#pragma once

#include "console/TarnViewController.h"
#include "settings/SettingsStore.h"

#include <QTemporaryDir>

#include <algorithm>
#include <memory>
#include <vector>

struct ConsoleFixture {
    explicit ConsoleFixture(FormFactor formFactor = FormFactor::tablet)
        : store(std::make_unique<SettingsStore>(directory.filePath("settings.ini"))),
          console(std::make_unique<TarnViewController>(std::nullopt, *store, formFactor)) {
        console->setSpectrumRowSource([this](int rowsBack, std::span<float, 1024> out) {
            const float* source = row(rowsBack);
            std::copy(source, source + tarn::kSpectrumSize, out.begin());
            return true;
        });
    }

    TarnData& engine() { return *console->theData(); }

    // The waterfall row `rowsBack` (0 = newest) the console draws.
    float* row(int rowsBack) {
        return rows.data() + static_cast<size_t>(rowsBack) * tarn::kSpectrumSize;
    }
    // Sets every bin of the waterfall row `rowsBack` to `level`.
    void fillRow(int rowsBack, float level) {
        std::fill(row(rowsBack), row(rowsBack) + tarn::kSpectrumSize, level);
    }
    void fillAllRows(float level) {
        for (int r = 0; r < tarn::kWaterfallRows; ++r)
            fillRow(r, level);
    }

    std::vector<float> rows =
        std::vector<float>(static_cast<size_t>(tarn::kWaterfallRows) * tarn::kSpectrumSize);
    QTemporaryDir directory;
    std::unique_ptr<SettingsStore> store;
    std::unique_ptr<TarnViewController> console;
};
