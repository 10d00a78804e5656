// The band panel and the station markers, with the demo recording's five
// stations fed through the console's scanner.
#include "audiofile/AudioFile.h"
#include "console/BandPanel.h"
#include "console/BandScanning.h"
#include "console/ChannelMarkers.h"
#include "console/FrequencyAxis.h"
#include "console/QsoForm.h"
#include "console/QsoLogging.h"
#include "console/SpectrumView.h"
#include "tests/console/ConsoleFixture.h"

#include <QAction>
#include <QDockWidget>
#include <QLineEdit>
#include <QtTest>

#include <cmath>

namespace {

// The demo's stations (Hz) and which have called CQ 30 s in.
struct Station {
    double frequency;
    bool callingCq;
};
constexpr Station kDemoStations[] = {
    {800.0, true}, {1150.0, false}, {1500.0, true}, {1900.0, true}, {2250.0, true}};
constexpr double kSeconds = 30.0;

} // namespace

class BandPanelTest : public QObject {
    Q_OBJECT

private:
    // A shown console whose scanner has heard the demo's first 30 s.
    std::unique_ptr<ConsoleFixture> demoConsole() {
        auto fixture = std::make_unique<ConsoleFixture>();
        fixture->console->resize(1280, 800);
        fixture->console->show();
        if (!QTest::qWaitForWindowExposed(fixture->console.get()))
            return nullptr;
        auto samples = audiofile::readAudioFile(TARN_DEMO_WAV);
        if (!samples)
            return nullptr;
        const std::vector<float>& audio = samples.value();
        const auto count = static_cast<size_t>(kSeconds * scanner::kSampleRate);
        BandScanning* scanning = bands(*fixture);
        for (size_t at = 0; at < count && at < audio.size(); at += 2000)
            scanning->feed(std::span<const float>(audio).subspan(at, 2000));
        scanning->refresh();
        return fixture;
    }
    static BandScanning* bands(ConsoleFixture& fixture) {
        return fixture.console->findChild<BandScanning*>();
    }

private slots:
    void rowsShowTheDemoStationsSortedWithCqStandingOut() {
        auto fixture = demoConsole();
        QVERIFY(fixture);
        BandPanel* panel = bands(*fixture)->panel();
        QCOMPARE(panel->rowCount(), static_cast<int>(std::size(kDemoStations)));
        for (int row = 0; row < panel->rowCount(); ++row) {
            const Station& station = kDemoStations[row];
            QVERIFY2(std::fabs(panel->rowFrequency(row) - station.frequency) < 2.0,
                     qPrintable(panel->item(row, BandPanel::frequencyColumn)->text()));
            QCOMPARE(panel->rowStandsOut(row), station.callingCq);
            QVERIFY(!panel->item(row, BandPanel::textColumn)->text().isEmpty());
            QVERIFY(panel->item(row, BandPanel::textColumn)->text().size() <=
                    BandPanel::kShownCharacters);
        }
    }

    void aClickOnARowTunesTheReceiverThere() {
        auto fixture = demoConsole();
        QVERIFY(fixture);
        BandPanel* panel = bands(*fixture)->panel();
        QVERIFY(panel->rowCount() > 1);
        const QRect cell = panel->visualItemRect(panel->item(1, BandPanel::frequencyColumn));
        QTest::mouseClick(panel->viewport(), Qt::LeftButton, {}, cell.center());
        QCOMPARE(fixture->engine().frequency(), panel->rowFrequency(1));
        QVERIFY(fixture->engine().automaticFrequencyControl());
    }

    void aClickedWordGoesToTheQsoForm() {
        auto fixture = demoConsole();
        QVERIFY(fixture);
        BandPanel* panel = bands(*fixture)->panel();
        // The CQ at 2250 Hz ends with the caller's call: click on its last word.
        const int row = panel->rowCount() - 1;
        const QRect cell = panel->visualItemRect(panel->item(row, BandPanel::textColumn));
        int x = cell.width() - 1;
        while (x > 0 && panel->wordAt(row, x) != QStringLiteral("JA1ZZZ"))
            --x;
        QVERIFY2(x > 0, qPrintable(panel->item(row, BandPanel::textColumn)->text()));
        QTest::mouseClick(panel->viewport(), Qt::LeftButton, {},
                          QPoint(cell.left() + x, cell.center().y()));
        QCOMPARE(fixture->console->qsoInput()->text(), QStringLiteral("JA1ZZZ"));
    }

