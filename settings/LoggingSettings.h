// The "Logging" part of the settings screen: where the log file is, the band
// logged while no rig reports the frequency, and the two UDP destinations
// (a logger for each logged contact, the spotting network for the stations
// heard), each switched off until the operator switches it on.
#pragma once

#include <QGroupBox>

class QCheckBox;
class QComboBox;
class QLineEdit;
class SettingsStore;

class LoggingSettings : public QGroupBox {
    Q_OBJECT

public:
    // Fills the fields from `store`.
    LoggingSettings(SettingsStore& store, QWidget* parent = nullptr);

    // Writes every field to the store (not to disk: the screen does that).
    void save();

    QLineEdit* logFile() const { return logFileField; }
    QComboBox* band() const { return bandChooser; }
    QCheckBox* loggerEnabled() const { return loggerSwitch; }
    QLineEdit* loggerAddress() const { return loggerField; }
    QCheckBox* spottingEnabled() const { return spottingSwitch; }
    QLineEdit* spottingAddress() const { return spottingField; }

private:
    SettingsStore& store;
    QLineEdit* logFileField;
    QComboBox* bandChooser;
    QCheckBox* loggerSwitch;
    QLineEdit* loggerField;
    QCheckBox* spottingSwitch;
    QLineEdit* spottingField;
};
