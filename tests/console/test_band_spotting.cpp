// The band scanner's stations spotted from the console: two stations
// decoded on the scanner's channels reach a collector listening here, each
// call once, after the collector's address was looked up away from the main
// thread.
#include "console/BandScanning.h"
#include "console/QsoLogging.h"
#include "console/Spotting.h"
#include "tests/console/ConsoleFixture.h"
#include "tests/support/BandSignals.h"
#include "tests/support/LocalUdpSocket.h"

#include <QTest>

class TestBandSpotting : public QObject {
    Q_OBJECT

private slots:
    void scannerChannelsSpotTheirCalls() {
        const LocalUdpSocket collector;
        QVERIFY(collector.port() != 0);

        ConsoleFixture fixture;
        fixture.store->setCallsign("DL1ABC");
        fixture.store->setLocation("JO62qm");
        fixture.store->setSpottingEnabled(true);
        fixture.store->setSpottingAddress(QString("127.0.0.1:%1").arg(collector.port()));
        QsoLogging& logging = *fixture.console->qsoLogging();
        int64_t clock = 1714564800; // 2024-05-01 12:00 UTC
        logging.setClock([&clock] { return clock; });
        const tarn::EngineStatus status = fixture.engine().status();
        logging.receiverTick({}, status);
        QVERIFY(logging.spotting().active());

        auto* scanning = fixture.console->findChild<BandScanning*>("bandScanning");
        QVERIFY(scanning != nullptr && scanning->scanning());
        scanning->refresh(); // as the panel's timer does: the scanner learns spotting is on
        const std::vector<float> audio =
            testsignals::mixBand({{"CQ CQ de K1ABC K1ABC pse k", 800.0, 8.0, 0.5, 0.0},
                                  {"QRZ? de G4XYZ k", 1500.0, 8.0, 1.0, 0.0}},
                                 14.0, 0.1, 5);
        for (size_t at = 0; at + 2000 <= audio.size(); at += 2000)
            scanning->feed(std::span<const float>(audio.data() + at, 2000));
        scanning->refresh();
        QCOMPARE(logging.spotting().pendingCount(), size_t(2));

        clock += 400; // past the five minutes and their random extra
        std::string datagram;
        QTRY_VERIFY_WITH_TIMEOUT(
            [&] {
                logging.receiverTick({}, status); // sends once the address is known
                if (const std::vector<uint8_t> bytes = collector.receive(); !bytes.empty())
                    datagram.assign(bytes.begin(), bytes.end());
                return !datagram.empty();
            }(),
            10000);
        QCOMPARE(logging.spotting().pendingCount(), size_t(0));
        for (const char* call : {"K1ABC", "G4XYZ", "DL1ABC", "JO62qm"}) {
            const size_t first = datagram.find(call);
            QVERIFY2(first != std::string::npos, call);
            QVERIFY2(datagram.find(call, first + 1) == std::string::npos, call);
        }
    }
};

QTEST_MAIN(TestBandSpotting)
#include "test_band_spotting.moc"
