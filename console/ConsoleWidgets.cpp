#include "console/ConsoleWidgets.h"

#include <QHBoxLayout>
#include <QSignalBlocker>
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
