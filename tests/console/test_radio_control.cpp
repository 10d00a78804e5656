// The console's radio control against a real rigctld (Hamlib's dummy rig):
// the RF readout (and the band panel) follows the dial, a rig that is not there refuses a send
// without holding up the console, Stop sending cuts the audio from the key
// and the button alike, and the settings screen's Radio section keeps its
// keys.
#include "ConsoleFixture.h"
#include "console/BandPanel.h"
#include "console/RadioControl.h"
#include "rig/PlayoutSink.h"
#include "rig/RigModels.h"
#include "settings/RadioSettings.h"
#include "settings/SettingsViewController.h"
#include "tests/rig/RigctldProcess.h"

#include <QAction>
#include <QComboBox>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSettings>
#include <QSpinBox>
#include <QTest>

namespace {

// An output that takes transmissions and plays them out at once.
class FakeOutput : public tarn::rig::PlayoutSink {
public:
    int startTransmission(std::unique_ptr<tarn::Transmission> t, bool) override {
        playing = std::move(t);
        ++started;
        return 0;
    }
    int startTransmissionAt(std::unique_ptr<tarn::Transmission> t, bool speaker,
                            Clock::time_point) override {
        return startTransmission(std::move(t), speaker);
    }
    void stopTransmission() override {
        playing.reset();
        ++stopped;
    }
    std::optional<Clock::time_point> playedOutAt() const override { return std::nullopt; }
    bool failed() const override { return false; }

    std::unique_ptr<tarn::Transmission> playing;
    int started = 0;
    int stopped = 0;
};

tarn::rig::RigConfig rigAt(const std::string& address, int timeoutMs) {
    tarn::rig::RigConfig config;
    config.model = 2;
    config.port = address;
    config.ptt = tarn::rig::PttMethod::Cat;
    config.timeout = std::chrono::milliseconds(timeoutMs);
    return config;
}

} // namespace

class RadioControlTest : public QObject {
    Q_OBJECT

private slots:
    void rfReadoutFollowsTheDial() {
        if (rigtest::findProgram("rigctld").empty())
            QSKIP("rigctld is not installed");
        rigtest::RigctldProcess rigctld(rigtest::freeLocalPort());
        QVERIFY(rigctld.running());
        // Lower sideband: the RF is below the dial (the upper one is proved
        // on live audio by the console's rig test).
        rigtest::rigctl(rigctld.address(), "M LSB 2400");
        rigtest::rigctl(rigctld.address(), "F 7040000");

        ConsoleFixture fixture;
        QVERIFY(fixture.console->radioControl()->rfReadout()->isHidden());
        fixture.store->setRigConfig(rigAt(rigctld.address(), 1000));
        fixture.console->radioControl()->applySettings();
        QLabel* readout = fixture.console->radioControl()->rfReadout();
        QTRY_COMPARE_WITH_TIMEOUT(readout->text(), QStringLiteral("RF 7038.500 kHz"), 5000);
        QVERIFY(!readout->isHidden());
        // The band panel's rows take the same dial.
        QVERIFY(!fixture.console->findChild<BandPanel*>()->isColumnHidden(BandPanel::rfColumn));
    }

