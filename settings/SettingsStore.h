// The persistent key-value store behind the operator's settings: an INI file
// (QSettings) in the user's configuration directory, or a file chosen with
// --settings. It offers the five operations the console and the settings
// screen use; nothing else is persisted.
#pragma once

#include <QString>
#include <QVariant>

#include <memory>
#include <optional>

class QSettings;

class SettingsStore {
public:
    // fileName empty: the user's configuration directory
    // ("~/.config/tarn-psk31/tarn-psk31.ini"). A corrupt or unreadable file is
    // logged and the store starts from what could be read.
    explicit SettingsStore(const QString& fileName = QString());
    ~SettingsStore();

    // Text for key; absent, or a value that is not text, reads as nothing.
    std::optional<QString> stringForKey(const QString& key) const;
    // Writes an object (text or boolean) for key.
    void setObject(const QVariant& value, const QString& key);
    // Boolean for key; absent reads as false.
    bool boolForKey(const QString& key) const;
    void setBool(bool value, const QString& key);
    // Flushes to disk; false (and a log line) when the file cannot be written.
    bool synchronize();

    QString fileName() const;

private:
    std::unique_ptr<QSettings> settings;
};
