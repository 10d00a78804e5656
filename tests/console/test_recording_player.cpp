// The recording player: a file reaches the engine through the input path in
// whole 2000-sample blocks at the pace of live input, and live input is set
// aside while it plays.
#include "audio/EngineAudio.h"
#include "audiofile/AudioFile.h"
#include "console/RecordingPlayer.h"
#include "engine/TarnData.h"
#include "tests/audio/FakeAudioPlatform.h"
#include "tests/support/TestSignals.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>

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
    void playsAFileIntoTheReceiver() {
        FakeAudioPlatform fake;
        RecordingPlayer player(fake, 0);
        auto engine = std::make_unique<TarnData>(tarn::kPhoneSquelch);
        tarnaudio::EngineAudio audio(player, *engine);

        const std::vector<float> signal = testsignals::renderMessage("CQ de AB1CD\n", 1500.0);
        const std::string path = writeRecording("cq.wav", signal);
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(player.play(path), std::string());
        QVERIFY(player.isPlaying());

        // Live input arriving meanwhile goes straight back to its queue (the
        // player registered itself as the live callback's context).
        const int enqueuedBefore = fake.count("queueEnqueueBuffer");
        std::vector<float> live(2000, 0.5f);
        fake.inputCallback(&player, fake.buffer(1), fake.buffer(1), live.data(), 8000);
        QCOMPARE(fake.count("queueEnqueueBuffer"), enqueuedBefore + 1);
        QCOMPARE(fake.calls.back(), std::string("queueEnqueueBuffer 1"));

        QVERIFY(QTest::qWaitFor([&] { return !player.isPlaying(); }, 30000));
        const auto blocks = static_cast<int64_t>(std::ceil(signal.size() / 2000.0));
        QCOMPARE(player.blocksDelivered(), blocks);
        QVERIFY(clock.elapsed() >= (blocks - 1) * 250); // the pace of live input
        QCOMPARE(player.progress(), 1.0);
        // The player's own buffer never reaches the real queue.
        QCOMPARE(fake.count("queueEnqueueBuffer 0"), 0);
        const std::optional<std::string> text = engine->drainTextBuffer();
        QVERIFY(text);
        QVERIFY2(text->find("CQ de AB1CD") != std::string::npos, text->c_str());
    }

    void liveInputReachesTheEngineWhenIdle() {
        FakeAudioPlatform fake;
        RecordingPlayer player(fake, 1);
        auto engine = std::make_unique<TarnData>(tarn::kTabletSquelch);
        tarnaudio::EngineAudio audio(player, *engine);
        // One waterfall row per 1024 samples shows that they arrived.
        std::vector<float> live(2000, 0.0f);
        fake.inputCallback(&player, fake.buffer(2), fake.buffer(2), live.data(), 8000);
        QCOMPARE(engine->status().waterfallRow, 1);
        QCOMPARE(fake.calls.back(), std::string("queueEnqueueBuffer 2"));
    }

    void stopsEarlyAndRefusesWhatItCannotRead() {
        FakeAudioPlatform fake;
        RecordingPlayer player(fake, 1);
        auto engine = std::make_unique<TarnData>(tarn::kTabletSquelch);
        tarnaudio::EngineAudio audio(player, *engine);
        const std::string path =
            writeRecording("long.wav", std::vector<float>(8000 * 20, 0.0f)); // 20 s
        QCOMPARE(player.play(path), std::string());
        QTest::qWait(300);
        player.stop();
        QVERIFY(!player.isPlaying());
        QVERIFY(player.blocksDelivered() < 10);

        const std::string missing = player.play(directory.filePath("none.wav").toStdString());
        QVERIFY(missing.find("none.wav") != std::string::npos);
        QVERIFY(!player.isPlaying());
    }
};

QTEST_MAIN(RecordingPlayerTest)
#include "test_recording_player.moc"
