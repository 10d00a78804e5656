#include "app/AudioBackend.h"

#include "settings/SettingsStore.h"

tarnaudio::AudioHostOptions audioHostOptions(SettingsStore& store) {
    tarnaudio::AudioHostOptions options;
    options.inputDevice = store.radioInputDevice().toStdString();
    options.outputDevice = store.radioOutputDevice().toStdString();
    return options;
}
