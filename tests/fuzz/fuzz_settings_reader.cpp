// The settings reader over any bytes: each input is opened by a store, given
// its defaults and written back, and the written file must read back with the
// same values and without a complaint in the log. Mutations also splice in
// INI and QSettings tokens, so that quoting, escapes, sections and Qt's
// typed values (@ByteArray, @Variant) are reached.
#include "log/TarnLog.h"
#include "settings/SettingsStore.h"
#include "tests/fuzz/FuzzTarget.h"

#include <QFile>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

const char* const kTokens[] = {",",  "\"",          "\\",        "[",          "]",    "=",
                               "\n", "@ByteArray(", "@Variant(", "@Invalid()", "%",    ";",
                               "#",  "[General]",   "\xff",      "\xc3",       "\r\n", "\\x"};

std::vector<std::vector<uint8_t>> seeds() {
    const std::string texts[] = {
        // As the store writes it.
        "[General]\nb10Name=M3\nb10Text=Not configured\nb1Name=CQ\n"
        "b1Text=\\\\nCQ CQ CQ de \\\\C \\\\C pse K\\\\n\\\\X\ncallsign=AB1CD\n"
        "forceOutputToSpeaker=true\nlocation=\"Here, there\"\nradioInputDevice=USB Audio\n",
        // Hand-written, with comments, spaces, unquoted commas and a second section.
        "; my station\ncallsign = N0CALL, portable\nb2Text=CQ, CQ de me\n\n[Other]\nkey=1\n",
        // Values QSettings reads as other types.
        "[General]\ncallsign=@ByteArray(AB1CD)\nlocation=@Variant(\\0\\0\\0\\x7f)\nb1Name=\"q\"\n",
    };
    std::vector<std::vector<uint8_t>> all;
    for (const std::string& text : texts) {
        all.emplace_back(text.begin(), text.end());
    }
    return all;
}

// Every value the store offers, as one comparable text.
std::string values(const SettingsStore& store) {
    const auto text = [](const std::optional<QString>& value) {
        if (!value) {
            return std::string("-");
        }
        // Appended piece by piece: GCC 12 wrongly warns (-Wrestrict) about
        // "'" + std::string once inlined.
        std::string quoted = "'";
        quoted += value->toStdString();
        quoted += '\'';
        return quoted;
    };
    std::string all = text(store.callsign()) + text(store.location()) +
                      (store.forceOutputToSpeaker() ? "1" : "0") +
                      store.radioInputDevice().toStdString() + "|" +
                      store.radioOutputDevice().toStdString();
    for (int n = 1; n <= SettingsStore::kMacroCount; ++n) {
        all += text(store.macroName(n)) + text(store.macroText(n));
    }
    return all;
}

void run(const uint8_t* data, size_t size) {
    static QTemporaryDir directory;
    static std::string log;
    [[maybe_unused]] static const bool quiet = [] {
        setTarnLogSink([](const std::string& line) { log += line; });
        // Qt's own warnings about odd values ("unknown user type") are expected.
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
        return true;
    }();
    const QString path = directory.filePath("settings.ini");
    QFile::remove(path + ".damaged");
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
            file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size)) !=
                static_cast<qint64>(size)) {
            std::fprintf(stderr, "fuzz: cannot write %s\n", qPrintable(path));
            std::exit(2);
        }
    }
    SettingsStore store(path);
    store.fillInDefaults();
    const std::string before = values(store);
    const bool written = store.synchronize();
    log.clear();
    const std::string after = values(SettingsStore(path));
    if ((written && after != before) || !log.empty()) {
        std::fprintf(stderr, "fuzz: %s\n  values: %s\n  read back: %s\n",
                     log.empty() ? "values changed by a round trip" : log.c_str(), before.c_str(),
                     after.c_str());
        std::abort();
    }
}

} // namespace

const FuzzTarget& fuzzTarget() {
    static const FuzzTarget target{"settings_reader", seeds, run, kTokens};
    return target;
}
