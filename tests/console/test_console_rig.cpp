// The console keying a radio on live audio. The rig is Hamlib's dummy radio
// behind rigctld (TARN_TEST_RIG, "127.0.0.1:PORT", reached as model 2 with
// PTT by CAT): the RF readout follows the dial set with rigctl, and a line
// typed and sent with Return keys PTT for as long as it plays and releases
// it after, read with rigctl as an operator would. Run by
// console_rig_test.sh, which provides the private sound server, the rigctld
// and a listener on the sink that must decode the line; without them the
// test is skipped.
#include "console/RadioControl.h"
#include "console/TarnViewController.h"
#include "settings/SettingsStore.h"
#include "tests/rig/RigctldProcess.h"

#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

class TestConsoleRig : public QObject {
    Q_OBJECT

private slots:
    void typedLineKeysTheRadioWhileItPlays() {
        const std::string rig = qEnvironmentVariable("TARN_TEST_RIG").toStdString();
        if (rig.empty() || qEnvironmentVariableIsEmpty("PULSE_SERVER"))
            QSKIP("needs the sound server and rigctld of console_rig_test.sh");
        const QString callsign = qEnvironmentVariable("TARN_TEST_CALLSIGN", "TARN8");
        rigtest::rigctl(rig, "M USB 2400");

        QTemporaryDir dir;
        SettingsStore store(dir.filePath(QStringLiteral("settings.ini")));
        tarn::rig::RigConfig config;
        config.model = 2;
        config.port = rig;
        config.ptt = tarn::rig::PttMethod::Cat;
        store.setRigConfig(config);
        store.setCallsign(callsign);
        tarnaudio::AudioHostOptions options;
        options.input = false; // the listener on the sink's monitor receives
        TarnViewController console(options, store);
        console.show();
        QVERIFY(QTest::qWaitForWindowExposed(&console));

        // The dial moved on the radio shows within the poll (about 1 s); the
        // carrier is the console's default 1500 Hz, on the upper sideband.
        rigtest::rigctl(rig, "F 14070000");
        QTRY_COMPARE_WITH_TIMEOUT(console.radioControl()->rfReadout()->text(),
                                  QStringLiteral("RF 14071.500 kHz"), 5000);

        QTest::keyClicks(console.textInput(), QStringLiteral("      CQ de \\C"));
        QTest::keyClick(console.textInput(), Qt::Key_Return);
        QCOMPARE(console.textOutput()->toPlainText(),
                 QStringLiteral("\nSending:       CQ de %1\n").arg(callsign));
        TarnData& engine = *console.theData();
        QVERIFY(engine.isSending());
        // The engine is busy from before PTT on until after PTT off. PTT
        // must read on from the first reading (Return has keyed it) until the
        // message has played; only a reading that comes back just as PTT is
        // released may already read off.
        QString readings; // '1' or '0' for each reading taken while busy
        QElapsedTimer clock;
        clock.start();
        while (engine.isSending() && clock.elapsed() < 30000) {
            const bool on = rigtest::rigctl(rig, "t") == "1";
            if (engine.isSending())
                readings += on ? '1' : '0';
            QTest::qWait(100);
        }
        QVERIFY2(!engine.isSending(), "the message (about 5 s) still playing after 30 s");
        // At least ten readings: the whole message, not just its start.
        QVERIFY2(QRegularExpression(QStringLiteral("^1{10,}0?$")).match(readings).hasMatch(),
                 qPrintable(readings));
        QCOMPARE(rigtest::rigctl(rig, "t"), std::string("0"));
    }
};

QTEST_MAIN(TestConsoleRig)
#include "test_console_rig.moc"
