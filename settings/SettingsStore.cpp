#include "settings/SettingsStore.h"

#include "log/TarnLog.h"
#include "logbook/LogFile.h"
#include "settings/SettingsDefaults.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>
#include <QStringDecoder>

#include <cstdio>

namespace {

const QString kCallsign = QStringLiteral("callsign");
const QString kLocation = QStringLiteral("location");
const QString kForceOutputToSpeaker = QStringLiteral("forceOutputToSpeaker");
const QString kRadioInputDevice = QStringLiteral("radioInputDevice");
const QString kRadioOutputDevice = QStringLiteral("radioOutputDevice");
const QString kAutoSquelch = QStringLiteral("autoSquelch");
const QString kAutoSquelchMarginDb = QStringLiteral("autoSquelchMarginDb");
const QString kTheme = QStringLiteral("theme");
const QString kReceiveFontFamily = QStringLiteral("receiveFontFamily");
const QString kReceiveFontSize = QStringLiteral("receiveFontSize");
const QString kOperatorName = QStringLiteral("operatorName");
constexpr double kDefaultMarginDb = 1.5;
const QString kLogFile = QStringLiteral("logFile");
const QString kLogBand = QStringLiteral("logBand");
const QString kLoggerEnabled = QStringLiteral("loggerEnabled");
const QString kLoggerAddress = QStringLiteral("loggerAddress");
const QString kSpottingEnabled = QStringLiteral("spottingEnabled");
const QString kSpottingAddress = QStringLiteral("spottingAddress");
// What the settings screen shows for "no particular device"; stored by hand,
// it means the same as the empty text.
const QString kSystemDefaultDevice = QStringLiteral("System default");

QString nameKey(int n) {
    return QStringLiteral("b%1Name").arg(n);
}
QString textKey(int n) {
    return QStringLiteral("b%1Text").arg(n);
}

bool isTextKey(const QString& key) {
    if (key == kCallsign || key == kLocation || key == kRadioInputDevice ||
        key == kRadioOutputDevice || key == kTheme || key == kReceiveFontFamily ||
        key == kOperatorName || key == kLogFile || key == kLogBand || key == kLoggerAddress ||
        key == kSpottingAddress)
        return true;
    for (int n = 1; n <= SettingsStore::kMacroCount; ++n)
        if (key == nameKey(n) || key == textKey(n))
            return true;
    return false;
}

bool isKnownKey(const QString& key) {
    return key == kForceOutputToSpeaker || key == kAutoSquelch || key == kAutoSquelchMarginDb ||
           key == kReceiveFontSize || key == kLoggerEnabled || key == kSpottingEnabled ||
           isTextKey(key);
}

QString defaultFileName() {
    const QString base = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    return QDir(base).filePath(QStringLiteral("tarn-psk31/tarn-psk31.ini"));
}

QByteArray local(const QString& path) {
    return QFile::encodeName(path);
}

// Why the bytes of a settings file are not INI text, or an empty string.
QString textProblem(const QByteArray& bytes) {
    if (bytes.contains('\0'))
        return QStringLiteral("NUL bytes");
    QStringDecoder utf8(QStringDecoder::Utf8);
    // The decoder converts only when its result is taken as a string.
    [[maybe_unused]] const QString decoded = utf8.decode(bytes);
    if (utf8.hasError())
        return QStringLiteral("not UTF-8 text");
    return QString();
}

} // namespace

SettingsStore::SettingsStore(const QString& fileName)
    : path(fileName.isEmpty() ? defaultFileName() : fileName) {
    load();
}

