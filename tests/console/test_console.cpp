// The console without drawing: refresh tick, tuning controls, display
// switches, lifecycle and settings defaults.
#include "ConsoleFixture.h"
#include "ConsoleWidgets.h"
#include "SpectrumView.h"
#include "TarnLog.h"

#include <QCheckBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTimer>
#include <QToolBar>
#include <QtTest>

namespace {

void receive(TarnData& engine, const std::string& text) {
    for (const char character : text)
        engine.insertReceivedChar(character);
}

int activeTimers(const TarnViewController& console) {
    int count = 0;
    for (const QTimer* timer : console.findChildren<QTimer*>())
        count += timer->isActive() && timer->interval() == 200 ? 1 : 0;
    return count;
}

} // namespace

class ConsoleTest : public QObject {
    Q_OBJECT

    std::unique_ptr<ConsoleFixture> fixture;
    TarnViewController& console() { return *fixture->console; }
    TarnData& engine() { return fixture->engine(); }

private slots:
    void init() {
        fixture = std::make_unique<ConsoleFixture>();
        console().spectrumDisplay()->resize(800, 200);
    }
    void cleanup() { fixture.reset(); }

    void firstLaunchState() {
        QCOMPARE(console().displayMode, 0);
        QVERIFY(!console().displayZoomed);
        QVERIFY(!console().inBackground);
        QCOMPARE(engine().frequency(), 1500.0);
        QVERIFY(console().afcOnOff()->isChecked());
        QCOMPARE(console().displayFrequency()->text(), QString("1500.0"));
        QCOMPARE(console().squelch()->minimumLevel(), -25.0f);
        QCOMPARE(console().squelch()->maximumLevel(), 5.0f);
        QCOMPARE(console().squelch()->level(), -20.0f);
        QCOMPARE(console().squelchDisplay()->text(), QString("-20.0"));
        QVERIFY(console().updateDisplayTimer && console().updateDisplayTimer->isActive());
        QCOMPARE(console().updateDisplayTimer->interval(), 200);
        QCOMPARE(console().macroButton(3)->text(), QString("CQ TEST"));
        QCOMPARE(console().macroButton(10)->text(), QString("M3"));
        QCOMPARE(console().textOutput()->property("cornerRadius").toDouble(), 6.0);
    }

    void phoneSquelchBelowTheSliderRange() {
        fixture = std::make_unique<ConsoleFixture>(FormFactor::phone);
        // The engine's -30 shows the slider at its minimum, the label at -30.
        QCOMPARE(console().squelch()->level(), -25.0f);
        QCOMPARE(console().squelchDisplay()->text(), QString("-30.0"));
        QCOMPARE(engine().backgroundNoiseLevel.load(), -30.0f);
        QVERIFY(!console().textOutput()->property("cornerRadius").isValid());
        // Moving it hands the level on unscaled.
        console().squelch()->setValue(-125);
        QCOMPARE(engine().backgroundNoiseLevel.load(), -12.5f);
        QCOMPARE(console().squelchDisplay()->text(), QString("-12.5"));
    }

    void tickRefreshesLabels() {
        engine().frequencyErrorOffset.store(-1.23456f);
        engine().signalAtFrequency.store(-3.25f);
        engine()._frequency.store(1234.56);
        engine()._automaticFrequencyControl.store(false);
        engine().backgroundNoiseLevel.store(-7.0f);
        console().updateDisplay();
        QCOMPARE(console().displayAFCOffset()->text(), QString("-1.235"));
        QCOMPARE(console().signalAtFrequency()->text(), QString("-3.2"));
        QCOMPARE(console().displayFrequency()->text(), QString("1234.6"));
        QVERIFY(!console().afcOnOff()->isChecked());
        QCOMPARE(console().squelchDisplay()->text(), QString("-20.0")); // not the tick's
    }

    void tickAppendsReceivedText() {
        QPlainTextEdit* view = console().textOutput();
        console().updateDisplay();
        QCOMPARE(view->toPlainText(), QString());

        receive(engine(), "CQ de AB1CD\r\n");
        console().updateDisplay();
        QCOMPARE(view->toPlainText(), QString("CQ de AB1CD\n"));
        // A CR ending one chunk and the LF starting the next are one break.
        receive(engine(), "pse K\r");
        console().updateDisplay();
        receive(engine(), "\nok");
        console().updateDisplay();
        QCOMPARE(view->toPlainText(), QString("CQ de AB1CD\npse K\nok"));

        // New text goes in at the insertion point.
        QTextCursor cursor = view->textCursor();
        cursor.setPosition(0);
        view->setTextCursor(cursor);
        receive(engine(), ">>");
        console().updateDisplay();
        QVERIFY(view->toPlainText().startsWith(">>CQ"));
    }

