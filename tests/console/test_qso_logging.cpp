// The QSO form in the console: calls clicked in a decoded QSO fill the
// fields, time on follows the first transmission to the call, Ctrl+L writes
// a record the strict reader accepts (band from the setting without a rig,
// FREQ and band from the rig's dial with one), the form clears and the call
// is then marked "worked before"; the logger datagram; spots from received
// text; and the form's refusals.
#include "console/CallCapture.h"
#include "console/QsoForm.h"
#include "console/QsoLogging.h"
#include "console/Spotting.h"
#include "logbook/Adif.h"
#include "logbook/AdifQso.h"
#include "logbook/LogFile.h"
#include "reporting/LoggedAdif.h"
#include "tests/console/ConsoleFixture.h"
#include "tests/support/CommandRun.h"
#include "tests/support/LocalUdpSocket.h"

#include <QAction>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QShortcut>
#include <QTest>

namespace {

// 2024-05-01 12:00:00 UTC
constexpr int64_t kNoon = 1714564800;

// A QSO as the receiver decodes it.
const QString kDemoQso =
    QStringLiteral("CQ CQ CQ de K1ABC K1ABC pse K\n"
                   "K1ABC de DL2XYZ DL2XYZ kn\n"
                   "DL2XYZ de K1ABC GM OM ur RST 599 599 name Bob Bob QTH Boston loc FN42ab\n");

logbook::AdifDocument readLog(const QString& path) {
    return logbook::readAdif(slurp(path.toStdString()), logbook::AdifReading::Strict);
}

std::string field(const logbook::AdifRecord& record, std::string_view name) {
    const std::string* value = logbook::findField(record, name);
    return value ? *value : std::string("(absent)");
}

} // namespace

class TestQsoLogging : public QObject {
    Q_OBJECT

    std::unique_ptr<ConsoleFixture> fixture;
    int64_t clock = kNoon;
    QString logPath;

    QsoLogging& logging() { return *fixture->console->qsoLogging(); }
    QsoForm& form() { return *logging().form(); }
    QPlainTextEdit* view() { return fixture->console->textOutput(); }

    // Left-clicks the middle of the n-th occurrence of `word` in the view.
    void clickWord(const QString& word, int occurrence = 0) {
        const QString text = view()->toPlainText();
        int at = -1;
        for (int n = 0; n <= occurrence; ++n)
            at = text.indexOf(word, at + 1);
        QVERIFY2(at >= 0, qPrintable(word));
        QTextCursor cursor(view()->document());
        cursor.setPosition(at + static_cast<int>(word.size()) / 2);
        const QPoint point = view()->cursorRect(cursor).center() + QPoint(1, 0);
        QTest::mouseClick(view()->viewport(), Qt::LeftButton, {}, point);
    }

    void chooseFromMenu(const QString& word, int entry) {
        std::unique_ptr<QMenu> menu(logging().capture()->menuFor(word, view()));
        QCOMPARE(menu->actions().size(), 5);
        menu->actions()[entry]->trigger();
    }

private slots:
    void init() {
        clock = kNoon;
        fixture = std::make_unique<ConsoleFixture>();
        logPath = fixture->directory.filePath("logs/log.adi");
        fixture->store->setLogFile(logPath);
        fixture->store->setLogBand("20m");
        fixture->store->setCallsign("DL2XYZ");
        fixture->store->setLocation("JO62qm");
        logging().setClock([this] { return clock; });
        // Not shown: the GL view needs no context for these tests. The
        // layout still places the receive view, so clicks land on words.
        fixture->console->resize(1000, 700);
        fixture->console->centralWidget()->layout()->activate();
        view()->setPlainText(kDemoQso);
    }
    void cleanup() { fixture.reset(); }

