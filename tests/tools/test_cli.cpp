// tarn-psk31 as a user runs it: text through encode and decode and back,
// retuning, bad input, warnings and what a terminal is shown. (Other formats,
// rates and channels are read by the audio file module, tested on its own;
// 16-bit output and text files are among the golden outputs.)
#include "audiofile/AudioFile.h"

#include "tests/tools/CliTest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace {

TEST_F(CliTest, EncodedTextDecodesToTheSameBytes) {
    // Controls and bytes beyond ASCII come back exactly as they were sent.
    const std::string text = "CQ CQ DE N0CALL N0CALL\tPSE K \x01\xb0\xe9\xff\r\n";
    // Noise with an RMS of 0.1 against a carrier of amplitude 0.5, and a
    // second of noise first, as in a recording started before the call.
    const Outcome encoded = run({"encode", "--frequency", "1000", "--noise", "0.1", "--lead-in",
                                 "1", "-o", path("qso.wav")},
                                text);
    ASSERT_EQ(encoded.status, 0) << encoded.err;
    EXPECT_EQ(encoded.err, "");
    const Outcome decoded = run({"decode", path("qso.wav"), "--frequency", "1000"});
    ASSERT_EQ(decoded.status, 0) << decoded.err;
    EXPECT_NE(decoded.out.find(text), std::string::npos) << decoded.out;
}

// The trace's lines and a retune's replay are pinned by the golden outputs;
// a retune asked for beyond the end of the recording changes nothing.
TEST_F(CliTest, RetuningPastTheEndOfTheRecordingChangesNothing) {
    ASSERT_EQ(run({"encode", "--text", "TEST DE N0CALL", "-o", path("msg.wav")}).status, 0);
    const Outcome plain = run({"decode", path("msg.wav")});
    ASSERT_EQ(plain.status, 0) << plain.err;
    ASSERT_NE(plain.out.find("N0CALL"), std::string::npos) << plain.out;
    EXPECT_EQ(plain.out.find("N0CALL"), plain.out.rfind("N0CALL")) << plain.out; // once
    const Outcome late = run({"decode", path("msg.wav"), "--retune-at", "3600"});
    EXPECT_EQ(late.status, 0) << late.err;
    EXPECT_EQ(late.out, plain.out);
}

TEST_F(CliTest, BadInputGivesOneLineAndStatusTwoAndNoOutput) {
    std::ofstream(path("words.wav")) << "not a recording\n";
    const std::vector<float> tone(4000, 0.25f);
    ASSERT_FALSE(audiofile::writeWavFile(path("good.wav"), tone.data(), 4000,
                                         audiofile::SampleFormat::float32));
    // A text of spaces needs 5 symbols a character: 2 million are too many
    // for one rendered block, and are refused before rendering.
    std::ofstream(path("long.txt")) << std::string(2'000'000, ' ');

    const std::string good = path("good.wav");
    const std::string out = path("out.wav");
    // (Each reason the reader gives is its own test's; two show it passed on.)
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"decode", path("absent.wav")}, "absent.wav"},
        {{"decode", path("words.wav")}, "not a readable audio file"},
        {{"decode", good, "--channel", "2"}, "has 1 channel"},
        {{"decode", good, "--channel", "x"}, "--channel"},
        {{"decode", good, "--frequency", "1500Hz"}, "1500Hz"},
        {{"decode", good, "--frequency", "nan"}, "nan"},
        {{"decode", good, "--squelch", "inf"}, "inf"},
        {{"decode", good, "--squelch", ""}, "--squelch"},
        {{"decode", good, "--afc", "maybe"}, "maybe"},
        {{"decode", good, "--retune-at", "-1"}, "-1"},
        {{"decode", good, "--trace", path("absent/trace.csv")}, "trace.csv"},
        {{"decode", good, "--frequency"}, "needs a value"},
        {{"decode", path("words.wav"), "--trace", path("trace.csv")}, "words.wav"},
        {{"encode", "--text", "hi", "--frequency", "0x10", "-o", out}, "0x10"},
        {{"encode", "--text", "hi", "-o", path("absent/out.wav")}, "out.wav"},
        {{"encode", "--text-file", path("absent.txt"), "-o", out}, "absent.txt"},
        {{"encode", "--text-file", path("long.txt"), "-o", out}, "too long"},
        {{"encode", "--text", "hi"}, "-o"},
        {{"encode", "--text", "hi", "--noise", "-0.1", "-o", out}, "--noise"},
    };
    for (const auto& [arguments, words] : cases) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const Outcome result = run(arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(lineCount(result.err), 1u) << result.err;
        EXPECT_EQ(result.err.rfind("tarn-psk31 " + arguments[0] + ": ", 0), 0u) << result.err;
        EXPECT_NE(result.err.find(words), std::string::npos) << result.err;
        EXPECT_EQ(result.out, "");
    }
    EXPECT_EQ(listing(), (std::vector<std::string>{"good.wav", "long.txt", "words.wav"}));
}

