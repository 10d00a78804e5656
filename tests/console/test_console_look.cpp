// The console as shown on a screen, in the light and the dark theme, in a
// window of 800x480 and of 1920x1080 pixels, at the scale QT_SCALE_FACTOR
// gives (CTest runs this at 1, 1.5 and 2): the frequency scale draws its
// labels where the display puts those frequencies, and no visible widget is
// cut off by its parent or too narrow for its text. Needs a real GL context
// (run under Xvfb on a 1920x1080 screen).
#include "console/FrequencyAxis.h"
#include "console/FrequencyScale.h"
#include "console/SpectrumView.h"
#include "console/Theme.h"
#include "tests/console/ConsoleFixture.h"

#include <QAbstractButton>
#include <QAbstractScrollArea>
#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QToolBar>
#include <QToolButton>
#include <QtTest>

#include <cmath>

namespace {

// Labels of the unzoomed waterfall at 1500 Hz: every 500 Hz of the drawn span.
QStringList expectedLabels() {
    const FrequencyAxis span = FrequencyAxis::forDrawing(1500.0, 0, false);
    QStringList labels;
    for (double f = std::ceil(span.low() / 500.0) * 500.0; f <= span.high(); f += 500.0)
        labels << QString::number(f, 'f', 0);
    return labels;
}

// Whether any pixel in `box` of `image` (device pixels) is near `ink`.
bool hasInk(const QImage& image, const QRect& box, const QColor& ink) {
    for (int y = std::max(0, box.top()); y <= std::min(image.height() - 1, box.bottom()); ++y)
        for (int x = std::max(0, box.left()); x <= std::min(image.width() - 1, box.right()); ++x) {
            const QColor c = image.pixelColor(x, y);
            if (std::abs(c.red() - ink.red()) + std::abs(c.green() - ink.green()) +
                    std::abs(c.blue() - ink.blue()) <
                96)
                return true;
        }
    return false;
}

// What a scroll area shows may lie outside its viewport by design; the
// widgets inside it must still fit what is shown.
bool scrolled(const QWidget* widget) {
    const QWidget* parent = widget->parentWidget();
    const auto* area = qobject_cast<const QAbstractScrollArea*>(parent->parentWidget());
    return area != nullptr && area->viewport() == parent;
}

QString describe(const QWidget* w) {
    return QStringLiteral("%1 '%2' %3x%4+%5+%6")
        .arg(QString::fromLatin1(w->metaObject()->className()), w->objectName())
        .arg(w->width())
        .arg(w->height())
        .arg(w->x())
        .arg(w->y());
}

// What is wrong with one visible widget: outside its parent, or narrower
// than its text needs. Empty when nothing is.
QString clipping(const QWidget* w) {
    const QWidget* parent = w->parentWidget();
    if (!parent->rect().contains(w->geometry()))
        return describe(w) + QStringLiteral(" reaches outside ") + describe(parent);
    if (const auto* label = qobject_cast<const QLabel*>(w);
        label != nullptr && !label->wordWrap() && label->textFormat() != Qt::RichText) {
        const int needed = label->fontMetrics().horizontalAdvance(label->text());
        if (needed > label->contentsRect().width())
            return describe(w) + QStringLiteral(" is %1 wide for its text").arg(needed);
    }
    if (const auto* button = qobject_cast<const QAbstractButton*>(w);
        button != nullptr && !button->text().isEmpty()) {
        const int needed = button->minimumSizeHint().width();
        if (w->width() < needed)
            return describe(w) + QStringLiteral(" is narrower than its %1").arg(needed);
    }
    return {};
}

} // namespace

class ConsoleLookTest : public QObject {
    Q_OBJECT

private slots:
    void looks_data() {
        QTest::addColumn<QString>("theme");
        QTest::addColumn<QSize>("pixels");
        for (const char* theme : {"light", "dark"})
            for (const QSize pixels : {QSize(800, 480), QSize(1920, 1080)})
                QTest::addRow("%s %dx%d", theme, pixels.width(), pixels.height())
                    << QString::fromLatin1(theme) << pixels;
    }

