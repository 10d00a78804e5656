// tarn-psk31 log as a user runs it: add, list, export, import, check, and
// the one-line errors for bad input.
#include "logbook/Adif.h"
#include "logbook/AdifQso.h"

#include "tests/support/CommandRun.h"
#include "tests/support/ScratchDirectoryTest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <tuple>

namespace {

using Outcome = CommandOutcome;

class LogCommandTest : public ScratchDirectoryTest {
protected:
    Outcome run(std::vector<std::string> arguments, const std::string& environment = "") {
        arguments.insert(arguments.begin(), "log");
        return runCommand(TARN_PSK31_PROGRAM, arguments, directory, environment);
    }
};

size_t lineCount(const std::string& text) {
    return lines(text).size();
}

} // namespace

TEST_F(LogCommandTest, AddListExportImportAndCheck) {
    const std::string log = path("log.adi");
    const std::vector<std::vector<std::string>> adds = {
        {"--call", "k1abc", "--date", "2024-03-01", "--time", "12:00", "--freq", "14.0705",
         "--rst-sent", "599", "--my-call", "N0CALL", "--my-locator", "JO62"},
        {"--call", "3DA0RU", "--date", "2024-03-02", "--time", "23:55", "--time-off", "00:05",
         "--band", "40M"},
        {"--call", "K1ABC/P", "--date", "2024-03-03", "--time", "08:00:30", "--freq", "7.040"},
    };
    for (std::vector<std::string> add : adds) {
        add.insert(add.begin(), {"add", "--log", log});
        const Outcome outcome = run(add);
        ASSERT_EQ(outcome.status, 0) << outcome.err;
    }
    const Outcome again = run({"add", "--log", log, "--call", "K1ABC", "--date", "2024-03-04"});
    EXPECT_NE(again.out.find("worked before: K1ABC/P on 2024-03-03"), std::string::npos)
        << again.out;

    EXPECT_EQ(lineCount(run({"list", "--log", log}).out), 4u);
    const Outcome since = run({"list", "--log", log, "--since", "2024-03-02"});
    EXPECT_EQ(lineCount(since.out), 3u);
    EXPECT_EQ(since.out.rfind("2024-03-02 23:55  3DA0RU       40m", 0), 0u) << since.out;

    const Outcome check = run({"check", "--log", log});
    EXPECT_EQ(check.status, 0) << check.out;
    EXPECT_EQ(check.out, "4 records, 0 faults\n");

    const std::string exported = path("out.adi");
    ASSERT_EQ(run({"export", "--log", log, "-o", exported, "--since", "2024-03-03"}).status, 0);
    const logbook::AdifDocument document =
        logbook::readAdif(slurp(exported), logbook::AdifReading::Strict);
    EXPECT_TRUE(document.problems.empty());
    ASSERT_EQ(document.records.size(), 2u);
    EXPECT_EQ(*logbook::findField(document.records[0], "TIME_ON"), "080030");

    // Into the default log under XDG_DATA_HOME, then once more: all duplicates.
    const std::string environment = "XDG_DATA_HOME='" + path("xdg") + "'";
    EXPECT_EQ(run({"import", exported}, environment).out,
              "imported 2 contacts, skipped 0 already logged, 0 unreadable\n");
    EXPECT_EQ(run({"import", exported}, environment).out,
              "imported 0 contacts, skipped 2 already logged, 0 unreadable\n");
    EXPECT_EQ(lineCount(run({"list"}, environment).out), 2u);
    EXPECT_TRUE(std::filesystem::exists(path("xdg/tarn-psk31/log.adi")));
}

TEST_F(LogCommandTest, BadInputGetsOneLineAndStatusTwo) {
    std::ofstream(path("foreign.adi")) << "<CALL:4>W1AW<EOR>";
    struct Case {
        std::vector<std::string> arguments;
        const char* message;
    };
    const Case cases[] = {
        {{}, "which log command?"},
        {{"remove"}, "unknown log command 'remove'"},
        {{"add"}, "add needs --call"},
        {{"add", "--call", "5NN"}, "'5NN' is not a call sign"},
        {{"add", "--call", "K1ABC", "--date", "2024-02-30"}, "--date '2024-02-30' is not a date"},
        {{"add", "--call", "K1ABC", "--time", "25:00"}, "--time '25:00' is not a time"},
        {{"add", "--call", "K1ABC", "--freq", "11.000"}, "is in no amateur band"},
        {{"add", "--call", "K1ABC", "--freq", "14.07", "--band", "40m"}, "not in --band 40m"},
        {{"add", "--call", "K1ABC", "--band", "11m"}, "--band '11m' is not an ADIF band"},
        {{"add", "--call", "K1ABC", "--locator", "XX"}, "not a Maidenhead locator"},
        {{"list", "--since", "yesterday"}, "--since 'yesterday' is not a date"},
        {{"list", "--log", path("none.adi")}, "no such log"},
        {{"export"}, "export needs -o FILE.adi"},
        {{"import"}, "import needs an ADIF file"},
        {{"import", path("missing.adi")}, "cannot be read"},
        {{"list", "--frobnicate", "1"}, "unknown option '--frobnicate'"},
        {{"list", "--log"}, "--log needs a value"},
    };
    for (const auto& [arguments, message] : cases) {
        std::vector<std::string> withLog = arguments;
        withLog.insert(withLog.end(), {"--log", path("log.adi")});
        if (std::find(arguments.begin(), arguments.end(), "--log") != arguments.end()) {
            withLog = arguments;
        }
        const Outcome outcome = run(withLog);
        EXPECT_EQ(outcome.status, 2) << message;
        EXPECT_NE(outcome.err.find(message), std::string::npos) << outcome.err;
        EXPECT_EQ(lineCount(outcome.err), 1u) << outcome.err;
    }
    EXPECT_FALSE(std::filesystem::exists(path("log.adi"))); // nothing half-done
}
