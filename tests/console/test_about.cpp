// The About box: the version line as --version prints it, the web page and
// the licence, reached from the settings screen.
#include "console/AboutDialog.h"
#include "packaging/TarnVersion.h"
#include "tests/console/ConsoleFixture.h"

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QtTest>

class AboutTest : public QObject {
    Q_OBJECT

private slots:
    void showsVersionCommitPageAndLicence() {
        AboutDialog dialog;
        const QString line = dialog.versionLabel()->text();
        QCOMPARE(line, QStringLiteral("tarn-psk31 ") + QString::fromUtf8(tarn::versionLine()));
        QVERIFY(line.contains(QString::fromUtf8(tarn::commit())));
        auto* page = dialog.findChild<QLabel*>(QStringLiteral("homePage"));
        QVERIFY(page != nullptr && page->text().contains("https://tarn-psk31.example.org/"));
        auto* licence = dialog.findChild<QLabel*>(QStringLiteral("licence"));
        QVERIFY(licence != nullptr && licence->text().contains("MIT"));
    }

    void settingsScreenOpensIt() {
        ConsoleFixture fixture;
        fixture.console->openSettings();
        QDialog* screen = fixture.console->settingsDialog.data();
        QVERIFY(screen != nullptr);
        auto* button = screen->findChild<QPushButton*>(QStringLiteral("aboutButton"));
        QVERIFY(button != nullptr);
        QString shown;
        QTimer::singleShot(0, [&shown] {
            auto* about = qobject_cast<AboutDialog*>(QApplication::activeModalWidget());
            if (about == nullptr)
                return;
            shown = about->versionLabel()->text();
            about->reject();
        });
        button->click(); // runs the box modally until the timer closes it
        QCOMPARE(shown, AboutDialog::versionText());
        screen->reject();
    }
};

QTEST_MAIN(AboutTest)
#include "test_about.moc"
