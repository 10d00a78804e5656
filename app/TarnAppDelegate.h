// The application shell's companion object: holds the application's main
// window for the life of the process. It does no work of its own; the console
// sets itself up and follows the application's state
// (QGuiApplication::applicationStateChanged) by itself.
#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>

class TarnAppDelegate : public QObject {
    Q_OBJECT
public:
    explicit TarnAppDelegate(QObject* parent = nullptr) : QObject(parent) {}

    QWidget* window() const { return _window; }
    void setWindow(QWidget* window) { _window = window; }

private:
    QPointer<QWidget> _window;
};
