// The rig connection against a real Hamlib: rigctld serving the dummy rig
// (model 1, keyed by CAT), reached as model 2 on a free local port, with
// rigctl reading and setting the dummy's state as an operator would.
#include "rig/EmergencyRelease.h"
#include "rig/RigConnection.h"
#include "rig/RigModels.h"
#include "tests/rig/RigctldProcess.h"

#include "log/TarnLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <arpa/inet.h>
#include <csignal>
#include <functional>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace tarn::rig;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using rigtest::rigctl;

RigConfig netConfig(const std::string& address, PttMethod ptt = PttMethod::Cat) {
    RigConfig config;
    config.model = 2;
    config.port = address;
    config.ptt = ptt;
    config.timeout = 1000ms;
    return config;
}

// Waits, at most `limit`, for `condition`; a bound against a hang, not a
// measurement.
bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit = 10s) {
    const auto deadline = Clock::now() + limit;
    while (!condition()) {
        if (Clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(10ms);
    }
    return true;
}

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t n = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++n;
    }
    return n;
}

TEST(RigConnection, KeysTheRigAndFollowsItsDial) {
    rigtest::RigctldProcess rigctld(rigtest::freeLocalPort());
    ASSERT_TRUE(rigctld.running());
    const std::string address = rigctld.address();
    RigConnection rig(netConfig(address));
    ASSERT_TRUE(eventually([&] { return rig.status().connected; }));

    EXPECT_EQ(rig.setPtt(true), "");
    EXPECT_EQ(rigctl(address, "t"), "1");
    EXPECT_TRUE(rig.status().pttOn);
    EXPECT_EQ(rig.setPtt(false), "");
    EXPECT_EQ(rigctl(address, "t"), "0");

    // Another program retunes the shared radio: the poll picks it up.
    struct Step {
        const char* frequency;
        const char* mode;
        double dialHz;
        Sideband sideband;
        double rf; // of a signal at 1500 Hz audio
    } steps[] = {{"14070000", "USB", 14070000.0, Sideband::Upper, 14071500.0},
                 {"7040000", "LSB", 7040000.0, Sideband::Lower, 7038500.0},
                 {"14070000", "PKTUSB", 14070000.0, Sideband::Upper, 14071500.0},
                 {"145500000", "FM", 145500000.0, Sideband::Carrier, 145500000.0}};
    for (const Step& step : steps) {
        SCOPED_TRACE(step.mode);
        rigctl(address, std::string("F ") + step.frequency);
        rigctl(address, std::string("M ") + step.mode + " 2400");
        ASSERT_TRUE(eventually([&] {
            const RigStatus s = rig.status();
            return s.dialHz == step.dialHz && s.mode == step.mode;
        }));
        EXPECT_EQ(rig.status().sideband, step.sideband);
        EXPECT_EQ(rfFrequency(step.dialHz, step.sideband, 1500.0), step.rf);
    }
}

TEST(RigConnection, ReconnectsAfterRigctldRestarts) {
    TarnLogCapture log;
    const int port = rigtest::freeLocalPort();
    auto rigctld = std::make_unique<rigtest::RigctldProcess>(port);
    RigConnection rig(netConfig(rigctld->address()));
    ASSERT_TRUE(eventually([&] { return rig.status().connected; }));

    rigctld->stop();
    ASSERT_TRUE(eventually([&] { return !rig.status().connected; }));
    EXPECT_FALSE(rig.status().error.empty());
    std::this_thread::sleep_for(3500ms); // several failed reopens meanwhile
    rigctld = std::make_unique<rigtest::RigctldProcess>(port);
    ASSERT_TRUE(eventually([&] { return rig.status().connected; }, 40s));
    EXPECT_EQ(rig.setPtt(true), "");
    EXPECT_EQ(rigctl(rigctld->address(), "t"), "1");
    EXPECT_EQ(rig.setPtt(false), "");

    const std::string text = log.text();
    EXPECT_EQ(count(text, "Rig connection lost: "), 1u) << text;
    EXPECT_LE(count(text, "could not be opened: "), 1u) << text;
    EXPECT_EQ(count(text, " connected\n"), 2u) << text;
}

// Nothing listens on the port: keying fails with Hamlib's message within
// the timeout, and the failure is logged once however often it recurs.
TEST(RigConnection, ARigThatIsNotThereFailsWithinTheTimeout) {
    TarnLogCapture log;
    RigConfig config = netConfig("127.0.0.1:" + std::to_string(rigtest::freeLocalPort()));
    config.timeout = 500ms;
    RigConnection rig(config);
    for (int attempt = 0; attempt < 3; ++attempt) {
        const auto start = Clock::now();
        const std::string refusal = rig.setPtt(true);
        EXPECT_LE(Clock::now() - start, config.timeout + 50ms);
        EXPECT_FALSE(refusal.empty());
    }
    EXPECT_FALSE(rig.status().connected);
    const std::string text = log.text();
    EXPECT_EQ(count(text, "could not be opened: IO error"), 1u) << text;
    EXPECT_EQ(count(text, "\n"), 1u) << text;
}

