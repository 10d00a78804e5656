// tarn-psk31-console: the station's operator console.
//
//   tarn-psk31-console [--settings FILE] [--form-factor tablet|phone] [--play FILE]
//                      [--screenshot PNG [--screenshot-after SECONDS]] [--no-first-run]
//                      [Qt options]
#include "app/AudioBackend.h"
#include "app/AudioDeviceList.h"
#include "app/TarnAppDelegate.h"
#include "console/FirstRunDialog.h"
#include "console/GlSupport.h"
#include "console/TarnViewController.h"
#include "console/Theme.h"
#include "log/TarnLog.h"
#include "packaging/TarnVersion.h"
#include "rig/EmergencyRelease.h"
#include "settings/SettingsStore.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QMessageBox>
#include <QScreen>
#include <QTimer>

#include <cmath>
#include <cstdio>

namespace {

// Screens smaller than this diagonal (millimetres) are phones.
constexpr double kPhoneDiagonalMm = 178.0; // 7 inches

FormFactor screenFormFactor() {
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (screen == nullptr)
        return FormFactor::tablet;
    const QSizeF size = screen->physicalSize();
    const double diagonal = std::hypot(size.width(), size.height());
    return diagonal > 0.0 && diagonal < kPhoneDiagonalMm ? FormFactor::phone : FormFactor::tablet;
}

// The window opens at its designed size, or fills a smaller screen (an
// 800x480 tablet) rather than reaching past its edges.
void fitToScreen(QWidget& window) {
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (screen == nullptr)
        return;
    const QRect available = screen->availableGeometry();
    if (window.width() <= available.width() && window.height() <= available.height())
        return;
    window.resize(window.size().boundedTo(available.size()));
    window.move(available.topLeft());
}

} // namespace

int main(int argc, char* argv[]) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        "PSK31 station: operator console.\n"
        "Qt's own options, such as -geometry 1280x800+0+0, are accepted too.");
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption settingsOption(
        "settings", "Settings file (default ~/.config/tarn-psk31/tarn-psk31.ini).", "FILE");
    const QCommandLineOption formOption("form-factor",
                                        "tablet or phone (default: from the screen).", "FORM");
    const QCommandLineOption playOption(
        "play", "Feed an audio file to the receiver as if it came from the radio.", "FILE");
    const QCommandLineOption shotOption("screenshot", "Save a picture of the window, then quit.",
                                        "PNG");
    const QCommandLineOption shotAfterOption(
        "screenshot-after", "Seconds to run before the picture (default 20).", "SECONDS", "20");
    const QCommandLineOption noFirstRunOption(
        "no-first-run", "Do not ask for the call sign and devices at start (tests, screenshots).");
    parser.addOptions(
        {settingsOption, formOption, playOption, shotOption, shotAfterOption, noFirstRunOption});

    // Help and version need no display.
    for (int i = 1; i < argc; ++i) {
        const QByteArray argument(argv[i]);
        if (argument == "-h" || argument == "--help" || argument == "-?") {
            QString help = parser.helpText();
            help.replace("<executable_name>", "tarn-psk31-console");
            std::fputs(qPrintable(help), stdout);
            return 0;
        }
        if (argument == "-v" || argument == "--version") {
            std::printf("tarn-psk31-console %s\n", tarn::versionLine());
            return 0;
        }
    }

    // The application takes its own options (-geometry, -platform, ...) first.
    QApplication application(argc, argv);
    QApplication::setApplicationName("tarn-psk31");
    QApplication::setApplicationVersion(tarn::version());
    QGuiApplication::setDesktopFileName("org.example.tarn_psk31"); // its desktop entry and icon
    parser.process(application);

    FormFactor formFactor = screenFormFactor();
    if (parser.isSet(formOption)) {
        const QString form = parser.value(formOption);
        if (form == "phone") {
            formFactor = FormFactor::phone;
        } else if (form == "tablet") {
            formFactor = FormFactor::tablet;
        } else {
            std::fprintf(stderr, "tarn-psk31-console: --form-factor is tablet or phone, not '%s'\n",
                         qPrintable(form));
            return 2;
        }
    }
    bool shotDelayOk = false;
    const double shotDelay = parser.value(shotAfterOption).toDouble(&shotDelayOk);
    if (!shotDelayOk || shotDelay < 0.0) {
        std::fprintf(stderr, "tarn-psk31-console: --screenshot-after needs seconds, not '%s'\n",
                     qPrintable(parser.value(shotAfterOption)));
        return 2;
    }

    // The spectrum view draws through OpenGL: without it, say so and stop
    // rather than crash in the first frame.
    if (const QString why = glsupport::whyNoOpenGl(); !why.isEmpty()) {
        tarnLog("Console cannot start: %s\n", qPrintable(why));
        if (!parser.isSet(shotOption) && QGuiApplication::platformName() != "offscreen")
            QMessageBox::critical(nullptr, "tarn-psk31",
                                  QString("The console needs OpenGL 2.1 to draw the waterfall, "
                                          "but %1.")
                                      .arg(why));
        return 1;
    }

    SettingsStore store(parser.value(settingsOption));
    theme::apply(application, store.theme());
    // A call sign still unset: ask for it (and the devices) before the audio
    // opens them. Read before the console fills in the defaults.
    if (!parser.isSet(noFirstRunOption) && !parser.isSet(shotOption) &&
        FirstRunDialog::wanted(store)) {
        FirstRunDialog firstRun(store, listAudioDevices());
        firstRun.exec();
    }
    TarnAppDelegate shell;
    // SIGINT, SIGTERM and exit() release a keyed transmitter; after a signal
    // the console closes in order, as when its window is closed.
    tarn::rig::EmergencyRelease::install([](int) {
        QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    });
    TarnViewController console(audioHostOptions(store), store, formFactor);
    console.setAudioDeviceSource(listAudioDevices);
    shell.setWindow(&console);
    fitToScreen(console);
    console.show();

    QString playError;
    if (parser.isSet(playOption) && !console.playRecording(parser.value(playOption), &playError)) {
        std::fprintf(stderr, "tarn-psk31-console: %s\n", qPrintable(playError));
        return 1;
    }
    if (parser.isSet(shotOption)) {
        const QString path = parser.value(shotOption);
        QTimer::singleShot(static_cast<int>(shotDelay * 1000.0), &console, [&console, path] {
            if (!console.grab().save(path)) {
                std::fprintf(stderr, "tarn-psk31-console: cannot write '%s'\n", qPrintable(path));
                QCoreApplication::exit(1);
                return;
            }
            QCoreApplication::quit();
        });
    }
    return application.exec();
}
