// The QSO form under the console's QSO field: the other station's name,
// QTH, locator, the reports both ways, time on and a comment, with "Log QSO",
// the "worked before" mark and the recent contacts. The call field is the
// console's QSO field itself (the one the \S escape sends), so the two never
// disagree.
#pragma once

#include "logbook/LogIndex.h"
#include "logbook/Qso.h"

#include <QString>
#include <QWidget>

#include <cstdint>
#include <memory>
#include <optional>

class QLabel;
class QLineEdit;
class QPushButton;
class RecentContacts;

namespace Ui {
class QsoForm;
}

class QsoForm : public QWidget {
    Q_OBJECT

public:
    // Where a word taken from received text goes.
    enum class Field { call, name, qth, rstReceived, locator };

    // `callField` is the console's QSO field; it stays where it is.
    explicit QsoForm(QLineEdit* callField, QWidget* parent = nullptr);
    ~QsoForm() override;

    QLineEdit* call() const { return callField; }
    QLineEdit* name() const;
    QLineEdit* qth() const;
    QLineEdit* locator() const;
    QLineEdit* rstSent() const;
    QLineEdit* rstReceived() const;
    QLineEdit* timeOn() const;
    QLineEdit* comment() const;
    QPushButton* logButton() const;
    QLabel* workedBefore() const;
    QLabel* status() const;
    RecentContacts* recentContacts() const;

    // Puts a word from received text into a field, in the form the log
    // keeps it (a call or locator upper case, the locator's subsquare lower).
    void setField(Field field, const QString& word);
    // A word that is a call sign goes to the call field; true when it did.
    // This is what a click on a word does (in the receive view or a band
    // scanner's row).
    bool captureWord(const QString& word);

    // A transmission went out at `now` (UTC seconds): the first one to the
    // call in the call field sets time on.
    void transmissionStarted(int64_t now);

    // The contact the fields describe, ending at `now`: call, time on (now
    // when empty), time off, reports, name, QTH, locator, comment. Nothing,
    // with the reason in `problem`, when a field cannot be logged.
    std::optional<logbook::Qso> contact(int64_t now, QString& problem) const;

    // Empties every field (the call field too) after a contact was logged.
    void clear();
    void showWorkedBefore(const std::optional<logbook::WorkedBefore>& before);
    void showStatus(const QString& text);

    // Time on as the field shows it, "YYYY-MM-DD HH:MM:SS" UTC.
    static QString formatTime(int64_t seconds);
    // Parses "YYYY-MM-DD HH:MM" or "YYYY-MM-DD HH:MM:SS" as UTC.
    static std::optional<int64_t> parseTime(const QString& text);

signals:
    // "Log QSO" was pressed.
    void logRequested();

private:
    std::unique_ptr<Ui::QsoForm> ui;
    QLineEdit* callField;
    // The call that time on was set for by a transmission.
    QString timeOnCall;
};
