// What tarn-psk31 leaves behind when it writes: never an input overwritten,
// no temporary file after a stop signal, and one line when memory runs out.
#include "tests/tools/CliTest.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

TEST_F(CliTest, AnOutputThatIsAnInputIsRefusedAndNothingIsTouched) {
    ASSERT_EQ(run({"encode", "--text", "CQ", "-o", path("in.wav")}).status, 0);
    std::ofstream(path("notes.txt")) << "CQ DE N0CALL\n";
    fs::create_symlink("in.wav", path("link.wav"));
    fs::create_hard_link(path("notes.txt"), path("hard.txt"));
    const std::string in = path("in.wav");
    const std::string link = path("link.wav");
    const struct {
        std::vector<std::string> arguments;
        std::string standardInput; // a file name: stdin reads from it
        std::string said;
    } cases[] = {
        {{"decode", in, "--trace", in}, "", "also an input"},
        {{"decode", in, "--trace", link}, "", "also an input"},
        {{"decode", link, "--trace", path("./in.wav")}, "", "also an input"},
        {{"spectrum", in, "-o", path("w.png"), "--trace", link}, "", "also an input"},
        {{"spectrum", in, "-o", link}, "", "also an input"},
        {{"spectrum", in, "-o", path("w.png"), "--raw", path("./w.png")}, "", "different files"},
        {{"spectrum", in, "-o", path("w.png"), "--trace", path("w.png")}, "", "different files"},
        {{"encode", "--text-file", path("notes.txt"), "-o", path("notes.txt")},
         "",
         "also an input"},
        {{"encode", "--text-file", path("hard.txt"), "-o", path("notes.txt")}, "", "also an input"},
        {{"encode", "-o", path("notes.txt")}, "notes.txt", "standard input"},
    };
    const std::string before = slurp(in) + slurp(path("notes.txt"));
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.arguments));
        const std::string redirect =
            c.standardInput.empty() ? "" : "exec <" + shellQuoted(path(c.standardInput)) + ";";
        const Outcome result = run(c.arguments, "", redirect);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(lineCount(result.err), 1u) << result.err;
        EXPECT_NE(result.err.find(c.said), std::string::npos) << result.err;
        EXPECT_EQ(slurp(in) + slurp(path("notes.txt")), before);
        EXPECT_EQ(listing(),
                  (std::vector<std::string>{"hard.txt", "in.wav", "link.wav", "notes.txt"}));
    }
}

// Polls for `ready` (a few seconds at most); the wait does not decide the
// outcome, it only gives a slow machine time.
template <typename Condition> bool waitFor(Condition ready) {
    for (int i = 0; i < 1000; ++i) {
        if (ready()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

TEST_F(CliTest, AStopSignalRemovesTheUnfinishedOutput) {
    // Long enough that writing takes a good while (about 50 MB).
    std::ofstream(path("long.txt")) << std::string(4000, 'x');
    const struct {
        int signal;
        bool whileWriting; // else while waiting for the text on standard input
    } cases[] = {{SIGINT, false}, {SIGHUP, false}, {SIGTERM, true}, {SIGINT, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.signal) + (c.whileWriting ? " writing" : " reading"));
        int feed[2];
        ASSERT_EQ(pipe(feed), 0);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            dup2(feed[0], STDIN_FILENO);
            close(feed[0]);
            close(feed[1]);
            const int sink = open("/dev/null", O_WRONLY);
            dup2(sink, STDOUT_FILENO);
            dup2(sink, STDERR_FILENO);
            const std::string output = path("out.wav");
            const std::string text = path("long.txt");
            if (c.whileWriting) {
                execl(TARN_PSK31_PROGRAM, "tarn-psk31", "encode", "--text-file", text.c_str(), "-o",
                      output.c_str(), nullptr);
            } else {
                execl(TARN_PSK31_PROGRAM, "tarn-psk31", "encode", "-o", output.c_str(), nullptr);
            }
            _exit(127);
        }
        close(feed[0]);
        // The hidden temporary file beside out.wav, once it holds `bytes`.
        const auto temporaryHolds = [&](uintmax_t bytes) {
            for (const std::string& name : listing()) {
                std::error_code error;
                if (name.rfind(".out.wav.tmp-", 0) == 0 &&
                    fs::file_size(path(name), error) >= bytes && !error) {
                    return true;
                }
            }
            return false;
        };
        if (c.whileWriting) {
            // Stopped mid-write, so that the signal surely meets the writing.
            EXPECT_TRUE(waitFor([&] { return temporaryHolds(1 << 20); }));
            kill(child, SIGSTOP);
            EXPECT_TRUE(temporaryHolds(1 << 20)) << "finished before it could be stopped";
            kill(child, c.signal);
            kill(child, SIGCONT);
        } else {
            EXPECT_TRUE(waitFor([&] { return temporaryHolds(0); }));
            kill(child, c.signal);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        close(feed[1]);
        EXPECT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), 128 + c.signal);
        EXPECT_EQ(listing(), std::vector<std::string>{"long.txt"});
    }
}

TEST_F(CliTest, RunningOutOfMemoryIsOneLineAndNoFile) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers reserve more address space than the limits allow";
#endif
    // 4000 characters render to about 50 MB of samples; the program itself
    // maps about 40 MB. 110 MB of address space holds the block once (not
    // twice); 40 MB does not hold it at all.
    std::ofstream(path("t.txt")) << std::string(4000, 'x');
    const struct {
        int kilobytes;
        std::vector<std::string> options;
        int status;
    } cases[] = {
        {110000, {}, 0},
        {110000, {"--noise", "0.1"}, 0},
        {110000, {"--lead-in", "3"}, 0},
        {40000, {}, 2},
        {40000, {"--noise", "0.1", "--lead-in", "3"}, 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.options) + " in " + std::to_string(c.kilobytes));
        std::vector<std::string> arguments = {"encode", "--text-file", path("t.txt"), "-o",
                                              path("out.wav")};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        const Outcome result = run(arguments, "", "ulimit -v " + std::to_string(c.kilobytes) + ";");
        EXPECT_EQ(result.status, c.status) << result.err;
        if (c.status == 0) {
            EXPECT_EQ(result.err, "");
            EXPECT_EQ(listing(), (std::vector<std::string>{"out.wav", "t.txt"}));
        } else {
            EXPECT_EQ(lineCount(result.err), 1u) << result.err;
            EXPECT_NE(result.err.find("not enough memory"), std::string::npos) << result.err;
            EXPECT_EQ(listing(), std::vector<std::string>{"t.txt"});
        }
        fs::remove(path("out.wav"));
    }
}

} // namespace
