#include "console/AboutDialog.h"

#include "packaging/TarnVersion.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QVBoxLayout>

namespace {
const char* const kHomePage = "https://tarn-psk31.example.org/";
} // namespace

AboutDialog::AboutDialog(QWidget* parent) : QDialog(parent) {
    setObjectName(QStringLiteral("aboutDialog"));
    setWindowTitle(tr("About tarn-psk31"));
    auto* layout = new QVBoxLayout(this);

    auto* title = new QLabel(tr("<b>tarn-psk31</b><br>PSK31 station for radio amateurs"), this);
    title->setTextFormat(Qt::RichText);
    layout->addWidget(title);

    version = new QLabel(versionText(), this);
    version->setObjectName(QStringLiteral("versionLine"));
    version->setTextInteractionFlags(Qt::TextSelectableByMouse); // to paste into a report
    layout->addWidget(version);

    auto* page = new QLabel(QStringLiteral("<a href=\"%1\">%1</a>").arg(kHomePage), this);
    page->setObjectName(QStringLiteral("homePage"));
    page->setTextFormat(Qt::RichText);
    page->setOpenExternalLinks(true);
    layout->addWidget(page);

    auto* licence = new QLabel(tr("Free software under the MIT licence."), this);
    licence->setObjectName(QStringLiteral("licence"));
    layout->addWidget(licence);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
}

QString AboutDialog::versionText() {
    return QStringLiteral("tarn-psk31 %1").arg(QString::fromUtf8(tarn::versionLine()));
}
