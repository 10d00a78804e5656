#include "app/TarnAppDelegate.h"

#include <QGuiApplication>

TarnAppDelegate::TarnAppDelegate(QObject* parent) : QObject(parent) {
    // The application's state changes, delivered as the life-cycle calls.
    connect(qApp, &QGuiApplication::applicationStateChanged, this,
            [this](Qt::ApplicationState state) {
                if (state == Qt::ApplicationActive)
                    applicationDidBecomeActive();
                else if (state == Qt::ApplicationInactive)
                    applicationWillResignActive();
                else
                    applicationDidEnterBackground();
            });
    connect(qApp, &QCoreApplication::aboutToQuit, this, [this] { applicationWillTerminate(); });
}
