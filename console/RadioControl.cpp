#include "console/RadioControl.h"

#include "console/BandPanel.h"
#include "console/ConsoleFeatures.h"
#include "console/FrequencyScale.h"
#include "console/QsoLogging.h"
#include "console/TarnViewController.h"
#include "log/TarnLog.h"
#include "rig/PlayoutSink.h"
#include "rig/RfFrequency.h"
#include "rig/RigConnection.h"
#include "settings/SettingsStore.h"
#include "settings/SettingsViewController.h"

#include <QAction>
#include <QBoxLayout>
#include <QChildEvent>
#include <QLabel>
#include <QToolBar>

#include <optional>
#include <utility>

// Remembers why the sequencer refused the last message: the engine only
// logs a sink's status, the console needs to tell the operator.
class RadioControl::RefusalWatch : public tarn::TransmitSink {
public:
    explicit RefusalWatch(tarn::rig::TransmitSequencer& sequencer) : sequencer(sequencer) {}
    int startTransmission(std::unique_ptr<tarn::Transmission> transmission,
                          bool routeToSpeaker) override {
        const int status = sequencer.startTransmission(std::move(transmission), routeToSpeaker);
        if (status == tarn::rig::kPttRefused || status == tarn::rig::kBusy)
            refusal = QString::fromStdString(sequencer.lastError());
        return status;
    }
    void stopTransmission() override { sequencer.stopTransmission(); }
    QString refusal;

private:
    tarn::rig::TransmitSequencer& sequencer;
};

RadioControl::RadioControl(TarnViewController& console) : QObject(&console), console(console) {
    setObjectName(QStringLiteral("radioControl"));
    rfLabel = new QLabel(console.displayFrequency()->parentWidget());
    rfLabel->setObjectName(QStringLiteral("rfFrequency"));
    rfLabel->setVisible(false);
    if (auto* row = qobject_cast<QBoxLayout*>(console.displayFrequency()->parentWidget()->layout()))
        row->insertWidget(row->indexOf(console.displayFrequency()) + 1, rfLabel);

    stopAction = new QAction(tr("Stop sending"), this);
    stopAction->setObjectName(QStringLiteral("stopSendingAction"));
    stopAction->setToolTip(tr("Cut the transmission at once and release PTT (Escape)"));
    connect(stopAction, &QAction::triggered, this, &RadioControl::stopSending);
    console.toolbar()->addAction(stopAction);

    console.installEventFilter(this);
    applySettings();
    startTimer(200);
}

RadioControl::~RadioControl() {
    detachOutput();
}

void RadioControl::attachOutput(tarn::rig::PlayoutSink& sink) {
    output = &sink;
    registerTransmitPath();
}

void RadioControl::detachOutput() {
    if (output == nullptr)
        return;
    console.theData()->setTransmitSink(nullptr);
    watch.reset();
    sequencer.reset();
    output = nullptr;
}

// Without an attached output the engine keeps whatever sink the audio host
// registered itself.
void RadioControl::registerTransmitPath() {
    if (output == nullptr)
        return;
    console.theData()->setTransmitSink(nullptr);
    watch.reset();
    sequencer.reset();
    if (radio == nullptr || config.ptt == tarn::rig::PttMethod::None) {
        console.theData()->setTransmitSink(output);
        return;
    }
    sequencer = std::make_unique<tarn::rig::TransmitSequencer>(
        *radio, *output,
        tarn::rig::SequenceTiming{config.leadDelay, config.tailDelay, config.watchdog});
    watch = std::make_unique<RefusalWatch>(*sequencer);
    console.theData()->setTransmitSink(watch.get());
}

QString RadioControl::takeRefusal() {
    if (watch == nullptr)
        return {};
    return std::exchange(watch->refusal, QString());
}

void RadioControl::stopSending() {
    console.theData()->stopAudioOutput();
}

void RadioControl::applySettings() {
    const tarn::rig::RigConfig wanted = console.settingsStore().rigConfig();
    console.theData()->setPreambleReversals(wanted.preambleReversals);
    // Nothing on the air uses the old connection once the path is rebuilt.
    if (output != nullptr)
        console.theData()->setTransmitSink(nullptr);
    watch.reset();
    sequencer.reset();
    radio.reset();
    config = wanted;
    if (const std::string problem = tarn::rig::validateRigConfig(config); !problem.empty()) {
        tarnLog("Radio control off: %s\n", problem.c_str());
        config = tarn::rig::RigConfig{};
    } else if (tarn::rig::usesHamlib(config)) {
        radio = std::make_unique<tarn::rig::RigConnection>(config);
    }
    registerTransmitPath();
    refreshReadout();
}

void RadioControl::refreshReadout() {
    std::optional<double> dial;
    tarn::rig::Sideband sideband = tarn::rig::Sideband::Unknown;
    if (radio != nullptr) {
        const tarn::rig::RigStatus status = radio->status();
        if (status.connected && status.dialHz > 0.0) {
            dial = status.dialHz;
            sideband = status.sideband;
        }
        const std::optional<double> rf =
            dial ? tarn::rig::rfFrequency(*dial, sideband, console.theData()->frequency())
                 : std::nullopt;
        rfLabel->setText(rf ? tr("RF %1 kHz").arg(*rf / 1000.0, 0, 'f', 3) : tr("RF –"));
        rfLabel->setToolTip(status.connected ? QString::fromStdString(status.mode)
                                             : QString::fromStdString(status.error));
    }
    rfLabel->setVisible(radio != nullptr && config.model != 0);
    if (QsoLogging* logging = console.qsoLogging())
        logging->setRigDial(dial, sideband);
    if (auto* features = console.findChild<ConsoleFeatures*>(QStringLiteral("consoleFeatures"));
        features != nullptr && features->frequencyScale() != nullptr)
        features->frequencyScale()->setDial(dial, sideband);
    if (auto* bands = console.findChild<BandPanel*>(QStringLiteral("bandPanel")))
        bands->setDial(dial, sideband);
}

void RadioControl::timerEvent(QTimerEvent*) {
    refreshReadout();
}

bool RadioControl::eventFilter(QObject* watched, QEvent* event) {
    // The settings screen is made as the console's child: apply the radio
    // settings when it is accepted.
    if (watched == &console && event->type() == QEvent::ChildPolished) {
        if (auto* screen =
                qobject_cast<SettingsViewController*>(static_cast<QChildEvent*>(event)->child());
            screen != nullptr && !screen->property("radioWatched").toBool()) {
            screen->setProperty("radioWatched", true);
            connect(screen, &QDialog::accepted, this, &RadioControl::applySettings);
        }
    }
    return QObject::eventFilter(watched, event);
}
