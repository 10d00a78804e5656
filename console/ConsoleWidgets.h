// Small controls of the console that the widget set lacks: a slider over a
// float range, a momentary segmented control and a row layout that wraps.
#pragma once

#include <QLayout>
#include <QList>
#include <QScrollArea>
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

// A row of controls that wraps onto further lines when the width is too
// small for all of them, so that a narrow window (a small screen, or 150 %
// and 200 % scale) shows every control whole. On each line the items that
// expand sideways (a slider, a spacer) share the width left over, as in a
// box layout; a spacer at the start of a line is dropped. Hidden widgets
// take no room.
class FlowLayout : public QLayout {
public:
    explicit FlowLayout(QWidget* parent = nullptr);
    ~FlowLayout() override;

    // Moves the items of `holder`'s box layout (widgets, spacers, inner
    // layouts), in order, into a flow layout with the same margins and
    // spacing, which takes its place.
    static FlowLayout* replaceLayoutOf(QWidget* holder);

    void addItem(QLayoutItem* item) override;
    int count() const override;
    QLayoutItem* itemAt(int index) const override;
    QLayoutItem* takeAt(int index) override;
    Qt::Orientations expandingDirections() const override;
    bool hasHeightForWidth() const override;
    int heightForWidth(int width) const override;
    QSize minimumSize() const override;
    QSize sizeHint() const override;
    void setGeometry(const QRect& rect) override;

private:
    // Places the items in `rect` (when `apply`); returns the height used.
    int arrange(const QRect& rect, bool apply) const;

    QList<QLayoutItem*> items;
};

// A scroll area that scrolls up and down only: it is never narrower than
// what it shows needs (with room for its scroll bar), so a narrow window
// wraps or squeezes the content instead of cutting it off at the side.
class VerticalScrollArea : public QScrollArea {
    Q_OBJECT
public:
    explicit VerticalScrollArea(QWidget* parent = nullptr);

    // All of the content at the present width (wrapped rows included), so
    // that a window with room shows it without a scroll bar.
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    // Follows the content widget (a child of the viewport, whenever it is
    // set) for changes of its least width.
    bool eventFilter(QObject* watched, QEvent* event) override;

protected:
    void resizeEvent(QResizeEvent* event) override;
};
