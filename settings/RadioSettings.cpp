#include "settings/RadioSettings.h"

#include "rig/RigConnection.h"
#include "rig/RigModels.h"
#include "settings/SettingsStore.h"

#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QThread>

#include <chrono>
#include <memory>
#include <thread>
#include <utility>

namespace {

using tarn::rig::PttMethod;

// Hamlib's list, read once (loading the backends takes a moment).
const std::vector<tarn::rig::RigModel>& models() {
    static const std::vector<tarn::rig::RigModel> all = [] {
        tarn::rig::quietHamlib();
        return tarn::rig::listRigModels();
    }();
    return all;
}

QSpinBox* spinBox(QWidget* parent, const char* name, int low, int high, const QString& suffix) {
    auto* box = new QSpinBox(parent);
    box->setObjectName(QString::fromLatin1(name));
    box->setRange(low, high);
    box->setSuffix(suffix);
    return box;
}

} // namespace

RadioSettings::RadioSettings(SettingsStore& store, QWidget* parent)
    : QGroupBox(tr("Radio"), parent), store(store), makerChooser(new QComboBox(this)),
      modelChooser(new QComboBox(this)), portField(new QLineEdit(this)),
      speedField(spinBox(this, "rigSpeed", 0, 460800, tr(" baud"))),
      pttChooser(new QComboBox(this)), pttPortField(new QLineEdit(this)),
      leadField(spinBox(this, "pttLeadMs", 0, tarn::rig::kMaxDelayMs, tr(" ms"))),
      tailField(spinBox(this, "pttTailMs", 0, tarn::rig::kMaxDelayMs, tr(" ms"))),
      watchdogField(spinBox(this, "txWatchdogSeconds", tarn::rig::kMinWatchdogSeconds,
                            tarn::rig::kMaxWatchdogSeconds, tr(" s"))),
      timeoutField(spinBox(this, "rigTimeoutMs", tarn::rig::kMinTimeoutMs, tarn::rig::kMaxTimeoutMs,
                           tr(" ms"))),
      preambleField(
          spinBox(this, "preambleReversals", 0, tarn::rig::kMaxPreambleReversals, QString())),
      testButton(new QPushButton(tr("Test &PTT"), this)), resultLabel(new QLabel(this)) {
    setObjectName(QStringLiteral("radioSettings"));
    makerChooser->setObjectName(QStringLiteral("rigMaker"));
    modelChooser->setObjectName(QStringLiteral("rigModel"));
    portField->setObjectName(QStringLiteral("rigPort"));
    pttChooser->setObjectName(QStringLiteral("pttMethod"));
    pttPortField->setObjectName(QStringLiteral("pttPort"));
    testButton->setObjectName(QStringLiteral("testPtt"));
    resultLabel->setObjectName(QStringLiteral("testPttResult"));
    resultLabel->setWordWrap(true);
    speedField->setSpecialValueText(tr("The model's"));
    portField->setPlaceholderText(tr("/dev/ttyUSB0, or host:port of rigctld"));
    pttPortField->setPlaceholderText(tr("The radio's port; /dev/hidrawN for CM108"));
    preambleField->setToolTip(tr("Extra idle reversals before each message, for radios that "
                                 "clip the start of a transmission"));

    makerChooser->addItem(tr("None"));
    for (const tarn::rig::RigModel& model : models()) {
        const QString maker = QString::fromStdString(model.maker);
        if (makerChooser->findText(maker, Qt::MatchFixedString | Qt::MatchCaseSensitive) < 0)
            makerChooser->addItem(maker);
    }
    pttChooser->addItem(tr("None (VOX)"), QStringLiteral("none"));
    pttChooser->addItem(tr("CAT command"), QStringLiteral("cat"));
    pttChooser->addItem(tr("RTS line"), QStringLiteral("rts"));
    pttChooser->addItem(tr("DTR line"), QStringLiteral("dtr"));
    pttChooser->addItem(tr("CM108 GPIO"), QStringLiteral("cm108"));

    auto* form = new QFormLayout(this);
    form->addRow(tr("&Maker"), makerChooser);
    form->addRow(tr("Mo&del"), modelChooser);
    form->addRow(tr("P&ort"), portField);
    form->addRow(tr("Spee&d"), speedField);
    form->addRow(tr("PTT &by"), pttChooser);
    form->addRow(tr("PTT po&rt"), pttPortField);
    form->addRow(tr("PTT &lead"), leadField);
    form->addRow(tr("PTT &tail"), tailField);
    form->addRow(tr("Longest trans&mission"), watchdogField);
    form->addRow(tr("Radio time&out"), timeoutField);
    form->addRow(tr("Pream&ble reversals"), preambleField);
    form->addRow(testButton, resultLabel);

    connect(makerChooser, &QComboBox::currentTextChanged, this,
            [this](const QString& maker) { fillModels(maker, -1); });
    connect(testButton, &QPushButton::clicked, this, &RadioSettings::testPtt);
    connect(this, &RadioSettings::testFinished, this, [this](bool, const QString& message) {
        resultLabel->setText(message);
        testButton->setEnabled(true);
    });

    const tarn::rig::RigConfig stored = store.rigConfig();
    selectModel(stored.model);
    portField->setText(QString::fromStdString(stored.port));
    speedField->setValue(stored.speed);
    pttChooser->setCurrentIndex(
        std::max(0, pttChooser->findData(QString::fromLatin1(pttMethodName(stored.ptt)))));
    pttPortField->setText(QString::fromStdString(stored.pttPort));
    leadField->setValue(static_cast<int>(stored.leadDelay.count()));
    tailField->setValue(static_cast<int>(stored.tailDelay.count()));
    watchdogField->setValue(static_cast<int>(
        std::chrono::duration_cast<std::chrono::seconds>(stored.watchdog).count()));
    timeoutField->setValue(static_cast<int>(stored.timeout.count()));
    preambleField->setValue(stored.preambleReversals);
}

