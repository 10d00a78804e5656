#include "console/ConsoleShortcuts.h"

#include "console/ConsoleWidgets.h"
#include "console/RadioControl.h"
#include "console/TarnViewController.h"

#include <QAction>
#include <QFile>
#include <QFileDialog>
#include <QInputDialog>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QTextCursor>

ConsoleShortcuts::ConsoleShortcuts(TarnViewController& console)
    : QObject(&console), console(console) {
    for (int n = 1; n <= 10; ++n)
        console.macroButton(n)->setShortcut(QKeySequence(Qt::Key_F1 + (n - 1)));
    // Escape is a key, not a shortcut, so that in the input field it still
    // closes the keyboard as well: seen here before the console's own
    // handling, and wherever else it reaches the window.
    console.textInput()->installEventFilter(this);
    console.installEventFilter(this);
    add(QKeySequence(Qt::Key_PageUp), tr("Tune up 1 Hz"), [this] { tune(1.0); });
    add(QKeySequence(Qt::Key_PageDown), tr("Tune down 1 Hz"), [this] { tune(-1.0); });
    add(QKeySequence(Qt::ALT | Qt::Key_Right), tr("Tune up 10 Hz"), [this] { tune(10.0); });
    add(QKeySequence(Qt::ALT | Qt::Key_Left), tr("Tune down 10 Hz"), [this] { tune(-10.0); });
    add(QKeySequence::Find, tr("Find in received text…"), [this] { askAndFind(); });
    add(QKeySequence::Save, tr("Save received text…"), [this] { askAndSave(); });
    add(QKeySequence(Qt::CTRL | Qt::Key_L), tr("Clear received text"),
        [this] { this->console.textOutput()->clear(); });
}

void ConsoleShortcuts::add(const QKeySequence& keys, const QString& name,
                           std::function<void()> action) {
    auto* item = new QAction(name, &console);
    item->setShortcut(keys);
    item->setShortcutContext(Qt::WindowShortcut);
    connect(item, &QAction::triggered, this, std::move(action));
    console.addAction(item);
    // The received text's own menu offers them too.
    console.textOutput()->addAction(item);
}

bool ConsoleShortcuts::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape)
        console.radioControl()->stopSending();
    return QObject::eventFilter(watched, event);
}

void ConsoleShortcuts::tune(double hertz) {
    // 1 Hz steps are the fine-tuning buttons themselves.
    if (hertz == 1.0 || hertz == -1.0) {
        console.frequencyAdjust()->pressSegment(hertz > 0 ? 3 : 0);
        return;
    }
    TarnData& engine = *console.theData();
    engine.setAutomaticFrequencyControl(false);
    engine.nudgeFrequency(engine.frequency() + hertz);
    console.updateFrequencyDisplay();
    console.updateafcDisplay();
}

bool ConsoleShortcuts::find(const QString& text) {
    QPlainTextEdit* view = console.textOutput();
    if (text.isEmpty())
        return false;
    if (view->find(text))
        return true;
    // From the top again.
    const QTextCursor saved = view->textCursor();
    view->moveCursor(QTextCursor::Start);
    if (view->find(text))
        return true;
    view->setTextCursor(saved);
    return false;
}

void ConsoleShortcuts::askAndFind() {
    bool ok = false;
    const QString text = QInputDialog::getText(&console, tr("Find"), tr("Find in received text:"),
                                               QLineEdit::Normal, lastSearch, &ok);
    if (!ok)
        return;
    lastSearch = text;
    if (!find(text))
        QMessageBox::information(&console, tr("Find"), tr("\"%1\" was not found.").arg(text));
}

bool ConsoleShortcuts::saveReceivedText(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text))
        return false;
    const QByteArray bytes = console.textOutput()->toPlainText().toUtf8();
    return file.write(bytes) == bytes.size() && file.flush();
}

void ConsoleShortcuts::askAndSave() {
    const QString path = QFileDialog::getSaveFileName(&console, tr("Save received text"),
                                                      QStringLiteral("received.txt"),
                                                      tr("Text files (*.txt);;All files (*)"));
    if (!path.isEmpty() && !saveReceivedText(path))
        QMessageBox::warning(&console, tr("Save received text"), tr("Cannot write %1.").arg(path));
}
