// Macros and typed text through the console: both escape passes, what
// reaches the transmitter, the echo and the TX indicator, a refused send and
// frequency sync. What was sent is read from the engine's rendered block and
// compared sample for sample with another engine's rendering of the expected
// message; the captured output never plays by itself, so a message stays
// "playing" until the test drops it.
#include "console/TarnViewController.h"
#include "settings/SettingsStore.h"
#include "tests/console/CapturedOutput.h"
#include "tests/support/TestSignals.h"

#include <QAction>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTemporaryDir>
#include <QTest>
#include <QToolBar>

#include <memory>
#include <vector>

class TestMacros : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    CapturedOutput output;
    std::unique_ptr<SettingsStore> store;
    std::unique_ptr<TarnViewController> console;

    TarnData& engine() { return *console->theData(); }
    QLineEdit* field() { return console->textInput(); }

    void pressReturn() { QTest::keyClick(field(), Qt::Key_Return); }

    // Checks that the transmission now playing carries exactly `message`.
    void verifySent(const QString& message) {
        QVERIFY2(engine().isSending(), "nothing is being sent");
        // Latin-1: characters above 127 go out as their codes.
        const std::vector<float> expected =
            testsignals::renderMessage(message.toLatin1().toStdString(), engine().frequency());
        QVERIFY(!expected.empty());
        // Played through the output as the render thread would; the message
        // still counts as sending until the call after its last sample.
        QVERIFY(output.playing);
        std::vector<float> sent(expected.size());
        output.playing->render(sent);
        QVERIFY(engine().isSending());
        QVERIFY2(sent == expected, qPrintable(QStringLiteral("not the rendering of \"%1\"")
                                                  .arg(QString(message).replace('\n', "\\n"))));
    }

    // Three seconds of idle `hertz` off the tuning: the AFC starts pulling
    // and holds a correction, which is returned.
    float pullAFC(double hertz) {
        engine().processInputAudioSamples(
            testsignals::messageWithIdle("", engine().frequency() + hertz, 80, 0));
        const float offset = engine().status().frequencyErrorOffset;
        [&] { QVERIFY(offset != 0.0f); }();
        return offset;
    }

    // Lets the output play the message out, as the render thread would.
    void finishPlaying() {
        output.playing.reset();
        QVERIFY(!engine().isSending());
    }

private slots:
    void init() {
        QFile::remove(dir.filePath("settings.ini"));
        store = std::make_unique<SettingsStore>(dir.filePath("settings.ini"));
        console = std::make_unique<TarnViewController>(std::nullopt, *store);
        output = CapturedOutput{};
        console->theData()->setTransmitSink(&output);
        store->setCallsign(QStringLiteral("AB1CD"));
        console->qsoInput()->setText(QStringLiteral("DL2XYZ"));
    }

    void cleanup() {
        console.reset();
        store.reset();
        output.playing.reset();
    }

    void typedTextIsSentEchoedAndASecondSendWaitsForTheFirst() {
        // On the toolbar the TX indicator is shown through the action holding it.
        QAction* txHolder = nullptr;
        for (QAction* action : console->toolbar()->actions())
            if (console->toolbar()->widgetForAction(action) == console->txIndicator())
                txHolder = action;
        QVERIFY(txHolder != nullptr && !txHolder->isVisible());

        QTest::keyClicks(field(), QStringLiteral("CQ de \\C\\n"));
        pressReturn();
        verifySent(QStringLiteral("CQ de AB1CD\n\n"));
        const QString echo = QStringLiteral("\nSending: CQ de AB1CD\n\n");
        QCOMPARE(console->textOutput()->toPlainText(), echo);
        QCOMPARE(field()->text(), QString());
        QTRY_VERIFY(txHolder->isVisible() && console->txIndicator()->isVisibleTo(console.get()));

        // The AFC holds still while sending; whatever correction it holds is
        // folded in before the refused send.
        const float offset = engine().status().frequencyErrorOffset;
        const double tuned = engine().frequency();
        QTest::keyClicks(field(), QStringLiteral("again \\C\\n"));
        pressReturn();
        // Refused: the field holds the expanded text, no echo, the output
        // still plays the first message; the AFC correction was folded into
        // the tuning all the same, as before every send.
        QCOMPARE(field()->text(), QStringLiteral("again AB1CD\n"));
        QCOMPARE(console->textOutput()->toPlainText(), echo);
        QCOMPARE(output.starts, 1);
        QCOMPARE(engine().frequency(), tuned + offset);
        QCOMPARE(console->displayFrequency()->text(), QString::asprintf("%.1f", tuned + offset));

        finishPlaying();
        QTRY_VERIFY(!txHolder->isVisible());
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
        for (int n = 1; n <= 10; ++n) {
            store->setMacroText(n, QStringLiteral("<%1>").arg(n));
            console->macroButton(n)->trigger();
        }
        QCOMPARE(field()->text(), QStringLiteral("<1><2><3><4><5><6><7><8><9><10>"));
    }

    void charactersAbove127() {
        // Typed: dropped. In the call sign: sent whole, as code 233.
        store->setCallsign(QString::fromUtf16(u"F6\u00e9"));
        field()->setText(QString::fromUtf16(u"caf\u00e9 \\C"));
        pressReturn();
        verifySent(QString::fromUtf16(u"caf F6\u00e9\n"));
        QCOMPARE(console->textOutput()->toPlainText(),
                 QString::fromUtf16(u"\nSending: caf F6\u00e9\n"));
    }

    void returnInAnotherFieldSendsNothing() {
        field()->setText(QStringLiteral("not yet"));
        QTest::keyClick(console->qsoInput(), Qt::Key_Return);
        QVERIFY(!engine().isSending());
        QCOMPARE(field()->text(), QStringLiteral("not yet"));
    }

    void syncFoldsTheCorrectionInAndSwitchesAFCOff() {
        QVERIFY(console->afcOnOff()->isChecked() && engine().automaticFrequencyControl());
        const float offset = pullAFC(3.0);
        const double tuned = engine().frequency();
        console->syncTxRx();
        QCOMPARE(engine().frequency(), tuned + offset);
        QCOMPARE(engine().status().frequencyErrorOffset, 0.0f);
        QVERIFY(!engine().automaticFrequencyControl());
        QVERIFY(!console->afcOnOff()->isChecked());
        QCOMPARE(console->displayFrequency()->text(), QString::asprintf("%.1f", tuned + offset));
    }
};

QTEST_MAIN(TestMacros)
#include "test_macros.moc"
