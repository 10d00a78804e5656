// The "Auto" box beside the squelch slider. Its AutoSquelch watches the
// engine's signal reading at every tick (0.2 s) all the time; only while the box is
// ticked does it set the engine's squelch, and then the slider (disabled for
// the operator) and its label show the level it set. Unticked, the squelch
// stays where it is and the slider is the operator's again. The box and the
// margin are remembered in the settings ("autoSquelch",
// "autoSquelchMarginDb").
#pragma once

#include "console/AutoSquelch.h"

#include <QObject>
#include <QPointer>

#include <functional>

class LevelSlider;
class QCheckBox;
class QLabel;
class SettingsStore;
class TarnData;

class AutoSquelchControl : public QObject {
    Q_OBJECT
public:
    // The box goes into the slider's row, right after the level label.
    AutoSquelchControl(TarnData& engine, SettingsStore& store, LevelSlider* slider, QLabel* label,
                       QObject* parent = nullptr);

    QCheckBox* checkBox() const { return box; }
    const AutoSquelch& squelch() const { return automatic; }
    // Takes one reading; called every AutoSquelch::kTickSeconds.
    void tick();
    // The margin and the box from the settings (after the settings screen).
    void applySettings();

private:
    void toggled(bool on);

    TarnData& engine;
    SettingsStore& store;
    QPointer<LevelSlider> slider;
    QPointer<QLabel> label;
    QCheckBox* box = nullptr;
    AutoSquelch automatic;
};
