#include "console/ConsoleWidgets.h"

#include <QChildEvent>
#include <QEvent>
#include <QHBoxLayout>
#include <QResizeEvent>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QStyle>
#include <QToolButton>

#include <algorithm>
#include <cmath>

LevelSlider::LevelSlider(QWidget* parent) : QSlider(Qt::Horizontal, parent) {
    setSingleStep(1);
    setPageStep(10);
    connect(this, &QSlider::valueChanged, this, [this](int) { emit levelChanged(level()); });
}

void LevelSlider::setMinimumLevel(float level) {
    const QSignalBlocker blocker(this);
    setMinimum(static_cast<int>(std::lround(level * kStepsPerUnit)));
}

void LevelSlider::setMaximumLevel(float level) {
    const QSignalBlocker blocker(this);
    setMaximum(static_cast<int>(std::lround(level * kStepsPerUnit)));
}

float LevelSlider::minimumLevel() const {
    return static_cast<float>(minimum()) / kStepsPerUnit;
}
float LevelSlider::maximumLevel() const {
    return static_cast<float>(maximum()) / kStepsPerUnit;
}

void LevelSlider::setLevel(float level) {
    const QSignalBlocker blocker(this);
    setValue(static_cast<int>(std::lround(level * kStepsPerUnit))); // QSlider clamps
}

float LevelSlider::level() const {
    return static_cast<float>(value()) / kStepsPerUnit;
}

MomentarySegmentedControl::MomentarySegmentedControl(QWidget* parent) : QWidget(parent) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
}

void MomentarySegmentedControl::setSegments(const QStringList& titles) {
    qDeleteAll(buttons);
    buttons.clear();
    for (int i = 0; i < titles.size(); ++i) {
        auto* button = new QToolButton(this);
        button->setText(titles[i]);
        button->setAutoRaise(false);
        button->setFocusPolicy(Qt::NoFocus);
        // At least 40 points, and never narrower than its text.
        button->setMinimumWidth(std::max(40, button->sizeHint().width()));
        connect(button, &QToolButton::clicked, this, [this, i] { pressSegment(i); });
        layout()->addWidget(button);
        buttons.append(button);
    }
}

void MomentarySegmentedControl::pressSegment(int index) {
    selected = index;
    emit valueChanged();
    selected = -1;
}

FlowLayout::FlowLayout(QWidget* parent) : QLayout(parent) {}

FlowLayout::~FlowLayout() {
    while (QLayoutItem* item = takeAt(0))
        delete item;
}

FlowLayout* FlowLayout::replaceLayoutOf(QWidget* holder) {
    QLayout* row = holder->layout();
    auto* flow = new FlowLayout;
    flow->setContentsMargins(row->contentsMargins());
    // A row without spacing of its own follows the style's.
    flow->setSpacing(row->spacing() >= 0
                         ? row->spacing()
                         : holder->style()->layoutSpacing(QSizePolicy::PushButton,
                                                          QSizePolicy::PushButton, Qt::Horizontal));
    while (QLayoutItem* item = row->takeAt(0)) {
        flow->addItem(item);
        if (QLayout* inner = item->layout())
            flow->addChildLayout(inner); // the old row let go of it
    }
    delete row;
    holder->setLayout(flow);
    return flow;
}

void FlowLayout::addItem(QLayoutItem* item) {
    items.append(item);
    invalidate();
}

int FlowLayout::count() const {
    return static_cast<int>(items.size());
}

QLayoutItem* FlowLayout::itemAt(int index) const {
    return index >= 0 && index < items.size() ? items[index] : nullptr;
}

QLayoutItem* FlowLayout::takeAt(int index) {
    if (index < 0 || index >= items.size())
        return nullptr;
    QLayoutItem* item = items.takeAt(index);
    invalidate();
    return item;
}

Qt::Orientations FlowLayout::expandingDirections() const {
    return Qt::Horizontal;
}

bool FlowLayout::hasHeightForWidth() const {
    return true;
}

int FlowLayout::heightForWidth(int width) const {
    return arrange(QRect(0, 0, width, 0), false);
}

QSize FlowLayout::minimumSize() const {
    // As narrow as the widest item; as tall as one line (the parent asks
    // heightForWidth for the real height).
    QSize least;
    for (const QLayoutItem* item : items)
        if (!item->isEmpty())
            least = least.expandedTo(item->minimumSize());
    const QMargins m = contentsMargins();
    return least + QSize(m.left() + m.right(), m.top() + m.bottom());
}