TEST_F(CliTest, UnknownCommandsAndOptionsShowUsage) {
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {}, {"transmit"}, {"decode"}, {"decode", "--x"}, {"encode", "--text", "a", "stray"}}) {
        const Outcome result = run(arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_NE(result.err.find("tarn-psk31"), std::string::npos);
    }
    for (const std::string command : {"decode", "encode"}) {
        const Outcome help = run({command, "--help"});
        EXPECT_EQ(help.status, 0);
        EXPECT_EQ(help.out.rfind("usage: tarn-psk31 " + command, 0), 0u) << help.out;
    }
    EXPECT_EQ(run({"--help"}).status, 0);
}

// Runs the program with its standard output on a pseudo-terminal in raw
// mode (no newline translation); returns what the terminal received.
std::string runOnTerminal(const std::vector<std::string>& arguments) {
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        termios mode{};
        tcgetattr(STDOUT_FILENO, &mode);
        cfmakeraw(&mode);
        tcsetattr(STDOUT_FILENO, TCSANOW, &mode);
        std::vector<char*> argv = {const_cast<char*>(TARN_PSK31_PROGRAM)};
        for (const std::string& argument : arguments) {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        execv(TARN_PSK31_PROGRAM, argv.data());
        _exit(127);
    }
    std::string shown;
    char buffer[4096];
    for (ssize_t got; (got = read(terminal, buffer, sizeof buffer)) > 0;) {
        shown.append(buffer, static_cast<size_t>(got));
    }
    close(terminal);
    waitpid(child, nullptr, 0);
    return shown;
}

TEST_F(CliTest, ControlBytesShowVisiblyOnATerminalOnly) {
    const std::string text = "N0CALL \x1b[2J\x07\tbell\r\x9b"
                             "31m\xe9\x7f\n";
    // The first few characters go while the receiver settles.
    ASSERT_EQ(run({"encode", "--text", "CQ CQ CQ de " + text, "-o", path("esc.wav")}).status, 0);
    // Into a file the bytes stay exactly as sent.
    EXPECT_NE(run({"decode", path("esc.wav")}).out.find(text), std::string::npos);
    const std::string shown = runOnTerminal({"decode", path("esc.wav")});
    EXPECT_NE(shown.find("N0CALL \\x1b[2J\\x07\tbell\\x0d\\x9b31m\xe9\\x7f\n"), std::string::npos)
        << shown;
    EXPECT_EQ(shown.find('\x1b'), std::string::npos);
}

TEST_F(CliTest, WarningsGiveTheNumbersAsWritten) {
    const std::vector<float> second(8000, 0.0f);
    ASSERT_FALSE(audiofile::writeWavFile(path("quiet.wav"), second.data(), 8000,
                                         audiofile::SampleFormat::float32));
    const std::string quiet = path("quiet.wav");
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"decode", quiet, "--frequency", "2500.0001"},
         "tarn-psk31 decode: warning: 2500.0001 Hz is outside 500 .. 2500 Hz; tuning to 2500 "
         "Hz\n"},
        {{"decode", quiet, "--frequency", "499.99999999"},
         "tarn-psk31 decode: warning: 499.99999999 Hz is outside 500 .. 2500 Hz; tuning to 500 "
         "Hz\n"},
        {{"encode", "--text", "a", "-o", path("a.wav"), "--frequency", "2600"},
         "tarn-psk31 encode: warning: 2600 Hz is outside 500 .. 2500 Hz; tuning to 2500 Hz\n"},
        {{"decode", quiet, "--retune-at", "1.5"},
         "tarn-psk31 decode: warning: --retune-at 1.5 s is past the end of the recording (1 s); "
         "it was not retuned\n"},
        {{"decode", quiet, "--retune-at", "0.75"}, ""},
        {{"decode", quiet, "--frequency", "2500"}, ""},
    };
    for (const auto& [arguments, warning] : cases) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const Outcome result = run(arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, warning);
    }
}

} // namespace