    void clickedWordsFillTheFormAndTheLogTakesTheContact() {
        clickWord("599"); // not a call: nothing happens
        QCOMPARE(form().call()->text(), QString());
        clickWord("DL2XYZ");
        QCOMPARE(form().call()->text(), QString("DL2XYZ"));
        clickWord("K1ABC", 2);
        QCOMPARE(form().call()->text(), QString("K1ABC"));
        QCOMPARE(fixture->console->qsoInput()->text(), QString("K1ABC")); // what \S sends
        chooseFromMenu("Bob", 1);
        chooseFromMenu("Boston", 2);
        chooseFromMenu("599", 3);
        chooseFromMenu("fn42AB", 4);
        QCOMPARE(form().name()->text(), QString("Bob"));
        QCOMPARE(form().qth()->text(), QString("Boston"));
        QCOMPARE(form().rstReceived()->text(), QString("599"));
        QCOMPARE(form().locator()->text(), QString("FN42ab"));
        form().rstSent()->setText("579");

        // The first transmission to the call sets time on; later ones do not.
        fixture->console->textInput()->setText("K1ABC de DL2XYZ");
        fixture->console->processTextInput();
        QCOMPARE(form().timeOn()->text(), QString("2024-05-01 12:00:00"));
        clock += 90;
        form().transmissionStarted(clock);
        QCOMPARE(form().timeOn()->text(), QString("2024-05-01 12:00:00"));

        clock += 240;
        // Ctrl+L (the window is not shown, so the shortcut is fired by hand).
        auto* shortcut = fixture->console->findChild<QShortcut*>();
        QVERIFY(shortcut != nullptr);
        QCOMPARE(shortcut->key(), QKeySequence(QStringLiteral("Ctrl+L")));
        emit shortcut->activated();
        const logbook::AdifDocument log = readLog(logPath);
        QVERIFY2(log.problems.empty(), log.problems.empty() ? "" : log.problems[0].message.c_str());
        QCOMPARE(log.records.size(), size_t(1));
        const logbook::AdifRecord& record = log.records[0];
        QVERIFY(logbook::checkRecord(record).empty());
        const std::pair<std::string_view, std::string> expected[] = {
            {"CALL", "K1ABC"},
            {"QSO_DATE", "20240501"},
            {"TIME_ON", "120000"},
            {"TIME_OFF", "120530"},
            {"BAND", "20m"},
            {"FREQ", "(absent)"},
            {"MODE", "PSK"},
            {"SUBMODE", "PSK31"},
            {"RST_SENT", "579"},
            {"RST_RCVD", "599"},
            {"NAME", "Bob"},
            {"QTH", "Boston"},
            {"GRIDSQUARE", "FN42ab"},
            {"STATION_CALLSIGN", "DL2XYZ"},
            {"MY_GRIDSQUARE", "JO62qm"},
            {"APP_TARN_PSK31_AUDIO_HZ", "1500.0"}};
        for (const auto& [name, value] : expected)
            QCOMPARE(QString::fromStdString(field(record, name)), QString::fromStdString(value));

        // The form clears; the call clicked again is marked with the date.
        QCOMPARE(form().call()->text(), QString());
        QCOMPARE(form().name()->text(), QString());
        QCOMPARE(form().timeOn()->text(), QString());
        QVERIFY(form().workedBefore()->text().isEmpty());
        clickWord("K1ABC");
        QVERIFY2(form().workedBefore()->text().contains("2024-05-01"),
                 qPrintable(form().workedBefore()->text()));
    }

    void withARigTheFrequencyAndItsBandAreLogged() {
        logging().setRigDial(7'070'000.0, tarn::rig::Sideband::Upper);
        logging().receiverTick({}, fixture->engine().status());
        form().setField(QsoForm::Field::call, "k1abc/p");
        QVERIFY(logging().logContact());
        const logbook::AdifDocument log = readLog(logPath);
        QCOMPARE(log.records.size(), size_t(1));
        QCOMPARE(field(log.records[0], "CALL"), std::string("K1ABC/P"));
        QCOMPARE(field(log.records[0], "FREQ"), std::string("7.071500"));
        QCOMPARE(field(log.records[0], "BAND"), std::string("40m"));
    }

