// The band panel: one row per station the band scanner follows, lowest
// frequency first, with its carrier, SNR, IMD and the newest received text
// (about the last 60 characters, so the text scrolls as it arrives). Rows of
// stations that have called CQ stand out (bold, tinted).
//
// A click on a row asks for the receiver to be tuned to that station; a
// click on a word of its text also offers the word (a call sign, say) to the
// QSO form. Main thread only.
#pragma once

#include "scanner/ScannerTypes.h"

#include <QTableWidget>

#include <vector>

class BandPanel : public QTableWidget {
    Q_OBJECT

public:
    static constexpr int kShownCharacters = 60;
    enum Column { frequencyColumn, snrColumn, imdColumn, textColumn, columnCount };

    explicit BandPanel(QWidget* parent = nullptr);

    // Replaces the rows with these channels (sorted here by frequency).
    void showChannels(std::vector<scanner::ChannelSnapshot> channels);

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
};
