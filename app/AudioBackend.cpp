#include "app/AudioBackend.h"

#include "settings/SettingsStore.h"

tarnaudio::AudioHostOptions audioHostOptions(SettingsStore& store) {
    tarnaudio::AudioHostOptions options;
    options.inputDevice = store.stringForKey("radioInputDevice").value_or(QString()).toStdString();
    options.outputDevice =
        store.stringForKey("radioOutputDevice").value_or(QString()).toStdString();
    return options;
}
