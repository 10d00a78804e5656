#include "settings/LoggingSettings.h"

#include "settings/SettingsStore.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLineEdit>

namespace {

// The HF and 6/2 m bands where PSK31 is found, as ADIF names them.
const char* const kBands[] = {"160m", "80m", "60m", "40m", "30m", "20m", "17m",
                              "15m",  "12m", "10m", "6m",  "2m",  "70cm"};

QWidget* row(QWidget* parent, QWidget* first, QWidget* second) {
    auto* holder = new QWidget(parent);
    auto* layout = new QHBoxLayout(holder);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(first);
    layout->addWidget(second, 1);
    return holder;
}

} // namespace

LoggingSettings::LoggingSettings(SettingsStore& store, QWidget* parent)
    : QGroupBox(tr("Logging"), parent), store(store), logFileField(new QLineEdit(this)),
      bandChooser(new QComboBox(this)), loggerSwitch(new QCheckBox(tr("Send to logger"), this)),
      loggerField(new QLineEdit(this)),
      spottingSwitch(new QCheckBox(tr("Report stations heard"), this)),
      spottingField(new QLineEdit(this)) {
    setObjectName(QStringLiteral("loggingSettings"));
    logFileField->setObjectName(QStringLiteral("logFile"));
    bandChooser->setObjectName(QStringLiteral("logBand"));
    loggerSwitch->setObjectName(QStringLiteral("loggerEnabled"));
    loggerField->setObjectName(QStringLiteral("loggerAddress"));
    spottingSwitch->setObjectName(QStringLiteral("spottingEnabled"));
    spottingField->setObjectName(QStringLiteral("spottingAddress"));

    logFileField->setToolTip(tr("ADIF file each logged contact is added to"));
    bandChooser->setToolTip(tr("Band logged while no rig reports the frequency"));
    loggerField->setToolTip(tr("host:port of a logger taking \"Logged ADIF\" datagrams"));
    spottingSwitch->setToolTip(tr("Needs your call sign and a locator as the location"));
    spottingField->setToolTip(tr("host:port of the spotting network's collector"));
    bandChooser->addItem(tr("none"), QString());
    for (const char* band : kBands)
        bandChooser->addItem(QString::fromLatin1(band), QString::fromLatin1(band));

    auto* form = new QFormLayout(this);
    form->addRow(tr("Log file"), logFileField);
    form->addRow(tr("Band"), bandChooser);
    form->addRow(row(this, loggerSwitch, loggerField));
    form->addRow(row(this, spottingSwitch, spottingField));

    logFileField->setText(store.logFile());
    const QString band = store.logBand();
    int index = bandChooser->findData(band);
    if (index < 0) { // a band typed into the file by hand stays
        bandChooser->addItem(band, band);
        index = bandChooser->count() - 1;
    }
    bandChooser->setCurrentIndex(index);
    loggerSwitch->setChecked(store.loggerEnabled());
    loggerField->setText(store.loggerAddress());
    spottingSwitch->setChecked(store.spottingEnabled());
    spottingField->setText(store.spottingAddress());
}

void LoggingSettings::save() {
    store.setLogFile(logFileField->text());
    store.setLogBand(bandChooser->currentData().toString());
    store.setLoggerEnabled(loggerSwitch->isChecked());
    store.setLoggerAddress(loggerField->text());
    store.setSpottingEnabled(spottingSwitch->isChecked());
    store.setSpottingAddress(spottingField->text());
}
