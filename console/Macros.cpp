// Macros and text entry: the ten macro buttons, the two expansion passes over
// backslash escapes, sending the input field, the TX indicator, and the way to
// the settings screen.
//
// Escapes are a backslash and one character, matched case-sensitively. A
// macro button's pass (processMacro) expands only \S (the QSO field) and a
// doubled backslash (to one) and acts on \X (send now); the pass before every send
// (processMacroBeforeOutput) expands \C (call sign), \L (location), \S, \n
// (line feed) and \\. Anything else, and a backslash at the very end, is kept
// as it stands. Because the first pass turns \\ into one backslash, the second
// pass reads that backslash as the start of an escape: "\\n" from a macro
// ends up as a line feed.
//
// Texts reach the engine as UTF-16 code units; the transmitter keeps the low
// 8 bits of each. Characters that pass through appendCharToInputString are cut
// to their low 8 bits and dropped unless ASCII, while the expansions of \C, \L
// and \S go in whole.
#include "console/TarnViewController.h"

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

constexpr char16_t kBackslash = u'\\';

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
    const qsizetype length = macroText.size();
    for (qsizetype i = 0; i < length; ++i) {
        const char16_t c = macroText[i].unicode();
        if (c != kBackslash || i == length - 1) {
            appendCharToInputString(c);
            continue;
        }
        const char16_t escape = macroText[++i].unicode();
        switch (escape) {
        case u'S': {
            const QString qso = qsoInput()->text();
            appendStringToInputString(&qso);
            break;
        }
        case kBackslash:
            appendCharToInputString(kBackslash);
            break;
        case u'X':
            // The rest of the macro is dropped.
            processTextInput();
            return;
        default:
            // \C, \L and \n wait for the pass before sending.
            appendCharToInputString(kBackslash);
            appendCharToInputString(escape);
            break;
        }
    }
}

void TarnViewController::processMacroBeforeOutput() {
    const QString text = textInput()->text();
    textInput()->clear();
    const qsizetype length = text.size();
    for (qsizetype i = 0; i < length; ++i) {
        const char16_t c = text[i].unicode();
        if (c != kBackslash || i == length - 1) {
            appendCharToInputString(c);
            continue;
        }
        const char16_t escape = text[++i].unicode();
        switch (escape) {
        case u'C':
        case u'L': {
            const std::optional<QString> value =
                escape == u'C' ? store.callsign() : store.location();
            appendStringToInputString(value ? &*value : nullptr);
            break;
        }
        case u'S': {
            const QString qso = qsoInput()->text();
            appendStringToInputString(&qso);
            break;
        }
        case u'n':
            appendCharToInputString(u'\n');
            break;
        case kBackslash:
            appendCharToInputString(kBackslash);
            break;
        default:
            appendCharToInputString(kBackslash);
            appendCharToInputString(escape);
            break;
        }
    }
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

    // The echo goes in the way received text does: at the view's insertion
    // point, then scrolled to the end.
    QPlainTextEdit* output = textOutput();
    output->insertPlainText(QStringLiteral("\nSending: ") + text + QLatin1Char('\n'));
    output->verticalScrollBar()->setValue(output->verticalScrollBar()->maximum());
    textInput()->clear();

    // The indicator follows the engine until the message has played out.
    auto* poll = findChild<QTimer*>(QStringLiteral("txIndicatorPoll"));
    if (poll == nullptr) {
        poll = new QTimer(this);
        poll->setObjectName(QStringLiteral("txIndicatorPoll"));
        poll->setInterval(kTxIndicatorPollInterval);
        connect(poll, &QTimer::timeout, this, [this, poll] {
            const bool sending = theData()->isSending.load(std::memory_order_relaxed);
            showTxIndicator(toolbar(), txIndicator(), sending);
            if (!sending)
                poll->stop();
        });
    }
    showTxIndicator(toolbar(), txIndicator(), engine->isSending.load(std::memory_order_relaxed));
    poll->start();
}

bool TarnViewController::textFieldShouldReturn(QLineEdit* textField) {
    if (textField == textInput())
        processTextInput();
    return true;
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
    doSynxTxRx();
}

void TarnViewController::doSynxTxRx() {
    theData()->lockFrequency();
    updateFrequencyDisplay();
    afcOnOff()->setChecked(false);
    theData()->setAutomaticFrequencyControl(afcOnOff()->isChecked());
}

void TarnViewController::segueToConfig() {
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
