// The station's log file: ADIF, appended to and never rewritten.
//
// A new (missing or empty) file gets a header first. Each append is one
// write() of whole records under an exclusive lock, followed by fsync, so a
// crash or kill leaves either the record whole or nothing of it, and every
// earlier record as it was. A file that ends in a damaged record (written by
// something else, or cut short by a power failure) is closed off with an
// <EOR> before the next record, so the new one reads back on its own. The
// file is never truncated.
#pragma once

#include "logbook/Adif.h"
#include "logbook/Qso.h"

#include <filesystem>
#include <string>
#include <vector>

namespace logbook {

// What reading a log file found.
struct LogContents {
    bool exists = false;
    std::vector<Qso> contacts;
    // Stretches of the file that did not parse (skipped), and records that
    // parsed but describe no contact (no call, date or time), as
    // "line N: reason".
    std::vector<std::string> problems;
};

class LogFile {
public:
    explicit LogFile(std::filesystem::path path) : filePath(std::move(path)) {}

    const std::filesystem::path& path() const { return filePath; }

    // Reads every contact the file holds, as far as it parses; damage is
    // listed in problems, never repaired. False only when the file exists
    // but cannot be read (error set).
    bool read(LogContents& contents, std::string& error) const;

    // Appends contacts, creating the file's folder and the file with its
    // header when needed. Returns only once the data is on disk. False with
    // the reason in error when any step failed.
    bool append(const std::vector<Qso>& contacts, std::string& error) const;

private:
    std::filesystem::path filePath;
};

// Writes a whole ADIF file (header and records) to `path`, replacing it
// only once complete (a temporary file renamed over it).
bool writeAdifFile(const std::filesystem::path& path, const std::vector<Qso>& contacts,
                   std::string& error);

// $XDG_DATA_HOME/tarn-psk31/log.adi, or ~/.local/share/tarn-psk31/log.adi.
std::filesystem::path defaultLogPath();

// The program version written into headers.
std::string_view programVersion();

} // namespace logbook
