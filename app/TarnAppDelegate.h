// The application delegate: holds the application's window. It does no work
// of its own; the console sets itself up and follows the application's state
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
