// The "Radio" part of the settings screen: the Hamlib model (chosen by maker,
// then name), its port and speed, how the transmitter is keyed and on which
// port, the delays around a transmission, the watchdog, the rig timeout and
// the preamble. "Test PTT" keys the transmitter for one second through a
// connection made from the fields as they are, off the GUI thread, and
// shows how it went.
#pragma once

#include "rig/RigConfig.h"

#include <QGroupBox>

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;
class SettingsStore;

class RadioSettings : public QGroupBox {
    Q_OBJECT

public:
    // Fills the fields from `store`.
    RadioSettings(SettingsStore& store, QWidget* parent = nullptr);

    // The configuration the fields describe.
    tarn::rig::RigConfig config() const;
    // Writes every field to the store (not to disk: the screen does that).
    void save();

    QComboBox* maker() const { return makerChooser; }
    QComboBox* model() const { return modelChooser; }
    QLineEdit* port() const { return portField; }
    QSpinBox* speed() const { return speedField; }
    QComboBox* pttMethod() const { return pttChooser; }
    QLineEdit* pttPort() const { return pttPortField; }
    QSpinBox* leadDelay() const { return leadField; }
    QSpinBox* tailDelay() const { return tailField; }
    QSpinBox* watchdog() const { return watchdogField; }
    QSpinBox* timeout() const { return timeoutField; }
    QSpinBox* preamble() const { return preambleField; }
    QPushButton* testPttButton() const { return testButton; }
    // "" until a test has run; then its outcome.
    QLabel* testResult() const { return resultLabel; }

public slots:
    // Keys PTT for one second on a thread of its own; testFinished follows.
    void testPtt();

signals:
    // `message` is what testResult shows; `keyed` whether PTT went on.
    void testFinished(bool keyed, const QString& message);

private:
    void fillModels(const QString& maker, int selectNumber);
    void selectModel(int number);

    SettingsStore& store;
    QComboBox* makerChooser;
    QComboBox* modelChooser;
    QLineEdit* portField;
    QSpinBox* speedField;
    QComboBox* pttChooser;
    QLineEdit* pttPortField;
    QSpinBox* leadField;
    QSpinBox* tailField;
    QSpinBox* watchdogField;
    QSpinBox* timeoutField;
    QSpinBox* preambleField;
    QPushButton* testButton;
    QLabel* resultLabel;
};
