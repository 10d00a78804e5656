// Seeded mutation fuzzing of the settings reader: a fixed number of settings
// files, each a mutation of a well-formed or hand-written one (bytes flipped,
// inserted, deleted, lines doubled, INI and QSettings tokens spliced in), is
// opened by a store, given its defaults and written back. The written file
// must then read back cleanly with the same values. The run is the same on
// every machine for a given seed.
//
//   fuzz_settings_reader [RUNS [SEED]]   (default 1000 runs, seed 1)
//
// Prints the runs, failures (values lost or changed by a round trip, or a
// written file that reads as damaged) and the peak memory; exit status 1 on
// any failure. A crash or hang ends the program (ctest reports it).
#include "log/TarnLog.h"
#include "settings/SettingsStore.h"

#include <QByteArray>
#include <QFile>
#include <QTemporaryDir>

#include <sys/resource.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

namespace {

const char* const seeds[] = {
    // As the store writes it.
    "[General]\nb10Name=M3\nb10Text=Not configured\nb1Name=CQ\n"
    "b1Text=\\\\nCQ CQ CQ de \\\\C \\\\C pse K\\\\n\\\\X\ncallsign=AB1CD\n"
    "forceOutputToSpeaker=true\nlocation=\"Here, there\"\nradioInputDevice=USB Audio\n",
    // Hand-written, with comments, spaces and a second section.
    "; my station\ncallsign = N0CALL, portable\nb2Text=CQ, CQ de me\n\n[Other]\nkey=1\n",
    // Values QSettings reads as other types.
    "[General]\ncallsign=@ByteArray(AB1CD)\nlocation=@Variant(\\0\\0\\0\\x7f)\nb1Name=\"q\"\n",
};

const char* const tokens[] = {",",  "\"",          "\\",        "[",          "]",    "=",
                              "\n", "@ByteArray(", "@Variant(", "@Invalid()", "%",    ";",
                              "#",  "[General]",   "\xff",      "\xc3",       "\r\n", "\\x"};

QByteArray mutate(QByteArray bytes, std::mt19937& random) {
    const int steps = 1 + static_cast<int>(random() % 8);
    for (int s = 0; s < steps; ++s) {
        const auto at = [&] {
            return bytes.isEmpty() ? 0 : static_cast<qsizetype>(random() % (bytes.size() + 1));
        };
        switch (random() % 5) {
        case 0: // flip a byte
            if (!bytes.isEmpty())
                bytes[static_cast<qsizetype>(random() % bytes.size())] ^=
                    static_cast<char>(1 + random() % 255);
            break;
        case 1: // insert random bytes
            bytes.insert(at(), QByteArray(1 + random() % 4, static_cast<char>(random())));
            break;
        case 2: { // delete a range
            const qsizetype from = at();
            bytes.remove(from, static_cast<qsizetype>(random() % 12));
            break;
        }
        case 3: // a token
            bytes.insert(at(), tokens[random() % std::size(tokens)]);
            break;
        default: { // double a line
            const qsizetype from = at();
            const qsizetype end = bytes.indexOf('\n', from);
            if (end > from)
                bytes.insert(from, bytes.mid(from, end - from + 1));
            break;
        }
        }
    }
    return bytes;
}

// Every value the store offers, as one comparable text.
std::string values(const SettingsStore& store) {
    const auto text = [](const std::optional<QString>& value) {
        std::string quoted("-");
        if (value) {
            quoted = "'";
            quoted.append(value->toStdString()).append("'");
        }
        return quoted;
    };
    std::string all = text(store.callsign()) + text(store.location()) +
                      (store.forceOutputToSpeaker() ? "1" : "0") +
                      store.radioInputDevice().toStdString() + "|" +
                      store.radioOutputDevice().toStdString();
    for (int n = 1; n <= SettingsStore::kMacroCount; ++n)
        all += text(store.macroName(n)) + text(store.macroText(n));
    return all;
}

} // namespace

int main(int argc, char* argv[]) {
    const long runs = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 1000;
    const unsigned seed = argc > 2 ? static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)) : 1;
    if (runs <= 0) {
        std::fprintf(stderr, "fuzz_settings_reader: RUNS is a positive number\n");
        return 2;
    }
    QTemporaryDir directory;
    const QString path = directory.filePath("settings.ini");
    std::mt19937 random(seed);
    std::string log;
    setTarnLogSink([&log](const std::string& line) { log += line; });
    // Qt's own warnings about odd values ("unknown user type") are expected.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});

    long failures = 0;
    for (long run = 0; run < runs; ++run) {
        const QByteArray input = mutate(seeds[random() % std::size(seeds)], random);
        {
            QFile file(path);
            if (!file.open(QIODevice::WriteOnly) || file.write(input) != input.size()) {
                std::fprintf(stderr, "fuzz_settings_reader: cannot write %s\n", qPrintable(path));
                return 2;
            }
        }
        SettingsStore store(path);
        store.fillInDefaults();
        const std::string before = values(store);
        const bool written = store.synchronize();
        log.clear();
        const SettingsStore reread(path);
        const std::string after = values(reread);
        const bool lost = written && after != before;
        if (lost || !log.empty()) {
            ++failures;
            std::fprintf(stderr, "run %ld: %s\n  input: %s\n  values: %s\n  read back: %s\n", run,
                         lost ? "values changed by a round trip" : log.c_str(),
                         input.toPercentEncoding().constData(), before.c_str(), after.c_str());
        }
        QFile::remove(path + ".damaged");
    }
    setTarnLogSink({});

    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("runs %ld, failures %ld, crashes 0, peak memory %ld KiB\n", runs, failures,
                usage.ru_maxrss);
    return failures == 0 ? 0 : 1;
}
