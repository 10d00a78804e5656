// A console killed (SIGKILL) while it logs contact after contact leaves
// every record it reported as logged intact, and the file as a whole reads
// with the strict reader: no half record, nothing lost. Three rounds append
// to the same file, killed after different numbers of records.
#include "logbook/Adif.h"
#include "logbook/AdifQso.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#ifndef QSO_LOG_WRITER
#error "QSO_LOG_WRITER names the writer program"
#endif

class TestQsoLogKill : public QObject {
    Q_OBJECT

private slots:
    void killedWhileLoggingLosesNothing() {
        QTemporaryDir dir;
        const QString log = dir.filePath("log.adi");
        long reported = -1; // highest record number the writer said was on disk
        for (const int killAfter : {3, 40, 17}) {
            QProcess writer;
            writer.setProgram(QStringLiteral(QSO_LOG_WRITER));
            writer.setArguments({dir.filePath("settings.ini"), log});
            writer.start();
            QVERIFY(writer.waitForStarted());
            int seen = 0;
            QByteArray pending;
            while (seen < killAfter) {
                QVERIFY2(writer.waitForReadyRead(20000), "the writer stopped reporting");
                pending += writer.readAllStandardOutput();
                while (pending.contains('\n')) {
                    const qsizetype end = pending.indexOf('\n');
                    const QByteArray line = pending.left(end);
                    pending.remove(0, end + 1);
                    QVERIFY2(line.startsWith("logged "), line.constData());
                    reported = line.mid(7).toLong();
                    ++seen;
                }
            }
            writer.kill(); // SIGKILL, while it is in the middle of logging more
            QVERIFY(writer.waitForFinished());
            QCOMPARE(writer.exitStatus(), QProcess::CrashExit);

            QFile file(log);
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QByteArray bytes = file.readAll();
            const logbook::AdifDocument document = logbook::readAdif(
                std::string_view(bytes.constData(), static_cast<size_t>(bytes.size())),
                logbook::AdifReading::Strict);
            QVERIFY2(document.problems.empty(),
                     document.problems.empty() ? "" : document.problems[0].message.c_str());
            QVERIFY(static_cast<long>(document.records.size()) > reported);
            for (size_t n = 0; n < document.records.size(); ++n) {
                const logbook::AdifRecord& record = document.records[n];
                QVERIFY(logbook::checkRecord(record).empty());
                const std::string* comment = logbook::findField(record, "COMMENT");
                QVERIFY(comment != nullptr);
                QCOMPARE(QString::fromStdString(*comment), QStringLiteral("record %1").arg(n));
            }
        }
    }
};

QTEST_GUILESS_MAIN(TestQsoLogKill)
#include "test_qso_log_kill.moc"
