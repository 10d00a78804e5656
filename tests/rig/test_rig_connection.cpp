// The rig connection against a real Hamlib: rigctld serving the dummy rig
// (model 1, keyed by CAT), reached as model 2 on a free local port, with
// rigctl reading and setting the dummy's state as an operator would.
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

RigConfig netConfig(const std::string& address, std::chrono::milliseconds timeout = 1000ms) {
    RigConfig config;
    config.model = 2;
    config.port = address;
    config.ptt = PttMethod::Cat;
    config.timeout = timeout;
    return config;
}

// Waits, at most `limit`, for `condition`; a bound against a hang, not a
// measurement.
bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit = 10s) {
    for (const auto deadline = Clock::now() + limit; !condition();) {
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

// Keys and releases through the connection, follows another program's
// retuning of the shared radio, and leaves the radio unkeyed when destroyed.
TEST(RigConnection, KeysTheRigFollowsItsDialAndReleasesWhenDestroyed) {
    rigtest::RigctldProcess rigctld(rigtest::freeLocalPort());
    ASSERT_TRUE(rigctld.running());
    const std::string address = rigctld.address();
    {
        RigConnection rig(netConfig(address));
        ASSERT_TRUE(eventually([&] { return rig.status().connected; }));
        EXPECT_EQ(rig.setPtt(true), "");
        EXPECT_EQ(rigctl(address, "t"), "1");
        EXPECT_TRUE(rig.status().pttOn);
        EXPECT_EQ(rig.setPtt(false), "");
        EXPECT_EQ(rigctl(address, "t"), "0");

        struct Step {
            const char *frequency, *mode;
            Sideband sideband;
            double rf; // of a signal at 1500 Hz audio
        } steps[] = {{"14070000", "USB", Sideband::Upper, 14071500.0},
                     {"7040000", "LSB", Sideband::Lower, 7038500.0},
                     {"14070000", "PKTUSB", Sideband::Upper, 14071500.0},
                     {"145500000", "FM", Sideband::Carrier, 145500000.0}};
        for (const Step& step : steps) {
            SCOPED_TRACE(step.mode);
            rigctl(address, std::string("F ") + step.frequency);
            rigctl(address, std::string("M ") + step.mode + " 2400");
            const double dial = std::stod(step.frequency);
            ASSERT_TRUE(eventually([&] {
                const RigStatus s = rig.status();
                return s.dialHz == dial && s.mode == step.mode;
            }));
            EXPECT_EQ(rig.status().sideband, step.sideband);
            EXPECT_EQ(rfFrequency(dial, step.sideband, 1500.0), step.rf);
        }
        ASSERT_EQ(rig.setPtt(true), "");
    }
    EXPECT_EQ(rigctl(address, "t"), "0");
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

// Nothing listens on the port, or a port accepts but never answers: keying
// fails within the timeout every time, status answers at once, and a
// missing rig's failure is logged once however often it recurs.
TEST(RigConnection, ARigThatIsNotThereOrSilentCostsNoMoreThanTheTimeout) {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), size), 0);
    ASSERT_EQ(listen(listener, 4), 0);
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
    for (const int port : {rigtest::freeLocalPort(), int{ntohs(address.sin_port)}}) {
        const bool silent = port == ntohs(address.sin_port);
        SCOPED_TRACE(silent ? "silent" : "absent");
        TarnLogCapture log;
        const RigConfig config = netConfig("127.0.0.1:" + std::to_string(port), 400ms);
        RigConnection rig(config);
        for (int attempt = 0; attempt < 3; ++attempt) {
            const auto start = Clock::now();
            EXPECT_FALSE(rig.setPtt(true).empty());
            EXPECT_LE(Clock::now() - start, config.timeout + 50ms);
        }
        const auto start = Clock::now();
        EXPECT_FALSE(rig.status().connected);
        EXPECT_LE(Clock::now() - start, 50ms);
        if (!silent) {
            EXPECT_EQ(count(log.text(), "could not be opened: IO error"), 1u) << log.text();
            EXPECT_EQ(count(log.text(), "\n"), 1u) << log.text();
        }
    }
    close(listener);
}

// A program holding PTT is ended by SIGTERM, by SIGINT, or exits with the
// connection still open: the radio is unkeyed every time, and a signal still
// ends the program as that signal.
TEST(RigConnection, ThePttIsReleasedWhenTheProgramIsEnded) {
    rigtest::RigctldProcess rigctld(rigtest::freeLocalPort());
    const std::string address = rigctld.address();
    for (const int signal : {SIGTERM, SIGINT, 0}) {
        SCOPED_TRACE(signal);
        const std::string command = std::string("exec ") + TARN_PTT_HOLDER + " " + address +
                                    (signal != 0 ? " signal" : " exit");
        FILE* holder = popen(command.c_str(), "r");
        ASSERT_TRUE(holder);
        int pid = 0;
        ASSERT_EQ(std::fscanf(holder, "keyed %d", &pid), 1);
        if (signal != 0) {
            EXPECT_EQ(rigctl(address, "t"), "1");
            kill(pid, signal);
        }
        const int status = pclose(holder);
        if (signal != 0) {
            EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
        } else {
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
        }
        EXPECT_EQ(rigctl(address, "t"), "0");
    }
}

TEST(RigModels, ListsHamlibsModelsSortedByMakerAndName) {
    const std::vector<RigModel> models = listRigModels();
    ASSERT_GT(models.size(), 100u);
    for (const auto& [number, name] : {std::pair{1, "Dummy"}, {2, "NET rigctl"}}) {
        EXPECT_TRUE(std::any_of(models.begin(), models.end(), [&](const RigModel& m) {
            return m.number == number && m.maker == "Hamlib" && m.name == name;
        })) << name;
    }
    const auto lower = [](std::string text) {
        std::transform(text.begin(), text.end(), text.begin(), ::tolower);
        return text;
    };
    for (std::size_t i = 1; i < models.size(); ++i) {
        ASSERT_LE(lower(models[i - 1].maker), lower(models[i].maker)) << i;
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
