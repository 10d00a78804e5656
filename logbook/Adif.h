// ADIF 3.1 in its ADI (tagged text) form: reading a file into records and
// writing fields, the header and records.
//
// A field is "<NAME:LENGTH[:TYPE]>DATA": LENGTH bytes of data follow the
// specifier. "<EOH>" ends the header (present when the file does not start
// with '<'), "<EOR>" ends each record. Names are matched in any letter case
// and kept in upper case here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace logbook {

struct AdifField {
    std::string name; // upper case
    std::string value;

    bool operator==(const AdifField&) const = default;
};
using AdifRecord = std::vector<AdifField>;

// The value of a field in a record, or nullptr when absent.
const std::string* findField(const AdifRecord& record, std::string_view upperName);

// A place where a file stopped parsing: byte offset, 1-based line, reason.
struct AdifProblem {
    size_t offset = 0;
    size_t line = 0;
    std::string message;
};

struct AdifDocument {
    bool hasHeader = false;
    AdifRecord header;
    std::vector<AdifRecord> records; // every complete record, in file order
    // Lenient: each damaged stretch that was skipped (its start), the last
    // one possibly where the file stopped parsing for good. Strict: the first
    // fault, after which nothing more was read.
    std::vector<AdifProblem> problems;
};

enum class AdifReading {
    // Other programs' files and damaged ones: text between fields is
    // ignored; a damaged record is skipped up to the next <EOR> and reading
    // goes on from there; a record cut short at the end is reported and
    // dropped.
    Lenient,
    // The station's own files under test or check: any fault ends reading,
    // and only white space may stand between fields.
    Strict,
};

AdifDocument readAdif(std::string_view text, AdifReading reading);

// Appends "<NAME:LENGTH>VALUE" (nothing for an empty value). Bytes outside
// printable ASCII become spaces, except line breaks where multiline is set,
// and a '<' that would start an end marker inside the value is written as
// '(' so that no reader can take the value for the end of a record.
void appendAdifField(std::string& out, std::string_view name, std::string_view value,
                     bool multiline = false);
// A header: a line of text, ADIF_VER, PROGRAMID "tarn-psk31", PROGRAMVERSION
// and CREATED_TIMESTAMP, then <EOH>.
std::string adifHeader(std::string_view programVersion, int64_t createdSeconds);
// A record's fields in order, then <EOR> and a line break.
std::string adifRecordText(const AdifRecord& record);

// The ADIF version the station writes.
inline constexpr std::string_view kAdifVersion = "3.1.4";
inline constexpr std::string_view kProgramId = "tarn-psk31";

} // namespace logbook
