#include "settings/SettingsStore.h"

#include "log/TarnLog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

namespace {

QString defaultFileName() {
    const QString base = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    return QDir(base).filePath(QStringLiteral("tarn-psk31/tarn-psk31.ini"));
}

} // namespace

SettingsStore::SettingsStore(const QString& fileName) {
    const QString path = fileName.isEmpty() ? defaultFileName() : fileName;
    settings = std::make_unique<QSettings>(path, QSettings::IniFormat);
    const QByteArray name = QFile::encodeName(path);
    if (settings->status() == QSettings::AccessError) {
        tarnLog("Cannot read settings file %s; using defaults\n", name.constData());
    } else if (settings->status() == QSettings::FormatError) {
        // Keep the damaged file beside the new one and carry on with every
        // value that could be read.
        tarnLog("Settings file %s is damaged; kept as %s.damaged, readable values kept\n",
                name.constData(), name.constData());
        QSettings readable(path, QSettings::IniFormat);
        const QStringList keys = readable.allKeys();
        QVariantMap values;
        for (const QString& key : keys)
            values.insert(key, readable.value(key));
        QFile::remove(path + ".damaged");
        QFile::rename(path, path + ".damaged");
        settings = std::make_unique<QSettings>(path, QSettings::IniFormat);
        for (auto it = values.cbegin(); it != values.cend(); ++it)
            settings->setValue(it.key(), it.value());
    }
}

SettingsStore::~SettingsStore() = default;

std::optional<QString> SettingsStore::stringForKey(const QString& key) const {
    const QVariant value = settings->value(key);
    if (!value.isValid() || value.typeId() != QMetaType::QString)
        return std::nullopt;
    return value.toString();
}

void SettingsStore::setObject(const QVariant& value, const QString& key) {
    settings->setValue(key, value);
}

bool SettingsStore::boolForKey(const QString& key) const {
    return settings->value(key, false).toBool();
}

void SettingsStore::setBool(bool value, const QString& key) {
    settings->setValue(key, value);
}

bool SettingsStore::synchronize() {
    settings->sync();
    if (settings->status() != QSettings::NoError) {
        tarnLog("Cannot write settings file %s\n",
                QFile::encodeName(settings->fileName()).constData());
        return false;
    }
    return true;
}

QString SettingsStore::fileName() const {
    return settings->fileName();
}
