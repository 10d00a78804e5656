// Macros and typed text through the console: both escape passes, what
// reaches the transmitter, the echo, a refused send, frequency sync and the TX
// indicator. What was sent is read from the engine's rendered block and
// compared sample for sample with the engine's own rendering of the expected
// message; the fake platform's output never plays by itself, so a message
// stays "playing" until the test pulls it through the render callback.
#include "FakeAudioPlatform.h"
#include "SettingsStore.h"
#include "TarnViewController.h"

#include <QAction>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTemporaryDir>
#include <QTest>
#include <QToolBar>

#include <memory>
#include <string>
#include <vector>

namespace {

std::vector<float> renderedBlock(const TarnData& engine) {
    const float* block = engine.renderedAudio.load();
    if (block == nullptr)
        return {};
    return {block, block + engine.renderedAudioSize.load()};
}

// The engine's rendering of `message` at `frequency` Hz, made by an engine of
// its own.
std::vector<float> referenceRendering(const std::u16string& message, double frequency) {
    NullAudioPlatform platform;
    std::unique_ptr<TarnData> engine = TarnData::create(platform);
    engine->setFrequency(frequency);
    engine->renderString(message);
    return renderedBlock(*engine);
}

std::u16string utf16(const QString& text) {
    return {reinterpret_cast<const char16_t*>(text.utf16()), static_cast<size_t>(text.size())};
}

} // namespace

class TestMacros : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    std::unique_ptr<FakeAudioPlatform> platform;
    std::unique_ptr<SettingsStore> store;
    std::unique_ptr<TarnViewController> console;

    TarnData& engine() { return *console->theData(); }
    QLineEdit* field() { return console->textInput(); }

    void pressReturn() { QTest::keyClick(field(), Qt::Key_Return); }

    // Checks that the transmission now playing carries exactly `message`.
    void verifySent(const QString& message) {
        QVERIFY2(engine().isSending.load(), "nothing is being sent");
        const std::vector<float> sent = renderedBlock(engine());
        const std::vector<float> expected =
            referenceRendering(utf16(message), engine().frequency());
        QVERIFY(!expected.empty());
        QVERIFY2(sent == expected, qPrintable(QStringLiteral("not the rendering of \"%1\"")
                                                  .arg(QString(message).replace('\n', "\\n"))));
    }

    // Lets the output play the message out, as the render thread would.
    void finishPlaying() {
        std::vector<float> channel0(512), channel1(512);
        for (int calls = 0; engine().isSending.load() && calls < 100000; ++calls)
            platform->renderCallback(platform->context, 512, channel0.data(), channel1.data());
        QVERIFY(!engine().isSending.load());
    }

