#include "settings/SettingsViewController.h"

#include "settings/LoggingSettings.h"
#include "settings/RadioSettings.h"
#include "settings/SettingsStore.h"
#include "ui_SettingsViewController.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QInputMethod>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPropertyAnimation>
#include <QScrollArea>
#include <QScrollBar>
#include <QUrl>

const QString SettingsViewController::systemDefaultDevice = QStringLiteral("System default");

namespace {

// The project's home page, opened by the web-link button.
const char* const homePage = "https://tarn-psk31.example.org/";

// Object names of the macro fields in the form: b1Name, b1Text, ...
QString nameField(int n) {
    return QStringLiteral("b%1Name").arg(n);
}
QString textField(int n) {
    return QStringLiteral("b%1Text").arg(n);
}

// The stored text of the device chooser's current entry: the empty text for
// the system default.
QString chosenDevice(const QComboBox* chooser) {
    return chooser->currentData().toString();
}

} // namespace

SettingsViewController::SettingsViewController(SettingsStore& store,
                                               const AudioDeviceNames& devices, bool tablet,
                                               QWidget* parent)
    : QDialog(parent), ui(std::make_unique<Ui::SettingsViewController>()), store(store),
      tablet(tablet) {
    ui->setupUi(this);
    baseBottomMargin = ui->fieldsLayout->contentsMargins().bottom();
    for (QLineEdit* field : findChildren<QLineEdit*>()) {
        field->installEventFilter(this);
        connect(field, &QLineEdit::returnPressed, this, &SettingsViewController::closeKeyboard);
    }
    connect(ui->finishedButton, &QPushButton::clicked, this, &SettingsViewController::finish);
    connect(ui->weblinkButton, &QPushButton::clicked, this, &SettingsViewController::openHomePage);
    fillFields(devices);
    logging = new LoggingSettings(store, ui->scrollContents);
    ui->fieldsLayout->addWidget(logging, ui->fieldsLayout->rowCount(), 0, 1, -1);
    radio = new RadioSettings(store, ui->scrollContents);
    ui->fieldsLayout->addWidget(radio, ui->fieldsLayout->rowCount(), 0, 1, -1);
}

SettingsViewController::~SettingsViewController() = default;

QLineEdit* SettingsViewController::callsign() const {
    return ui->callsign;
}
QLineEdit* SettingsViewController::location() const {
    return ui->location;
}
QScrollArea* SettingsViewController::scrollView() const {
    return ui->scrollView;
}
QCheckBox* SettingsViewController::forceOutputToSpeaker() const {
    return ui->forceOutputToSpeaker;
}
QComboBox* SettingsViewController::radioInputDevice() const {
    return ui->radioInputDevice;
}
QComboBox* SettingsViewController::radioOutputDevice() const {
    return ui->radioOutputDevice;
}

QLineEdit* SettingsViewController::macroName(int n) const {
    return findChild<QLineEdit*>(nameField(n));
}

QLineEdit* SettingsViewController::macroText(int n) const {
    return findChild<QLineEdit*>(textField(n));
}

void SettingsViewController::fillFields(const AudioDeviceNames& devices) {
    // An absent value (as "location" is until the first save) leaves the
    // field empty.
    ui->callsign->setText(store.callsign().value_or(QString()));
    ui->location->setText(store.location().value_or(QString()));
    for (int n = 1; n <= SettingsStore::kMacroCount; ++n) {
        macroName(n)->setText(store.macroName(n).value_or(QString()));
        macroText(n)->setText(store.macroText(n).value_or(QString()));
    }
    ui->forceOutputToSpeaker->setChecked(store.forceOutputToSpeaker());
    fillDeviceChooser(ui->radioInputDevice, devices.inputs, store.radioInputDevice());
    fillDeviceChooser(ui->radioOutputDevice, devices.outputs, store.radioOutputDevice());
    followOnScreenKeyboard();
}

void SettingsViewController::fillDeviceChooser(QComboBox* chooser, const QStringList& names,
                                               const QString& stored) {
    chooser->addItem(systemDefaultDevice, QString());
    for (const QString& name : names)
        chooser->addItem(name, name);
    if (stored.isEmpty()) {
        chooser->setCurrentIndex(0);
        return;
    }
    int index = chooser->findData(stored);
    if (index < 0) {
        // A device chosen earlier that is not plugged in now stays chosen, so
        // finishing without a change does not forget it.
        chooser->addItem(tr("%1 (not connected)").arg(stored), stored);
        index = chooser->count() - 1;
    }
    chooser->setCurrentIndex(index);
}

