// The console's spectrum and waterfall frames for a fixed input, pinned as
// hashes of the GL view's framebuffer. Any change to what is drawn (a GL call,
// a vertex, a colour, the order) changes a hash. Needs a real GL context (run
// under Xvfb with Mesa's software renderer, which draws the same pixels every
// time).
#include "console/SpectrumView.h"
#include "console/TarnViewController.h"
#include "settings/SettingsStore.h"

#include <QCryptographicHash>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>
#include <cstdint>
#include <vector>

namespace {

constexpr int kBufferSamples = 2000; // one input buffer (250 ms at 8000 Hz)
constexpr int kBuffers = 300;        // 75 s: more than the 512 history rows

// 75 s of receiver audio: a carrier at 1500 Hz, a second station whose pitch
// steps every 5 s between 900 and 1300 Hz, and white noise from a fixed
// generator, so that rows differ both across and down the waterfall.
std::vector<float> fixedInput() {
    std::vector<float> samples(static_cast<size_t>(kBufferSamples) * kBuffers);
    uint32_t state = 12345u;
    const double twoPi = 6.283185307179586;
    for (size_t i = 0; i < samples.size(); ++i) {
        const double t = static_cast<double>(i) / 8000.0;
        const double pitch = 900.0 + 100.0 * static_cast<double>((i / 40000) % 5);
        state = state * 1664525u + 1013904223u;
        const double noise = static_cast<double>(state >> 8) / 16777216.0 - 0.5;
        samples[i] = static_cast<float>(0.3 * std::sin(twoPi * 1500.0 * t) +
                                        0.1 * std::sin(twoPi * pitch * t) + 0.05 * noise);
    }
    return samples;
}

QByteArray frameHash(const QImage& frame) {
    const QImage pixels = frame.convertToFormat(QImage::Format_RGB32);
    QCryptographicHash hash(QCryptographicHash::Sha1);
    for (int y = 0; y < pixels.height(); ++y)
        hash.addData(QByteArrayView(reinterpret_cast<const char*>(pixels.constScanLine(y)),
                                    pixels.width() * 4));
    return hash.result().toHex().left(16);
}

} // namespace

class ConsoleFramesTest : public QObject {
    Q_OBJECT

private slots:
    void framesForAFixedInput() {
        QTemporaryDir directory;
        SettingsStore store(directory.filePath("settings.ini"));
        TarnViewController console(std::nullopt, store, FormFactor::tablet);
        console.resize(1280, 800);
        console.show();
        QVERIFY(QTest::qWaitForWindowExposed(&console));

        // The input arrives as the audio host delivers it, one block at a
        // time.
        const std::vector<float> input = fixedInput();
        for (int b = 0; b < kBuffers; ++b)
            console.theData()->processInputAudioSamples(std::span<const float>(
                input.data() + static_cast<size_t>(b) * kBufferSamples, kBufferSamples));

        struct Frame {
            const char* name;
            int mode; // 0 waterfall, 1 spectrum
            bool zoomed;
            int height; // points
            const char* hash;
        };
        const Frame frames[] = {
            {"waterfall", 0, false, 300, "b6b53918f9492502"},
            {"waterfall zoomed", 0, true, 300, "916ab00c1b6c5b63"},
            {"waterfall taller than the history", 0, false, 600, "65ff2c46b845ab50"},
            {"spectrum", 1, false, 300, "d92228105e96d913"},
            {"spectrum zoomed", 1, true, 300, "e550152c8f326030"},
            {"waterfall after a spectrum (flat shading)", 0, false, 300, "9309b3b65c201c25"},
        };
        QStringList changed; // every frame that differs, with its new hash
        for (const Frame& frame : frames) {
            SpectrumView* view = console.spectrumDisplay();
            view->setFixedSize(640, frame.height);
            QCoreApplication::processEvents();
            console.displayMode = frame.mode;
            console.displayZoomed = frame.zoomed;
            const QImage image = view->drawAndGrab();
            QCOMPARE(image.size(), QSize(640, frame.height));
            const QByteArray hash = frameHash(image);
            if (hash != frame.hash)
                changed.append(QStringLiteral("%1: %2").arg(frame.name, hash));
        }
        QVERIFY2(changed.isEmpty(), qPrintable(changed.join("; ")));
    }
};

QTEST_MAIN(ConsoleFramesTest)
#include "test_console_frames.moc"
