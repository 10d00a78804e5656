// The settings file as the operator meets it: a console started on a file
// (as with --settings FILE) that is damaged, hand-written, on a file system
// that cannot be written, or in a place no file can be made.
#include "console/TarnViewController.h"
#include "log/TarnLog.h"
#include "settings/SettingsStore.h"

#include <QAction>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void write(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

// Bytes of no format, with a key-like line buried in them.
QByteArray binaryGarbage() {
    QByteArray bytes;
    uint32_t state = 7u;
    for (int i = 0; i < 600; ++i) {
        state = state * 1664525u + 1013904223u;
        bytes.append(static_cast<char>(state >> 24));
        if (i == 300)
            bytes.append("\njunk=1\n");
    }
    return bytes;
}

QByteArray utf16(const char16_t* text) {
    const QString string = QString::fromUtf16(text);
    QByteArray bytes("\xff\xfe");
    bytes.append(reinterpret_cast<const char*>(string.utf16()), string.size() * 2);
    return bytes;
}

} // namespace

class SettingsStoreTest : public QObject {
    Q_OBJECT

    QTemporaryDir directory;

private slots:
    void damagedFilesAreKeptAsideAndTheReadableValuesUsed() {
        struct Case {
            const char* name;
            QByteArray bytes;
            const char* reason;
            const char* callsign; // what the console runs with afterwards
        };
        const Case cases[] = {
            {"open section header", "[General]\ncallsign=AB1CD\njunk=1\n[broken\n",
             "not INI syntax", "AB1CD"},
            {"binary garbage", binaryGarbage(), "", "Please Edit"},
            {"all NUL bytes", QByteArray(256, '\0'), "NUL bytes", "Please Edit"},
            {"not UTF-8", "[General]\ncallsign=AB1CD\njunk=\xff\xfe\n", "not UTF-8 text", "AB1CD"},
            {"UTF-16", utf16(u"[General]\ncallsign=AB1CD\njunk=1\n"), "NUL bytes", "Please Edit"},
            {"value that is not text", "[General]\ncallsign=@ByteArray(AB1CD)\nlocation=Here\n",
             "callsign is not text", "Please Edit"},
        };
        for (const Case& c : cases) {
            const QString path = directory.filePath(QStringLiteral("%1.ini").arg(c.name));
            write(path, c.bytes);
            TarnLogCapture log;
            SettingsStore store(path);
            TarnViewController console(std::nullopt, store);
            const QString logged = QString::fromStdString(log.text());

            QVERIFY2(logged.contains(QStringLiteral("Settings file %1 is damaged (%2")
                                         .arg(path, QLatin1String(c.reason))),
                     qPrintable(logged));
            QVERIFY2(logged.contains(QStringLiteral("kept as %1.damaged").arg(path)),
                     qPrintable(logged));
            QVERIFY2(!logged.contains(QStringLiteral("Cannot write")), c.name);
            QVERIFY2(contents(path + ".damaged") == c.bytes, c.name);
            QVERIFY2(console.macroButton(1)->text() == QStringLiteral("CQ"), c.name);

            // The new file holds the readable values and the defaults, and
            // nothing of the noise.
            const QByteArray written = contents(path);
            QVERIFY2(!written.contains("junk"), c.name);
            TarnLogCapture reread;
            const SettingsStore next(path);
            QVERIFY2(reread.text().empty(), c.name);
            QVERIFY2(next.callsign() == QString::fromLatin1(c.callsign), c.name);
        }
    }

    void handWrittenValuesWithACommaAreReadAsWritten() {
        struct Case {
            const char* line;
            QString (*read)(const SettingsStore&);
            const char* expected;
            const char* writtenBack;
        };
        const Case cases[] = {
            {"callsign=N0CALL, portable",
             [](const SettingsStore& s) { return s.callsign().value_or("(absent)"); },
             "N0CALL, portable", "callsign=\"N0CALL, portable\""},
            {"b1Text=CQ, CQ de me",
             [](const SettingsStore& s) { return s.macroText(1).value_or("(absent)"); },
             "CQ, CQ de me", "b1Text=\"CQ, CQ de me\""},
        };
        for (const Case& c : cases) {
            const QString path = directory.filePath("handwritten.ini");
            write(path, QByteArray("[General]\n") + c.line + "\n");
            TarnLogCapture log;
            SettingsStore store(path);
            TarnViewController console(std::nullopt, store);
            QCOMPARE(c.read(store), QString::fromLatin1(c.expected));
            QVERIFY2(contents(path).contains(c.writtenBack), c.line);
            QVERIFY2(QString::fromStdString(log.text()).contains("has an unquoted comma"), c.line);
            QCOMPARE(c.read(SettingsStore(path)), QString::fromLatin1(c.expected));
        }
    }

    void aDamagedFileThatCannotBeCopiedIsLeftAsItIs() {
        // The kernel's command line of this process: NUL-separated, and on a
        // file system where no file can be made beside it.
        const QString path = QStringLiteral("/proc/self/cmdline");
        TarnLogCapture log;
        SettingsStore store(path);
        TarnViewController console(std::nullopt, store);
        const QString logged = QString::fromStdString(log.text());
        QVERIFY(logged.contains("is damaged (NUL bytes); no copy could be kept"));
        QVERIFY(!logged.contains("kept as"));
        QVERIFY(!QFile::exists(path + ".damaged"));
        QVERIFY(!store.synchronize());
        // The console runs on the defaults.
        QCOMPARE(console.macroButton(1)->text(), QStringLiteral("CQ"));
        QCOMPARE(store.callsign(), QStringLiteral("Please Edit"));
    }

    void anUnwritablePlaceIsLoggedAndTheDefaultsUsed() {
        // A file where its directory should be: no one can write there.
        write(directory.filePath("blocker"), "");
        TarnLogCapture log;
        SettingsStore store(directory.filePath("blocker/x.ini"));
        TarnViewController console(std::nullopt, store);
        QVERIFY(QString::fromStdString(log.text()).contains("Cannot write settings file"));
        QCOMPARE(store.callsign(), QStringLiteral("Please Edit"));
        QCOMPARE(console.macroButton(1)->text(), QStringLiteral("CQ"));
    }
};

QTEST_MAIN(SettingsStoreTest)
#include "test_settings_store.moc"
