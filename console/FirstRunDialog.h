// The first-run dialog: call sign, name, locator, the radio's audio devices
// and the radio itself (model by maker and name, port, how PTT is keyed),
// written to the settings when the operator presses OK. The
// console's program shows it while the call sign is still the placeholder
// "Please Edit"; the settings screen reopens it.
#pragma once

#include "settings/AudioDeviceNames.h"

#include <QDialog>

class QComboBox;
class QLineEdit;
class RadioSettings;
class SettingsStore;
class SettingsViewController;

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
    // The radio's fields, as the settings screen has them.
    RadioSettings* radio() const { return radioFields; }

    // Shows the stored answers in an open settings screen, which writes its
    // own fields back when it closes.
    void showAnswersIn(SettingsViewController& screen) const;

    // Stores the fields and accepts.
    void accept() override;

private:
    SettingsStore& store;
    QLineEdit* callsignField;
    QLineEdit* nameField;
    QLineEdit* locatorField;
    QComboBox* inputChooser;
    QComboBox* outputChooser;
    RadioSettings* radioFields;
};
