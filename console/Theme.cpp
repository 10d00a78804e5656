#include "console/Theme.h"

#include "settings/SettingsStore.h"

#include <QApplication>
#include <QFontDatabase>
#include <QPalette>
#include <QStyle>
#include <QStyleFactory>
#include <QWidget>

namespace {

QPalette darkPalette() {
    QPalette p;
    const QColor window(0x2b, 0x2b, 0x2e);
    const QColor base(0x1e, 0x1e, 0x20);
    const QColor text(0xe8, 0xe8, 0xe8);
    const QColor disabled(0x80, 0x80, 0x80);
    p.setColor(QPalette::Window, window);
    p.setColor(QPalette::WindowText, text);
    p.setColor(QPalette::Base, base);
    p.setColor(QPalette::AlternateBase, window);
    p.setColor(QPalette::ToolTipBase, QColor(0x3c, 0x3c, 0x40));
    p.setColor(QPalette::ToolTipText, text);
    p.setColor(QPalette::Text, text);
    p.setColor(QPalette::Button, QColor(0x35, 0x35, 0x38));
    p.setColor(QPalette::ButtonText, text);
    p.setColor(QPalette::BrightText, Qt::red);
    p.setColor(QPalette::Link, QColor(0x6c, 0xb4, 0xff));
    p.setColor(QPalette::Highlight, QColor(0x3d, 0x8e, 0xe0));
    p.setColor(QPalette::HighlightedText, Qt::black);
    p.setColor(QPalette::PlaceholderText, disabled);
    for (const QPalette::ColorRole role :
         {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        p.setColor(QPalette::Disabled, role, disabled);
    return p;
}

QPalette lightPalette() {
    QPalette p(QColor(0xef, 0xef, 0xef));
    p.setColor(QPalette::Base, Qt::white);
    p.setColor(QPalette::Highlight, QColor(0x30, 0x8c, 0xc6));
    p.setColor(QPalette::HighlightedText, Qt::white);
    return p;
}

} // namespace

namespace theme {

void apply(QApplication& application, const QString& theme) {
    if (theme != QStringLiteral("light") && theme != QStringLiteral("dark"))
        return; // the desktop's own
    application.setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    application.setPalette(theme == QStringLiteral("dark") ? darkPalette() : lightPalette());
}

bool isDark(const QWidget& widget) {
    return widget.palette().color(QPalette::Window).lightness() < 128;
}

void applyReceiveFont(QWidget& receivedText, const SettingsStore& store) {
    QFont font = QApplication::font(&receivedText);
    if (!store.receiveFontFamily().isEmpty())
        font.setFamily(store.receiveFontFamily());
    if (store.receiveFontSize() > 0)
        font.setPointSize(store.receiveFontSize());
    receivedText.setFont(font);
}

} // namespace theme
