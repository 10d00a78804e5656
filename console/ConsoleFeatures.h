// The console's operator aids, set up together on a finished console: the
// frequency scale above the display, the Auto squelch box, the keys, the
// received text's font, and the settings screen's "Display" group (theme,
// font, squelch margin, the first-run dialog again). The settings screen is
// found when the console opens it (it is made as the console's child), so
// the console itself needs only to create this object.
#pragma once

#include <QObject>
#include <QPointer>

class AutoSquelchControl;
class ConsoleShortcuts;
class FrequencyScale;
class QComboBox;
class QDoubleSpinBox;
class QFontComboBox;
class QSpinBox;
class SettingsViewController;
class TarnViewController;

class ConsoleFeatures : public QObject {
    Q_OBJECT
public:
    explicit ConsoleFeatures(TarnViewController& console);

    FrequencyScale* frequencyScale() const { return scale; }
    AutoSquelchControl* autoSquelch() const { return squelch; }
    ConsoleShortcuts* shortcuts() const { return keys; }

    // Adds the "Display" group to an open settings screen; its values are
    // stored and applied when the screen is accepted.
    void extendSettingsScreen(SettingsViewController& screen);
    // Applies the stored look and squelch margin to the running console.
    void applySettings();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    TarnViewController& console;
    FrequencyScale* scale = nullptr;
    AutoSquelchControl* squelch = nullptr;
    ConsoleShortcuts* keys = nullptr;
};
