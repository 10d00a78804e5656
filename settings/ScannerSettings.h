// The "Band scanner" part of the settings screen: the scanner on or off, the
// band edges it searches, how many stations it follows at once, how long a
// silent station stays, and the SNR a station must reach to print.
#pragma once

#include <QGroupBox>

class QCheckBox;
class QDoubleSpinBox;
class QSpinBox;
class SettingsStore;

class ScannerSettings : public QGroupBox {
    Q_OBJECT

public:
    // Fills the fields from `store`; `onByDefault` is the scanner's switch
    // while the operator has not set it (the form factor's choice).
    ScannerSettings(SettingsStore& store, bool onByDefault, QWidget* parent = nullptr);

    // Writes every field to the store (not to disk: the screen does that).
    void save();

    QCheckBox* enabled() const { return enabledSwitch; }
    QDoubleSpinBox* lowHz() const { return lowField; }
    QDoubleSpinBox* highHz() const { return highField; }
    QSpinBox* maxChannels() const { return channelsField; }
    QDoubleSpinBox* closeSeconds() const { return closeField; }
    QDoubleSpinBox* snrDb() const { return snrField; }

private:
    SettingsStore& store;
    QCheckBox* enabledSwitch;
    QDoubleSpinBox* lowField;
    QDoubleSpinBox* highField;
    QSpinBox* channelsField;
    QDoubleSpinBox* closeField;
    QDoubleSpinBox* snrField;
};