    void looks() {
        QFETCH(QString, theme);
        QFETCH(QSize, pixels);
        theme::apply(*qApp, theme);
        ConsoleFixture fixture;
        fixture.fillAllRows(0.5f);
        TarnViewController& console = *fixture.console;
        const qreal ratio = console.devicePixelRatioF();
        const QSize wanted(qRound(pixels.width() / ratio), qRound(pixels.height() / ratio));
        console.resize(wanted);
        console.show();
        QVERIFY(QTest::qWaitForWindowExposed(&console));
        QCOMPARE(theme::isDark(console), theme == QStringLiteral("dark"));
        console.spectrumDisplay()->display();
        QCoreApplication::processEvents();

        // The window keeps the size asked for: its layout needs no more.
        QVERIFY2(console.width() <= wanted.width() && console.height() <= wanted.height(),
                 qPrintable(QStringLiteral("window %1x%2 for %3x%4 points")
                                .arg(console.width())
                                .arg(console.height())
                                .arg(wanted.width())
                                .arg(wanted.height())));

        // The scale: the labels of the drawn span, each drawn in full, apart
        // from its neighbours, at the place of its frequency.
        auto* scale = console.findChild<FrequencyScale*>(QStringLiteral("frequencyScale"));
        QVERIFY(scale != nullptr && scale->isVisible());
        QCOMPARE(scale->labels(), expectedLabels());
        QVERIFY(scale->height() >= scale->fontMetrics().height());
        const QImage drawn = scale->grab().toImage();
        const FrequencyAxis span = FrequencyAxis::forDrawing(1500.0, 0, false);
        double previousRight = -1.0;
        for (const QString& label : expectedLabels()) {
            const double x = span.positionOf(label.toDouble()) * scale->width();
            const double textWidth = scale->fontMetrics().horizontalAdvance(label);
            const double left = std::clamp(x - textWidth / 2.0, 0.0, scale->width() - textWidth);
            QVERIFY2(left > previousRight, qPrintable(label + QStringLiteral(" overlaps")));
            previousRight = left + textWidth;
            const QRect box =
                QRectF(left * ratio, 0, textWidth * ratio, scale->fontMetrics().height() * ratio)
                    .toAlignedRect();
            QVERIFY2(hasInk(drawn, box, scale->palette().windowText().color()),
                     qPrintable(label + QStringLiteral(" not drawn")));
        }

        // Every visible widget inside its parent and wide enough for its text.
        QStringList faults;
        for (const QWidget* w : console.findChildren<QWidget*>()) {
            if (!w->isVisible() || w->isWindow() || scrolled(w))
                continue;
            if (const QString fault = clipping(w); !fault.isEmpty())
                faults << fault;
        }
        // Scrolled panels scroll up and down only: nothing is cut off at the side.
        for (const QScrollArea* area : console.findChildren<QScrollArea*>())
            if (area->isVisible() && area->widget()->width() > area->viewport()->width())
                faults << describe(area->widget()) + QStringLiteral(" wider than its view");
        QVERIFY2(faults.isEmpty(), qPrintable(faults.join(QStringLiteral("\n"))));

        // What is received and what is typed stay in view, outside any
        // scrolled panel: two lines of text at least, and the input row whole.
        const QPlainTextEdit* received = console.textOutput();
        QVERIFY(received->isVisible() && !scrolled(received->parentWidget()));
        QVERIFY(received->viewport()->height() >= 2 * received->fontMetrics().lineSpacing());
        for (const QLineEdit* input : {console.textInput(), console.qsoInput()}) {
            QVERIFY(input->isVisible() && input->parentWidget() == console.centralWidget());
            QVERIFY(input->height() >= input->minimumSizeHint().height());
        }
    }
};

QTEST_MAIN(ConsoleLookTest)
#include "test_console_look.moc"
