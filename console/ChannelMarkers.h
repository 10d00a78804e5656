// Small markers on the waterfall or spectrum, one at each band-scanner
// station's carrier: a triangle at the top edge, tinted for stations that
// have called CQ. The widget lies over the GL view as its child and takes
// mouse input only on the markers (its mask), so taps anywhere else still
// reach the view; the view's own drawing is untouched.
//
// Positions come from the display's drawn frequency axis, so a marker sits
// over its station's trace in every display mode and zoom. Main thread only.
#pragma once

#include <QWidget>

#include <vector>

class ChannelMarkers : public QWidget {
    Q_OBJECT

public:
    struct Marker {
        double frequency = 0.0; // carrier, Hz
        bool callingCq = false;
    };
    // What the display shows: tuned frequency (Hz), mode (0 waterfall,
    // 1 spectrum, others nothing) and zoom.
    struct View {
        double frequency = 0.0;
        int displayMode = 0;
        bool zoomed = false;
    };
    static constexpr int kWidth = 11;  // points, a marker's clickable width
    static constexpr int kHeight = 12; // points, from the top edge

    explicit ChannelMarkers(QWidget* view);

    // Places the markers over the view as the display shows them now;
    // hidden when none is in sight. The view owns the markers: they go when
    // it goes (as it does in the background).
    void showMarkers(const View& display, std::vector<Marker> markers);

    // The centres of the markers shown, in points from the view's left edge,
    // in the order given.
    const std::vector<int>& markerCentres() const { return centres; }

signals:
    void tuneRequested(double frequency);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    std::vector<Marker> shown;
    std::vector<int> centres;
    std::vector<int> drawn; // centres and tints last drawn, to skip repaints of the same
    QRect drawnOver;
};
