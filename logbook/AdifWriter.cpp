#include "logbook/Adif.h"
#include "logbook/Qso.h"

#include <cctype>

namespace logbook {

void appendAdifField(std::string& out, std::string_view name, std::string_view value,
                     bool multiline) {
    if (value.empty()) {
        return;
    }
    std::string clean(value);
    for (size_t i = 0; i < clean.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(clean[i]);
        const bool lineBreak = c == '\r' || c == '\n';
        if ((c < 32 || c > 126) && !(multiline && lineBreak)) {
            clean[i] = ' ';
        }
        if (c == '<' && i + 3 < clean.size()) {
            std::string marker = clean.substr(i + 1, 3);
            for (char& m : marker) {
                m = static_cast<char>(std::toupper(static_cast<unsigned char>(m)));
            }
            if (marker == "EOR" || marker == "EOH") {
                clean[i] = '(';
            }
        }
    }
    out += '<';
    out += name;
    out += ':';
    out += std::to_string(clean.size());
    out += '>';
    out += clean;
}

std::string adifHeader(std::string_view programVersion, int64_t createdSeconds) {
    std::string header = "ADIF log written by tarn-psk31\n";
    appendAdifField(header, "ADIF_VER", kAdifVersion);
    header += '\n';
    appendAdifField(header, "PROGRAMID", kProgramId);
    header += '\n';
    appendAdifField(header, "PROGRAMVERSION", programVersion);
    header += '\n';
    appendAdifField(header, "CREATED_TIMESTAMP",
                    adifDate(createdSeconds) + " " + adifTime(createdSeconds));
    header += "\n<EOH>\n";
    return header;
}

std::string adifRecordText(const AdifRecord& record) {
    std::string text;
    for (const AdifField& field : record) {
        appendAdifField(text, field.name, field.value,
                        field.name == "NOTES" || field.name == "ADDRESS" || field.name == "QSLMSG");
        text += ' ';
    }
    text += "<EOR>\n";
    return text;
}

} // namespace logbook