void SettingsStore::load() {
    QFile file(path);
    if (!file.exists())
        return; // first run
    if (!file.open(QIODevice::ReadOnly)) {
        tarnLog("Cannot read settings file %s; using defaults\n", local(path).constData());
        keepFileAsItIs = true;
        return;
    }
    QString problem = textProblem(file.readAll());
    file.close();

    const QSettings reader(path, QSettings::IniFormat);
    if (problem.isEmpty() && reader.status() == QSettings::FormatError)
        problem = QStringLiteral("not INI syntax");
    // From a file that is not text only the keys of this program are taken;
    // anything else in it is noise.
    const bool noise = !problem.isEmpty();
    for (const QString& key : reader.allKeys()) {
        // QSettings names keys in groups by '/'; an empty part ("a//b", "a/")
        // cannot be read or written back as it stands.
        if (key.startsWith(u'/') || key.endsWith(u'/') || key.contains(QStringLiteral("//"))) {
            if (problem.isEmpty())
                problem = QStringLiteral("key %1 cannot be read").arg(key);
            continue;
        }
        if (noise && !isKnownKey(key))
            continue;
        const QVariant value = reader.value(key);
        if (value.typeId() == QMetaType::QStringList || value.typeId() == QMetaType::QVariantList) {
            // An unquoted comma makes a list of the text the operator wrote
            // (of variants when a part starts with '@').
            const QString joined = value.toStringList().join(QStringLiteral(", "));
            tarnLog("Settings file %s: %s has an unquoted comma; read as \"%s\", written back "
                    "quoted\n",
                    local(path).constData(), key.toUtf8().constData(), joined.toUtf8().constData());
            values.insert(key, joined);
        } else if (isTextKey(key) && value.typeId() != QMetaType::QString) {
            if (problem.isEmpty())
                problem = QStringLiteral("%1 is not text").arg(key);
        } else {
            values.insert(key, value);
        }
    }
    if (problem.isEmpty())
        return;

    // Nothing is overwritten before a copy of the damaged file exists.
    const QString copy = path + QStringLiteral(".damaged");
    QFile::remove(copy);
    QFile original(path);
    if (original.copy(copy)) {
        tarnLog("Settings file %s is damaged (%s); kept as %s, readable values kept\n",
                local(path).constData(), problem.toUtf8().constData(), local(copy).constData());
        return;
    }
    tarnLog("Settings file %s is damaged (%s); no copy could be kept (%s), so it is left as it "
            "is and changes to the settings are not saved\n",
            local(path).constData(), problem.toUtf8().constData(),
            original.errorString().toUtf8().constData());
    keepFileAsItIs = true;
}

std::optional<QString> SettingsStore::text(const QString& key) const {
    const auto found = values.constFind(key);
    if (found == values.cend() || found->typeId() != QMetaType::QString)
        return std::nullopt;
    return found->toString();
}

std::optional<QString> SettingsStore::callsign() const {
    return text(kCallsign);
}
void SettingsStore::setCallsign(const QString& value) {
    values.insert(kCallsign, value);
}
std::optional<QString> SettingsStore::location() const {
    return text(kLocation);
}
void SettingsStore::setLocation(const QString& value) {
    values.insert(kLocation, value);
}
std::optional<QString> SettingsStore::macroName(int n) const {
    return text(nameKey(n));
}
void SettingsStore::setMacroName(int n, const QString& value) {
    values.insert(nameKey(n), value);
}
std::optional<QString> SettingsStore::macroText(int n) const {
    return text(textKey(n));
}
void SettingsStore::setMacroText(int n, const QString& value) {
    values.insert(textKey(n), value);
}
bool SettingsStore::forceOutputToSpeaker() const {
    return values.value(kForceOutputToSpeaker, false).toBool();
}
void SettingsStore::setForceOutputToSpeaker(bool value) {
    values.insert(kForceOutputToSpeaker, value);
}

QString SettingsStore::radioInputDevice() const {
    const QString name = text(kRadioInputDevice).value_or(QString());
    return name == kSystemDefaultDevice ? QString() : name;
}
void SettingsStore::setRadioInputDevice(const QString& name) {
    values.insert(kRadioInputDevice, name);
}
QString SettingsStore::radioOutputDevice() const {
    const QString name = text(kRadioOutputDevice).value_or(QString());
    return name == kSystemDefaultDevice ? QString() : name;
}
void SettingsStore::setRadioOutputDevice(const QString& name) {
    values.insert(kRadioOutputDevice, name);
}

