// The settings screen: a modal dialog on which the operator edits the call
// sign, the location, the ten macro buttons (title and text), the speaker
// switch and the audio devices of the radio connection. It fills its fields
// from the store when it opens, and writes every field back when the finish
// button is pressed (or the window is closed); then it is accepted, and
// whoever opened it applies the settings on `accepted`. There is no cancel.
#pragma once

#include "settings/AudioDeviceNames.h"

#include <QDialog>

#include <memory>

class QCheckBox;
class QComboBox;
class QLineEdit;
class QScrollArea;
class LoggingSettings;
class RadioSettings;
class SettingsStore;

namespace Ui {
class SettingsViewController;
}

class SettingsViewController : public QDialog {
    Q_OBJECT

public:
    // What the device choosers show for "no particular device".
    static const QString systemDefaultDevice;

    // `devices` fills the device choosers. On a tablet the screen is tall
    // enough and takes no part in keyboard handling.
    SettingsViewController(SettingsStore& store, const AudioDeviceNames& devices, bool tablet,
                           QWidget* parent = nullptr);
    ~SettingsViewController() override;

    QLineEdit* callsign() const;
    QLineEdit* location() const;
    // Title and text fields of macro button n (1..10).
    QLineEdit* macroName(int n) const;
    QLineEdit* macroText(int n) const;
    QScrollArea* scrollView() const;
    QCheckBox* forceOutputToSpeaker() const;
    QComboBox* radioInputDevice() const;
    QComboBox* radioOutputDevice() const;
    LoggingSettings* loggingSettings() const { return logging; }
    RadioSettings* radioSettings() const { return radio; }
    // The field being edited, or nothing.
    QLineEdit* activeField() const { return _activeField; }

public slots:
    // Stores every field, writes the store and accepts the dialog.
    void finish();
    // Opens the project's home page in the system browser.
    void openHomePage();
    // The field being edited gives up the keyboard.
    void closeKeyboard();
    // An on-screen keyboard of `keyboardHeight` pixels came up: room is made
    // below the fields and the field being edited is scrolled above it.
    void makeRoomForKeyboard(int keyboardHeight);
    // The on-screen keyboard went away: the extra room goes, the scroll
    // position stays.
    void removeKeyboardRoom();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void fillFields(const AudioDeviceNames& devices);
    void followOnScreenKeyboard();
    void keyboardChanged();
    void fillDeviceChooser(QComboBox* chooser, const QStringList& names, const QString& stored);
    void setKeyboardInset(int bottom);

    std::unique_ptr<Ui::SettingsViewController> ui;
    SettingsStore& store;
    LoggingSettings* logging = nullptr;
    RadioSettings* radio = nullptr;
    QLineEdit* _activeField = nullptr;
    bool tablet;
    int keyboardInset = 0;    // pixels of room made for the keyboard
    int baseBottomMargin = 0; // the fields' own bottom margin
};