    void tickTrimsTheOldestText() {
        QPlainTextEdit* view = console().textOutput();
        QString text;
        for (int i = 0; i < 2049; ++i)
            text.append(QChar('a' + i % 26));
        view->setPlainText(text);
        view->moveCursor(QTextCursor::End);
        receive(engine(), "XY");
        console().updateDisplay();
        QCOMPARE(view->toPlainText(), text.mid(1024) + "XY");

        // At 2048 nothing is dropped.
        view->setPlainText(text.left(2048));
        view->moveCursor(QTextCursor::End);
        receive(engine(), "Z");
        console().updateDisplay();
        QCOMPARE(view->toPlainText().size(), 2049);
    }

    void tapToTuneSpans() {
        struct Case {
            const char* name;
            int mode;
            bool zoomed;
            float x;
            double expected;
        };
        const Case cases[] = {
            {"left edge", 0, false, 0.0f, 500.0},
            {"right edge", 0, false, 800.0f, 2500.0},
            {"middle", 0, false, 400.0f, 1500.0},
            {"spectrum unzoomed", 1, false, 200.0f, 1000.0},
            {"spectrum zoomed", 1, true, 200.0f, 1468.0},
            {"waterfall zoomed", 0, true, 200.0f, 1372.0},
            {"other mode zoomed", 7, true, 200.0f, 1000.0},
        };
        for (const Case& c : cases) {
            engine().setFrequency(1500.0);
            console().displayMode = c.mode;
            console().displayZoomed = c.zoomed;
            console().afcOnOff()->setChecked(false);
            engine().setAutomaticFrequencyControl(false);
            console().tapToTune(c.x);
            QVERIFY2(engine().frequency() == c.expected, c.name);
            QVERIFY2(engine().automaticFrequencyControl(), c.name);
            QVERIFY2(console().afcOnOff()->isChecked(), c.name);
            QCOMPARE(console().displayFrequency()->text(), QString::asprintf("%.1f", c.expected));
        }
    }

    void clicksTuneOnlyOnTheDisplay() {
        QTest::mouseClick(console().spectrumDisplay(), Qt::LeftButton, {}, QPoint(200, 50));
        QCOMPARE(engine().frequency(), 1000.0);
        QTest::mouseClick(console().textOutput()->viewport(), Qt::LeftButton, {}, QPoint(600, 20));
        QCOMPARE(engine().frequency(), 1000.0);
    }

    void fineTuning() {
        MomentarySegmentedControl* steps = console().frequencyAdjust();
        QCOMPARE(steps->numberOfSegments(), 4);
        steps->pressSegment(3);
        steps->pressSegment(3); // a repeated press steps again
        QCOMPARE(engine().frequency(), 1502.0);
        QVERIFY(!engine().automaticFrequencyControl());
        QVERIFY(!console().afcOnOff()->isChecked());
        QCOMPARE(steps->selectedSegmentIndex(), -1);
        steps->pressSegment(0);
        QCOMPARE(console().displayFrequency()->text(), QString("1501.0"));

        // No segment: AFC off, frequency unchanged.
        engine().setAutomaticFrequencyControl(true);
        console().frequencyAdjustChanged();
        QVERIFY(!engine().automaticFrequencyControl());
        QCOMPARE(engine().frequency(), 1501.0);

        engine().setFrequency(2500.0);
        steps->pressSegment(3);
        QCOMPARE(engine().frequency(), 2500.0);
        QVERIFY(!console().afcOnOff()->isChecked());
    }

    void afcSwitchDrivesTheEngine() {
        console().afcOnOff()->click();
        QVERIFY(!engine().automaticFrequencyControl());
        console().afcOnOff()->click();
        QVERIFY(engine().automaticFrequencyControl());
        QVERIFY(console().afcOnOff()->isChecked());
    }

    void displayModeAndZoom() {
        console().switchViews();
        QCOMPARE(console().displayMode, 1);
        console().switchViews();
        QCOMPARE(console().displayMode, 0);
        console().displayMode = 5;
        console().switchViews();
        QCOMPARE(console().displayMode, 5);
        console().zoomPressed();
        QVERIFY(console().displayZoomed);
        console().zoomPressed();
        QVERIFY(!console().displayZoomed);
        QCOMPARE(engine().frequency(), 1500.0);
    }