    void absentRigRefusesTheSendAndKeepsTheText() {
        const int timeoutMs = 300;
        ConsoleFixture fixture;
        FakeOutput output;
        RadioControl& radio = *fixture.console->radioControl();
        radio.attachOutput(output);
        fixture.store->setRigConfig(
            rigAt("127.0.0.1:" + std::to_string(rigtest::freeLocalPort()), timeoutMs));
        radio.applySettings();

        fixture.console->textInput()->setText(QStringLiteral("cq cq de n0call"));
        QElapsedTimer clock;
        clock.start();
        fixture.console->processTextInput();
        // Bounded by the rig's timeout (with room for a loaded machine).
        QVERIFY2(clock.elapsed() < timeoutMs + 700, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(fixture.console->textInput()->text(), QStringLiteral("cq cq de n0call"));
        QVERIFY(fixture.console->textOutput()->toPlainText().contains(
            QStringLiteral("Not sent: PTT could not be keyed")));
        QVERIFY(!fixture.console->textOutput()->toPlainText().contains(QStringLiteral("Sending:")));
        QCOMPARE(output.started, 0);
        QVERIFY(!fixture.engine().isSending());
        radio.detachOutput();
    }

    // Without a PTT method the engine sends straight to the output, and both
    // ways of stopping cut it.
    void stopSendingFromKeyAndButton() {
        for (const bool byKey : {true, false}) {
            ConsoleFixture fixture;
            FakeOutput output;
            RadioControl& radio = *fixture.console->radioControl();
            radio.attachOutput(output);
            fixture.console->textInput()->setText(QStringLiteral("test"));
            fixture.console->processTextInput();
            QCOMPARE(output.started, 1);
            QVERIFY(fixture.engine().isSending());
            if (byKey)
                QTest::keyClick(fixture.console->textInput(), Qt::Key_Escape);
            else
                radio.stopSendingAction()->trigger();
            QCOMPARE(output.stopped, 1);
            QVERIFY(!fixture.engine().isSending());
            radio.detachOutput();
        }
    }

    void radioSectionKeepsItsKeys() {
        ConsoleFixture fixture;
        tarn::rig::RigConfig stored = rigAt("127.0.0.1:4532", 700);
        stored.speed = 19200;
        stored.ptt = tarn::rig::PttMethod::Rts;
        stored.pttPort = "/dev/ttyUSB1";
        stored.leadDelay = std::chrono::milliseconds(120);
        stored.tailDelay = std::chrono::milliseconds(80);
        stored.watchdog = std::chrono::seconds(90);
        stored.preambleReversals = 16;
        fixture.store->setRigConfig(stored);
        {
            SettingsViewController screen(*fixture.store, AudioDeviceNames{}, true);
            RadioSettings& radio = *screen.radioSettings();
            std::string maker;
            for (const tarn::rig::RigModel& model : tarn::rig::listRigModels())
                if (model.number == 2)
                    maker = model.maker;
            QCOMPARE(radio.maker()->currentText().toStdString(), maker);
            QCOMPARE(radio.model()->currentData().toInt(), 2);
            QCOMPARE(radio.preamble()->value(), 16);
            QCOMPARE(radio.watchdog()->value(), 90);
            QCOMPARE(tarn::rig::rigSettings(radio.config()), tarn::rig::rigSettings(stored));
            radio.preamble()->setValue(3);
            radio.pttMethod()->setCurrentIndex(
                radio.pttMethod()->findData(QStringLiteral("cm108")));
            radio.pttPort()->setText(QStringLiteral("/dev/hidraw0"));
            screen.finish();
        }
        QSettings file(fixture.store->fileName(), QSettings::IniFormat);
        QCOMPARE(file.value(QStringLiteral("preambleReversals")).toString(), QStringLiteral("3"));
        QCOMPARE(file.value(QStringLiteral("pttMethod")).toString(), QStringLiteral("cm108"));
        QCOMPARE(file.value(QStringLiteral("rigModel")).toString(), QStringLiteral("2"));
        stored.preambleReversals = 3;
        stored.ptt = tarn::rig::PttMethod::Cm108;
        stored.pttPort = "/dev/hidraw0";
        QCOMPARE(tarn::rig::rigSettings(SettingsStore(fixture.store->fileName()).rigConfig()),
                 tarn::rig::rigSettings(stored));
    }

    void testPttKeysTheDummyRig() {
        if (rigtest::findProgram("rigctld").empty())
            QSKIP("rigctld is not installed");
        rigtest::RigctldProcess rigctld(rigtest::freeLocalPort());
        ConsoleFixture fixture;
        fixture.store->setRigConfig(rigAt(rigctld.address(), 1000));
        SettingsViewController screen(*fixture.store, AudioDeviceNames{}, true);
        RadioSettings& radio = *screen.radioSettings();
        radio.testPttButton()->click();
        QVERIFY(!radio.testPttButton()->isEnabled());
        QTRY_VERIFY_WITH_TIMEOUT(radio.testPttButton()->isEnabled(), 6000);
        QCOMPARE(radio.testResult()->text(),
                 QStringLiteral("PTT keyed for one second and released"));
    }
};

QTEST_MAIN(RadioControlTest)
#include "test_radio_control.moc"
