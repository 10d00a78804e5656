// First-run defaults of the operator's settings, and applying the settings to
// the toolbar and the engine. Every backslash in the macro texts is a literal
// backslash: the escapes are expanded only when a macro is sent.
#include "settings/SettingsStore.h"
#include "console/TarnViewController.h"

namespace {

struct MacroDefault {
    const char* name;
    const char* text;
};

const MacroDefault macroDefaults[10] = {
    {"CQ", R"(\nCQ CQ CQ de \C \C\nCQ CQ CQ de \C \C\nCQ CQ CQ de \C \C pse K\n\X)"},
    {"CQ DX", R"(\nCQ DX CQ de \C \C\nCQ DX CQ de \C \C\nCQ DX CQ de \C \C pse K\n\X)"},
    {"CQ TEST", R"(\nCQ TEST \C K\n\X)"},
    {"Name", R"(\nName: ???? ????\nLoc : \L \L \L\nAddress : City?, State?\n)"},
    {"599", R"(\nSignal: 599 599 599\n)"},
    {"Brag", R"(Rig : ????\nAntenna : ????\nSoftware : Corvel running on iOS\n)"},
    {"SK", R"(TU for the QSO.  73's 73's \C \Csk sk\n\X)"},
    {"M1", "Not configured"},
    {"M2", "Not configured"},
    {"M3", "Not configured"},
};

} // namespace

void TarnViewController::initializeSettings() {
    SettingsStore& defaults = settingsStore();
    std::optional<QString> callsign = defaults.stringForKey("callsign");
    if (!callsign) {
        defaults.setBool(false, "forceOutputToSpeaker");
        callsign = QStringLiteral("Please Edit");
    }
    defaults.setObject(*callsign, "callsign");

    // Each key on its own: a present value, also an empty one, is kept.
    for (int n = 1; n <= 10; ++n) {
        const MacroDefault& macro = macroDefaults[n - 1];
        const QString nameKey = QStringLiteral("b%1Name").arg(n);
        defaults.setObject(defaults.stringForKey(nameKey).value_or(QString::fromLatin1(macro.name)),
                           nameKey);
        const QString textKey = QStringLiteral("b%1Text").arg(n);
        defaults.setObject(defaults.stringForKey(textKey).value_or(QString::fromLatin1(macro.text)),
                           textKey);
    }
    defaults.synchronize();
}

void TarnViewController::initializeFromSettings() {
    initializeToolbar();
    theData()->setForceOutputToSpeaker(settingsStore().boolForKey("forceOutputToSpeaker"));
}
