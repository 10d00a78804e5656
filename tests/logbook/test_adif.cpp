// ADIF as the station writes it, read back strictly and checked against the
// ADIF field formats; other programs' and damaged files read leniently.
#include "logbook/Adif.h"
#include "logbook/AdifQso.h"
#include "logbook/Bands.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace logbook;

namespace {

Qso sampleQso() {
    Qso qso;
    qso.call = "VP2E/W1AW";
    qso.timeOn = toSeconds({2024, 2, 29, 23, 58, 30});
    qso.timeOff = toSeconds({2024, 3, 1, 0, 4, 0});
    qso.frequencyHz = 14'070'350;
    qso.rstSent = "599";
    qso.rstReceived = "579";
    qso.name = "Hiram";
    qso.gridsquare = "FK88";
    qso.comment = "tnx <eor> fer QSO \xe9";
    qso.stationCallsign = "N0CALL";
    qso.myGridsquare = "JO62qm";
    qso.otherFields = {{"APP_OTHER_X", "kept"}};
    return qso;
}

} // namespace

TEST(Adif, StationFileReadsBackStrictlyAndPassesTheFieldChecks) {
    const Qso qso = sampleQso();
    const std::string text =
        adifHeader("0.1.0", toSeconds({2024, 3, 1, 0, 5, 0})) + adifRecordText(toAdifRecord(qso));
    const AdifDocument document = readAdif(text, AdifReading::Strict);
    ASSERT_TRUE(document.problems.empty()) << document.problems.front().message;
    EXPECT_TRUE(checkHeader(document.header).empty());
    EXPECT_EQ(*findField(document.header, "PROGRAMID"), "tarn-psk31");
    EXPECT_EQ(*findField(document.header, "CREATED_TIMESTAMP"), "20240301 000500");
    ASSERT_EQ(document.records.size(), 1u);
    const AdifRecord& record = document.records[0];
    const std::vector<std::string> faults = checkRecord(record);
    EXPECT_TRUE(faults.empty()) << faults.front();
    const std::tuple<const char*, const char*> expected[] = {
        {"CALL", "VP2E/W1AW"},
        {"QSO_DATE", "20240229"},
        {"TIME_ON", "235830"},
        {"QSO_DATE_OFF", "20240301"},
        {"TIME_OFF", "000400"},
        {"BAND", "20m"},
        {"FREQ", "14.070350"},
        {"MODE", "PSK"},
        {"SUBMODE", "PSK31"},
        {"STATION_CALLSIGN", "N0CALL"},
        {"MY_GRIDSQUARE", "JO62qm"},
        // The end marker inside the text is defused, the byte above ASCII blanked.
        {"COMMENT", "tnx (eor> fer QSO  "}};
    for (const auto& [name, value] : expected) {
        ASSERT_NE(findField(record, name), nullptr) << name;
        EXPECT_EQ(*findField(record, name), value) << name;
    }
    const std::optional<Qso> back = qsoFromRecord(record);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->timeOn, qso.timeOn);
    EXPECT_EQ(back->timeOff, qso.timeOff);
    EXPECT_EQ(back->frequencyHz, qso.frequencyHz);
    EXPECT_EQ(back->otherFields, qso.otherFields);
    EXPECT_EQ(toAdifRecord(*back), record); // nothing lost on a second pass
}

TEST(Adif, FieldChecksFindEachFormatFault) {
    Qso sound = sampleQso();
    sound.comment = "tnx fer QSO";
    const AdifRecord good = toAdifRecord(sound);
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"QSO_DATE", "20230229", "not a date"}, // no leap day in 2023
        {"QSO_DATE", "19291231", "not a date"}, // ADIF dates begin in 1930
        {"QSO_DATE", "2024-02-29", "not a date"}, {"TIME_ON", "2400", "not a time"},
        {"TIME_OFF", "12345", "not a time"},      {"BAND", "21m", "band enumeration"},
        {"FREQ", "14,07", "number of MHz"},       {"FREQ", "7.040", "outside BAND"},
        {"MODE", "PSK31", "mode enumeration"}, // PSK31 is a submode
        {"SUBMODE", "PSK32", "submode of PSK"},   {"GRIDSQUARE", "ZZ99", "Maidenhead"},
        {"CALL", "K1 ABC", "not a call sign"},    {"NAME", "Jos\xe9", "printable ASCII"},
    };
    for (const auto& [name, value, fault] : cases) {
        AdifRecord record = good;
        for (AdifField& field : record) {
            if (field.name == name) {
                field.value = value;
            }
        }
        // The fault is found, and no sound field is blamed with it (PSK31 as
        // a mode also leaves SUBMODE PSK31 without its mode).
        const std::vector<std::string> faults = checkRecord(record);
        ASSERT_FALSE(faults.empty()) << name << "=" << value;
        EXPECT_NE(faults[0].find(fault), std::string::npos) << faults[0];
        EXPECT_EQ(faults.size(), std::string(value) == "PSK31" ? 2u : 1u) << faults.back();
    }
    AdifRecord missing = good;
    missing.erase(missing.begin()); // CALL
    EXPECT_EQ(checkRecord(missing), std::vector<std::string>{"no CALL"});
}