void RadioSettings::fillModels(const QString& maker, int selectNumber) {
    modelChooser->clear();
    if (makerChooser->currentIndex() <= 0) {
        modelChooser->addItem(tr("No rig control"), 0);
        return;
    }
    for (const tarn::rig::RigModel& model : models()) {
        if (QString::fromStdString(model.maker) != maker)
            continue;
        modelChooser->addItem(
            QStringLiteral("%1 (%2)").arg(QString::fromStdString(model.name)).arg(model.number),
            model.number);
    }
    if (selectNumber > 0)
        modelChooser->setCurrentIndex(std::max(0, modelChooser->findData(selectNumber)));
}

void RadioSettings::selectModel(int number) {
    const QSignalBlocker quiet(makerChooser);
    for (const tarn::rig::RigModel& model : models()) {
        if (model.number == number) {
            const QString maker = QString::fromStdString(model.maker);
            makerChooser->setCurrentIndex(
                makerChooser->findText(maker, Qt::MatchFixedString | Qt::MatchCaseSensitive));
            fillModels(maker, number);
            return;
        }
    }
    makerChooser->setCurrentIndex(0); // none, or a number this Hamlib does not know
    fillModels(QString(), 0);
}

tarn::rig::RigConfig RadioSettings::config() const {
    tarn::rig::RigConfig config;
    config.model = modelChooser->currentData().toInt();
    config.port = portField->text().trimmed().toStdString();
    config.speed = speedField->value();
    config.ptt = tarn::rig::parsePttMethod(pttChooser->currentData().toString().toStdString())
                     .value_or(PttMethod::None);
    config.pttPort = pttPortField->text().trimmed().toStdString();
    config.leadDelay = std::chrono::milliseconds(leadField->value());
    config.tailDelay = std::chrono::milliseconds(tailField->value());
    config.watchdog = std::chrono::seconds(watchdogField->value());
    config.timeout = std::chrono::milliseconds(timeoutField->value());
    config.preambleReversals = preambleField->value();
    return config;
}

void RadioSettings::save() {
    store.setRigConfig(config());
}

void RadioSettings::testPtt() {
    const tarn::rig::RigConfig tested = config();
    if (const std::string problem = tarn::rig::validateRigConfig(tested); !problem.empty()) {
        emit testFinished(false, QString::fromStdString(problem));
        return;
    }
    if (tested.ptt == PttMethod::None) {
        emit testFinished(false, tr("No PTT method chosen: the radio keys itself (VOX)"));
        return;
    }
    testButton->setEnabled(false);
    resultLabel->setText(tr("Keying for one second…"));
    // The connection waits for the radio (up to its timeout, twice): never on
    // the GUI thread. The outcome comes back with the thread's finished
    // signal, which a closed screen no longer receives.
    auto outcome = std::make_shared<std::pair<bool, QString>>();
    QThread* worker = QThread::create([tested, outcome] {
        tarn::rig::RigConnection radio(tested);
        const std::string failure = radio.setPtt(true);
        if (!failure.empty()) {
            *outcome = {false,
                        tr("PTT could not be keyed: %1").arg(QString::fromStdString(failure))};
            return;
        }
        std::this_thread::sleep_for(std::chrono::seconds(1));
        const std::string release = radio.setPtt(false);
        *outcome = {
            true,
            release.empty()
                ? tr("PTT keyed for one second and released")
                : tr("PTT keyed, but the release failed: %1").arg(QString::fromStdString(release))};
    });
    connect(worker, &QThread::finished, this,
            [this, outcome] { emit testFinished(outcome->first, outcome->second); });
    connect(worker, &QThread::finished, worker, &QObject::deleteLater);
    worker->start();
}