QSize FlowLayout::sizeHint() const {
    // Everything on one line.
    int width = 0;
    int height = 0;
    int shown = 0;
    for (QLayoutItem* item : items) {
        if (item->isEmpty() && item->spacerItem() == nullptr)
            continue;
        width += item->sizeHint().width();
        height = std::max(height, item->sizeHint().height());
        ++shown;
    }
    const QMargins m = contentsMargins();
    return {width + std::max(0, shown - 1) * spacing() + m.left() + m.right(),
            height + m.top() + m.bottom()};
}

void FlowLayout::setGeometry(const QRect& rect) {
    QLayout::setGeometry(rect);
    arrange(rect, true);
}

int FlowLayout::arrange(const QRect& rect, bool apply) const {
    const QRect area = rect.marginsRemoved(contentsMargins());
    const int gap = std::max(0, spacing());
    int top = area.top();
    QList<QLayoutItem*> line;
    int lineWidth = 0; // of the items on the line, gaps included

    // Places one full line at `top` and moves `top` below it.
    auto finishLine = [&] {
        if (line.isEmpty())
            return;
        int lineHeight = 0;
        int expanding = 0;
        for (const QLayoutItem* item : line) {
            lineHeight = std::max(lineHeight, item->sizeHint().height());
            if (item->expandingDirections() & Qt::Horizontal)
                ++expanding;
        }
        if (apply) {
            int spare = std::max(0, area.width() - lineWidth);
            int x = area.left();
            for (QLayoutItem* item : line) {
                int width = std::min(item->sizeHint().width(), area.width());
                width = std::max(width, item->minimumSize().width());
                if (expanding > 0 && (item->expandingDirections() & Qt::Horizontal)) {
                    const int share = spare / expanding;
                    width += share;
                    spare -= share;
                    --expanding;
                }
                // Items that cannot grow in height sit centred on the line.
                const int height = std::min(lineHeight, item->maximumSize().height());
                item->setGeometry(QRect(x, top + (lineHeight - height) / 2, width, height));
                x += width + gap;
            }
        }
        top += lineHeight + gap;
        line.clear();
        lineWidth = 0;
    };

    for (QLayoutItem* item : items) {
        const bool spacer = item->spacerItem() != nullptr;
        if (item->isEmpty() && !spacer)
            continue;
        if (spacer && line.isEmpty())
            continue;
        const int width =
            std::max(std::min(item->sizeHint().width(), area.width()), item->minimumSize().width());
        const int needed = line.isEmpty() ? width : lineWidth + gap + width;
        if (!line.isEmpty() && needed > area.width()) {
            finishLine();
            if (spacer)
                continue;
            lineWidth = width;
        } else {
            lineWidth = needed;
        }
        line.append(item);
    }
    finishLine();
    const int used = top - area.top() - (top > area.top() ? gap : 0);
    const QMargins m = contentsMargins();
    return used + m.top() + m.bottom();
}

VerticalScrollArea::VerticalScrollArea(QWidget* parent) : QScrollArea(parent) {
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWidgetResizable(true);
    // A click or touch on a label in the area must not take the focus from
    // the input field; the controls inside take it themselves.
    setFocusPolicy(Qt::NoFocus);
    viewport()->installEventFilter(this);
}

QSize VerticalScrollArea::sizeHint() const {
    const QWidget* content = widget();
    if (content == nullptr)
        return QScrollArea::sizeHint();
    const int frame = 2 * frameWidth();
    QSize wanted = content->sizeHint();
    if (content->hasHeightForWidth() && width() > frame)
        wanted.setHeight(content->heightForWidth(width() - frame));
    return wanted + QSize(frame, frame);
}

void VerticalScrollArea::resizeEvent(QResizeEvent* event) {
    QScrollArea::resizeEvent(event);
    if (event->size().width() != event->oldSize().width())
        updateGeometry(); // rows wrap differently: the height wanted changes
}

QSize VerticalScrollArea::minimumSizeHint() const {
    QSize least = QScrollArea::minimumSizeHint();
    if (const QWidget* content = widget()) {
        const int frame = 2 * frameWidth();
        least.setWidth(std::max(least.width(), content->minimumSizeHint().width() +
                                                   verticalScrollBar()->sizeHint().width() +
                                                   frame));
    }
    return least;
}

bool VerticalScrollArea::eventFilter(QObject* watched, QEvent* event) {
    if (watched == viewport() && event->type() == QEvent::ChildAdded) {
        if (QObject* child = static_cast<QChildEvent*>(event)->child(); child->isWidgetType())
            child->installEventFilter(this);
    } else if (watched != viewport() && watched == widget() &&
               event->type() == QEvent::LayoutRequest) {
        updateGeometry(); // a control shown, hidden or relabelled
    }
    return QScrollArea::eventFilter(watched, event);
}