    void backgroundAndForeground() {
        TarnViewController& c = console();
        c.enteredForground(); // the activation after launch: a second timer
        QCOMPARE(activeTimers(c), 2);
        c.enteredBackground();
        QVERIFY(c.inBackground);
        QVERIFY(c.updateDisplayTimer.isNull());
        QVERIFY(c.spectrumDisplay() == nullptr);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        // The timer not held keeps running; text is still drained.
        QCOMPARE(activeTimers(c), 1);
        receive(engine(), "bg");
        c.updateDisplay();
        QCOMPARE(c.textOutput()->toPlainText(), QString("bg"));

        c.enteredForground();
        QVERIFY(!c.inBackground);
        QVERIFY(c.spectrumDisplay() != nullptr);
        QCOMPARE(activeTimers(c), 2);
    }

    void settingsDefaultsOnFirstLaunch() {
        // As the next launch reads them back from the file.
        SettingsStore store(fixture->store->fileName());
        QCOMPARE(store.stringForKey("callsign"), std::optional<QString>("Please Edit"));
        QVERIFY(!store.boolForKey("forceOutputToSpeaker"));
        QFile file(store.fileName());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(file.readAll().contains("forceOutputToSpeaker=false"));
        QVERIFY(!store.stringForKey("location"));
        QCOMPARE(store.stringForKey("b7Text"),
                 std::optional<QString>(R"(TU for the QSO.  73's 73's \C \Csk sk\n\X)"));
        QCOMPARE(store.stringForKey("b3Text"), std::optional<QString>(R"(\nCQ TEST \C K\n\X)"));
        QCOMPARE(store.stringForKey("b9Text"), std::optional<QString>("Not configured"));
        const QStringList titles{"CQ",   "CQ DX", "CQ TEST", "Name", "599",
                                 "Brag", "SK",    "M1",      "M2",   "M3"};
        for (int n = 1; n <= 10; ++n)
            QCOMPARE(console().macroButton(n)->text(), titles[n - 1]);
    }

    void settingsDefaultsFillOnlyWhatIsMissing() {
        const QString path = fixture->directory.filePath("operator.ini");
        {
            SettingsStore store(path);
            store.setObject(QString("AB1CD"), "callsign");
            store.setObject(QString(), "b1Text");
            store.setObject(QString(), "b2Name");
            store.setObject(QString("my macro"), "b4Text");
            store.synchronize();
        }
        SettingsStore store(path);
        NullAudioPlatform platform;
        TarnViewController console(platform, store);
        QCOMPARE(store.stringForKey("callsign"), std::optional<QString>("AB1CD"));
        QVERIFY(!store.stringForKey("forceOutputToSpeaker")); // only on a first run
        QCOMPARE(store.stringForKey("b1Text"), std::optional<QString>(QString()));
        QCOMPARE(store.stringForKey("b2Name"), std::optional<QString>(QString()));
        QCOMPARE(console.macroButton(2)->text(), QString());
        QCOMPARE(store.stringForKey("b4Text"), std::optional<QString>("my macro"));
        QCOMPARE(store.stringForKey("b3Name"), std::optional<QString>("CQ TEST"));
    }

    void speakerSwitchReachesTheEngine() {
        fixture->store->setBool(true, "forceOutputToSpeaker");
        console().settingsFinished();
        QVERIFY(engine().forceOutputToSpeaker.load());
        fixture->store->setBool(false, "forceOutputToSpeaker");
        fixture->store->setObject(QString("Hello"), "b1Name");
        console().settingsFinished();
        QVERIFY(!engine().forceOutputToSpeaker.load());
        QCOMPARE(console().macroButton(1)->text(), QString("Hello"));
    }

    void storeSurvivesDamagedAndUnwritableFiles() {
        const QString path = fixture->directory.filePath("damaged.ini");
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[General]\ncallsign=AB1CD\nb1Name=\"unterminated\n\x01\x02=\n");
        file.close();
        TarnLogCapture log;
        SettingsStore damaged(path);
        QCOMPARE(damaged.stringForKey("callsign"), std::optional<QString>("AB1CD"));
        QVERIFY(damaged.synchronize());

        // A file where its directory should be: no one can write there.
        QFile blocker(fixture->directory.filePath("blocker"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        SettingsStore unwritable(fixture->directory.filePath("blocker/x.ini"));
        unwritable.setObject(QString("x"), "callsign");
        QVERIFY(!unwritable.synchronize());
        QVERIFY(QString::fromStdString(log.text()).contains("Cannot write settings file"));
        // The running program keeps what it was given.
        QCOMPARE(unwritable.stringForKey("callsign"), std::optional<QString>("x"));
    }
};

QTEST_MAIN(ConsoleTest)
#include "test_console.moc"
