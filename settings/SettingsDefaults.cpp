#include "settings/SettingsDefaults.h"

namespace {

struct MacroDefault {
    const char* name;
    const char* text;
};

// The last three titles are M1..M3 although they are buttons 8..10.
const MacroDefault macroDefaults[10] = {
    {"CQ", R"(\nCQ CQ CQ de \C \C\nCQ CQ CQ de \C \C\nCQ CQ CQ de \C \C pse K\n\X)"},
    {"CQ DX", R"(\nCQ DX CQ de \C \C\nCQ DX CQ de \C \C\nCQ DX CQ de \C \C pse K\n\X)"},
    {"CQ TEST", R"(\nCQ TEST \C K\n\X)"},
    {"Name", R"(\nName: ???? ????\nLoc : \L \L \L\nAddress : City?, State?\n)"},
    {"599", R"(\nSignal: 599 599 599\n)"},
    {"Brag", R"(Rig : ????\nAntenna : ????\nSoftware : tarn-psk31 running on Linux\n)"},
    {"SK", R"(TU for the QSO.  73's 73's \C \Csk sk\n\X)"},
    {"M1", "Not configured"},
    {"M2", "Not configured"},
    {"M3", "Not configured"},
};

} // namespace

namespace settingsdefaults {

QString callsign() {
    return QStringLiteral("Please Edit");
}

QString macroName(int n) {
    return QString::fromLatin1(macroDefaults[n - 1].name);
}

QString macroText(int n) {
    return QString::fromLatin1(macroDefaults[n - 1].text);
}

} // namespace settingsdefaults
