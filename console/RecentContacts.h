// The newest contacts of the log, newest first: time on (UTC), call, band,
// reports and name. Read-only; the log is the record, this only shows it.
#pragma once

#include "logbook/Qso.h"

#include <QTableWidget>

#include <vector>

class RecentContacts : public QTableWidget {
    Q_OBJECT

public:
    // Rows the console shows.
    static constexpr int kRows = 20;

    explicit RecentContacts(QWidget* parent = nullptr);

    void showContacts(const std::vector<logbook::Qso>& newestFirst);

    // Wide enough for the columns' titles, tall enough for three rows:
    // the height of the QSO form's fields beside it.
    QSize sizeHint() const override;
};