private slots:
    void init() {
        QFile::remove(dir.filePath("settings.ini"));
        platform = std::make_unique<FakeAudioPlatform>();
        store = std::make_unique<SettingsStore>(dir.filePath("settings.ini"));
        console = std::make_unique<TarnViewController>(*platform, *store);
        store->setObject(QStringLiteral("AB1CD"), QStringLiteral("callsign"));
        console->qsoInput()->setText(QStringLiteral("DL2XYZ"));
    }

    void cleanup() {
        console.reset();
        store.reset();
        platform.reset();
    }

    // The macro button's pass: only \S and \\ are expanded, \X aside.
    void firstPass_data() {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("macro");
        QTest::addColumn<QString>("after");
        QTest::newRow("later escapes kept") << ""
                                            << "\\C \\L \\n"
                                            << "\\C \\L \\n";
        QTest::newRow("QSO field") << ""
                                   << "op \\S"
                                   << "op DL2XYZ";
        QTest::newRow("double backslash") << ""
                                          << "a\\\\b"
                                          << "a\\b";
        QTest::newRow("unknown escapes kept") << ""
                                              << "\\q\\c\\x"
                                              << "\\q\\c\\x";
        QTest::newRow("trailing backslash") << ""
                                            << "end\\"
                                            << "end\\";
        QTest::newRow("backslash-backslash-n") << ""
                                               << "\\\\n"
                                               << "\\n";
        QTest::newRow("low 8 bits, ASCII only")
            << "" << QString::fromUtf16(u"caf\u00e9 \u0141!") << "caf A!";
    }
    void firstPass() {
        QFETCH(QString, before);
        QFETCH(QString, macro);
        QFETCH(QString, after);
        field()->setText(before);
        console->processMacro(macro);
        QCOMPARE(field()->text(), after);
        QVERIFY(!engine().isSending.load());
    }

    // The pass before every send, applied to the field in place.
    void secondPass_data() {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("expanded");
        QTest::newRow("call sign") << "de \\C"
                                   << "de AB1CD";
        QTest::newRow("location never set") << "QTH \\L."
                                            << "QTH .";
        QTest::newRow("QSO field") << "\\S de \\C"
                                   << "DL2XYZ de AB1CD";
        QTest::newRow("line feed") << "a\\nb"
                                   << "a\nb";
        QTest::newRow("double backslash") << "a\\\\b"
                                          << "a\\b";
        QTest::newRow("X is not an escape here") << "\\X"
                                                 << "\\X";
        QTest::newRow("unknown escapes kept") << "\\q\\c"
                                              << "\\q\\c";
        QTest::newRow("trailing backslash") << "end\\"
                                            << "end\\";
        QTest::newRow("low 8 bits, ASCII only")
            << QString::fromUtf16(u"caf\u00e9 \u0141") << "caf A";
    }
    void secondPass() {
        QFETCH(QString, typed);
        QFETCH(QString, expanded);
        field()->setText(typed);
        console->processMacroBeforeOutput();
        QCOMPARE(field()->text(), expanded);
    }

    void typedTextIsExpandedSentEchoedAndCleared() {
        // The AFC correction is folded into the tuning before the send.
        engine().setFrequencyErrorOffset(2.5f);
        const double tuned = engine().frequency();
        QTest::keyClicks(field(), QStringLiteral("CQ de \\C\\n"));
        pressReturn();

        QCOMPARE(engine().frequency(), tuned + 2.5);
        QCOMPARE(engine().frequencyErrorOffset.load(), 0.0f);
        QCOMPARE(console->displayFrequency()->text(), QString::asprintf("%.1f", tuned + 2.5));
        verifySent(QStringLiteral("CQ de AB1CD\n\n"));
        QCOMPARE(console->textOutput()->toPlainText(),
                 QStringLiteral("\nSending: CQ de AB1CD\n\n"));
        QCOMPARE(field()->text(), QString());
        QVERIFY(field()->isEnabled() && !field()->isReadOnly());
    }

    void aSendWhileOneIsPlayingIsRefusedAndKeepsTheText() {
        QTest::keyClicks(field(), QStringLiteral("first"));
        pressReturn();
        verifySent(QStringLiteral("first\n"));
        const float* firstBlock = engine().renderedAudio.load();
        const QString echo = console->textOutput()->toPlainText();

        engine().setFrequencyErrorOffset(-1.0f);
        const double tuned = engine().frequency();
        QTest::keyClicks(field(), QStringLiteral("again \\C\\n"));
        pressReturn();
        // Refused: the field holds the expanded text, no echo, the block is
        // still the first message; the frequency was synced all the same.
        QCOMPARE(field()->text(), QStringLiteral("again AB1CD\n"));
        QCOMPARE(console->textOutput()->toPlainText(), echo);
        QCOMPARE(engine().renderedAudio.load(), firstBlock);
        QCOMPARE(engine().frequency(), tuned - 1.0);

        finishPlaying();
        pressReturn();
        verifySent(QStringLiteral("again AB1CD\n\n"));
        QCOMPARE(field()->text(), QString());
        QCOMPARE(console->textOutput()->toPlainText(),
                 echo + QStringLiteral("\nSending: again AB1CD\n\n"));
    }

    void defaultCQMacroFollowsTypedText() {
        QTest::keyClicks(field(), QStringLiteral("hello"));
        console->m1ButtonPressed();
        const QString cq = QStringLiteral("CQ CQ CQ de AB1CD AB1CD");
        verifySent(QStringLiteral("hello\n") + cq + "\n" + cq + "\n" + cq + " pse K\n\n");
        QCOMPARE(field()->text(), QString());
    }

    void macroButtonsReadTheirOwnTextWhenPressed() {
        const std::vector<void (TarnViewController::*)()> buttons = {
            &TarnViewController::m1ButtonPressed, &TarnViewController::m2ButtonPressed,
            &TarnViewController::m3ButtonPressed, &TarnViewController::m4ButtonPressed,
            &TarnViewController::m5ButtonPressed, &TarnViewController::m6ButtonPressed,
            &TarnViewController::m7ButtonPressed, &TarnViewController::m8ButtonPressed,
            &TarnViewController::m9ButtonPressed, &TarnViewController::m10ButtonPressed};
        for (int n = 1; n <= 10; ++n)
            store->setObject(QStringLiteral("<%1>").arg(n), QStringLiteral("b%1Text").arg(n));
        for (int n = 1; n <= 10; ++n)
            (console.get()->*buttons[static_cast<size_t>(n - 1)])();
        QCOMPARE(field()->text(), QStringLiteral("<1><2><3><4><5><6><7><8><9><10>"));
    }

    void sendEscapeSendsAtOnceAndDropsTheRest() {
        field()->setText(QStringLiteral("pre "));
        console->processMacro(QStringLiteral("abc\\Xdef"));
        verifySent(QStringLiteral("pre abc\n"));
        QCOMPARE(field()->text(), QString());
    }

    void doubledBackslashBeforeNBecomesALineFeedOnTheAir() {
        console->processMacro(QStringLiteral("x\\\\ny"));
        QCOMPARE(field()->text(), QStringLiteral("x\\ny"));
        pressReturn();
        verifySent(QStringLiteral("x\ny\n"));
    }

    void charactersAbove127() {
        // Typed: dropped. In the call sign: sent whole, as code 233.
        store->setObject(QString::fromUtf16(u"F6\u00e9"), QStringLiteral("callsign"));
        field()->setText(QString::fromUtf16(u"caf\u00e9 \\C"));
        pressReturn();
        verifySent(QString::fromUtf16(u"caf F6\u00e9\n"));
        QCOMPARE(console->textOutput()->toPlainText(),
                 QString::fromUtf16(u"\nSending: caf F6\u00e9\n"));
    }

    void returnInAnotherFieldSendsNothing() {
        field()->setText(QStringLiteral("not yet"));
        QTest::keyClick(console->qsoInput(), Qt::Key_Return);
        QVERIFY(console->textFieldShouldReturn(console->qsoInput()));
        QVERIFY(!engine().isSending.load());
        QCOMPARE(field()->text(), QStringLiteral("not yet"));
        QVERIFY(console->textFieldShouldReturn(field()));
        verifySent(QStringLiteral("not yet\n"));
    }

    void syncFoldsTheCorrectionInAndSwitchesAFCOff() {
        engine().setAutomaticFrequencyControl(true);
        console->updateafcDisplay();
        QVERIFY(console->afcOnOff()->isChecked());
        engine().setFrequencyErrorOffset(3.0f);
        const double tuned = engine().frequency();
        console->syncTxRx();
        QCOMPARE(engine().frequency(), tuned + 3.0);
        QCOMPARE(engine().frequencyErrorOffset.load(), 0.0f);
        QVERIFY(!engine().automaticFrequencyControl());
        QVERIFY(!console->afcOnOff()->isChecked());
        QCOMPARE(console->displayFrequency()->text(), QString::asprintf("%.1f", tuned + 3.0));
    }

    void txIndicatorFollowsTheTransmission() {
        // On the toolbar the indicator is shown through the action holding it.
        QLabel* tx = console->txIndicator();
        QAction* holder = nullptr;
        for (QAction* action : console->toolbar()->actions())
            if (console->toolbar()->widgetForAction(action) == tx)
                holder = action;
        QVERIFY(holder != nullptr);
        QVERIFY(!holder->isVisible());
        field()->setText(QStringLiteral("tx"));
        pressReturn();
        QTRY_VERIFY(holder->isVisible() && tx->isVisibleTo(console.get()));
        // Typing goes on while the message plays.
        QTest::keyClicks(field(), QStringLiteral("next"));
        QCOMPARE(field()->text(), QStringLiteral("next"));
        finishPlaying();
        QTRY_VERIFY(!holder->isVisible());
    }
};

QTEST_MAIN(TestMacros)
#include "test_macros.moc"
