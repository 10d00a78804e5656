// What the settings hold before the operator has written anything: the call
// sign placeholder and the ten macro buttons. Every backslash in the macro
// texts is one literal backslash: the escapes (\C call sign, \L location, \n
// line feed, \X send now) are expanded only when a macro is used.
#pragma once

#include <QString>

namespace settingsdefaults {

// "Please Edit"
QString callsign();
// Title and text of macro button n (1..10).
QString macroName(int n);
QString macroText(int n);

} // namespace settingsdefaults
