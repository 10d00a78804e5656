#include "console/QsoLogging.h"

#include "console/CallCapture.h"
#include "console/QsoForm.h"
#include "console/RecentContacts.h"
#include "console/Spotting.h"
#include "log/TarnLog.h"
#include "logbook/AdifQso.h"
#include "logbook/Bands.h"
#include "logbook/CallSign.h"
#include "logbook/LogFile.h"
#include "reporting/LoggedAdif.h"
#include "reporting/UdpSender.h"
#include "settings/SettingsStore.h"

#include <QBoxLayout>
#include <QDateTime>
#include <QLineEdit>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QShortcut>

#include <cmath>
#include <cstdio>

namespace {

// A retune by more than this (Hz) means another station's text follows.
constexpr double kRetuneHz = 20.0;

// The audio frequency of a contact without a rig, kept as this program's own
// ADIF field so that the log says where on the waterfall it was (letters,
// digits and underscores only, as field names allow).
constexpr const char* kAudioFrequencyField = "APP_TARN_PSK31_AUDIO_HZ";

std::string text(const std::optional<QString>& value) {
    return value ? value->trimmed().toStdString() : std::string();
}

} // namespace

QsoLogging::QsoLogging(SettingsStore& store, QLineEdit* callField, QPlainTextEdit* receiveView,
                       QMainWindow* window)
    : QObject(window), store(store), qsoForm(new QsoForm(callField, window->centralWidget())),
      callCapture(new CallCapture(receiveView, qsoForm)), spotter(std::make_unique<Spotting>()),
      now([] { return QDateTime::currentSecsSinceEpoch(); }) {
    if (auto* layout = qobject_cast<QBoxLayout*>(window->centralWidget()->layout()))
        layout->addWidget(qsoForm);
    auto* shortcut = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_L), window);
    shortcut->setContext(Qt::WindowShortcut);
    connect(shortcut, &QShortcut::activated, this, &QsoLogging::logContact);
    connect(qsoForm, &QsoForm::logRequested, this, &QsoLogging::logContact);
    connect(callField, &QLineEdit::textChanged, this, &QsoLogging::refreshWorkedBefore);
    openLog();
}

QsoLogging::~QsoLogging() = default;

void QsoLogging::openLog() {
    const std::filesystem::path path = store.logFile().toStdString();
    if (path == logPath)
        return;
    logPath = path;
    index = logbook::LogIndex();
    logbook::LogContents contents;
    std::string error;
    if (!logbook::LogFile(path).read(contents, error)) {
        qsoForm->showStatus(tr("Cannot read the log: %1").arg(QString::fromStdString(error)));
    } else {
        for (logbook::Qso& qso : contents.contacts)
            index.add(std::move(qso));
        if (!contents.problems.empty())
            qsoForm->showStatus(tr("The log has %1 damaged places; they are kept as they are")
                                    .arg(contents.problems.size()));
    }
    qsoForm->recentContacts()->showContacts(index.recent(RecentContacts::kRows));
    refreshWorkedBefore();
}

void QsoLogging::refreshWorkedBefore() {
    const std::string call = qsoForm->call()->text().trimmed().toUpper().toStdString();
    qsoForm->showWorkedBefore(call.empty() ? std::nullopt : index.workedBefore(call));
}

std::optional<int64_t> QsoLogging::rfFrequencyHz(double audioHz) const {
    if (!dial)
        return std::nullopt;
    const std::optional<double> rf = tarn::rig::rfFrequency(*dial, dialSideband, audioHz);
    if (!rf)
        return std::nullopt;
    return std::llround(*rf);
}

void QsoLogging::setRigDial(std::optional<double> dialHz, tarn::rig::Sideband sideband) {
    dial = dialHz;
    dialSideband = sideband;
}

void QsoLogging::transmissionStarted() {
    qsoForm->transmissionStarted(now());
}

void QsoLogging::receiverTick(std::string_view received, const tarn::EngineStatus& status) {
    const int64_t time = now();
    audioFrequency = status.frequency + static_cast<double>(status.frequencyErrorOffset);
    // The location doubles as the locator when it is one.
    const std::string location = text(store.location());
    const Spotting::Setup setup{store.spottingEnabled(), text(store.callsign()),
                                logbook::isLocator(location) ? location : std::string(),
                                store.spottingAddress().trimmed().toStdString()};
    static_cast<void>(spotter->configure(setup, time));
    if (std::fabs(status.frequency - lastTuned) > kRetuneHz)
        spotter->retuned();
    lastTuned = status.frequency;
    // The squelch stands for the noise floor the operator set it at.
    if (!received.empty())
        spotter->received(received, rfFrequencyHz(audioFrequency).value_or(0),
                          snrDecibels(status.signalLevel, status.squelch), time);
    spotter->poll(time);
}

void QsoLogging::channelHeard(const std::string& call, double audioHz, double snrDb) {
    spotter->heard(call, rfFrequencyHz(audioHz).value_or(0), static_cast<int>(std::lround(snrDb)),
                   now());
}

bool QsoLogging::logContact() {
    openLog(); // the log file setting may have changed
    QString problem;
    std::optional<logbook::Qso> qso = qsoForm->contact(now(), problem);
    if (!qso) {
        qsoForm->showStatus(problem);
        return false;
    }
    if (const std::optional<int64_t> rf = rfFrequencyHz(audioFrequency)) {
        qso->frequencyHz = *rf;
        qso->band = std::string(logbook::bandForFrequency(*rf));
    } else {
        qso->band = logbook::canonicalBand(store.logBand().trimmed().toStdString());
        char hz[32];
        std::snprintf(hz, sizeof hz, "%.1f", audioFrequency);
        qso->otherFields.emplace_back(kAudioFrequencyField, hz);
    }
    // Only a real call sign ("Please Edit" is none) and a real locator.
    if (const auto own = logbook::parseCallSign(text(store.callsign())))
        qso->stationCallsign = own->full;
    if (const std::string location = text(store.location()); logbook::isLocator(location))
        qso->myGridsquare = location;

    std::string error;
    if (!logbook::LogFile(logPath).append({*qso}, error)) {
        qsoForm->showStatus(tr("Not logged: %1").arg(QString::fromStdString(error)));
        return false;
    }
    index.add(*qso);
    sendToLogger(*qso);
    qsoForm->clear();
    qsoForm->showStatus(tr("Logged %1").arg(QString::fromStdString(qso->call)));
    qsoForm->recentContacts()->showContacts(index.recent(RecentContacts::kRows));
    return true;
}

void QsoLogging::sendToLogger(const logbook::Qso& qso) {
    if (!store.loggerEnabled())
        return;
    const QString address = store.loggerAddress().trimmed();
    std::string error;
    if (!loggerSocket || address != loggerSocketAddress) {
        loggerSocket.reset();
        const std::optional<reporting::HostPort> to =
            reporting::parseHostPort(address.toStdString(), reporting::kLoggerPort);
        auto socket = std::make_unique<reporting::UdpSender>();
        if (!to || !socket->open(*to, error)) {
            tarnLog("Logger at %s not reached: %s\n", address.toUtf8().constData(),
                    to ? error.c_str() : "not host:port");
            qsoForm->showStatus(tr("Logged; the logger at %1 is not reachable").arg(address));
            return;
        }
        loggerSocket = std::move(socket);
        loggerSocketAddress = address;
    }
    const std::vector<uint8_t> datagram =
        reporting::encodeLoggedAdif(reporting::kLoggerClientId, reporting::loggedAdifText(qso));
    if (!loggerSocket->send(datagram, error))
        tarnLog("Logger datagram not sent: %s\n", error.c_str());
}
