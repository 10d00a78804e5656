#include "console/ChannelMarkers.h"

#include "console/FrequencyAxis.h"

#include <QMouseEvent>
#include <QPainter>
#include <QRegion>

#include <cmath>

namespace {

QRect markerRect(int centre) {
    return {centre - ChannelMarkers::kWidth / 2, 0, ChannelMarkers::kWidth,
            ChannelMarkers::kHeight};
}

} // namespace

ChannelMarkers::ChannelMarkers(QWidget* view) : QWidget(view) {
    setObjectName(QStringLiteral("channelMarkers"));
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_NoSystemBackground);
    setCursor(Qt::PointingHandCursor);
    hide();
}

void ChannelMarkers::showMarkers(const View& display, std::vector<Marker> markers) {
    QWidget* view = parentWidget();
    shown.clear();
    centres.clear();
    if (view == nullptr || (display.displayMode != 0 && display.displayMode != 1)) {
        drawn.clear();
        hide();
        return;
    }
    if (geometry() != view->rect())
        setGeometry(view->rect());
    const FrequencyAxis axis =
        FrequencyAxis::forDrawing(display.frequency, display.displayMode, display.zoomed);
    QRegion mask;
    for (const Marker& marker : markers) {
        const float position = axis.positionOf(marker.frequency);
        if (!(position >= 0.0f && position <= 1.0f))
            continue;
        const int centre = static_cast<int>(std::lround(position * static_cast<float>(width())));
        shown.push_back(marker);
        centres.push_back(centre);
        mask += markerRect(centre);
    }
    // An empty mask would mean no mask at all: hide instead.
    if (mask.isEmpty()) {
        drawn.clear();
        hide();
        return;
    }
    // Each repaint over the GL view costs a window composition: only when
    // something moved.
    std::vector<int> now = centres;
    for (const Marker& marker : shown)
        now.push_back(marker.callingCq ? 1 : 0);
    if (isVisible() && now == drawn && drawnOver == view->rect())
        return;
    drawn = std::move(now);
    drawnOver = view->rect();
    setMask(mask);
    raise();
    show();
    update();
}

void ChannelMarkers::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(0, 0, 0, 160), 1.0));
    for (size_t i = 0; i < shown.size(); ++i) {
        const QRect box = markerRect(centres[i]);
        const QPointF tip(centres[i] + 0.5, box.bottom());
        const QPolygonF triangle{QPointF(box.left(), 0), QPointF(box.right() + 1, 0), tip};
        painter.setBrush(shown[i].callingCq ? QColor(255, 176, 0) : QColor(0, 220, 255));
        painter.drawPolygon(triangle);
    }
}

void ChannelMarkers::mousePressEvent(QMouseEvent* event) {
    const int x = event->position().toPoint().x();
    for (size_t i = 0; i < shown.size(); ++i) {
        if (markerRect(centres[i]).contains(x, markerRect(centres[i]).center().y())) {
            emit tuneRequested(shown[i].frequency);
            event->accept();
            return;
        }
    }
    event->ignore();
}
