#include "console/CallCapture.h"

#include "console/QsoForm.h"

#include <QContextMenuEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QTextBlock>

namespace {

bool isWordCharacter(QChar c) {
    return c.unicode() < 0x80 && (c.isLetterOrNumber() || c == QLatin1Char('/'));
}

} // namespace

CallCapture::CallCapture(QPlainTextEdit* view, QsoForm* form)
    : QObject(view), view(view), viewport(view->viewport()), form(form) {
    viewport->installEventFilter(this);
    view->setContextMenuPolicy(Qt::DefaultContextMenu);
}

QString CallCapture::wordAt(const QPoint& viewportPosition) const {
    const QTextCursor cursor = view->cursorForPosition(viewportPosition);
    // cursorForPosition gives the nearest position, also past a line's end
    // or beside a word: the click must land on the word's own glyphs.
    const QString line = cursor.block().text();
    const int at = cursor.positionInBlock();
    const QRect caret = view->cursorRect(cursor);
    // The character under the point is the one before or after the cursor,
    // depending on which half of it was hit.
    int hit = viewportPosition.x() < caret.x() ? at - 1 : at;
    if (hit < 0 || hit >= line.size() || !isWordCharacter(line[hit])) {
        hit = hit == at ? at - 1 : at; // the other neighbour
        if (hit < 0 || hit >= line.size() || !isWordCharacter(line[hit]))
            return QString();
    }
    int start = hit;
    int end = hit + 1;
    while (start > 0 && isWordCharacter(line[start - 1]))
        --start;
    while (end < line.size() && isWordCharacter(line[end]))
        ++end;
    return line.mid(start, end - start);
}

QMenu* CallCapture::menuFor(const QString& word, QWidget* parent) const {
    auto* menu = new QMenu(parent);
    const struct {
        QString title;
        QsoForm::Field field;
    } entries[] = {{tr("Call: %1"), QsoForm::Field::call},
                   {tr("Name: %1"), QsoForm::Field::name},
                   {tr("QTH: %1"), QsoForm::Field::qth},
                   {tr("RST received: %1"), QsoForm::Field::rstReceived},
                   {tr("Locator: %1"), QsoForm::Field::locator}};
    for (const auto& entry : entries) {
        QAction* action = menu->addAction(entry.title.arg(word));
        const QsoForm::Field field = entry.field;
        QsoForm* target = form;
        connect(action, &QAction::triggered, target,
                [target, field, word] { target->setField(field, word); });
    }
    return menu;
}

bool CallCapture::eventFilter(QObject* watched, QEvent* event) {
    if (watched != viewport)
        return false;
    if (event->type() == QEvent::MouseButtonRelease) {
        // On release, so that dragging to select text still works: only a
        // click without a selection captures.
        auto* mouse = static_cast<QMouseEvent*>(event);
        if (mouse->button() == Qt::LeftButton && !view->textCursor().hasSelection()) {
            form->captureWord(wordAt(mouse->position().toPoint()));
            // Received text goes in at the view's insertion point: a click
            // must not leave it in the middle of what was received.
            view->moveCursor(QTextCursor::End);
        }
        return false;
    }
    if (event->type() == QEvent::ContextMenu) {
        auto* request = static_cast<QContextMenuEvent*>(event);
        const QString word = wordAt(request->pos());
        if (word.isEmpty())
            return false; // the view's own menu (copy, select all)
        QMenu* menu = menuFor(word, view);
        menu->setAttribute(Qt::WA_DeleteOnClose);
        menu->popup(request->globalPos());
        return true;
    }
    return false;
}
