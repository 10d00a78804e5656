// Words taken from the receive view into the QSO form. A click on a word
// that is a call sign puts it in the call field; a right click offers the
// word as Call, Name, QTH, RST received or Locator. A word is a run of
// letters, digits and '/'; other clicks keep their usual meaning.
#pragma once

#include <QObject>
#include <QPoint>
#include <QString>

class QMenu;
class QPlainTextEdit;
class QWidget;
class QsoForm;

class CallCapture : public QObject {
    Q_OBJECT

public:
    // Watches `view`'s clicks; both must outlive the capture, which the view
    // owns.
    CallCapture(QPlainTextEdit* view, QsoForm* form);

    // The word at a point of the view's viewport, or an empty string.
    QString wordAt(const QPoint& viewportPosition) const;
    // The menu a right click on `word` opens (the caller owns it).
    QMenu* menuFor(const QString& word, QWidget* parent) const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QPlainTextEdit* view;
    // The view's viewport, kept from the start: the filter also sees events
    // while the view is being destroyed, when the view may no longer be asked.
    QWidget* viewport;
    QsoForm* form;
};
