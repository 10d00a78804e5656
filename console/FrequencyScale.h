// FrequencyScale: the strip above the spectrum and waterfall that names the
// frequencies across them. Ticks every 100 Hz with a label every 500 Hz over
// the whole band, finer steps when zoomed; a marker at the tuned frequency;
// RF labels (kHz) instead of audio ones while the radio's dial frequency and
// sideband are known; and, while the pointer is over the display, the
// frequency under it.
//
// It places everything through the console's FrequencyAxis (the drawn span),
// so its ticks stand where the drawing puts those frequencies.
#pragma once

#include "console/FrequencyAxis.h"
#include "rig/RfFrequency.h"

#include <QPointer>
#include <QStringList>
#include <QWidget>

#include <functional>
#include <optional>

class FrequencyScale : public QWidget {
    Q_OBJECT
public:
    // What the display shows now: tuned frequency (Hz), display mode (0
    // waterfall, 1 spectrum) and zoom.
    struct View {
        double frequency = 1500.0;
        int displayMode = 0;
        bool zoomed = false;
    };
    using ViewSource = std::function<View()>;

    FrequencyScale(ViewSource source, QWidget* parent = nullptr);

    // The radio's dial (Hz) and sideband; nothing (the default) shows audio
    // frequencies.
    void setDial(std::optional<double> dialHz, tarn::rig::Sideband sideband);
    // Shows the frequency under the pointer while it is over `display` or
    // any widget inside it.
    void followPointerOver(QWidget* display);

    // Tick spacing and label spacing (Hz) for the current span.
    double tickStep() const;
    double labelStep() const { return tickStep() * 5.0; }
    // The labels as drawn now, left to right.
    QStringList labels() const;
    // The frequency under the pointer, if it is over the display.
    std::optional<double> pointerFrequency() const { return hover; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    FrequencyAxis axis() const;
    QString labelFor(double audioHz) const;
    void watch(QWidget* widget);

    ViewSource source;
    std::optional<double> dial;
    tarn::rig::Sideband sideband = tarn::rig::Sideband::Unknown;
    std::optional<double> hover;
    QPointer<QWidget> display;
};
