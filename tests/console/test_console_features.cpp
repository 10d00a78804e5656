// The console's operator aids on a live console: the frequency scale, the
// Auto squelch box, the keys, saving the received text, the Display group
// of the settings screen and the first-run questions.
#include "console/AutoSquelchControl.h"
#include "console/ConsoleFeatures.h"
#include "console/ConsoleShortcuts.h"
#include "console/ConsoleWidgets.h"
#include "console/FirstRunDialog.h"
#include "console/FrequencyScale.h"
#include "settings/RadioSettings.h"
#include "tests/console/ConsoleFixture.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QtTest>

class ConsoleFeaturesTest : public QObject {
    Q_OBJECT

    static ConsoleFeatures* features(TarnViewController& console) {
        return console.findChild<ConsoleFeatures*>(QStringLiteral("consoleFeatures"));
    }

private slots:
    void scaleLabelsFollowTheSpan() {
        ConsoleFixture fixture;
        TarnViewController& c = *fixture.console;
        // Not shown: the offscreen platform cannot show the GL view.
        FrequencyScale* scale = features(c)->frequencyScale();
        scale->resize(1000, scale->sizeHint().height());
        QCOMPARE(scale->labels(), QStringList({"1000", "1500", "2000", "2500"}));
        QCOMPARE(scale->tickStep(), 100.0);
        c.zoomPressed(); // waterfall, 1244 .. 1757 Hz drawn
        QCOMPARE(scale->tickStep(), 20.0);
        QCOMPARE(scale->labels().first(), QString("1300"));
        // With the dial known the labels are RF, kHz.
        scale->setDial(14070000.0, tarn::rig::Sideband::Upper);
        QCOMPARE(scale->labels().first(), QString("14071.30"));
    }

    void autoSquelchLeavesTheFixedSquelchAloneUntilTicked() {
        ConsoleFixture fixture;
        TarnViewController& c = *fixture.console;
        AutoSquelchControl* control = features(c)->autoSquelch();
        QVERIFY(!control->checkBox()->isChecked());
        for (int i = 0; i < 150; ++i)
            control->tick();
        QCOMPARE(fixture.engine().backgroundNoiseLevel(), tarn::kTabletSquelch);
        QVERIFY(c.squelch()->isEnabled());

        control->checkBox()->setChecked(true);
        QVERIFY(fixture.store->autoSquelch());
        QVERIFY(!c.squelch()->isEnabled());
        control->tick();
        const float level = *control->squelch().squelchLevel();
        QCOMPARE(fixture.engine().backgroundNoiseLevel(), level);
        QCOMPARE(c.squelchDisplay()->text(), QString::asprintf("%.1f", double(level)));
    }

    void keysTuneAndPressMacros() {
        ConsoleFixture fixture;
        TarnViewController& c = *fixture.console;
        ConsoleShortcuts* keys = features(c)->shortcuts();
        keys->tune(10.0);
        QCOMPARE(fixture.engine().frequency(), 1510.0);
        QVERIFY(!fixture.engine().automaticFrequencyControl());
        keys->tune(-1.0);
        QCOMPARE(fixture.engine().frequency(), 1509.0);
        QCOMPARE(c.macroButton(5)->shortcut(), QKeySequence(Qt::Key_F5));
        c.macroButton(5)->trigger();
        QVERIFY(c.textInput()->text().contains("Signal: 599"));
    }

    void receivedTextIsFoundSavedAndCleared() {
        ConsoleFixture fixture;
        TarnViewController& c = *fixture.console;
        ConsoleShortcuts* keys = features(c)->shortcuts();
        c.textOutput()->setPlainText("cq de dl1abc\nname Ann\n");
        QVERIFY(keys->find("Ann"));
        QCOMPARE(c.textOutput()->textCursor().selectedText(), QString("Ann"));
        QVERIFY(keys->find("cq")); // wraps around to the top
        QVERIFY(!keys->find("nowhere"));
        const QString path = fixture.directory.filePath("rx.txt");
        QVERIFY(keys->saveReceivedText(path));
        QFile saved(path);
        QVERIFY(saved.open(QIODevice::ReadOnly));
        QCOMPARE(saved.readAll(), QByteArray("cq de dl1abc\nname Ann\n"));
        QVERIFY(!keys->saveReceivedText(fixture.directory.filePath("no/such/dir/rx.txt")));
    }

    // The answers land in the settings file, the radio under the same keys
    // the settings screen's Radio section uses; a fresh dialog shows them.
    void firstRunStoresWhoAndTheRadio() {
        ConsoleFixture fixture;
        const QString path = fixture.directory.filePath("settings.ini");
        FirstRunDialog dialog(*fixture.store, AudioDeviceNames{});
        QCOMPARE(dialog.radio()->model()->currentData().toInt(), 0); // none by default
        QCOMPARE(dialog.radio()->pttMethod()->currentData().toString(), QString("none"));
        dialog.callsign()->setText("dl1abc");
        dialog.operatorName()->setText("Ann");
        dialog.locator()->setText("JO62QM");
        QVERIFY(dialog.radio()->maker()->count() > 1); // Hamlib lists makers
        dialog.radio()->maker()->setCurrentIndex(1);
        const int model = dialog.radio()->model()->currentData().toInt();
        QVERIFY(model > 0);
        dialog.radio()->port()->setText("/dev/ttyUSB0");
        dialog.radio()->pttMethod()->setCurrentIndex(
            dialog.radio()->pttMethod()->findData(QString("rts")));
        dialog.accept();

        SettingsStore reread(path);
        QCOMPARE(reread.callsign(), std::optional<QString>("DL1ABC"));
        QCOMPARE(reread.operatorName(), std::optional<QString>("Ann"));
        QCOMPARE(reread.location(), std::optional<QString>("JO62QM"));
        const tarn::rig::RigConfig radio = reread.rigConfig();
        QCOMPARE(radio.model, model);
        QCOMPARE(radio.port, std::string("/dev/ttyUSB0"));
        QCOMPARE(radio.ptt, tarn::rig::PttMethod::Rts);
        QVERIFY(!FirstRunDialog::wanted(reread));

        FirstRunDialog again(reread, AudioDeviceNames{});
        QCOMPARE(again.radio()->model()->currentData().toInt(), model);
        QCOMPARE(again.radio()->port()->text(), QString("/dev/ttyUSB0"));
    }
};

QTEST_MAIN(ConsoleFeaturesTest)
#include "test_console_features.moc"