TEST(Adif, BandFromFrequencyFollowsTheEnumerationEdges) {
    const std::tuple<int64_t, const char*> cases[] = {
        {1'838'000, "160m"}, {3'580'000, "80m"},    {7'040'000, "40m"},  {10'142'000, "30m"},
        {14'000'000, "20m"}, {14'350'000, "20m"},   {14'350'001, ""},    {18'100'000, "17m"},
        {21'070'000, "15m"}, {24'920'000, "12m"},   {28'120'000, "10m"}, {50'290'000, "6m"},
        {144'144'000, "2m"}, {432'200'000, "70cm"}, {13'999'999, ""},    {0, ""},
    };
    for (const auto& [hz, band] : cases) {
        EXPECT_EQ(bandForFrequency(hz), band) << hz;
    }
    EXPECT_EQ(canonicalBand("70CM"), "70cm");
    EXPECT_FALSE(bandEdges("11m"));
}

TEST(Adif, ForeignAndDamagedFilesReadAsFarAsTheyParse) {
    struct Case {
        const char* what;
        std::string text;
        std::vector<std::string> calls;
        size_t problems;
    };
    const std::string a = "<call:4>W1AW<qso_date:8>20240101<time_on:4>1200<eor>\n";
    const std::string b = "<CALL:5>K1ABC<QSO_DATE:8:D>20240102<TIME_ON:4>1300<EOR>\n";
    const Case cases[] = {
        {"no header, lower case, type indicator", a + b, {"W1AW", "K1ABC"}, 0},
        {"header text with user definitions",
         "Exported by something\n<ADIF_VER:5>3.1.0 <USERDEF1:3:N>EPC <EOH>\n" + a,
         {"W1AW"},
         0},
        {"header starting with a field", "<ADIF_VER:5>3.1.0<EOH>\n" + a, {"W1AW"}, 0},
        {"comments between records",
         "x <EOH> note\n" + a + "free text\n" + b,
         {"W1AW", "K1ABC"},
         0},
        {"last record cut short", a + "<CALL:5>K1A", {"W1AW"}, 1},
        {"last record without end marker", a + "<CALL:5>K1ABC<QSO_DATE:8>20240102", {"W1AW"}, 1},
        {"garbled specifier, later records still read",
         a + "<CALL:x5>K1ABC<EOR>\n" + b,
         {"W1AW", "K1ABC"},
         1},
        {"length running into the next record",
         "<CALL:90>W1AW<EOR>\n" + b + a,
         {"K1ABC", "W1AW"},
         1},
        {"header never ended", "some text <ADIF_VER:5>3.1.0\n" + a, {"W1AW"}, 0},
        {"empty", "", {}, 0},
    };
    for (const Case& c : cases) {
        const AdifDocument document = readAdif(c.text, AdifReading::Lenient);
        std::vector<std::string> calls;
        for (const AdifRecord& record : document.records) {
            if (const std::string* call = findField(record, "CALL")) {
                calls.push_back(*call);
            }
        }
        EXPECT_EQ(calls, c.calls) << c.what;
        EXPECT_EQ(document.problems.size(), c.problems) << c.what;
    }
    // Strict reading stops at the first fault and says where.
    const AdifDocument strict = readAdif(a + "junk " + b, AdifReading::Strict);
    ASSERT_EQ(strict.problems.size(), 1u);
    EXPECT_EQ(strict.problems[0].offset, a.size());
    EXPECT_EQ(strict.problems[0].line, 2u);
    EXPECT_EQ(strict.records.size(), 1u);
}
