// The application delegate: holds the application's window and answers the
// application's life-cycle calls. It does no work of its own; the console
// sets itself up and follows background and foreground by itself.
#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>

class TarnAppDelegate : public QObject {
    Q_OBJECT
public:
    explicit TarnAppDelegate(QObject* parent = nullptr);

    QWidget* window() const { return _window; }
    void setWindow(QWidget* window) { _window = window; }

    bool applicationDidFinishLaunchingWithOptions() { return true; }
    void applicationWillResignActive() {}
    void applicationDidEnterBackground() {}
    void applicationWillEnterForeground() {}
    void applicationDidBecomeActive() {}
    void applicationWillTerminate() {}

private:
    QPointer<QWidget> _window;
};
