#include "console/AutoSquelchControl.h"

#include "console/ConsoleWidgets.h"
#include "engine/TarnData.h"
#include "settings/SettingsStore.h"

#include <QBoxLayout>
#include <QCheckBox>
#include <QLabel>

#include <cstdio>

AutoSquelchControl::AutoSquelchControl(TarnData& engine, SettingsStore& store, LevelSlider* slider,
                                       QLabel* label, QObject* parent)
    : QObject(parent), engine(engine), store(store), slider(slider), label(label) {
    box = new QCheckBox(tr("Auto"), label->parentWidget());
    box->setObjectName(QStringLiteral("autoSquelchBox"));
    // Into the (nested) row layout that holds the level label.
    for (QBoxLayout* row : label->parentWidget()->findChildren<QBoxLayout*>()) {
        if (const int at = row->indexOf(label); at >= 0) {
            row->insertWidget(at + 1, box);
            break;
        }
    }
    connect(box, &QCheckBox::toggled, this, &AutoSquelchControl::toggled);
    applySettings();
}

void AutoSquelchControl::applySettings() {
    automatic.setMarginDb(static_cast<float>(store.autoSquelchMarginDb()));
    box->setToolTip(tr("Squelch %1 dB above the noise at the tuned frequency; a station 3 dB "
                       "above the noise opens it")
                        .arg(automatic.marginDb(), 0, 'f', 1));
    box->setText(tr("Auto +%1 dB").arg(automatic.marginDb(), 0, 'f', 1));
    box->setChecked(store.autoSquelch());
}

void AutoSquelchControl::toggled(bool on) {
    if (slider)
        slider->setEnabled(!on);
    if (store.autoSquelch() != on) {
        store.setAutoSquelch(on);
        store.synchronize();
    }
}

void AutoSquelchControl::tick() {
    const float level = automatic.update(engine.status().signalLevel);
    if (!box->isChecked())
        return;
    engine.setBackgroundNoiseLevel(level);
    if (slider)
        slider->setLevel(level); // shows the level; fires nothing
    if (label) {
        char text[32];
        std::snprintf(text, sizeof text, "%.1f", static_cast<double>(level));
        label->setText(QString::fromLatin1(text));
    }
}