// A port that accepts the connection but never answers: Hamlib's reads time
// out, and the caller is answered within its own timeout all the same.
TEST(RigConnection, ARigThatNeverAnswersCostsNoMoreThanTheTimeout) {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 4), 0);
    socklen_t size = sizeof address;
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
    {
        RigConfig config = netConfig("127.0.0.1:" + std::to_string(ntohs(address.sin_port)));
        config.timeout = 400ms;
        RigConnection rig(config);
        for (int attempt = 0; attempt < 2; ++attempt) {
            const auto start = Clock::now();
            EXPECT_FALSE(rig.setPtt(true).empty());
            EXPECT_LE(Clock::now() - start, config.timeout + 50ms);
        }
        const auto start = Clock::now();
        EXPECT_FALSE(rig.status().connected);
        EXPECT_LE(Clock::now() - start, 50ms);
    }
    close(listener);
}

// Destroying a connection, or the process-wide release, leaves the radio
// unkeyed.
TEST(RigConnection, ReleasesPttWhenDestroyedOrAskedToByTheProcess) {
    rigtest::RigctldProcess rigctld(rigtest::freeLocalPort());
    const std::string address = rigctld.address();
    {
        RigConnection rig(netConfig(address));
        ASSERT_EQ(rig.setPtt(true), "");
        EXPECT_EQ(rigctl(address, "t"), "1");
    }
    EXPECT_EQ(rigctl(address, "t"), "0");

    RigConnection rig(netConfig(address));
    ASSERT_EQ(rig.setPtt(true), "");
    EmergencyRelease::releaseAll();
    EXPECT_EQ(rigctl(address, "t"), "0");
    EXPECT_FALSE(rig.status().pttOn);
}

// A program holding PTT is ended by SIGTERM, by SIGINT, or exits with the
// connection still open: the radio is unkeyed every time, and a signal still
// ends the program as that signal.
TEST(RigConnection, ThePttIsReleasedWhenTheProgramIsEnded) {
    rigtest::RigctldProcess rigctld(rigtest::freeLocalPort());
    const std::string address = rigctld.address();
    struct Case {
        const char* mode;
        int signal;
    } cases[] = {{"signal", SIGTERM}, {"signal", SIGINT}, {"exit", 0}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.signal);
        int output = -1;
        const pid_t holder = rigtest::spawn({TARN_PTT_HOLDER, address, c.mode}, &output);
        ASSERT_GT(holder, 0);
        char line[16] = {};
        ASSERT_EQ(read(output, line, 6), 6);
        close(output);
        EXPECT_STREQ(line, "keyed\n");
        if (c.signal != 0) {
            EXPECT_EQ(rigctl(address, "t"), "1");
            kill(holder, c.signal);
        }
        int status = 0;
        ASSERT_EQ(waitpid(holder, &status, 0), holder);
        if (c.signal != 0) {
            ASSERT_TRUE(WIFSIGNALED(status)) << status;
            EXPECT_EQ(WTERMSIG(status), c.signal);
        } else {
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
        }
        EXPECT_EQ(rigctl(address, "t"), "0");
    }
}

TEST(RigModels, ListsHamlibsModelsSortedByMakerAndName) {
    const std::vector<RigModel> models = listRigModels();
    ASSERT_GT(models.size(), 100u);
    const auto has = [&](int number, const char* maker, const char* name) {
        return std::any_of(models.begin(), models.end(), [&](const RigModel& m) {
            return m.number == number && m.maker == maker && m.name == name;
        });
    };
    EXPECT_TRUE(has(1, "Hamlib", "Dummy"));
    EXPECT_TRUE(has(2, "Hamlib", "NET rigctl"));
    for (std::size_t i = 1; i < models.size(); ++i) {
        std::string a = models[i - 1].maker, b = models[i].maker;
        std::transform(a.begin(), a.end(), a.begin(), ::tolower);
        std::transform(b.begin(), b.end(), b.begin(), ::tolower);
        ASSERT_LE(a, b) << i;
    }
}

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const bool missing =
        rigtest::findProgram("rigctld").empty() || rigtest::findProgram("rigctl").empty();
    if (missing && !GTEST_FLAG_GET(list_tests)) {
        std::fputs("rigctld and rigctl are not installed (libhamlib-utils): skipped\n", stderr);
        return 77;
    }
    return RUN_ALL_TESTS();
}
