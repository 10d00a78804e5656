#include "console/QsoForm.h"

#include "console/ConsoleWidgets.h"
#include "console/RecentContacts.h"
#include "logbook/AdifQso.h"
#include "logbook/CallSign.h"
#include "ui_QsoForm.h"

#include <QDateTime>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTimeZone>

namespace {

std::string adifText(const QLineEdit* field) {
    return field->text().trimmed().toStdString();
}

// Whether text is printable ASCII, as ADIF String fields must be.
bool isAdifString(const QString& text) {
    for (const QChar c : text)
        if (c.unicode() < 0x20 || c.unicode() > 0x7e)
            return false;
    return true;
}

// A locator in its usual form: field letters upper case, subsquare lower.
QString locatorForm(const QString& word) {
    QString out = word.trimmed();
    for (qsizetype i = 0; i < out.size(); ++i)
        out[i] = (i < 2 || i >= 6) ? out[i].toUpper() : out[i].toLower();
    return out;
}

} // namespace

QsoForm::QsoForm(QLineEdit* callField, QWidget* parent)
    : QWidget(parent), ui(std::make_unique<Ui::QsoForm>()), callField(callField) {
    ui->setupUi(this);
    // The recent contacts sit beside the fields, sharing the width, and go
    // under them when the window is too narrow for both.
    FlowLayout::replaceLayoutOf(this);
    connect(ui->logButton, &QPushButton::clicked, this, &QsoForm::logRequested);
}

QsoForm::~QsoForm() = default;

QLineEdit* QsoForm::name() const {
    return ui->nameField;
}
QLineEdit* QsoForm::qth() const {
    return ui->qthField;
}
QLineEdit* QsoForm::locator() const {
    return ui->locatorField;
}
QLineEdit* QsoForm::rstSent() const {
    return ui->rstSentField;
}
QLineEdit* QsoForm::rstReceived() const {
    return ui->rstReceivedField;
}
QLineEdit* QsoForm::timeOn() const {
    return ui->timeOnField;
}
QLineEdit* QsoForm::comment() const {
    return ui->commentField;
}
QPushButton* QsoForm::logButton() const {
    return ui->logButton;
}
QLabel* QsoForm::workedBefore() const {
    return ui->workedBeforeLabel;
}
QLabel* QsoForm::status() const {
    return ui->statusLabel;
}
RecentContacts* QsoForm::recentContacts() const {
    return ui->recentContacts;
}

void QsoForm::setField(Field field, const QString& word) {
    switch (field) {
    case Field::call:
        callField->setText(word.trimmed().toUpper());
        break;
    case Field::name:
        ui->nameField->setText(word.trimmed());
        break;
    case Field::qth:
        ui->qthField->setText(word.trimmed());
        break;
    case Field::rstReceived:
        ui->rstReceivedField->setText(word.trimmed().toUpper());
        break;
    case Field::locator:
        ui->locatorField->setText(locatorForm(word));
        break;
    }
}

bool QsoForm::captureWord(const QString& word) {
    if (!logbook::isCallSign(word.trimmed().toStdString()))
        return false;
    setField(Field::call, word);
    return true;
}

void QsoForm::transmissionStarted(int64_t now) {
    const QString call = callField->text().trimmed().toUpper();
    if (call.isEmpty() || call == timeOnCall)
        return;
    timeOnCall = call;
    ui->timeOnField->setText(formatTime(now));
}

std::optional<logbook::Qso> QsoForm::contact(int64_t now, QString& problem) const {
    logbook::Qso qso;
    const QString call = callField->text().trimmed().toUpper();
    if (call.isEmpty() || call.contains(QLatin1Char(' ')) || !isAdifString(call)) {
        problem = tr("No call to log");
        return std::nullopt;
    }
    qso.call = call.toStdString();
    qso.timeOff = now;
    qso.timeOn = now;
    if (const QString on = ui->timeOnField->text().trimmed(); !on.isEmpty()) {
        const std::optional<int64_t> parsed = parseTime(on);
        if (!parsed || *parsed > now) {
            problem = tr("Time on is not a past UTC time (YYYY-MM-DD HH:MM)");
            return std::nullopt;
        }
        qso.timeOn = *parsed;
    }
    const QString locator = ui->locatorField->text().trimmed();
    if (!locator.isEmpty() && !logbook::isLocator(locator.toStdString())) {
        problem = tr("%1 is not a locator").arg(locator);
        return std::nullopt;
    }
    for (const QLineEdit* field :
         {ui->nameField, ui->qthField, ui->rstSentField, ui->rstReceivedField, ui->commentField}) {
        if (!isAdifString(field->text())) {
            problem = tr("Only plain ASCII can be logged: %1").arg(field->text());
            return std::nullopt;
        }
    }
    qso.gridsquare = locator.toStdString();
    qso.name = adifText(ui->nameField);
    qso.qth = adifText(ui->qthField);
    qso.rstSent = adifText(ui->rstSentField);
    qso.rstReceived = adifText(ui->rstReceivedField);
    qso.comment = adifText(ui->commentField);
    return qso;
}

void QsoForm::clear() {
    callField->clear();
    for (QLineEdit* field : {ui->nameField, ui->qthField, ui->locatorField, ui->rstSentField,
                             ui->rstReceivedField, ui->timeOnField, ui->commentField})
        field->clear();
    timeOnCall.clear();
}

void QsoForm::showWorkedBefore(const std::optional<logbook::WorkedBefore>& before) {
    if (!before) {
        ui->workedBeforeLabel->clear();
        return;
    }
    const QString date = formatTime(before->timeOn).left(10);
    ui->workedBeforeLabel->setText(
        before->count == 1
            ? tr("Worked before: %1 on %2").arg(QString::fromStdString(before->call), date)
            : tr("Worked before: %1 on %2 (%3 contacts)")
                  .arg(QString::fromStdString(before->call), date)
                  .arg(before->count));
}

void QsoForm::showStatus(const QString& text) {
    ui->statusLabel->setText(text);
}

QString QsoForm::formatTime(int64_t seconds) {
    return QDateTime::fromSecsSinceEpoch(seconds, QTimeZone::utc())
        .toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

std::optional<int64_t> QsoForm::parseTime(const QString& text) {
    // Date and time apart, so that no local-time rule (a daylight-saving
    // gap) can touch a UTC time.
    const QStringList parts = text.trimmed().split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (parts.size() != 2)
        return std::nullopt;
    const QDate date = QDate::fromString(parts[0], QStringLiteral("yyyy-MM-dd"));
    QTime time = QTime::fromString(parts[1], QStringLiteral("HH:mm:ss"));
    if (!time.isValid())
        time = QTime::fromString(parts[1], QStringLiteral("HH:mm"));
    if (!date.isValid() || !time.isValid())
        return std::nullopt;
    return QDateTime(date, time, QTimeZone::utc()).toSecsSinceEpoch();
}
