// The operator's settings, kept in an INI file (QSettings format) in the
// user's configuration directory, or in a file chosen with --settings.
//
// Every key has its own typed accessor. Text keys read as nothing when they
// are absent, so that first-run defaults (fillInDefaults) go only where the
// operator has not written anything; an empty text is a value and is kept.
//
// The file is read once, when the store is made; the values live in memory
// and synchronize() writes them all back, through a new file that replaces
// the old one only once it is complete. A damaged file (not UTF-8 INI text,
// or a value that cannot be read as text) is copied aside as "FILE.damaged"
// before anything overwrites it; the values that could be read are kept.
#pragma once

#include "rig/RigConfig.h"

#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <optional>

class SettingsStore {
public:
    // Number of macro buttons, numbered 1 to kMacroCount.
    static constexpr int kMacroCount = 10;

    // fileName empty: "~/.config/tarn-psk31/tarn-psk31.ini". What is wrong
    // with the file is logged; the store starts from what could be read.
    explicit SettingsStore(const QString& fileName = QString());

    // "callsign": the operator's call sign (the \C escape).
    std::optional<QString> callsign() const;
    void setCallsign(const QString& value);
    // "location": the operator's location (the \L escape).
    std::optional<QString> location() const;
    void setLocation(const QString& value);
    // "b1Name".."b10Name" and "b1Text".."b10Text": title and text of macro
    // button n (1..kMacroCount).
    std::optional<QString> macroName(int n) const;
    void setMacroName(int n, const QString& value);
    std::optional<QString> macroText(int n) const;
    void setMacroText(int n, const QString& value);
    // "forceOutputToSpeaker": transmissions on the computer's default output
    // instead of the radio's; absent reads as false.
    bool forceOutputToSpeaker() const;
    void setForceOutputToSpeaker(bool value);
    // "radioInputDevice", "radioOutputDevice": the radio's audio devices by
    // name; empty (also stored as "System default") for the system default.
    QString radioInputDevice() const;
    void setRadioInputDevice(const QString& name);
    QString radioOutputDevice() const;
    void setRadioOutputDevice(const QString& name);

    // Console look and helpers, all off or as before unless the operator
    // sets them:
    // "autoSquelch": the squelch follows the noise (default false).
    bool autoSquelch() const;
    void setAutoSquelch(bool on);
    // "autoSquelchMarginDb": how far above the noise it sits, dB (default 1.5).
    double autoSquelchMarginDb() const;
    void setAutoSquelchMarginDb(double decibels);
    // "theme": "system" (default), "light" or "dark".
    QString theme() const;
    void setTheme(const QString& theme);
    // "receiveFontFamily" and "receiveFontSize" (points) of the received
    // text; empty and 0 (the defaults) keep the system's font.
    QString receiveFontFamily() const;
    void setReceiveFontFamily(const QString& family);
    int receiveFontSize() const;
    void setReceiveFontSize(int points);
    // "operatorName": the operator's name (asked for on the first run).
    std::optional<QString> operatorName() const;
    void setOperatorName(const QString& name);
    // Logging. Each reads its default while absent; none is written by
    // fillInDefaults.
    // "logFile": the ADIF log; default ~/.local/share/tarn-psk31/log.adi.
    QString logFile() const;
    void setLogFile(const QString& path);
    // "logBand": the ADIF band ("20m") logged while no rig reports the
    // frequency; default empty (no band recorded).
    QString logBand() const;
    void setLogBand(const QString& band);
    // "loggerEnabled", "loggerAddress": each logged contact also goes to a
    // logger as a UDP "Logged ADIF" datagram; default off, "127.0.0.1:2237".
    bool loggerEnabled() const;
    void setLoggerEnabled(bool value);
    QString loggerAddress() const;
    void setLoggerAddress(const QString& hostPort);
    // "spottingEnabled", "spottingAddress": stations heard are reported to
    // the spotting network; default off, "report.pskreporter.info:4739".
    bool spottingEnabled() const;
    void setSpottingEnabled(bool value);
    QString spottingAddress() const;
    void setSpottingAddress(const QString& hostPort);

    // The band scanner (defined in ScannerSettings.cpp). Each reads its
    // default while absent; none is written by fillInDefaults.
    // "scannerEnabled": every station in the band decoded at once; the
    // default is the caller's (on for a desktop or tablet, off on a phone).
    bool scannerEnabled(bool byDefault) const;
    void setScannerEnabled(bool on);
    // "scannerLowHz", "scannerHighHz": the band edges searched, Hz (default
    // 500 and 2500).
    double scannerLowHz() const;
    void setScannerLowHz(double hertz);
    double scannerHighHz() const;
    void setScannerHighHz(double hertz);
    // "scannerMaxChannels": stations followed at once (default 40).
    int scannerMaxChannels() const;
    void setScannerMaxChannels(int count);
    // "scannerCloseSeconds": a station is dropped after this long without
    // signal (default 20).
    double scannerCloseSeconds() const;
    void setScannerCloseSeconds(double seconds);
    // "scannerSnrDb": a station prints while its SNR in 2500 Hz is above
    // this, dB (default -10).
    double scannerSnrDb() const;
    void setScannerSnrDb(double decibels);
    // Radio control: "rigModel", "rigPort", "rigSpeed", "pttMethod",
    // "pttPort", "pttLeadMs", "pttTailMs", "txWatchdogSeconds",
    // "rigTimeoutMs", "preambleReversals". Absent or unreadable keys read as
    // their defaults (no rig, VOX); the reason for a bad value is logged.
    tarn::rig::RigConfig rigConfig() const;
    void setRigConfig(const tarn::rig::RigConfig& config);

    // The first-run rule: a missing call sign gets "Please Edit" (and then
    // forceOutputToSpeaker false), each missing macro title and text its
    // default. Present values, also empty ones, stay; "location" is left alone.
    void fillInDefaults();

    // Writes every value to the file. False, and a log line, when it cannot.
    bool synchronize();

    QString fileName() const { return path; }

private:
    std::optional<QString> text(const QString& key) const;
    double number(const QString& key, double byDefault) const;
    void load();

    QString path;
    QVariantMap values;
    // The file on disk could not be read, or is damaged and no copy of it
    // could be kept: it is not overwritten.
    bool keepFileAsItIs = false;
};
