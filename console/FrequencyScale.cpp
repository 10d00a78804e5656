#include "console/FrequencyScale.h"

#include <QChildEvent>
#include <QEvent>
#include <QMouseEvent>
#include <QPainter>

#include <cmath>

namespace {
// Ticks at least this many pixels apart.
constexpr double kLeastTickSpacing = 6.0;
} // namespace

FrequencyScale::FrequencyScale(ViewSource source, QWidget* parent)
    : QWidget(parent), source(std::move(source)) {
    setObjectName(QStringLiteral("frequencyScale"));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setMouseTracking(true);
    setToolTip(tr("Frequency scale: the tuned frequency is marked"));
}

void FrequencyScale::setDial(std::optional<double> dialHz, tarn::rig::Sideband band) {
    dial = dialHz;
    sideband = band;
    update();
}

FrequencyAxis FrequencyScale::axis() const {
    const View view = source();
    return FrequencyAxis::forDrawing(view.frequency, view.displayMode, view.zoomed);
}

double FrequencyScale::tickStep() const {
    // 100 Hz across the whole band; zoomed spans get 20 Hz or 5 Hz.
    const FrequencyAxis span = axis();
    const double hertz = static_cast<double>(span.high() - span.low());
    for (const double step : {5.0, 20.0, 100.0, 500.0})
        if (step * 30.0 >= hertz && width() * step / hertz >= kLeastTickSpacing)
            return step;
    return hertz / width() * kLeastTickSpacing > 100.0 ? 500.0 : 100.0;
}

QString FrequencyScale::labelFor(double audioHz) const {
    if (dial) {
        if (const std::optional<double> rf = tarn::rig::rfFrequency(*dial, sideband, audioHz))
            return QString::number(*rf / 1000.0, 'f', 2);
    }
    return QString::number(audioHz, 'f', 0);
}

QStringList FrequencyScale::labels() const {
    const FrequencyAxis span = axis();
    const double step = labelStep();
    QStringList out;
    for (double f = std::ceil(span.low() / step) * step; f <= span.high(); f += step)
        out << labelFor(f);
    return out;
}

QSize FrequencyScale::sizeHint() const {
    return {200, fontMetrics().height() + 8};
}

void FrequencyScale::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), palette().window());
    const FrequencyAxis span = axis();
    const double w = width();
    const auto xOf = [&](double f) { return static_cast<double>(span.positionOf(f)) * w; };
    const QColor ink = palette().windowText().color();
    const int h = height();
    const int textHeight = fontMetrics().height();

    const double step = tickStep();
    const double labelEvery = labelStep();
    painter.setPen(ink);
    for (double f = std::ceil(span.low() / step) * step; f <= span.high(); f += step) {
        const double x = xOf(f);
        const bool labelled = std::fmod(f, labelEvery) == 0.0;
        painter.drawLine(QPointF(x, h - (labelled ? 6 : 3)), QPointF(x, h));
        if (!labelled)
            continue;
        const QString text = labelFor(f);
        const double textWidth = fontMetrics().horizontalAdvance(text);
        const double left = std::clamp(x - textWidth / 2.0, 0.0, w - textWidth);
        painter.drawText(QRectF(left, 1, textWidth, textHeight), Qt::AlignCenter, text);
    }
    // The tuned frequency, in the display's highlight colour.
    const double tuned = xOf(source().frequency);
    painter.setPen(QPen(palette().highlight().color(), 2));
    painter.drawLine(QPointF(tuned, 0), QPointF(tuned, h));
    if (hover) {
        const QString text = tr("%1 Hz").arg(labelFor(*hover));
        const double textWidth = fontMetrics().horizontalAdvance(text) + 6;
        const double left = std::clamp(xOf(*hover) + 4, 0.0, w - textWidth);
        const QRectF box(left, 1, textWidth, textHeight);
        painter.fillRect(box, palette().toolTipBase());
        painter.setPen(palette().toolTipText().color());
        painter.drawText(box, Qt::AlignCenter, text);
    }
}

void FrequencyScale::followPointerOver(QWidget* widget) {
    display = widget;
    watch(widget);
    for (QWidget* child : widget->findChildren<QWidget*>())
        watch(child);
}

void FrequencyScale::watch(QWidget* widget) {
    widget->setMouseTracking(true);
    widget->installEventFilter(this);
}

bool FrequencyScale::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::ChildAdded) {
        // The spectrum view is made anew on each return to the foreground.
        if (auto* child = qobject_cast<QWidget*>(static_cast<QChildEvent*>(event)->child()))
            watch(child);
    } else if (event->type() == QEvent::MouseMove && display) {
        const QPointF at =
            display->mapFromGlobal(static_cast<QMouseEvent*>(event)->globalPosition());
        const View view = source();
        hover = FrequencyAxis::forTapping(view.frequency, view.displayMode, view.zoomed)
                    .frequencyAt(static_cast<float>(at.x()), static_cast<float>(display->width()));
        update();
    } else if (event->type() == QEvent::Leave && watched == display.data()) {
        hover.reset();
        update();
    }
    return QWidget::eventFilter(watched, event);
}
