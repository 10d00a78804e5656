// The band panel: one row per station the band scanner follows, lowest
// frequency first, with its carrier, SNR, IMD and the newest received text
// (about the last 60 characters, so the text scrolls as it arrives). Rows of
// stations that have called CQ stand out (bold, tinted). While the radio
// reports its dial and sideband, each row also shows the station's RF
// frequency in kHz, as the console's RF readout does; the column is hidden
// otherwise.
//
// A click on a row asks for the receiver to be tuned to that station; a
// click on a word of its text also offers the word (a call sign, say) to the
// QSO form. Main thread only.
#pragma once

#include "rig/RfFrequency.h"
#include "scanner/ScannerTypes.h"

#include <QTableWidget>

#include <optional>
#include <vector>

class BandPanel : public QTableWidget {
    Q_OBJECT

public:
    static constexpr int kShownCharacters = 60;
    enum Column { frequencyColumn, rfColumn, snrColumn, imdColumn, textColumn, columnCount };

    explicit BandPanel(QWidget* parent = nullptr);

    // Replaces the rows with these channels (sorted here by frequency).
    void showChannels(std::vector<scanner::ChannelSnapshot> channels);
    // The radio's dial (Hz) and sideband, or none while they are not known;
    // the shown rows follow at once.
    void setDial(std::optional<double> dialHz, tarn::rig::Sideband sideband);

    // The carrier (Hz) of the station in `row`.
    double rowFrequency(int row) const;
    // The row stands out: the station has called CQ.
    bool rowStandsOut(int row) const;
    // The word of `row`'s shown text under x (points from the cell's left).
    QString wordAt(int row, int x) const;

signals:
    void tuneRequested(double frequency);
    void wordClicked(const QString& word);

protected:
    void mousePressEvent(QMouseEvent* event) override;

private:
    // "14071.000" for a carrier at `audioHz`, or "" while the dial is unknown.
    QString rfText(double audioHz) const;

    std::optional<double> dial;
    tarn::rig::Sideband dialSideband = tarn::rig::Sideband::Unknown;
};
