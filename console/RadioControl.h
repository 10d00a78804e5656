// The console's side of radio control: the connection to the radio (made
// from the settings; none while no rig and no PTT method is configured), the
// RF frequency of the tuned signal next to its audio frequency, "Stop
// sending" (toolbar button and Escape), and the transmit path that keys the
// radio around each message.
//
// The transmit path: the audio host's output (a tarn::rig::PlayoutSink) is
// handed over once with attachOutput(). While a PTT method is configured,
// the engine sends through a TransmitSequencer (PTT on, lead delay, the
// audio, tail delay, PTT off) wrapped around that output; otherwise straight
// to the output. A message whose PTT cannot be keyed is refused: the
// console asks takeRefusal() after each send.
//
// Main thread only; the connection and the sequencer run threads of their own.
#pragma once

#include "rig/RigConfig.h"
#include "rig/TransmitSequencer.h"

#include <QObject>
#include <QString>

#include <memory>

class QAction;
class QLabel;
class TarnViewController;

namespace tarn::rig {
class PlayoutSink;
class RigConnection;
} // namespace tarn::rig

class RadioControl : public QObject {
    Q_OBJECT

public:
    explicit RadioControl(TarnViewController& console);
    ~RadioControl() override;

    // The audio host's output; it must stay until detachOutput() (or the
    // console's end). Registers the transmit path with the engine.
    void attachOutput(tarn::rig::PlayoutSink& output);
    // Unregisters the transmit path and forgets the output (any
    // transmission is cut and PTT released first).
    void detachOutput();

    // Why the last send was refused ("PTT could not be keyed: ..."), once;
    // empty when it was not.
    QString takeRefusal();

    // "RF 14071.500 kHz" while the radio reports its dial; hidden without a rig.
    QLabel* rfReadout() const { return rfLabel; }
    QAction* stopSendingAction() const { return stopAction; }
    // The connection, or none without rig control.
    tarn::rig::RigConnection* connection() const { return radio.get(); }

public slots:
    // Cuts the transmission at once and releases PTT (Escape, the toolbar).
    void stopSending();
    // Reads the radio settings again: a new connection, delays, preamble.
    void applySettings();
    // Shows the dial and the RF frequency (every 0.2 s).
    void refreshReadout();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    class RefusalWatch;
    void registerTransmitPath();

    TarnViewController& console;
    QLabel* rfLabel = nullptr;
    QAction* stopAction = nullptr;
    tarn::rig::RigConfig config;
    tarn::rig::PlayoutSink* output = nullptr;
    // Declared in the order they depend on each other: destroyed backwards.
    std::unique_ptr<tarn::rig::RigConnection> radio;
    std::unique_ptr<tarn::rig::TransmitSequencer> sequencer;
    std::unique_ptr<RefusalWatch> watch;
};
