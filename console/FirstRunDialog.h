// The first-run dialog: call sign, name, locator and the radio's audio
// devices, written to the settings when the operator presses OK. The
// console's program shows it while the call sign is still the placeholder
// "Please Edit"; the settings screen reopens it.
#pragma once

#include "settings/AudioDeviceNames.h"

#include <QDialog>

class QComboBox;
class QLineEdit;
class SettingsStore;

class FirstRunDialog : public QDialog {
    Q_OBJECT
public:
    FirstRunDialog(SettingsStore& store, const AudioDeviceNames& devices,
                   QWidget* parent = nullptr);

    // True while the call sign is absent or still the placeholder.
    static bool wanted(const SettingsStore& store);

    QLineEdit* callsign() const { return callsignField; }
    QLineEdit* operatorName() const { return nameField; }
    QLineEdit* locator() const { return locatorField; }

    // Stores the fields and accepts.
    void accept() override;

private:
    SettingsStore& store;
    QLineEdit* callsignField;
    QLineEdit* nameField;
    QLineEdit* locatorField;
    QComboBox* inputChooser;
    QComboBox* outputChooser;
};
