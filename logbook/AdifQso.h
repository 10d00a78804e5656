// Contacts to and from ADIF records, and the field-format checks of the ADIF
// 3.1 definition that the station's files must pass.
#pragma once

#include "logbook/Adif.h"
#include "logbook/Qso.h"

#include <optional>
#include <string>
#include <vector>

namespace logbook {

// The record the station writes for a contact: CALL, QSO_DATE, TIME_ON,
// QSO_DATE_OFF, TIME_OFF, BAND, FREQ (MHz, to the hertz), MODE, SUBMODE,
// reports, the other station's details, STATION_CALLSIGN, MY_GRIDSQUARE,
// then any fields kept from another program.
AdifRecord toAdifRecord(const Qso& qso);

// The contact a record describes. Needs CALL, QSO_DATE and TIME_ON in valid
// form; otherwise nothing, with the reason in `why`.
std::optional<Qso> qsoFromRecord(const AdifRecord& record, std::string* why = nullptr);

// Format faults of one contact record against the ADIF definition: required
// fields, Date and Time forms, the band enumeration (and FREQ inside BAND),
// the mode enumeration and the submode's mode, locators, and String fields
// in printable ASCII. Empty when the record is sound.
std::vector<std::string> checkRecord(const AdifRecord& record);
// The same for a header: ADIF_VER, PROGRAMID, CREATED_TIMESTAMP.
std::vector<std::string> checkHeader(const AdifRecord& header);

// Whether text is a Maidenhead locator of 2, 4, 6 or 8 characters.
bool isLocator(std::string_view text);

} // namespace logbook
