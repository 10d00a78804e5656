// The log file: created with a header, only ever appended to, damaged tails
// closed off rather than repaired; and the in-memory index the operating
// screen asks. (A writer killed mid-logging is tested through the console's
// QSO form, which logs through this file.)
#include "logbook/Adif.h"
#include "logbook/LogFile.h"
#include "logbook/LogIndex.h"

#include "tests/support/CommandRun.h"
#include "tests/support/ScratchDirectoryTest.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace logbook;

namespace {

Qso contact(const std::string& call, int64_t timeOn, const std::string& band = "20m") {
    Qso qso;
    qso.call = call;
    qso.timeOn = timeOn;
    qso.timeOff = timeOn + 60;
    qso.band = band;
    return qso;
}

constexpr int64_t kDay = 1'700'000'000;

class LogFileTest : public ScratchDirectoryTest {
protected:
    LogContents read(const std::string& file) {
        LogContents contents;
        std::string error;
        EXPECT_TRUE(LogFile(file).read(contents, error)) << error;
        return contents;
    }
    void append(const std::string& file, const std::vector<Qso>& contacts) {
        std::string error;
        ASSERT_TRUE(LogFile(file).append(contacts, error)) << error;
    }
};

} // namespace

TEST_F(LogFileTest, NewFileGetsHeaderAndAppendsKeepEveryEarlierByte) {
    const std::string file = path("sub/dir/log.adi");
    EXPECT_FALSE(read(file).exists);
    append(file, {contact("K1ABC", kDay)});
    const std::string first = slurp(file);
    append(file, {contact("DL2XYZ", kDay + 60), contact("3DA0RU", kDay + 120)});
    const std::string both = slurp(file);
    EXPECT_EQ(both.substr(0, first.size()), first);
    const AdifDocument document = readAdif(both, AdifReading::Strict);
    EXPECT_TRUE(document.problems.empty());
    EXPECT_TRUE(document.hasHeader);
    const LogContents contents = read(file);
    ASSERT_EQ(contents.contacts.size(), 3u);
    EXPECT_EQ(contents.contacts[2].call, "3DA0RU");
    EXPECT_TRUE(contents.problems.empty());
}

TEST_F(LogFileTest, DamagedTailIsClosedOffAndTheNextRecordReadsBack) {
    // Cut short inside a field's data, inside a specifier, and a foreign file
    // ending in text: each way the new record must still stand on its own.
    for (const char* tail : {"<CALL:5>K1", "<CALL:5>K1ABC<QSO_DA", "<CALL:5>K1ABC<EOR>\ntrailer"}) {
        const std::string file = path("damaged.adi");
        const std::string damaged =
            "<CALL:4>W1AW<QSO_DATE:8>20240101<TIME_ON:4>1200<EOR>\n" + std::string(tail);
        std::ofstream(file, std::ios::binary) << damaged;
        append(file, {contact("DL2XYZ", kDay)});
        const std::string after = slurp(file);
        EXPECT_EQ(after.substr(0, damaged.size()), damaged) << "never rewritten: " << tail;
        const LogContents contents = read(file);
        ASSERT_GE(contents.contacts.size(), 2u) << tail;
        EXPECT_EQ(contents.contacts.front().call, "W1AW");
        EXPECT_EQ(contents.contacts.back().call, "DL2XYZ") << tail;
        std::filesystem::remove(file);
    }
}

TEST(LogIndex, WorkedBeforeDuplicatesAndRecentContacts) {
    LogIndex index;
    index.add(contact("K1ABC", kDay));
    index.add(contact("K1ABC/P", kDay + 86400));
    index.add(contact("DL2XYZ", kDay + 3600, "40m"));
    const std::optional<WorkedBefore> before = index.workedBefore("dl/k1abc");
    ASSERT_TRUE(before);
    EXPECT_EQ(before->call, "K1ABC/P");
    EXPECT_EQ(before->timeOn, kDay + 86400);
    EXPECT_EQ(before->count, 2u);
    EXPECT_FALSE(index.workedBefore("K1ABD"));

    const std::tuple<Qso, bool> duplicates[] = {
        {contact("DL2XYZ", kDay + 3600 + 600, "40m"), true}, // 10 minutes later
        {contact("dl2xyz", kDay + 3600 - 600, "40M"), true}, // any letter case
        {contact("DL2XYZ", kDay + 3600 + 601, "40m"), false},
        {contact("DL2XYZ", kDay + 3600, "20m"), false},   // another band
        {contact("DL2XYZ/P", kDay + 3600, "40m"), false}, // another call
    };
    for (const auto& [qso, duplicate] : duplicates) {
        EXPECT_EQ(index.isDuplicate(qso), duplicate) << qso.call << " " << qso.timeOn;
    }
    Qso otherMode = contact("DL2XYZ", kDay + 3600, "40m");
    otherMode.mode = "RTTY";
    EXPECT_FALSE(index.isDuplicate(otherMode));

    const std::vector<Qso> recent = index.recent(2);
    ASSERT_EQ(recent.size(), 2u);
    EXPECT_EQ(recent[0].call, "K1ABC/P");
    EXPECT_EQ(recent[1].call, "DL2XYZ");
}
