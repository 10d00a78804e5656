// The console's keys:
//   F1 .. F10          press macro buttons 1 .. 10 (as a click does)
//   Escape             stops a transmission that is playing
//   Page Up / Down     tune up / down 1 Hz (the fine-tuning buttons' step)
//   Alt+Right / Left   tune up / down 10 Hz
//   Ctrl+F             find text in the received text
//   Ctrl+S             save the received text to a text file
//   Ctrl+L             clear the received text
#pragma once

#include <QKeySequence>
#include <QObject>
#include <QString>

#include <functional>

class TarnViewController;

class ConsoleShortcuts : public QObject {
    Q_OBJECT
public:
    explicit ConsoleShortcuts(TarnViewController& console);

    // Tunes by `hertz` as the fine-tuning buttons do (AFC off).
    void tune(double hertz);
    // Selects the next occurrence of `text` after the cursor, wrapping
    // around; false when there is none.
    bool find(const QString& text);
    // Writes the received text to `path` (UTF-8); false when it cannot.
    bool saveReceivedText(const QString& path);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void add(const QKeySequence& keys, const QString& name, std::function<void()> action);
    void askAndFind();
    void askAndSave();

    TarnViewController& console;
    QString lastSearch;
};
