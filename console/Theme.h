// The console's look: the desktop's own light or dark palette ("system"), or
// a light or dark one forced by the "theme" setting; and the received text's
// font ("receiveFontFamily", "receiveFontSize"; empty and 0 keep the
// system's font, as the console has always shown it).
#pragma once

#include <QString>

class QApplication;
class QWidget;
class SettingsStore;

namespace theme {

// "system", "light" or "dark". "system" leaves the palette and style the
// desktop gives; the others use the Fusion style with a palette of their own.
void apply(QApplication& application, const QString& theme);
// The palette of the forced dark theme is dark (tests and screenshots).
bool isDark(const QWidget& widget);
// The received text's font from the settings.
void applyReceiveFont(QWidget& receivedText, const SettingsStore& store);

} // namespace theme
