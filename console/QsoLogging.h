// The console's logbook side: the QSO form under the QSO field, words taken
// from the receive view, "Log QSO" (Ctrl+L) writing the contact to the ADIF
// log (and, when switched on, to a logger over UDP), the recent contacts and
// "worked before", and the stations heard reported to the spotting network.
//
// Settings are read at the moment of use, as the macros read theirs: the log
// file, the band logged without a rig, the logger and spotting switches and
// addresses, the operator's call sign, and the location, which counts as the
// operator's locator when it is a Maidenhead locator. Main thread only.
#pragma once

#include "engine/TarnData.h"
#include "logbook/LogIndex.h"
#include "rig/RfFrequency.h"

#include <QObject>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

class CallCapture;
class QLineEdit;
class QMainWindow;
class QPlainTextEdit;
class QsoForm;
class SettingsStore;
class Spotting;
namespace reporting {
class UdpSender;
}

class QsoLogging : public QObject {
    Q_OBJECT

public:
    // The form goes at the bottom of `window`'s central widget; `callField`
    // (the QSO field) becomes its call field; clicks in `receiveView` fill it.
    QsoLogging(SettingsStore& store, QLineEdit* callField, QPlainTextEdit* receiveView,
               QMainWindow* window);
    ~QsoLogging() override;

    QsoForm* form() const { return qsoForm; }
    CallCapture* capture() const { return callCapture; }
    Spotting& spotting() { return *spotter; }
    const logbook::LogIndex& log() const { return index; }

    // Each refresh tick: the text drained from the receiver this tick
    // (possibly none) and the engine's state; feeds and polls the spotting.
    void receiverTick(std::string_view text, const tarn::EngineStatus& status);
    // A call heard on a band scanner's channel at `audioHz` (its carrier):
    // spotted with its RF frequency when the rig reports its dial.
    void channelHeard(const std::string& call, double audioHz, double snrDb);
    // A transmission was accepted: the first to a call sets time on.
    void transmissionStarted();
    // The rig's dial frequency and sideband, or nothing while no rig is
    // connected (then contacts get the band setting and no frequency).
    void setRigDial(std::optional<double> dialHz, tarn::rig::Sideband sideband);
    // UTC seconds now; tests pass a clock of their own.
    void setClock(std::function<int64_t()> clock) { now = std::move(clock); }

public slots:
    // Writes the form's contact to the log; the form clears only once the
    // record is on disk. False (and the reason on the form) when nothing
    // was logged.
    bool logContact();

private:
    void openLog();
    void refreshWorkedBefore();
    void sendToLogger(const logbook::Qso& qso);
    std::optional<int64_t> rfFrequencyHz(double audioHz) const;

    SettingsStore& store;
    QsoForm* qsoForm;
    CallCapture* callCapture;
    std::unique_ptr<Spotting> spotter;
    std::unique_ptr<reporting::UdpSender> loggerSocket;
    QString loggerSocketAddress;
    logbook::LogIndex index;
    std::filesystem::path logPath; // the file `index` was read from
    std::optional<double> dial;
    tarn::rig::Sideband dialSideband = tarn::rig::Sideband::Unknown;
    double audioFrequency = tarn::kDefaultFrequency; // Hz, the tuned carrier with AFC
    double lastTuned = tarn::kDefaultFrequency;
    std::function<int64_t()> now;
};