bool SettingsStore::autoSquelch() const {
    return values.value(kAutoSquelch, false).toBool();
}
void SettingsStore::setAutoSquelch(bool on) {
    values.insert(kAutoSquelch, on);
}
double SettingsStore::autoSquelchMarginDb() const {
    bool ok = false;
    const double value = values.value(kAutoSquelchMarginDb, kDefaultMarginDb).toDouble(&ok);
    return ok ? value : kDefaultMarginDb;
}
void SettingsStore::setAutoSquelchMarginDb(double decibels) {
    values.insert(kAutoSquelchMarginDb, decibels);
}
QString SettingsStore::theme() const {
    const QString value = text(kTheme).value_or(QString());
    return value == QStringLiteral("light") || value == QStringLiteral("dark")
               ? value
               : QStringLiteral("system");
}
void SettingsStore::setTheme(const QString& theme) {
    values.insert(kTheme, theme);
}
QString SettingsStore::receiveFontFamily() const {
    return text(kReceiveFontFamily).value_or(QString());
}
void SettingsStore::setReceiveFontFamily(const QString& family) {
    values.insert(kReceiveFontFamily, family);
}
int SettingsStore::receiveFontSize() const {
    bool ok = false;
    const int value = values.value(kReceiveFontSize, 0).toInt(&ok);
    return ok && value > 0 ? value : 0;
}
void SettingsStore::setReceiveFontSize(int points) {
    values.insert(kReceiveFontSize, points);
}
std::optional<QString> SettingsStore::operatorName() const {
    return text(kOperatorName);
}
void SettingsStore::setOperatorName(const QString& name) {
    values.insert(kOperatorName, name);
}
QString SettingsStore::logFile() const {
    return text(kLogFile).value_or(QString::fromStdString(logbook::defaultLogPath().string()));
}
void SettingsStore::setLogFile(const QString& path) {
    values.insert(kLogFile, path);
}
QString SettingsStore::logBand() const {
    return text(kLogBand).value_or(QString());
}
void SettingsStore::setLogBand(const QString& band) {
    values.insert(kLogBand, band);
}
bool SettingsStore::loggerEnabled() const {
    return values.value(kLoggerEnabled, false).toBool();
}
void SettingsStore::setLoggerEnabled(bool value) {
    values.insert(kLoggerEnabled, value);
}
QString SettingsStore::loggerAddress() const {
    return text(kLoggerAddress).value_or(QStringLiteral("127.0.0.1:2237"));
}
void SettingsStore::setLoggerAddress(const QString& hostPort) {
    values.insert(kLoggerAddress, hostPort);
}
bool SettingsStore::spottingEnabled() const {
    return values.value(kSpottingEnabled, false).toBool();
}
void SettingsStore::setSpottingEnabled(bool value) {
    values.insert(kSpottingEnabled, value);
}
QString SettingsStore::spottingAddress() const {
    return text(kSpottingAddress).value_or(QStringLiteral("report.pskreporter.info:4739"));
}
void SettingsStore::setSpottingAddress(const QString& hostPort) {
    values.insert(kSpottingAddress, hostPort);
}

void SettingsStore::fillInDefaults() {
    if (!callsign()) {
        setForceOutputToSpeaker(false);
        setCallsign(settingsdefaults::callsign());
    }
    for (int n = 1; n <= kMacroCount; ++n) {
        if (!macroName(n))
            setMacroName(n, settingsdefaults::macroName(n));
        if (!macroText(n))
            setMacroText(n, settingsdefaults::macroText(n));
    }
}

bool SettingsStore::synchronize() {
    if (keepFileAsItIs)
        return false; // logged when the file was read
    // A complete new file replaces the old one in one step, so an interrupted
    // write never leaves half a file.
    QDir().mkpath(QFileInfo(path).absolutePath());
    const QString fresh = path + QStringLiteral(".new");
    QFile::remove(fresh);
    bool written = false;
    {
        QSettings writer(fresh, QSettings::IniFormat);
        for (auto it = values.cbegin(); it != values.cend(); ++it)
            writer.setValue(it.key(), it.value());
        writer.sync();
        written = writer.status() == QSettings::NoError;
    }
    // No values: QSettings writes nothing, the file is still made (empty).
    if (written && !QFileInfo::exists(fresh))
        written = QFile(fresh).open(QIODevice::WriteOnly);
    if (!written || std::rename(local(fresh).constData(), local(path).constData()) != 0) {
        QFile::remove(fresh);
        tarnLog("Cannot write settings file %s\n", local(path).constData());
        return false;
    }
    return true;
}

tarn::rig::RigConfig SettingsStore::rigConfig() const {
    tarn::rig::RigConfig config;
    for (const auto& [key, unused] : tarn::rig::rigSettings(config)) {
        const std::optional<QString> value = text(QString::fromStdString(key));
        if (!value)
            continue;
        const std::string reason =
            tarn::rig::applyRigSetting(config, key, value->trimmed().toStdString());
        if (!reason.empty())
            tarnLog("Settings: %s: %s\n", key.c_str(), reason.c_str());
    }
    return config;
}

void SettingsStore::setRigConfig(const tarn::rig::RigConfig& config) {
    for (const auto& [key, value] : tarn::rig::rigSettings(config))
        values.insert(QString::fromStdString(key), QString::fromStdString(value));
}
