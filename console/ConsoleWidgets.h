// Small controls of the console that the widget set lacks: a slider over a
// float range and a momentary segmented control.
#pragma once

#include <QSlider>
#include <QStringList>
#include <QWidget>

class QToolButton;

// A horizontal slider whose value is a float level (the engine's own level
// units, natural log of power) in steps of 0.1. Setting the value from code
// never fires levelChanged; only the operator's moves do.
class LevelSlider : public QSlider {
    Q_OBJECT
public:
    explicit LevelSlider(QWidget* parent = nullptr);

    void setMinimumLevel(float level);
    void setMaximumLevel(float level);
    float minimumLevel() const;
    float maximumLevel() const;
    // Clamped to the range; a level below the minimum shows the minimum.
    void setLevel(float level);
    float level() const;

signals:
    void levelChanged(float level);

private:
    static constexpr float kStepsPerUnit = 10.0f; // 0.1 a step
};

// A row of buttons acting as one segmented control whose segments do not
// stay selected: each press, also a repeated press of the same segment,
// selects that segment, fires valueChanged and clears the selection again.
class MomentarySegmentedControl : public QWidget {
    Q_OBJECT
public:
    explicit MomentarySegmentedControl(QWidget* parent = nullptr);

    void setSegments(const QStringList& titles);
    int numberOfSegments() const { return static_cast<int>(buttons.size()); }
    // The segment being pressed while valueChanged is delivered, -1 otherwise.
    int selectedSegmentIndex() const { return selected; }
    // Presses segment `index` as the operator would.
    void pressSegment(int index);

signals:
    void valueChanged();

private:
    QList<QToolButton*> buttons;
    int selected = -1;
};
