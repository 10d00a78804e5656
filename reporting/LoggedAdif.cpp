#include "reporting/LoggedAdif.h"
#include "logbook/Adif.h"
#include "logbook/AdifQso.h"

namespace reporting {

namespace {

void putU32(std::vector<uint8_t>& out, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        out.push_back(static_cast<uint8_t>(value >> shift));
    }
}

void putUtf8(std::vector<uint8_t>& out, std::string_view text) {
    putU32(out, static_cast<uint32_t>(text.size()));
    out.insert(out.end(), text.begin(), text.end());
}

} // namespace

std::string loggedAdifText(const logbook::Qso& qso) {
    // A header is only a header when the text does not start with '<'.
    std::string text = "tarn-psk31 contact\n";
    logbook::appendAdifField(text, "ADIF_VER", logbook::kAdifVersion);
    text += '\n';
    logbook::appendAdifField(text, "PROGRAMID", logbook::kProgramId);
    text += "\n<EOH>\n";
    text += logbook::adifRecordText(logbook::toAdifRecord(qso));
    return text;
}

std::vector<uint8_t> encodeLoggedAdif(std::string_view id, std::string_view adifText) {
    std::vector<uint8_t> datagram;
    datagram.reserve(20 + id.size() + adifText.size());
    putU32(datagram, kWsjtxMagic);
    putU32(datagram, kWsjtxSchema);
    putU32(datagram, kLoggedAdifType);
    putUtf8(datagram, id);
    putUtf8(datagram, adifText);
    return datagram;
}

} // namespace reporting
