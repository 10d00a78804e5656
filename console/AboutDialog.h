// The console's About box: the program's name, its release and the git
// commit it was built from, the project's web page and the licence.
#pragma once

#include <QDialog>

class QLabel;

class AboutDialog : public QDialog {
    Q_OBJECT
public:
    explicit AboutDialog(QWidget* parent = nullptr);

    // "tarn-psk31 0.1.0 (commit 23fa30f)", as `--version` prints it.
    static QString versionText();
    // The label that shows it (tests).
    QLabel* versionLabel() const { return version; }

private:
    QLabel* version = nullptr;
};
