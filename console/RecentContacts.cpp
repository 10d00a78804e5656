#include "console/RecentContacts.h"

#include <QHeaderView>

RecentContacts::RecentContacts(QWidget* parent) : QTableWidget(0, 5, parent) {
    setHorizontalHeaderLabels(
        {tr("Time on (UTC)"), tr("Call"), tr("Band"), tr("RST s/r"), tr("Name")});
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setSelectionMode(QAbstractItemView::NoSelection);
    setFocusPolicy(Qt::NoFocus);
    verticalHeader()->setVisible(false);
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 4);
    horizontalHeader()->setStretchLastSection(true);
    horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
}

void RecentContacts::showContacts(const std::vector<logbook::Qso>& newestFirst) {
    setRowCount(static_cast<int>(newestFirst.size()));
    int row = 0;
    for (const logbook::Qso& qso : newestFirst) {
        const QString cells[5] = {QString::fromStdString(logbook::displayTime(qso.timeOn)),
                                  QString::fromStdString(qso.call),
                                  QString::fromStdString(qso.band),
                                  QString::fromStdString(qso.rstSent) + QLatin1Char('/') +
                                      QString::fromStdString(qso.rstReceived),
                                  QString::fromStdString(qso.name)};
        for (int column = 0; column < 5; ++column)
            setItem(row, column, new QTableWidgetItem(cells[column]));
        ++row;
    }
}

QSize RecentContacts::sizeHint() const {
    const int frame = 2 * frameWidth();
    int titles = 0;
    for (int column = 0; column < columnCount(); ++column)
        titles += horizontalHeader()->sectionSizeHint(column);
    return {titles + frame, horizontalHeader()->sizeHint().height() +
                                3 * verticalHeader()->defaultSectionSize() + frame};
}
