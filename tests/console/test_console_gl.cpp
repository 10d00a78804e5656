// Drawing of the spectrum and the waterfall, read back from the GL view's
// framebuffer, where it depends on the console's state: the spectrum's
// scaling, other modes and the background, the context's lifetime, touch.
// Needs a real GL context (run under Xvfb).
#include "console/FrequencyAxis.h"
#include "console/SpectrumView.h"
#include "tests/console/ConsoleFixture.h"

#include <QLabel>
#include <QLineEdit>
#include <QtTest>

#include <cmath>

namespace {

// Pixel colour (r, g, b) within `tolerance` of `expected`.
bool near(QRgb pixel, QRgb expected, int tolerance = 2) {
    return std::abs(qRed(pixel) - qRed(expected)) <= tolerance &&
           std::abs(qGreen(pixel) - qGreen(expected)) <= tolerance &&
           std::abs(qBlue(pixel) - qBlue(expected)) <= tolerance;
}

// Whether a vertical line at x (0 .. 1 of the width) has `expected` colour
// in pixel row `row`; a line may land in the column on either side.
bool lineAt(const QImage& image, double x, int row, QRgb expected) {
    const int column = static_cast<int>(std::floor(x * image.width()));
    for (int c = column - 1; c <= column + 1; ++c)
        if (c >= 0 && c < image.width() && near(image.pixel(c, row), expected))
            return true;
    return false;
}

const QRgb white = qRgb(255, 255, 255);

} // namespace

class ConsoleGLTest : public QObject {
    Q_OBJECT

    std::unique_ptr<ConsoleFixture> fixture;

    SpectrumView* shownView(int viewHeight) {
        TarnViewController& console = *fixture->console;
        console.resize(1280, 800);
        console.show();
        [&] { QVERIFY(QTest::qWaitForWindowExposed(&console)); }();
        SpectrumView* view = console.spectrumDisplay();
        view->setFixedHeight(viewHeight);
        QCoreApplication::processEvents();
        return view;
    }

private slots:
    void init() { fixture = std::make_unique<ConsoleFixture>(); }
    void cleanup() { fixture.reset(); }

    // (The frames drawn for a fixed input are pinned by their own test.)

    // A strongest bin below 1.0 is not stretched to the top: 0.8 over a
    // floor of 0.5 reaches (0.8 - 0.5) / (1.0 - 0.5) = 0.6 of the height.
    void aWeakSpectrumIsNotStretchedToTheTop() {
        SpectrumView* view = shownView(300);
        fixture->console->switchViews();
        // Bin 128 is 1000 Hz, drawn at x = (128 - 64) / 256 = 0.25.
        fixture->fillAllRows(0.5f);
        for (int r = 0; r < 32; ++r)
            fixture->row(r)[128] = 0.8f;
        const QImage image = view->drawAndGrab();
        QVERIFY(!near(image.pixel(image.width() / 4, image.height() * 30 / 100), white));
        QVERIFY(lineAt(image, 63.9 / 256, image.height() * 45 / 100, white));
    }

    void nothingIsDrawnInAnotherModeOrInTheBackground() {
        SpectrumView* view = shownView(300);
        fixture->fillAllRows(0.75f);
        const QRgb before = view->drawAndGrab().pixel(320, 150);
        QVERIFY(near(before, qRgb(64, 128, 128)));
        fixture->fillAllRows(3.0f);
        fixture->console->displayMode = 2;
        QCOMPARE(view->drawAndGrab().pixel(320, 150), before);
        fixture->console->displayMode = 0;
        fixture->console->inBackground = true;
        QCOMPARE(view->drawAndGrab().pixel(320, 150), before);
    }

    void keyboardClosesAndTouchTunes() {
        shownView(300);
        fixture->console->activateWindow();
        fixture->console->textInput()->setFocus();
        QVERIFY(QTest::qWaitFor([&] { return fixture->console->textInput()->hasFocus(); }));
        QTest::keyClick(fixture->console->textInput(), Qt::Key_Escape);
        QVERIFY(!fixture->console->textInput()->hasFocus());

        // A one-finger swipe down anywhere on the console does the same; a
        // sideways one does not.
        QPointingDevice* touchScreen = QTest::createTouchDevice();
        QWindow* window = fixture->console->windowHandle();
        // Start on a label, which takes no focus when touched.
        const QPoint start =
            fixture->console->signalAtFrequency()->mapTo(fixture->console.get(), QPoint(2, 2));
        fixture->console->textInput()->setFocus();
        QVERIFY(QTest::qWaitFor([&] { return fixture->console->textInput()->hasFocus(); }));
        QTest::touchEvent(window, touchScreen).press(0, start);
        QTest::touchEvent(window, touchScreen).move(0, start + QPoint(100, 40));
        QTest::touchEvent(window, touchScreen).release(0, start + QPoint(100, 40));
        QVERIFY(fixture->console->textInput()->hasFocus());
        QTest::touchEvent(window, touchScreen).press(0, start);
        QTest::touchEvent(window, touchScreen).move(0, start + QPoint(10, 60));
        QTest::touchEvent(window, touchScreen).release(0, start + QPoint(10, 60));
        QVERIFY(!fixture->console->textInput()->hasFocus());

        // A touch on the display tunes as a click does: about a quarter of
        // the way across the unzoomed span is about 1000 Hz (exactly, when
        // the view's width divides by 4).
        SpectrumView* view = fixture->console->spectrumDisplay();
        const int x = view->width() / 4;
        const double expected =
            FrequencyAxis::forTapping(fixture->engine().frequency(), 0, false)
                .frequencyAt(static_cast<float>(x), static_cast<float>(view->width()));
        QVERIFY(std::fabs(expected - 1000.0) < 5.0);
        const QPoint quarter = view->mapTo(fixture->console.get(), QPoint(x, 20));
        QTest::touchEvent(window, touchScreen).press(0, quarter);
        QTest::touchEvent(window, touchScreen).release(0, quarter);
        QCOMPARE(fixture->engine().frequency(), expected);
    }

    void backgroundReleasesTheContextAndForegroundMakesANewOne() {
        SpectrumView* view = shownView(300);
        TarnViewController& console = *fixture->console;
        const int frames = view->framesDrawn();
        console.updateDisplay(); // each tick draws once, at once
        QCOMPARE(view->framesDrawn(), frames + 1);
        const int created = SpectrumView::contextsCreated();
        const int released = SpectrumView::contextsReleased();
        console.enteredBackground();
        QCOMPARE(SpectrumView::contextsReleased(), released + 1);
        console.updateDisplay(); // a timer still running draws nothing

        console.enteredForeground();
        QVERIFY(console.spectrumDisplay() != nullptr);
        QTRY_VERIFY(console.spectrumDisplay()->isValid()); // shown, with its context
        fixture->fillAllRows(2.0f);
        const QImage image = console.spectrumDisplay()->drawAndGrab();
        QCOMPARE(SpectrumView::contextsCreated(), created + 1);
        QVERIFY(lineAt(image, 0.25, image.height() / 2, qRgb(170, 255, 255)));
    }
};

QTEST_MAIN(ConsoleGLTest)
#include "test_console_gl.moc"