void SettingsViewController::finish() {
    store.setCallsign(ui->callsign->text());
    store.setLocation(ui->location->text());
    for (int n = 1; n <= SettingsStore::kMacroCount; ++n) {
        store.setMacroName(n, macroName(n)->text());
        store.setMacroText(n, macroText(n)->text());
    }
    store.setForceOutputToSpeaker(ui->forceOutputToSpeaker->isChecked());
    store.setRadioInputDevice(chosenDevice(ui->radioInputDevice));
    store.setRadioOutputDevice(chosenDevice(ui->radioOutputDevice));
    logging->save();
    radio->save();
    store.synchronize();
    accept();
}

void SettingsViewController::openHomePage() {
    QDesktopServices::openUrl(QUrl(QString::fromLatin1(homePage)));
}

void SettingsViewController::closeKeyboard() {
    if (_activeField != nullptr)
        _activeField->clearFocus();
}

bool SettingsViewController::eventFilter(QObject* watched, QEvent* event) {
    // The field with the keyboard focus is the one being edited.
    if (auto* field = qobject_cast<QLineEdit*>(watched)) {
        if (event->type() == QEvent::FocusIn) {
            _activeField = field;
            ui->scrollView->ensureWidgetVisible(field);
        } else if (event->type() == QEvent::FocusOut && _activeField == field) {
            _activeField = nullptr;
        }
    }
    return QDialog::eventFilter(watched, event);
}

void SettingsViewController::followOnScreenKeyboard() {
    // A tablet's screen leaves the fields visible above the keyboard.
    if (tablet)
        return;
    QInputMethod* inputMethod = QGuiApplication::inputMethod();
    connect(inputMethod, &QInputMethod::visibleChanged, this,
            &SettingsViewController::keyboardChanged);
    connect(inputMethod, &QInputMethod::keyboardRectangleChanged, this,
            &SettingsViewController::keyboardChanged);
}

void SettingsViewController::keyboardChanged() {
    const QInputMethod* inputMethod = QGuiApplication::inputMethod();
    const int height = qRound(inputMethod->keyboardRectangle().height());
    if (inputMethod->isVisible() && height > 0) {
        // Only the first report of a keyboard counts, as the height it comes
        // up with; later size changes while it is up do not scroll again.
        if (keyboardInset == 0)
            makeRoomForKeyboard(height);
    } else if (keyboardInset != 0) {
        removeKeyboardRoom();
    }
}

void SettingsViewController::setKeyboardInset(int bottom) {
    keyboardInset = bottom;
    QMargins margins = ui->fieldsLayout->contentsMargins();
    margins.setBottom(baseBottomMargin + bottom);
    ui->fieldsLayout->setContentsMargins(margins);
    // Let the scroll range grow now, so the scroll below is not cut short.
    ui->fieldsLayout->activate();
    ui->scrollContents->resize(
        ui->scrollContents->width(),
        std::max(ui->scrollContents->height(), ui->scrollContents->minimumSizeHint().height()));
}

void SettingsViewController::makeRoomForKeyboard(int keyboardHeight) {
    setKeyboardInset(keyboardHeight);
    if (_activeField == nullptr)
        return;
    // The field's top in the scrolled contents, less the keyboard, plus where
    // the scroll area sits in the dialog: the offset that lifts the field
    // above the keyboard.
    const int fieldTop = _activeField->mapTo(ui->scrollContents, QPoint(0, 0)).y();
    const int y = fieldTop - keyboardHeight + ui->scrollView->geometry().y();
    if (y <= 0)
        return;
    auto* animation = new QPropertyAnimation(ui->scrollView->verticalScrollBar(), "value", this);
    animation->setDuration(250);
    animation->setEndValue(y);
    animation->start(QAbstractAnimation::DeleteWhenStopped);
}

void SettingsViewController::removeKeyboardRoom() {
    setKeyboardInset(0);
}

void SettingsViewController::keyPressEvent(QKeyEvent* event) {
    // Escape (the dialog's cancel key) does not leave the screen: there is no
    // cancel, only Done.
    if (event->matches(QKeySequence::Cancel)) {
        event->accept();
        return;
    }
    QDialog::keyPressEvent(event);
}

void SettingsViewController::closeEvent(QCloseEvent* event) {
    // Closing the window is the same as Done, so nothing typed is lost.
    // (Accepting closes the dialog without a close event of its own.)
    finish();
    event->accept();
}
