// The recording player: a file reaches the receiver in whole 2000-sample
// blocks at the pace of live input, and live blocks are dropped while it
// plays.
#include "audiofile/AudioFile.h"
#include "console/RecordingPlayer.h"
#include "engine/TarnData.h"
#include "tests/support/TestSignals.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <limits>

class RecordingPlayerTest : public QObject {
    Q_OBJECT

    QTemporaryDir directory;

    std::string writeRecording(const std::string& name, const std::vector<float>& samples) {
        const std::string path = directory.filePath(QString::fromStdString(name)).toStdString();
        const auto error =
            audiofile::writeWavFile(path, samples.data(), static_cast<int64_t>(samples.size()),
                                    audiofile::SampleFormat::float32);
        [&] { QVERIFY(!error); }();
        return path;
    }

private slots:
    void playsAFileIntoTheReceiverAndDropsLiveInputMeanwhile() {
        auto engine = std::make_unique<TarnData>(tarn::kPhoneSquelch);
        std::atomic<int> blocks{0};
        std::atomic<int> partial{0};
        RecordingPlayer player([&](std::span<const float> block) {
            partial += block.size() == 2000 ? 0 : 1;
            ++blocks;
            engine->processInputAudioSamples(block);
        });
        const std::vector<float> signal = testsignals::renderMessage("CQ de AB1CD\n", 1500.0);
        const std::string path = writeRecording("cq.wav", signal);
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(player.play(path), std::string());
        QVERIFY(player.isPlaying());
        const std::vector<float> live(2000, 0.5f);
        player.liveBlock(live); // dropped: a recording plays

        QVERIFY(QTest::qWaitFor([&] { return !player.isPlaying(); }, 30000));
        const auto expected = static_cast<int64_t>(std::ceil(signal.size() / 2000.0));
        QCOMPARE(player.blocksDelivered(), expected);
        QCOMPARE(int64_t{blocks.load()}, expected);
        QCOMPARE(partial.load(), 0);
        QVERIFY(clock.elapsed() >= (expected - 1) * 250); // the pace of live input
        QCOMPARE(player.progress(), 1.0);
        const std::optional<std::string> text = engine->drainTextBuffer();
        QVERIFY(text);
        QVERIFY2(text->find("CQ de AB1CD") != std::string::npos, text->c_str());

        player.liveBlock(live); // idle again: passed on
        QCOMPARE(blocks.load(), expected + 1);
    }

    void damagedSamplesReachTheReceiverAsNumbers() {
        std::vector<float> samples(2000, 0.25f);
        samples[3] = std::numeric_limits<float>::quiet_NaN();
        samples[4] = std::numeric_limits<float>::infinity();
        samples[5] = -std::numeric_limits<float>::infinity();
        const std::string path = writeRecording("bad.wav", samples);
        std::vector<float> received;
        RecordingPlayer player(
            [&](std::span<const float> block) { received.assign(block.begin(), block.end()); });
        QCOMPARE(player.play(path), std::string());
        QVERIFY(QTest::qWaitFor([&] { return !player.isPlaying(); }, 5000));
        QCOMPARE(received.size(), size_t{2000});
        QCOMPARE(received[3], 0.0f);
        QCOMPARE(received[4], 1.0f); // full scale
        QCOMPARE(received[5], -1.0f);
        QCOMPARE(received[6], 0.25f);
    }

    void stopsEarlyAndRefusesWhatItCannotRead() {
        RecordingPlayer player([](std::span<const float>) {});
        const std::string path =
            writeRecording("long.wav", std::vector<float>(8000 * 20, 0.0f)); // 20 s
        QCOMPARE(player.play(path), std::string());
        QTest::qWait(300);
        player.stop();
        QVERIFY(!player.isPlaying());
        QVERIFY(player.blocksDelivered() < 80); // of the file's 80, however slow the machine

        const std::string missing = player.play(directory.filePath("none.wav").toStdString());
        QVERIFY(missing.find("none.wav") != std::string::npos);
        QVERIFY(!player.isPlaying());
    }
};

QTEST_MAIN(RecordingPlayerTest)
#include "test_recording_player.moc"
