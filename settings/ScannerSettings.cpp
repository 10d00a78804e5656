#include "settings/ScannerSettings.h"

#include "settings/SettingsStore.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QSpinBox>

#include <algorithm>

namespace {

const QString kScannerEnabled = QStringLiteral("scannerEnabled");
const QString kScannerLowHz = QStringLiteral("scannerLowHz");
const QString kScannerHighHz = QStringLiteral("scannerHighHz");
const QString kScannerMaxChannels = QStringLiteral("scannerMaxChannels");
const QString kScannerCloseSeconds = QStringLiteral("scannerCloseSeconds");
const QString kScannerSnrDb = QStringLiteral("scannerSnrDb");

// The scanner's own defaults (its configuration's).
constexpr double kDefaultLowHz = 500.0;
constexpr double kDefaultHighHz = 2500.0;
constexpr int kDefaultMaxChannels = 40;
constexpr double kDefaultCloseSeconds = 20.0;
constexpr double kDefaultSnrDb = -10.0;

QDoubleSpinBox* numberField(QWidget* parent, const char* name, double low, double high, double step,
                            int decimals, const QString& suffix) {
    auto* field = new QDoubleSpinBox(parent);
    field->setObjectName(QString::fromLatin1(name));
    field->setRange(low, high);
    field->setSingleStep(step);
    field->setDecimals(decimals);
    field->setSuffix(suffix);
    return field;
}

} // namespace

// ---- The store's typed keys ---------------------------------------------------

double SettingsStore::number(const QString& key, double byDefault) const {
    bool ok = false;
    const double value = values.value(key, byDefault).toDouble(&ok);
    return ok ? value : byDefault;
}

bool SettingsStore::scannerEnabled(bool byDefault) const {
    return values.value(kScannerEnabled, byDefault).toBool();
}
void SettingsStore::setScannerEnabled(bool on) {
    values.insert(kScannerEnabled, on);
}
double SettingsStore::scannerLowHz() const {
    return number(kScannerLowHz, kDefaultLowHz);
}
void SettingsStore::setScannerLowHz(double hertz) {
    values.insert(kScannerLowHz, hertz);
}
double SettingsStore::scannerHighHz() const {
    return number(kScannerHighHz, kDefaultHighHz);
}
void SettingsStore::setScannerHighHz(double hertz) {
    values.insert(kScannerHighHz, hertz);
}
int SettingsStore::scannerMaxChannels() const {
    return static_cast<int>(number(kScannerMaxChannels, kDefaultMaxChannels));
}
void SettingsStore::setScannerMaxChannels(int count) {
    values.insert(kScannerMaxChannels, count);
}
double SettingsStore::scannerCloseSeconds() const {
    return number(kScannerCloseSeconds, kDefaultCloseSeconds);
}
void SettingsStore::setScannerCloseSeconds(double seconds) {
    values.insert(kScannerCloseSeconds, seconds);
}
double SettingsStore::scannerSnrDb() const {
    return number(kScannerSnrDb, kDefaultSnrDb);
}
void SettingsStore::setScannerSnrDb(double decibels) {
    values.insert(kScannerSnrDb, decibels);
}

// ---- The settings screen's group ----------------------------------------------

ScannerSettings::ScannerSettings(SettingsStore& store, bool onByDefault, QWidget* parent)
    : QGroupBox(tr("Band scanner"), parent), store(store),
      enabledSwitch(new QCheckBox(tr("Decode every station in the band"), this)),
      lowField(numberField(this, "scannerLowHz", 100.0, 3900.0, 50.0, 0, tr(" Hz"))),
      highField(numberField(this, "scannerHighHz", 100.0, 3900.0, 50.0, 0, tr(" Hz"))),
      channelsField(new QSpinBox(this)),
      closeField(numberField(this, "scannerCloseSeconds", 1.0, 600.0, 5.0, 0, tr(" s"))),
      snrField(numberField(this, "scannerSnrDb", -30.0, 30.0, 1.0, 1, tr(" dB"))) {
    setObjectName(QStringLiteral("scannerSettings"));
    enabledSwitch->setObjectName(QStringLiteral("scannerEnabled"));
    channelsField->setObjectName(QStringLiteral("scannerMaxChannels"));
    channelsField->setRange(1, 200);
    lowField->setToolTip(tr("Lowest carrier searched; the band is at most 2600 Hz wide"));
    snrField->setToolTip(tr("A station prints while its SNR in 2500 Hz is above this"));

    auto* form = new QFormLayout(this);
    form->addRow(enabledSwitch);
    form->addRow(tr("Band from"), lowField);
    form->addRow(tr("to"), highField);
    form->addRow(tr("Stations at most"), channelsField);
    form->addRow(tr("Drop a station silent for"), closeField);
    form->addRow(tr("Print above SNR"), snrField);

    enabledSwitch->setChecked(store.scannerEnabled(onByDefault));
    lowField->setValue(store.scannerLowHz());
    highField->setValue(store.scannerHighHz());
    channelsField->setValue(store.scannerMaxChannels());
    closeField->setValue(store.scannerCloseSeconds());
    snrField->setValue(store.scannerSnrDb());
}

void ScannerSettings::save() {
    store.setScannerEnabled(enabledSwitch->isChecked());
    // Edges given the wrong way round are taken as the band they span.
    store.setScannerLowHz(std::min(lowField->value(), highField->value()));
    store.setScannerHighHz(std::max(lowField->value(), highField->value()));
    store.setScannerMaxChannels(channelsField->value());
    store.setScannerCloseSeconds(closeField->value());
    store.setScannerSnrDb(snrField->value());
}
