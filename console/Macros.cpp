// Macros and text entry: the ten macro buttons, the two expansion passes over
// backslash escapes, sending the input field, the TX indicator, and the way to
// the settings screen.
//
// The escapes and their two passes are MacroExpander's; the console feeds it
// the stored call sign and location and the QSO field, and puts its results
// into the input field.
#include "console/RadioControl.h"
#include "console/TarnViewController.h"

#include "console/MacroExpander.h"
#include "console/QsoLogging.h"

#include "settings/SettingsStore.h"
#include "settings/SettingsViewController.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTimer>
#include <QToolBar>

#include <optional>
#include <string_view>

namespace {

// How often the TX indicator looks at the engine while a message plays (ms).
constexpr int kTxIndicatorPollInterval = 100;

// Shows or hides the TX indicator. On a toolbar a widget is shown and hidden
// through the toolbar's action that holds it.
void showTxIndicator(QToolBar* toolbar, QLabel* indicator, bool shown) {
    if (indicator == nullptr)
        return;
    for (QAction* action : toolbar->actions()) {
        if (toolbar->widgetForAction(action) == indicator) {
            action->setVisible(shown);
            indicator->setVisible(shown);
            return;
        }
    }
    indicator->setVisible(shown);
}

// Macro button n (1..10): its text ("b1Text".."b10Text"), read from the store
// at the moment of the press, goes through the first pass.
void pressMacroButton(TarnViewController& console, int n) {
    console.processMacro(console.settingsStore().macroText(n).value_or(QString()));
}

std::u16string_view utf16View(const QString& text) {
    return {reinterpret_cast<const char16_t*>(text.utf16()), static_cast<size_t>(text.size())};
}

} // namespace

void TarnViewController::m1ButtonPressed() {
    pressMacroButton(*this, 1);
}
void TarnViewController::m2ButtonPressed() {
    pressMacroButton(*this, 2);
}
void TarnViewController::m3ButtonPressed() {
    pressMacroButton(*this, 3);
}
void TarnViewController::m4ButtonPressed() {
    pressMacroButton(*this, 4);
}
void TarnViewController::m5ButtonPressed() {
    pressMacroButton(*this, 5);
}
void TarnViewController::m6ButtonPressed() {
    pressMacroButton(*this, 6);
}
void TarnViewController::m7ButtonPressed() {
    pressMacroButton(*this, 7);
}
void TarnViewController::m8ButtonPressed() {
    pressMacroButton(*this, 8);
}
void TarnViewController::m9ButtonPressed() {
    pressMacroButton(*this, 9);
}
void TarnViewController::m10ButtonPressed() {
    pressMacroButton(*this, 10);
}

void TarnViewController::processMacro(const QString& macroText) {
    const MacroExpander::ButtonResult added = macroExpander().expandForButton(utf16View(macroText));
    const QString text = QString::fromStdU16String(added.text);
    appendStringToInputString(&text);
    if (added.sendNow)
        processTextInput(); // the rest of the macro is dropped
}

void TarnViewController::processMacroBeforeOutput() {
    const QString text = textInput()->text();
    textInput()->setText(
        QString::fromStdU16String(macroExpander().expandForSending(utf16View(text))));
}

MacroExpander TarnViewController::macroExpander() {
    const auto stored = [](const std::optional<QString>& value) {
        return value ? std::optional<std::u16string>(value->toStdU16String()) : std::nullopt;
    };
    return MacroExpander(
        {stored(store.callsign()), stored(store.location()), qsoInput()->text().toStdU16String()});
}

void TarnViewController::processTextInput() {
    processMacroBeforeOutput();
    const QString text = textInput()->text();
    const QString message = text + QLatin1Char('\n');

    // Transmit where we receive: fold the AFC correction into the tuning,
    // also when the send is refused.
    TarnData* engine = theData();
    engine->lockFrequency();
    updateFrequencyDisplay();

    if (!engine->sendString(utf16View(message))) {
        // A message is still playing; the expanded text stays for a later
        // Return.
        return;
    }
    QPlainTextEdit* output = textOutput();
    if (const QString refusal = radio->takeRefusal(); !refusal.isEmpty()) {
        // PTT could not be keyed: nothing went out, the text stays.
        output->appendPlainText(tr("Not sent: %1").arg(refusal));
        return;
    }

    // The echo goes in the way received text does: at the view's insertion
    // point, then scrolled to the end.
    output->insertPlainText(QStringLiteral("\nSending: ") + text + QLatin1Char('\n'));
    output->verticalScrollBar()->setValue(output->verticalScrollBar()->maximum());
    textInput()->clear();
    logging->transmissionStarted();

    // The indicator follows the engine until the message has played out.
    auto* poll = findChild<QTimer*>(QStringLiteral("txIndicatorPoll"));
    if (poll == nullptr) {
        poll = new QTimer(this);
        poll->setObjectName(QStringLiteral("txIndicatorPoll"));
        poll->setInterval(kTxIndicatorPollInterval);
        connect(poll, &QTimer::timeout, this, [this, poll] {
            const bool sending = theData()->isSending();
            showTxIndicator(toolbar(), txIndicator(), sending);
            if (!sending)
                poll->stop();
        });
    }
    showTxIndicator(toolbar(), txIndicator(), engine->isSending());
    poll->start();
}

void TarnViewController::appendStringToInputString(const QString* string) {
    if (string == nullptr)
        return;
    QLineEdit* field = textInput();
    field->setText(field->text() + *string);
}

void TarnViewController::appendCharToInputString(uint32_t characterCode) {
    const uint32_t low = characterCode & 0xffu;
    if (low > 127)
        return; // not ASCII: no character to append
    const QString character(QChar(static_cast<char16_t>(low)));
    appendStringToInputString(&character);
}

void TarnViewController::syncTxRx() {
    doSyncTxRx();
}

void TarnViewController::doSyncTxRx() {
    theData()->lockFrequency();
    updateFrequencyDisplay();
    afcOnOff()->setChecked(false);
    theData()->setAutomaticFrequencyControl(afcOnOff()->isChecked());
}

void TarnViewController::openSettings() {
    if (settingsDialog) {
        settingsDialog->raise();
        settingsDialog->activateWindow();
        return;
    }
    auto* screen =
        new SettingsViewController(store, audioDevices ? audioDevices() : AudioDeviceNames{},
                                   deviceFormFactor == FormFactor::tablet, this);
    screen->setAttribute(Qt::WA_DeleteOnClose);
    connect(screen, &QDialog::accepted, this, &TarnViewController::settingsFinished);
    settingsDialog = screen;
    screen->open();
}
