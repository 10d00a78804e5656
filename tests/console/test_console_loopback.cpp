// The console on live audio: with a call sign set, "CQ de \C" typed into the
// input field and sent with Return plays through the machine's default output
// device until the transmission ends (the engine is idle once its last sample
// has left the device). Run by console_loopback_test.sh, which
// provides a private sound server and checks what a listening receiver
// decodes; without that server (no PULSE_SERVER) the test is skipped.
#include "console/TarnViewController.h"
#include "settings/SettingsStore.h"

#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTemporaryDir>
#include <QTest>

class TestConsoleLoopback : public QObject {
    Q_OBJECT

private slots:
    void typedCallSignEscapeGoesOnTheAir() {
        if (qEnvironmentVariableIsEmpty("PULSE_SERVER"))
            QSKIP("needs the private sound server of console_loopback_test.sh");
        const QString callsign = qEnvironmentVariable("TARN_TEST_CALLSIGN", "TARN9");

        QTemporaryDir dir;
        SettingsStore store(dir.filePath(QStringLiteral("settings.ini")));
        tarnaudio::AudioHostOptions options;
        options.input = false; // the listener on the monitor does the receiving
        TarnViewController console(options, store);
        store.setCallsign(callsign);
        console.show();
        QVERIFY(QTest::qWaitForWindowExposed(&console));

        // A listening receiver needs a couple of characters to lock on, so the
        // line starts with idle spaces, as operators do.
        QTest::keyClicks(console.textInput(), QStringLiteral("      CQ de \\C"));
        QTest::keyClick(console.textInput(), Qt::Key_Return);
        TarnData& engine = *console.theData();
        QCOMPARE(console.textOutput()->toPlainText(),
                 QStringLiteral("\nSending:       CQ de %1\n").arg(callsign));
        // Still set: the output started and plays the message (about 5 s).
        QVERIFY(engine.isSending());
        QTRY_VERIFY_WITH_TIMEOUT(!engine.isSending(), 30000);
    }
};

QTEST_MAIN(TestConsoleLoopback)
#include "test_console_loopback.moc"
