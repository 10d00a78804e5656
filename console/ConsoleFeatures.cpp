#include "console/ConsoleFeatures.h"

#include "console/AboutDialog.h"
#include "console/AutoSquelchControl.h"
#include "console/ConsoleShortcuts.h"
#include "console/FirstRunDialog.h"
#include "console/FrequencyScale.h"
#include "console/SpectrumView.h"
#include "console/TarnViewController.h"
#include "console/Theme.h"
#include "settings/SettingsStore.h"
#include "settings/SettingsViewController.h"

#include <QApplication>
#include <QBoxLayout>
#include <QChildEvent>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFontComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QSpinBox>

namespace {
const char* const kThemes[] = {"system", "light", "dark"};
} // namespace

ConsoleFeatures::ConsoleFeatures(TarnViewController& console)
    : QObject(&console), console(console) {
    setObjectName(QStringLiteral("consoleFeatures"));
    QWidget* holder = console.spectrumDisplay()->parentWidget();
    scale = new FrequencyScale(
        [&console] {
            return FrequencyScale::View{console.theData()->frequency(), console.displayMode,
                                        console.displayZoomed};
        },
        holder);
    qobject_cast<QBoxLayout*>(holder->layout())->insertWidget(0, scale);
    scale->followPointerOver(holder);

    squelch = new AutoSquelchControl(*console.theData(), console.settingsStore(), console.squelch(),
                                     console.squelchDisplay(), this);
    keys = new ConsoleShortcuts(console);
    theme::applyReceiveFont(*console.textOutput(), console.settingsStore());
    console.installEventFilter(this);
    // One tick for the scale and the squelch (a timer event, not a QTimer:
    // the console's refresh timers are its own).
    startTimer(static_cast<int>(AutoSquelch::kTickSeconds * 1000.0), Qt::PreciseTimer);
}

void ConsoleFeatures::timerEvent(QTimerEvent*) {
    squelch->tick();
    scale->update();
}

bool ConsoleFeatures::eventFilter(QObject* watched, QEvent* event) {
    if (watched == &console && event->type() == QEvent::ChildPolished) {
        if (auto* screen =
                qobject_cast<SettingsViewController*>(static_cast<QChildEvent*>(event)->child());
            screen != nullptr && !screen->property("displayGroup").toBool())
            extendSettingsScreen(*screen);
    }
    return QObject::eventFilter(watched, event);
}

void ConsoleFeatures::applySettings() {
    SettingsStore& store = console.settingsStore();
    if (auto* application = qobject_cast<QApplication*>(QCoreApplication::instance()))
        theme::apply(*application, store.theme());
    theme::applyReceiveFont(*console.textOutput(), store);
    squelch->applySettings();
}

void ConsoleFeatures::extendSettingsScreen(SettingsViewController& screen) {
    screen.setProperty("displayGroup", true);
    SettingsStore& store = console.settingsStore();
    auto* group = new QGroupBox(tr("Display"), &screen);
    group->setObjectName(QStringLiteral("displayGroup"));
    auto* form = new QFormLayout(group);

    auto* themeChooser = new QComboBox(group);
    themeChooser->setObjectName(QStringLiteral("theme"));
    themeChooser->addItem(tr("As the desktop"), QString::fromLatin1(kThemes[0]));
    themeChooser->addItem(tr("Light"), QString::fromLatin1(kThemes[1]));
    themeChooser->addItem(tr("Dark"), QString::fromLatin1(kThemes[2]));
    themeChooser->setCurrentIndex(std::max(0, themeChooser->findData(store.theme())));
    form->addRow(tr("&Theme"), themeChooser);

    auto* family = new QFontComboBox(group);
    family->setObjectName(QStringLiteral("receiveFontFamily"));
    family->setCurrentFont(console.textOutput()->font());
    form->addRow(tr("Received text &font"), family);
    auto* size = new QSpinBox(group);
    size->setObjectName(QStringLiteral("receiveFontSize"));
    size->setRange(6, 48);
    size->setSuffix(tr(" pt"));
    size->setValue(console.textOutput()->font().pointSize());
    form->addRow(tr("Received text &size"), size);

    auto* margin = new QDoubleSpinBox(group);
    margin->setObjectName(QStringLiteral("autoSquelchMarginDb"));
    margin->setRange(0.0, 10.0);
    margin->setSingleStep(0.5);
    margin->setDecimals(1);
    margin->setSuffix(tr(" dB"));
    margin->setValue(store.autoSquelchMarginDb());
    margin->setToolTip(tr("How far above the noise the Auto squelch sits"));
    form->addRow(tr("Auto squelch &margin"), margin);

    auto* firstRun = new QPushButton(tr("First-run &setup…"), group);
    firstRun->setObjectName(QStringLiteral("firstRunButton"));
    form->addRow(QString(), firstRun);
    connect(firstRun, &QPushButton::clicked, &screen, [this, &screen] {
        FirstRunDialog dialog(console.settingsStore(), AudioDeviceNames{}, &screen);
        // The screen stores its own fields when it closes: show it the answers.
        if (dialog.exec() == QDialog::Accepted)
            dialog.showAnswersIn(screen);
    });

    auto* about = new QPushButton(tr("&About tarn-psk31…"), group);
    about->setObjectName(QStringLiteral("aboutButton"));
    form->addRow(QString(), about);
    connect(about, &QPushButton::clicked, &screen, [&screen] {
        AboutDialog dialog(&screen);
        dialog.exec();
    });

    if (auto* fields = qobject_cast<QGridLayout*>(screen.scrollView()->widget()->layout()))
        fields->addWidget(group, fields->rowCount(), 0, 1, fields->columnCount());

    // The font and size are stored only when they differ from what the text
    // already shows, so that an untouched screen keeps the system's font.
    const QFont shown = console.textOutput()->font();
    connect(&screen, &QDialog::accepted, this, [this, themeChooser, family, size, margin, shown] {
        SettingsStore& settings = console.settingsStore();
        settings.setTheme(themeChooser->currentData().toString());
        if (family->currentFont().family() != shown.family())
            settings.setReceiveFontFamily(family->currentFont().family());
        if (size->value() != shown.pointSize())
            settings.setReceiveFontSize(size->value());
        settings.setAutoSquelchMarginDb(margin->value());
        settings.synchronize();
        applySettings();
    });
}
