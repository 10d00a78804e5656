// The settings screen against a real store file: what it shows when it opens,
// what it writes when the operator finishes, the device choosers, the web link
// and the keyboard handling on a phone.
#include "console/TarnViewController.h"
#include "settings/LoggingSettings.h"
#include "settings/SettingsStore.h"
#include "settings/SettingsViewController.h"
#include "tests/console/CapturedOutput.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

const AudioDeviceNames someDevices{{"USB Audio CODEC", "pulse"},
                                   {"USB Audio CODEC", "pulse", "HDMI"}};

} // namespace

class TestSettingsScreen : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    QString storePath() const { return dir.filePath(QStringLiteral("settings.ini")); }

private slots:
    void init() { QFile::remove(storePath()); }

    void opensWithStoredValuesAndRewritesEveryKeyUnchanged() {
        {
            SettingsStore store(storePath());
            store.setCallsign(QStringLiteral("AB1CD"));
            for (int n = 1; n <= 10; ++n) {
                store.setMacroName(n, QStringLiteral("T%1").arg(n));
                store.setMacroText(n, QStringLiteral("text \\C %1\\n").arg(n));
            }
            store.setForceOutputToSpeaker(true);
            store.synchronize();
        }
        SettingsStore store(storePath());
        SettingsViewController screen(store, someDevices, true);
        QSignalSpy accepted(&screen, &QDialog::accepted);

        // What it shows is what it writes back, checked below; an empty
        // device choice shows as the system default.
        QCOMPARE(screen.radioInputDevice()->currentText(),
                 SettingsViewController::systemDefaultDevice);

        screen.finish();
        QCOMPARE(accepted.count(), 1);

        // Read back through a second store on the same file, as after a restart.
        SettingsStore reopened(storePath());
        QCOMPARE(reopened.callsign(), QStringLiteral("AB1CD"));
        // Absent before, now present as the empty text.
        QCOMPARE(reopened.location(), QString());
        for (int n = 1; n <= 10; ++n) {
            QCOMPARE(reopened.macroName(n), QStringLiteral("T%1").arg(n));
            QCOMPARE(reopened.macroText(n), QStringLiteral("text \\C %1\\n").arg(n));
        }
        QVERIFY(reopened.forceOutputToSpeaker());
        QCOMPARE(reopened.radioInputDevice(), QString());
        QCOMPARE(reopened.radioOutputDevice(), QString());
    }

    void deviceChoosersListDevicesAndKeepAnUnpluggedChoice() {
        SettingsStore store(storePath());
        store.setRadioInputDevice(QStringLiteral("Old Interface"));
        store.setRadioOutputDevice(SettingsViewController::systemDefaultDevice);
        SettingsViewController screen(store, someDevices, true);

        QComboBox* input = screen.radioInputDevice();
        QComboBox* output = screen.radioOutputDevice();
        QCOMPARE(input->itemText(0), SettingsViewController::systemDefaultDevice);
        QCOMPARE(input->count(), 4); // default, two devices, the unplugged one
        QVERIFY(input->currentText().startsWith(QStringLiteral("Old Interface")));
        QCOMPARE(output->count(), 4);
        QCOMPARE(output->currentIndex(), 0);

        output->setCurrentText(QStringLiteral("HDMI"));
        screen.finish();
        QCOMPARE(store.radioInputDevice(), QStringLiteral("Old Interface"));
        QCOMPARE(store.radioOutputDevice(), QStringLiteral("HDMI"));
    }

    void loggingStartsOffAndKeepsWhatIsSet() {
        {
            SettingsStore store(storePath());
            SettingsViewController screen(store, someDevices, true);
            LoggingSettings* logging = screen.loggingSettings();
            QVERIFY(logging->logFile()->text().endsWith(QStringLiteral("tarn-psk31/log.adi")));
            QCOMPARE(logging->band()->currentData().toString(), QString());
            QVERIFY(!logging->loggerEnabled()->isChecked());
            QCOMPARE(logging->loggerAddress()->text(), QStringLiteral("127.0.0.1:2237"));
            QVERIFY(!logging->spottingEnabled()->isChecked());
            QCOMPARE(logging->spottingAddress()->text(),
                     QStringLiteral("report.pskreporter.info:4739"));
            logging->logFile()->setText(QStringLiteral("/tmp/station.adi"));
            logging->band()->setCurrentText(QStringLiteral("40m"));
            logging->loggerEnabled()->setChecked(true);
            logging->spottingAddress()->setText(QStringLiteral("localhost:4740"));
            screen.finish();
        }
        const SettingsStore reread(storePath());
        QCOMPARE(reread.logFile(), QStringLiteral("/tmp/station.adi"));
        QCOMPARE(reread.logBand(), QStringLiteral("40m"));
        QVERIFY(reread.loggerEnabled());
        QVERIFY(!reread.spottingEnabled());
        QCOMPARE(reread.spottingAddress(), QStringLiteral("localhost:4740"));
    }

    void escapeDoesNotLeaveAndClosingTheWindowSaves() {
        SettingsStore store(storePath());
        SettingsViewController screen(store, {}, true);
        QSignalSpy accepted(&screen, &QDialog::accepted);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        screen.callsign()->setText(QStringLiteral("K1ABC"));
        QTest::keyClick(&screen, Qt::Key_Escape);
        QVERIFY(screen.isVisible());
        QCOMPARE(accepted.count(), 0);

        screen.close();
        QCOMPARE(accepted.count(), 1);
        QVERIFY(!screen.isVisible());
        QCOMPARE(store.callsign(), QStringLiteral("K1ABC"));
    }

    void phoneKeyboardLiftsALowFieldAndLeavesAHighOne() {
        SettingsStore store(storePath());
        SettingsViewController screen(store, {}, false);
        screen.resize(480, 320);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        QScrollBar* bar = screen.scrollView()->verticalScrollBar();

        // A field near the top: its offset would be negative, nothing scrolls.
        screen.callsign()->setFocus();
        QTRY_COMPARE(screen.activeField(), screen.callsign());
        bar->setValue(0);
        screen.makeRoomForKeyboard(200);
        QTest::qWait(400);
        QCOMPARE(bar->value(), 0);
        screen.removeKeyboardRoom();

        // The last macro text, far down: scrolled to its top less the keyboard.
        QLineEdit* low = screen.macroText(10);
        low->setFocus();
        QTRY_COMPARE(screen.activeField(), low);
        bar->setValue(0);
        const int fieldTop = low->mapTo(screen.scrollView()->widget(), QPoint(0, 0)).y();
        const int expected = fieldTop - 200 + screen.scrollView()->geometry().y();
        QVERIFY(expected > 0);
        screen.makeRoomForKeyboard(200);
        QTRY_COMPARE(bar->value(), expected);

        // The room below goes with the keyboard; the position stays.
        screen.removeKeyboardRoom();
        QCOMPARE(bar->value(), expected);

        screen.closeKeyboard();
        QTRY_VERIFY(screen.activeField() == nullptr);
    }

    void finishingReachesTheConsoleAndTheEngine() {
        CapturedOutput output;
        {
            SettingsStore store(storePath());
            TarnViewController console(std::nullopt, store);
            TarnData& engine = *console.theData();
            engine.setTransmitSink(&output);
            QVERIFY(!engine.forceOutputToSpeaker());

            console.openSettings();
            auto* screen = qobject_cast<SettingsViewController*>(console.settingsDialog.data());
            QVERIFY(screen != nullptr);
            QVERIFY(screen->isVisible() && screen->isModal());
            screen->forceOutputToSpeaker()->setChecked(true);
            screen->macroName(1)->clear();
            screen->macroName(2)->setText(QStringLiteral("Contest"));
            screen->callsign()->setText(QStringLiteral(" w1aw ")); // stored as typed
            QTest::mouseClick(screen->findChild<QPushButton*>(QStringLiteral("finishedButton")),
                              Qt::LeftButton);

            QTRY_VERIFY(console.settingsDialog.isNull());
            QVERIFY(engine.forceOutputToSpeaker());
            QCOMPARE(console.macroButton(1)->text(), QString());
            QCOMPARE(console.macroButton(2)->text(), QStringLiteral("Contest"));

            // The next transmission goes out through the speaker.
            console.textInput()->setText(QStringLiteral("test"));
            console.processTextInput();
            QCOMPARE(output.speakerStarts, 1);
            output.playing.reset();
        }
        // A restart keeps the emptied title empty and the switch on.
        SettingsStore store(storePath());
        TarnViewController console(std::nullopt, store);
        QCOMPARE(console.macroButton(1)->text(), QString());
        QCOMPARE(store.callsign(), QStringLiteral(" w1aw "));
        QVERIFY(console.theData()->forceOutputToSpeaker());
    }
};

QTEST_MAIN(TestSettingsScreen)
#include "test_settings_screen.moc"
