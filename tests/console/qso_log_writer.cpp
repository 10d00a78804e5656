// Logs contacts through the console's QSO form without end, printing
// "logged N" after each one is on disk, until it is killed. The log's kill
// test runs it.
//
//   qso_log_writer SETTINGS_FILE LOG_FILE
#include "console/QsoForm.h"
#include "console/QsoLogging.h"
#include "settings/SettingsStore.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QVBoxLayout>

#include <cstdio>

int main(int argc, char* argv[]) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: qso_log_writer SETTINGS_FILE LOG_FILE\n");
        return 2;
    }
    QApplication application(argc, argv);
    SettingsStore store(QString::fromLocal8Bit(argv[1]));
    store.setLogFile(QString::fromLocal8Bit(argv[2]));
    store.setCallsign(QStringLiteral("DL2XYZ"));
    store.setLogBand(QStringLiteral("20m"));

    QMainWindow window;
    auto* central = new QWidget(&window);
    auto* layout = new QVBoxLayout(central);
    auto* callField = new QLineEdit(central);
    auto* view = new QPlainTextEdit(central);
    layout->addWidget(callField);
    layout->addWidget(view);
    window.setCentralWidget(central);
    QsoLogging logging(store, callField, view, &window);
    QsoForm& form = *logging.form();

    // Numbering goes on from what the log already holds.
    for (size_t n = logging.log().size();; ++n) {
        form.call()->setText(QStringLiteral("K%1ABC").arg(n % 10));
        form.name()->setText(QStringLiteral("Operator %1").arg(n));
        form.comment()->setText(QStringLiteral("record %1").arg(n));
        form.rstSent()->setText(QStringLiteral("599"));
        if (!logging.logContact()) {
            std::fprintf(stderr, "not logged: %s\n", qPrintable(form.status()->text()));
            return 1;
        }
        std::printf("logged %zu\n", n);
        std::fflush(stdout);
    }
}
