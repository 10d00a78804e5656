// The log file: created with a header, only ever appended to, every record
// on disk before append returns (a SIGKILLed writer loses nothing already
// logged), damaged tails closed off rather than repaired; and the in-memory
// index the operating screen asks.
#include "logbook/Adif.h"
#include "logbook/LogFile.h"
#include "logbook/LogIndex.h"

#include "tests/support/ScratchDirectoryTest.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

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

std::string slurp(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
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

TEST_F(LogFileTest, KilledWriterLeavesEveryLoggedRecordIntact) {
    const std::string file = path("log.adi");
    int confirmed[2];
    ASSERT_EQ(pipe(confirmed), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // Appends until killed; reports each record once append returned.
        close(confirmed[0]);
        for (int i = 0;; ++i) {
            std::string error;
            Qso qso = contact("K" + std::to_string(i % 10) + "AB", kDay + i);
            qso.comment = std::string(200 + i % 300, 'x'); // records of varying size
            if (!LogFile(file).append({qso}, error)) {
                _exit(1);
            }
            if (write(confirmed[1], &i, sizeof i) != sizeof i) {
                _exit(1);
            }
        }
    }
    close(confirmed[1]);
    int last = -1;
    int index = 0;
    while (last < 150 && ::read(confirmed[0], &index, sizeof index) == sizeof index) {
        last = index;
    }
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    while (::read(confirmed[0], &index, sizeof index) == sizeof index) {
        last = index;
    }
    close(confirmed[0]);
    const LogContents contents = read(file);
    ASSERT_GE(contents.contacts.size(), static_cast<size_t>(last + 1));
    for (int i = 0; i <= last; ++i) {
        const Qso& qso = contents.contacts[static_cast<size_t>(i)];
        EXPECT_EQ(qso.timeOn, kDay + i);
        EXPECT_EQ(qso.comment.size(), static_cast<size_t>(200 + i % 300));
    }
    // A record the kill caught half-written may only stand after them all.
    EXPECT_LE(contents.problems.size(), 1u);
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