    void markersSitAtTheCarriersAndTuneWhenClicked() {
        auto fixture = demoConsole();
        QVERIFY(fixture);
        ChannelMarkers* markers = bands(*fixture)->markers();
        SpectrumView* view = fixture->console->spectrumDisplay();
        QCOMPARE(markers->parentWidget(), view);
        QVERIFY(markers->isVisible());
        const std::vector<int> centres = markers->markerCentres();
        QCOMPARE(centres.size(), std::size(kDemoStations));
        const auto channels = bands(*fixture)->channels();
        for (size_t i = 0; i < centres.size(); ++i) {
            const double frequency = channels[i].frequency;
            const float at = FrequencyAxis::forDrawing(fixture->engine().frequency(), 0, false)
                                 .positionOf(frequency) *
                             static_cast<float>(view->width());
            QVERIFY(std::abs(centres[i] - at) <= 0.5f);
            // Taken by the marker on it, passed through beside and below it.
            QCOMPARE(view->childAt(centres[i], 2), markers);
            QCOMPARE(view->childAt(centres[i], ChannelMarkers::kHeight + 4), nullptr);
        }
        QTest::mouseClick(markers, Qt::LeftButton, {}, QPoint(centres[0], 2));
        QCOMPARE(fixture->engine().frequency(), channels[0].frequency);
    }

    // The RF column follows the dial as the main readout does: dial plus the
    // tone in USB, minus it in LSB, and stays hidden while RF is unknown.
    void rowsShowRfWhileTheDialIsKnown_data() {
        QTest::addColumn<double>("dial");
        QTest::addColumn<int>("sideband");
        QTest::addColumn<QString>("lowRow");
        QTest::addColumn<QString>("highRow");
        using tarn::rig::Sideband;
        QTest::newRow("usb") << 14070000.0 << int(Sideband::Upper) << "14070.800"
                             << "14071.500";
        QTest::newRow("lsb") << 7040000.0 << int(Sideband::Lower) << "7039.200"
                             << "7038.500";
        QTest::newRow("no dial") << 0.0 << int(Sideband::Upper) << ""
                                 << "";
        QTest::newRow("no mode") << 14070000.0 << int(Sideband::Unknown) << ""
                                 << "";
    }
    void rowsShowRfWhileTheDialIsKnown() {
        QFETCH(double, dial);
        QFETCH(int, sideband);
        QFETCH(QString, lowRow);
        QFETCH(QString, highRow);
        BandPanel panel;
        scanner::ChannelSnapshot low, high;
        low.frequency = 800.0;
        high.frequency = 1500.0;
        // Rows shown before the dial is known take it up when it comes, and
        // rows shown after carry it from the start.
        panel.showChannels({high});
        panel.setDial(dial > 0.0 ? std::optional(dial) : std::nullopt,
                      static_cast<tarn::rig::Sideband>(sideband));
        QCOMPARE(panel.item(0, BandPanel::rfColumn)->text(), highRow);
        panel.showChannels({high, low});
        QCOMPARE(panel.item(0, BandPanel::rfColumn)->text(), lowRow);
        QCOMPARE(panel.item(1, BandPanel::rfColumn)->text(), highRow);
        QCOMPARE(panel.isColumnHidden(BandPanel::rfColumn), lowRow.isEmpty());
        panel.setDial(std::nullopt, tarn::rig::Sideband::Unknown);
        QVERIFY(panel.item(1, BandPanel::rfColumn)->text().isEmpty());
        QVERIFY(panel.isColumnHidden(BandPanel::rfColumn));
    }

    void thePhoneStartsWithoutPanelOrScanner() {
        ConsoleFixture phone(FormFactor::phone);
        BandScanning* scanning = bands(phone);
        QVERIFY(scanning->dock()->isHidden());
        QVERIFY(!scanning->scanning());
        ConsoleFixture tablet(FormFactor::tablet);
        QVERIFY(!bands(tablet)->dock()->isHidden());
        QVERIFY(bands(tablet)->scanning());
        // The stored switch wins over the form factor's default.
        phone.store->setScannerEnabled(true);
        scanning->applySettings();
        QVERIFY(scanning->scanning());
    }
};

QTEST_MAIN(BandPanelTest)
#include "test_band_panel.moc"