    void theFormRefusesWhatCannotBeLogged() {
        const struct {
            const char* call;
            const char* timeOn;
            const char* locator;
            const char* name;
        } cases[] = {
            {"", "", "", ""},                      // no call
            {"K1ABC", "2024-05-01 12:01", "", ""}, // time on after now
            {"K1ABC", "yesterday", "", ""},        // not a time
            {"K1ABC", "", "FN4", ""},              // not a locator
            {"K1ABC", "", "", "Jos\u00e9"},        // not ASCII
        };
        for (const auto& c : cases) {
            form().clear();
            form().call()->setText(c.call);
            form().timeOn()->setText(c.timeOn);
            form().locator()->setText(c.locator);
            form().name()->setText(QString::fromUtf8(c.name));
            QVERIFY(!logging().logContact());
            QVERIFY(!form().status()->text().isEmpty());
            QCOMPARE(form().call()->text(), QString(c.call)); // nothing cleared
        }
        QVERIFY(!QFile::exists(logPath));
    }

    void theLoggerGetsTheContactAsADatagram() {
        // Loopback UDP is delivered before the send returns.
        const LocalUdpSocket receiver;
        QVERIFY(receiver.port() != 0);
        fixture->store->setLoggerEnabled(true);
        fixture->store->setLoggerAddress(QString("127.0.0.1:%1").arg(receiver.port()));
        form().setField(QsoForm::Field::call, "K1ABC");
        QVERIFY(logging().logContact());
        const std::vector<uint8_t> datagram = receiver.receive();
        QVERIFY(datagram.size() > 12);
        QCOMPARE(datagram[0], uint8_t(0xad));
        QCOMPARE(datagram[11], uint8_t(reporting::kLoggedAdifType));
        const std::string text(datagram.begin(), datagram.end());
        QVERIFY(text.find("<CALL:5>K1ABC") != std::string::npos);
    }

    void stationsHeardAreSpottedOnce() {
        std::vector<std::vector<uint8_t>> sent;
        logging().spotting().setSinkFactory([&sent](const reporting::HostPort&, std::string&) {
            return [&sent](const std::vector<uint8_t>& datagram) { sent.push_back(datagram); };
        });
        fixture->store->setSpottingEnabled(true);
        tarn::EngineStatus status = fixture->engine().status();
        status.signalLevel = -10.0f;
        status.squelch = -15.0f;
        logging().receiverTick("CQ CQ de K1ABC K1ABC pse k\n", status);
        logging().receiverTick("W1AW de DL2XYZ k\n", status);
        QCOMPARE(logging().spotting().pendingCount(), size_t(2)); // K1ABC and DL2XYZ, once each
        clock += 400; // past the five minutes and their random extra
        logging().receiverTick({}, status);
        QCOMPARE(sent.size(), size_t(1));
        const std::string datagram(sent[0].begin(), sent[0].end());
        QVERIFY(datagram.find("K1ABC") != std::string::npos);
        QVERIFY(datagram.find("DL2XYZ") != std::string::npos);
    }

    void spottingNeedsACallAndALocator() {
        fixture->store->setSpottingEnabled(true);
        fixture->store->setLocation("Berlin");
        logging().spotting().setSinkFactory(
            [](const reporting::HostPort&, std::string&) { return [](const auto&) {}; });
        logging().receiverTick("CQ de K1ABC k\n", fixture->engine().status());
        QVERIFY(!logging().spotting().active());
        QCOMPARE(logging().spotting().pendingCount(), size_t(0));
    }

    void snrIsTheLevelDifferenceInDecibels() {
        QCOMPARE(snrDecibels(-10.0f, -15.0f), 22); // 5 nepers of power: 21.7 dB
        QCOMPARE(snrDecibels(-20.0f, -20.0f), 0);
        QCOMPARE(snrDecibels(-23.0f, -20.0f), -13);
    }
};

QTEST_MAIN(TestQsoLogging)
#include "test_qso_logging.moc"
