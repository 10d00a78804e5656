#include "console/BandPanel.h"

#include <QFontDatabase>
#include <QHeaderView>
#include <QMouseEvent>
#include <QStyle>

#include <algorithm>
#include <cstdio>

namespace {

// Received bytes as one line: control characters (line breaks among them)
// become spaces, the rest are Latin-1; only the newest characters are kept.
QString shownText(const std::string& bytes) {
    QString text;
    text.reserve(static_cast<qsizetype>(bytes.size()));
    for (const char byte : bytes) {
        const auto code = static_cast<unsigned char>(byte);
        text.append(code < 0x20 || code == 0x7f ? QChar(' ') : QChar(code));
    }
    return text.right(BandPanel::kShownCharacters);
}

QString number(const char* format, double value) {
    char text[32];
    std::snprintf(text, sizeof text, format, value);
    return QString::fromLatin1(text);
}

bool isWordCharacter(QChar c) {
    return c.isLetterOrNumber() || c == '/';
}

} // namespace

BandPanel::BandPanel(QWidget* parent) : QTableWidget(0, columnCount, parent) {
    setObjectName(QStringLiteral("bandPanel"));
    setHorizontalHeaderLabels({tr("Hz"), tr("RF kHz"), tr("SNR"), tr("IMD"), tr("Text")});
    setEditTriggers(NoEditTriggers);
    setSelectionBehavior(SelectRows);
    setSelectionMode(SingleSelection);
    setWordWrap(false);
    setShowGrid(false);
    // The newest text is at the end: a narrow column drops the oldest.
    setTextElideMode(Qt::ElideLeft);
    verticalHeader()->hide();
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    // Fixed widths from the font: sizing to the contents on every tick would
    // lay the table out again five times a second.
    const QFontMetrics metrics(font());
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setDefaultSectionSize(metrics.height() + 4);
    horizontalHeader()->setSectionResizeMode(QHeaderView::Interactive);
    const int digit = metrics.horizontalAdvance(QLatin1Char('0'));
    setColumnWidth(frequencyColumn, digit * 8);
    setColumnWidth(rfColumn, digit * 11);
    setColumnHidden(rfColumn, true);
    setColumnWidth(snrColumn, digit * 7);
    setColumnWidth(imdColumn, digit * 7);
    horizontalHeader()->setStretchLastSection(true);
}

void BandPanel::showChannels(std::vector<scanner::ChannelSnapshot> channels) {
    std::sort(channels.begin(), channels.end(),
              [](const auto& a, const auto& b) { return a.frequency < b.frequency; });
    setRowCount(static_cast<int>(channels.size()));
    QFont bold = font();
    bold.setBold(true);
    const QBrush cqTint(QColor(255, 176, 0, 80));
    for (int row = 0; row < rowCount(); ++row) {
        const scanner::ChannelSnapshot& channel = channels[static_cast<size_t>(row)];
        const QString cells[columnCount] = {
            number("%.1f", channel.frequency), rfText(channel.frequency),
            number("%.1f", channel.snrDb),
            channel.imdDb ? number("%.1f", *channel.imdDb) : QStringLiteral("–"),
            shownText(channel.latestText)};
        for (int column = 0; column < columnCount; ++column) {
            QTableWidgetItem* cell = item(row, column);
            if (cell == nullptr) {
                cell = new QTableWidgetItem;
                setItem(row, column, cell);
            }
            cell->setText(cells[column]);
            cell->setTextAlignment(column == textColumn ? Qt::AlignLeft | Qt::AlignVCenter
                                                        : Qt::AlignRight | Qt::AlignVCenter);
            cell->setFont(channel.callingCq ? bold : font());
            cell->setBackground(channel.callingCq ? cqTint : QBrush());
        }
        item(row, frequencyColumn)->setData(Qt::UserRole, channel.frequency);
    }
}

void BandPanel::setDial(std::optional<double> dialHz, tarn::rig::Sideband sideband) {
    if (dialHz == dial && sideband == dialSideband)
        return;
    dial = dialHz;
    dialSideband = sideband;
    for (int row = 0; row < rowCount(); ++row) {
        if (QTableWidgetItem* cell = item(row, rfColumn))
            cell->setText(rfText(rowFrequency(row)));
    }
    // Whether RF is known depends on the dial and sideband, not on the tone.
    setColumnHidden(rfColumn, rfText(0.0).isEmpty());
}

QString BandPanel::rfText(double audioHz) const {
    const std::optional<double> rf =
        dial ? tarn::rig::rfFrequency(*dial, dialSideband, audioHz) : std::nullopt;
    return rf ? number("%.3f", *rf / 1000.0) : QString();
}

double BandPanel::rowFrequency(int row) const {
    const QTableWidgetItem* cell = item(row, frequencyColumn);
    return cell != nullptr ? cell->data(Qt::UserRole).toDouble() : 0.0;
}

bool BandPanel::rowStandsOut(int row) const {
    const QTableWidgetItem* cell = item(row, frequencyColumn);
    return cell != nullptr && cell->font().bold();
}

QString BandPanel::wordAt(int row, int x) const {
    const QTableWidgetItem* cell = item(row, textColumn);
    if (cell == nullptr)
        return {};
    // As the view draws it: after the style's text margin, elided on the left.
    const int margin = style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, this) + 1;
    const QFontMetrics metrics(cell->font());
    const int width = columnWidth(textColumn) - 2 * margin;
    const QString text = metrics.elidedText(cell->text(), Qt::ElideLeft, width);
    const int at = x - margin;
    int index = -1;
    for (int i = 0; i < text.size(); ++i) {
        if (metrics.horizontalAdvance(text.left(i + 1)) > at) {
            index = i;
            break;
        }
    }
    if (index < 0 || !isWordCharacter(text[index]))
        return {};
    int first = index;
    int last = index;
    while (first > 0 && isWordCharacter(text[first - 1]))
        --first;
    while (last + 1 < text.size() && isWordCharacter(text[last + 1]))
        ++last;
    return text.mid(first, last - first + 1);
}

void BandPanel::mousePressEvent(QMouseEvent* event) {
    QTableWidget::mousePressEvent(event);
    const QModelIndex index = indexAt(event->position().toPoint());
    if (event->button() != Qt::LeftButton || !index.isValid())
        return;
    emit tuneRequested(rowFrequency(index.row()));
    if (index.column() == textColumn) {
        const QString word =
            wordAt(index.row(), event->position().toPoint().x() - visualRect(index).left());
        if (!word.isEmpty())
            emit wordClicked(word);
    }
}
