#include "settings/SettingsViewController.h"

#include "settings/SettingsDelegate.h"
#include "settings/SettingsStore.h"
#include "ui_SettingsViewController.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QInputMethod>
#include <QLineEdit>
#include <QPropertyAnimation>
#include <QScrollArea>
#include <QScrollBar>
#include <QUrl>

const QString SettingsViewController::systemDefaultDevice = QStringLiteral("System default");

namespace {

// The project's home page, opened by the web-link button.
const char* const homePage = "https://tarn-psk31.example.org/";

QString nameKey(int n) {
    return QStringLiteral("b%1Name").arg(n);
}
QString textKey(int n) {
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
    connect(ui->finishedButton, &QPushButton::clicked, this,
            &SettingsViewController::finishedPressed);
    connect(ui->weblinkButton, &QPushButton::clicked, this,
            &SettingsViewController::weblinkPressed);
    viewDidLoad(devices);
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
    return findChild<QLineEdit*>(nameKey(n));
}

QLineEdit* SettingsViewController::macroText(int n) const {
    return findChild<QLineEdit*>(textKey(n));
}

void SettingsViewController::viewDidLoad(const AudioDeviceNames& devices) {
    // An absent value (as "location" is until the first save) leaves the
    // field empty.
    ui->callsign->setText(store.stringForKey(QStringLiteral("callsign")).value_or(QString()));
    ui->location->setText(store.stringForKey(QStringLiteral("location")).value_or(QString()));
    for (int n = 1; n <= kMacroCount; ++n) {
        macroName(n)->setText(store.stringForKey(nameKey(n)).value_or(QString()));
        macroText(n)->setText(store.stringForKey(textKey(n)).value_or(QString()));
    }
    ui->forceOutputToSpeaker->setChecked(store.boolForKey(QStringLiteral("forceOutputToSpeaker")));
    fillDeviceChooser(ui->radioInputDevice, devices.inputs, QStringLiteral("radioInputDevice"));
    fillDeviceChooser(ui->radioOutputDevice, devices.outputs, QStringLiteral("radioOutputDevice"));
    registerForKeyboardNotifications();
}

void SettingsViewController::fillDeviceChooser(QComboBox* chooser, const QStringList& names,
                                               const QString& key) {
    chooser->addItem(systemDefaultDevice, QString());
    for (const QString& name : names)
        chooser->addItem(name, name);
    QString stored = store.stringForKey(key).value_or(QString());
    if (stored == systemDefaultDevice)
        stored.clear();
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

void SettingsViewController::finishedPressed() {
    store.setObject(ui->callsign->text(), QStringLiteral("callsign"));
    store.setObject(ui->location->text(), QStringLiteral("location"));
    for (int n = 1; n <= kMacroCount; ++n)
        store.setObject(macroName(n)->text(), nameKey(n));
    for (int n = 1; n <= kMacroCount; ++n)
        store.setObject(macroText(n)->text(), textKey(n));
    store.setBool(ui->forceOutputToSpeaker->isChecked(), QStringLiteral("forceOutputToSpeaker"));
    store.setObject(chosenDevice(ui->radioInputDevice), QStringLiteral("radioInputDevice"));
    store.setObject(chosenDevice(ui->radioOutputDevice), QStringLiteral("radioOutputDevice"));
    store.synchronize();
    if (_delegate != nullptr) {
        finishing = true;
        _delegate->settingsFinished();
        finishing = false;
    }
}

void SettingsViewController::weblinkPressed() {
    QDesktopServices::openUrl(QUrl(QString::fromLatin1(homePage)));
}

void SettingsViewController::closeKeyboard() {
    if (_activeField != nullptr)
        _activeField->clearFocus();
}

void SettingsViewController::textFieldDidBeginEditing(QLineEdit* field) {
    _activeField = field;
    ui->scrollView->ensureWidgetVisible(field);
}

void SettingsViewController::textFieldDidEndEditing(QLineEdit* field) {
    if (_activeField == field)
        _activeField = nullptr;
}

bool SettingsViewController::eventFilter(QObject* watched, QEvent* event) {
    if (auto* field = qobject_cast<QLineEdit*>(watched)) {
        if (event->type() == QEvent::FocusIn)
            textFieldDidBeginEditing(field);
        else if (event->type() == QEvent::FocusOut)
            textFieldDidEndEditing(field);
    }
    return QDialog::eventFilter(watched, event);
}

void SettingsViewController::registerForKeyboardNotifications() {
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
            keyboardWasShown(height);
    } else if (keyboardInset != 0) {
        keyboardWillBeHidden();
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

void SettingsViewController::keyboardWasShown(int keyboardHeight) {
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

void SettingsViewController::keyboardWillBeHidden() {
    setKeyboardInset(0);
}

void SettingsViewController::reject() {
    // Escape does not leave the screen: there is no cancel, only Done.
}

void SettingsViewController::closeEvent(QCloseEvent* event) {
    // Closing the window is the same as Done, so nothing typed is lost; the
    // delegate's own close while it handles Done just closes.
    if (!finishing) {
        finishedPressed();
        if (_delegate != nullptr && isVisible()) {
            // The delegate has closed the screen already or chose to keep it.
            event->ignore();
            return;
        }
    }
    event->accept();
}
