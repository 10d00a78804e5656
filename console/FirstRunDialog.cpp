#include "console/FirstRunDialog.h"

#include "settings/RadioSettings.h"
#include "settings/SettingsDefaults.h"
#include "settings/SettingsStore.h"
#include "settings/SettingsViewController.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include <initializer_list>

namespace {

QComboBox* deviceChooser(const QStringList& names, const QString& stored, QWidget* parent) {
    auto* chooser = new QComboBox(parent);
    chooser->addItem(SettingsViewController::systemDefaultDevice, QString());
    for (const QString& name : names)
        chooser->addItem(name, name);
    if (!stored.isEmpty() && chooser->findData(stored) < 0)
        chooser->addItem(FirstRunDialog::tr("%1 (not connected)").arg(stored), stored);
    chooser->setCurrentIndex(std::max(0, chooser->findData(stored)));
    return chooser;
}

} // namespace

FirstRunDialog::FirstRunDialog(SettingsStore& store, const AudioDeviceNames& devices,
                               QWidget* parent)
    : QDialog(parent), store(store) {
    setObjectName(QStringLiteral("firstRunDialog"));
    setWindowTitle(tr("Welcome to tarn-psk31"));
    auto* layout = new QVBoxLayout(this);
    auto* intro = new QLabel(
        tr("Before the first QSO: who you are, which sound devices "
           "connect to the radio and how it is keyed. The macros use your call sign (\\C), "
           "name and locator (\\L). All of it can be changed later in "
           "Settings."),
        this);
    intro->setWordWrap(true);
    layout->addWidget(intro);
    auto* form = new QFormLayout;
    const QString call = store.callsign().value_or(QString());
    callsignField = new QLineEdit(call == settingsdefaults::callsign() ? QString() : call, this);
    callsignField->setPlaceholderText(tr("e.g. DL1ABC"));
    nameField = new QLineEdit(store.operatorName().value_or(QString()), this);
    locatorField = new QLineEdit(store.location().value_or(QString()), this);
    locatorField->setPlaceholderText(tr("e.g. JO62QM"));
    inputChooser = deviceChooser(devices.inputs, store.radioInputDevice(), this);
    outputChooser = deviceChooser(devices.outputs, store.radioOutputDevice(), this);
    form->addRow(tr("&Call sign"), callsignField);
    form->addRow(tr("&Name"), nameField);
    form->addRow(tr("&Locator"), locatorField);
    form->addRow(tr("Radio &input"), inputChooser);
    form->addRow(tr("Radio &output"), outputChooser);
    layout->addLayout(form);
    // The radio as the settings screen's Radio section has it (the same
    // settings), only its first questions: the timings keep their defaults.
    radioFields = new RadioSettings(store, this);
    if (auto* radioForm = qobject_cast<QFormLayout*>(radioFields->layout()))
        for (QWidget* later : std::initializer_list<QWidget*>{
                 radioFields->speed(), radioFields->leadDelay(), radioFields->tailDelay(),
                 radioFields->watchdog(), radioFields->timeout(), radioFields->preamble(),
                 radioFields->testPttButton()})
            radioForm->setRowVisible(later, false);
    layout->addWidget(radioFields);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &FirstRunDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &FirstRunDialog::reject);
    layout->addWidget(buttons);
}

bool FirstRunDialog::wanted(const SettingsStore& store) {
    const std::optional<QString> call = store.callsign();
    return !call || *call == settingsdefaults::callsign();
}

void FirstRunDialog::accept() {
    const QString call = callsignField->text().trimmed().toUpper();
    if (!call.isEmpty())
        store.setCallsign(call);
    store.setOperatorName(nameField->text().trimmed());
    store.setLocation(locatorField->text().trimmed());
    store.setRadioInputDevice(inputChooser->currentData().toString());
    store.setRadioOutputDevice(outputChooser->currentData().toString());
    radioFields->save();
    store.synchronize();
    QDialog::accept();
}

void FirstRunDialog::showAnswersIn(SettingsViewController& screen) const {
    screen.callsign()->setText(store.callsign().value_or(QString()));
    screen.location()->setText(store.location().value_or(QString()));
    RadioSettings* shown = screen.radioSettings();
    if (shown == nullptr)
        return;
    shown->maker()->setCurrentIndex(radioFields->maker()->currentIndex());
    shown->model()->setCurrentIndex(radioFields->model()->currentIndex());
    shown->port()->setText(radioFields->port()->text());
    shown->pttMethod()->setCurrentIndex(radioFields->pttMethod()->currentIndex());
    shown->pttPort()->setText(radioFields->pttPort()->text());
}
