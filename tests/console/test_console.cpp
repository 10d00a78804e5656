// The console without drawing: refresh tick, tuning controls, display
// switches, lifecycle and settings defaults.
#include "console/ConsoleWidgets.h"
#include "console/RecordingPlayer.h"
#include "console/SpectrumView.h"
#include "log/TarnLog.h"
#include "tests/console/ConsoleFixture.h"
#include "tests/support/TestSignals.h"

#include <QCheckBox>
#include <QFile>
#include <QLabel>
#include <QPlainTextEdit>
#include <QTimer>
#include <QToolBar>
#include <QtTest>

#include <sys/stat.h>

namespace {

// `text` on the air at the tuned frequency, through the engine's input. The
// receiver locks on during the idle before it, and whatever the jump from the
// last signal made of that idle is drained away unseen.
void receive(TarnData& engine, const std::string& text) {
    const std::vector<float> signal = testsignals::messageWithIdle(text, engine.frequency(), 48, 8);
    const std::span<const float> all(signal);
    engine.processInputAudioSamples(all.first(32 * 256));
    while (engine.drainTextBuffer()) {
    }
    engine.processInputAudioSamples(all.subspan(32 * 256));
}

// Refresh timers (200 ms) now running.
int activeTimers(const TarnViewController& console) {
    int count = 0;
    for (const QTimer* timer : console.findChildren<QTimer*>())
        count += timer->isActive() && timer->interval() == 200 ? 1 : 0;
    return count;
}

std::optional<QString> text(const char* value) {
    return QString(value);
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

    void firstLaunch() {
        QVERIFY(console().displayMode == 0 && !console().displayZoomed);
        QCOMPARE(engine().frequency(), 1500.0);
        QVERIFY(console().afcOnOff()->isChecked());
        QCOMPARE(console().squelch()->level(), -20.0f);
        QVERIFY(console().textOutput()->property("cornerRadius").isValid()); // tablet

        // The defaults, as the next launch reads them back from the file; the
        // macro texts keep their backslashes for the escape passes.
        SettingsStore store(fixture->store->fileName());
        QCOMPARE(store.callsign(), text("Please Edit"));
        QVERIFY(!store.location());
        QCOMPARE(store.macroText(3), text(R"(\nCQ TEST \C K\n\X)"));
        // What the "Brag" macro says about the station is true of it.
        QCOMPARE(store.macroText(6),
                 text(R"(Rig : ????\nAntenna : ????\nSoftware : tarn-psk31 running on Linux\n)"));
        QFile file(store.fileName());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(file.readAll().contains("forceOutputToSpeaker=false"));
        QCOMPARE(console().macroButton(3)->text(), QString("CQ TEST"));
        QCOMPARE(console().macroButton(10)->text(), QString("M3"));
    }

    void phoneSquelchBelowTheSliderRange() {
        fixture = std::make_unique<ConsoleFixture>(FormFactor::phone);
        // The engine's -30 shows the slider at its minimum, the label at -30.
        QCOMPARE(console().squelch()->level(), -25.0f);
        QCOMPARE(console().squelchDisplay()->text(), QString("-30.0"));
        QCOMPARE(engine().backgroundNoiseLevel(), -30.0f);
        QVERIFY(!console().textOutput()->property("cornerRadius").isValid());
        // Moving it hands the level on unscaled.
        console().squelch()->setValue(-125);
        QCOMPARE(engine().backgroundNoiseLevel(), -12.5f);
        QCOMPARE(console().squelchDisplay()->text(), QString("-12.5"));
    }

    void tickRefreshesLabels() {
        // Set behind the console's back; no input yet, so the signal level is
        // still its starting 0.
        engine().setFrequency(1234.56);
        engine().setAutomaticFrequencyControl(false);
        engine().setBackgroundNoiseLevel(-7.0f);
        console().updateDisplay();
        QCOMPARE(console().displayAFCOffset()->text(), QString("0.000"));
        QCOMPARE(console().signalAtFrequency()->text(), QString("0.0"));
        QCOMPARE(console().displayFrequency()->text(), QString("1234.6"));
        QVERIFY(!console().afcOnOff()->isChecked());
        QCOMPARE(console().squelchDisplay()->text(), QString("-20.0")); // not the tick's
    }

    void tickAppendsReceivedText() {
        QPlainTextEdit* view = console().textOutput();
        receive(engine(), "CQ de AB1CD\r\n");
        console().updateDisplay();
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
        QString full;
        for (int i = 0; i < 2049; ++i)
            full.append(QChar('a' + i % 26));
        // Above 2048 characters the oldest 1024 go; at 2048 nothing does.
        for (const int length : {2049, 2048}) {
            view->setPlainText(full.left(length));
            view->moveCursor(QTextCursor::End);
            receive(engine(), "XY");
            console().updateDisplay();
            QCOMPARE(view->toPlainText(), full.left(length).mid(length > 2048 ? 1024 : 0) + "XY");
        }
    }

    // The tap is read on the axis of the mode and zoom shown (the axis's own
    // spans are tested with it), and switches the AFC back on.
    void tapToTuneUsesTheShownAxis() {
        struct Case {
            int mode;
            bool zoomed;
            double expected;
        };
        for (const Case& c :
             {Case{1, true, 1468.0}, Case{0, true, 1372.0}, Case{7, true, 1000.0}}) {
            engine().setFrequency(1500.0);
            console().displayMode = c.mode;
            console().displayZoomed = c.zoomed;
            console().afcOnOff()->setChecked(false);
            engine().setAutomaticFrequencyControl(false);
            console().tuneAt(QPointF(200.0, 10.0));
            QCOMPARE(engine().frequency(), c.expected);
            QVERIFY(engine().automaticFrequencyControl() && console().afcOnOff()->isChecked());
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
    }

    void afcSwitchModeAndZoom() {
        console().afcOnOff()->click();
        QVERIFY(!engine().automaticFrequencyControl());
        console().afcOnOff()->click();
        QVERIFY(engine().automaticFrequencyControl());

        console().switchViews();
        QCOMPARE(console().displayMode, 1);
        console().switchViews();
        QCOMPARE(console().displayMode, 0);
        console().displayMode = 5; // a mode drawing nothing stays
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
        c.enteredForeground(); // the activation after launch: a second timer
        QCOMPARE(activeTimers(c), 2);
        c.enteredBackground();
        QVERIFY(c.inBackground && c.updateDisplayTimer.isNull());
        QVERIFY(c.spectrumDisplay() == nullptr);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        // The timer not held keeps running; text is still drained.
        QCOMPARE(activeTimers(c), 1);
        receive(engine(), "bg");
        c.updateDisplay();
        QCOMPARE(c.textOutput()->toPlainText(), QString("bg"));

        c.enteredForeground();
        QVERIFY(!c.inBackground && c.spectrumDisplay() != nullptr);
        QCOMPARE(activeTimers(c), 2);
    }

    void settingsDefaultsFillOnlyWhatIsMissing() {
        const QString path = fixture->directory.filePath("operator.ini");
        {
            SettingsStore store(path);
            store.setCallsign("AB1CD");
            store.setMacroText(1, QString());
            store.setMacroName(2, QString());
            store.synchronize();
        }
        SettingsStore store(path);
        TarnViewController console(std::nullopt, store);
        QCOMPARE(store.callsign(), text("AB1CD"));
        // forceOutputToSpeaker is written only on a first run.
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(!file.readAll().contains("forceOutputToSpeaker"));
        QCOMPARE(store.macroText(1), text(""));
        QCOMPARE(console.macroButton(2)->text(), QString());
        QCOMPARE(store.macroName(3), text("CQ TEST"));
    }

    void onlyRegularFilesArePlayed() {
        // A FIFO nobody writes to, and a directory: refused at once, named.
        const QString fifo = fixture->directory.filePath("recording.fifo");
        QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
        for (const QString& path : {fifo, fixture->directory.path()}) {
            QString error;
            QVERIFY(!console().playRecording(path, &error));
            QCOMPARE(error, QString("'%1' is not a regular file").arg(path));
            QVERIFY(!console().recordingPlayer()->isPlaying());
        }
    }
};

QTEST_MAIN(ConsoleTest)
#include "test_console.moc"
