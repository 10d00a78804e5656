// tarn-psk31 as a user runs it: text through encode and decode and back,
// recordings in other formats, the trace, retuning, and bad input.
#include "AudioFile.h"

#include <gtest/gtest.h>
#include <samplerate.h>
#include <sndfile.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

std::string slurp(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

size_t countOf(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

class CliTest : public testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/tarn-cli-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        directory = pattern;
    }
    void TearDown() override { fs::remove_all(directory); }

    std::string path(const std::string& name) const { return (directory / name).string(); }

    // Runs the program with `arguments`, `input` on its standard input.
    Outcome run(std::vector<std::string> arguments, const std::string& input = "") const {
        const fs::path in = directory / ".stdin";
        const fs::path out = directory / ".stdout";
        const fs::path err = directory / ".stderr";
        std::ofstream(in, std::ios::binary) << input;
        arguments.insert(arguments.begin(), TARN_PSK31_PROGRAM);
        std::vector<char*> argv;
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            freopen(in.c_str(), "rb", stdin);
            freopen(out.c_str(), "wb", stdout);
            freopen(err.c_str(), "wb", stderr);
            execv(argv[0], argv.data());
            _exit(127);
        }
        int status = 0;
        waitpid(child, &status, 0);
        Outcome result{WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), slurp(out),
                       slurp(err)};
        fs::remove(in);
        fs::remove(out);
        fs::remove(err);
        return result;
    }

    // Files in the test directory (no temporary file may remain).
    std::vector<std::string> listing() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(directory)) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    fs::path directory;
};

const std::string kQso = "CQ CQ DE N0CALL N0CALL PSE K\n";

TEST_F(CliTest, EncodedQsoDecodesToItsText) {
    // Noise with an RMS of 0.1 against a carrier of amplitude 0.5.
    // A second of noise first, as in a recording started before the call.
    const Outcome encoded = run({"encode", "--frequency", "1000", "--noise", "0.1", "--lead-in",
                                 "1", "-o", path("qso.wav")},
                                kQso);
    ASSERT_EQ(encoded.status, 0) << encoded.err;
    EXPECT_EQ(encoded.err, "");
    const Outcome decoded = run({"decode", path("qso.wav"), "--frequency", "1000"});
    ASSERT_EQ(decoded.status, 0) << decoded.err;
    EXPECT_NE(decoded.out.find(kQso), std::string::npos) << decoded.out;

    // 16-bit output, the text from a file, same result.
    std::ofstream(path("qso.txt"), std::ios::binary) << kQso;
    ASSERT_EQ(
        run({"encode", "--text-file", path("qso.txt"), "--pcm16", "--output=" + path("qso16.wav")})
            .status,
        0);
    SF_INFO info{};
    SNDFILE* file = sf_open(path("qso16.wav").c_str(), SFM_READ, &info);
    ASSERT_NE(file, nullptr);
    sf_close(file);
    EXPECT_EQ(info.format, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
    EXPECT_EQ(info.samplerate, 8000);
    EXPECT_NE(run({"decode", path("qso16.wav")}).out.find("N0CALL N0CALL PSE K"),
              std::string::npos);
}

TEST_F(CliTest, StereoRecordingAt44100DecodesFromItsSecondChannel) {
    ASSERT_EQ(run({"encode", "--text", kQso, "--frequency", "1200", "-o", path("mono.wav")}).status,
              0);
    auto mono = audiofile::readAudioFile(path("mono.wav"));
    ASSERT_TRUE(mono) << mono.error().message;
    // Up to 44.1 kHz with a silent first channel, as a sound card records it.
    const double ratio = 44100.0 / 8000.0;
    std::vector<float> high(static_cast<size_t>(mono.value().size() * ratio) + 100);
    SRC_DATA data{};
    data.data_in = mono.value().data();
    data.input_frames = static_cast<long>(mono.value().size());
    data.data_out = high.data();
    data.output_frames = static_cast<long>(high.size());
    data.src_ratio = ratio;
    ASSERT_EQ(src_simple(&data, SRC_SINC_FASTEST, 1), 0);
    std::vector<float> frames;
    for (long i = 0; i < data.output_frames_gen; ++i) {
        frames.push_back(0.0f);
        frames.push_back(high[static_cast<size_t>(i)]);
    }
    SF_INFO info{};
    info.samplerate = 44100;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* file = sf_open(path("stereo.wav").c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr);
    sf_writef_float(file, frames.data(), data.output_frames_gen);
    sf_close(file);

    const Outcome right =
        run({"decode", path("stereo.wav"), "--channel", "2", "--frequency", "1200"});
    ASSERT_EQ(right.status, 0) << right.err;
    EXPECT_NE(right.out.find("N0CALL N0CALL PSE K"), std::string::npos) << right.out;
    const Outcome left = run({"decode", path("stereo.wav"), "--frequency", "1200"});
    ASSERT_EQ(left.status, 0) << left.err;
    EXPECT_EQ(left.out.find("N0CALL"), std::string::npos) << left.out;
}

TEST_F(CliTest, TraceHasOneLinePerBlockAndRetuningReplaysTheHistory) {
    // The message takes about 5 s; 3 s of silence follow.
    ASSERT_EQ(run({"encode", "--text", "TEST DE N0CALL", "-o", path("msg.wav")}).status, 0);
    auto message = audiofile::readAudioFile(path("msg.wav"));
    ASSERT_TRUE(message);
    std::vector<float> samples = message.value();
    samples.resize(samples.size() + 3 * 8000, 0.0f);
    ASSERT_FALSE(audiofile::writeWavFile(path("padded.wav"), samples.data(),
                                         static_cast<int64_t>(samples.size()),
                                         audiofile::SampleFormat::float32));
    const double seconds = static_cast<double>(samples.size()) / 8000.0;

    const Outcome plain = run({"decode", path("padded.wav"), "--trace", path("trace.csv")});
    ASSERT_EQ(plain.status, 0) << plain.err;
    EXPECT_EQ(countOf(plain.out, "N0CALL"), 1u) << plain.out;
    const std::string trace = slurp(path("trace.csv"));
    std::istringstream lines(trace);
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, "block,frequency,frequencyErrorOffset,signalAtFrequency,useFFTForAFC,"
                    "phaseSyncSubBit,carrierStart,currentFFTRow");
    size_t blocks = 0;
    while (std::getline(lines, line)) {
        EXPECT_EQ(line.rfind(std::to_string(blocks) + ",", 0), 0u) << line;
        EXPECT_EQ(std::count(line.begin(), line.end(), ','), 7) << line;
        ++blocks;
    }
    EXPECT_EQ(blocks, (samples.size() + 1999) / 2000);

    // Retuning after the message demodulates the last 8 seconds again, so
    // the text already received shows a second time.
    const Outcome retuned =
        run({"decode", path("padded.wav"), "--retune-at", std::to_string(seconds - 1.0)});
    ASSERT_EQ(retuned.status, 0) << retuned.err;
    EXPECT_EQ(countOf(retuned.out, "N0CALL"), 2u) << retuned.out;
    // Beyond the end of the recording nothing is retuned.
    EXPECT_EQ(run({"decode", path("padded.wav"), "--retune-at", "3600"}).out, plain.out);
}

TEST_F(CliTest, BadInputGivesOneLineAndStatusTwoAndNoOutput) {
    std::ofstream(path("empty.wav")).flush();
    std::ofstream(path("words.wav")) << "not a recording\n";
    const std::vector<float> tone(4000, 0.25f);
    ASSERT_FALSE(audiofile::writeWavFile(path("good.wav"), tone.data(), 4000,
                                         audiofile::SampleFormat::float32));
    // A text of spaces needs 5 symbols a character: 2 million are too many
    // for one rendered block, and are refused before rendering.
    std::ofstream(path("long.txt")) << std::string(2'000'000, ' ');

    const std::string good = path("good.wav");
    const std::string out = path("out.wav");
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"decode", path("absent.wav")}, "absent.wav"},
        {{"decode", directory.string()}, "directory"},
        {{"decode", path("empty.wav")}, "empty"},
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
        const Outcome result = run(arguments);
        std::string shown;
        for (const std::string& argument : arguments) {
            shown += argument.size() > 40 ? "..." : argument + " ";
        }
        EXPECT_EQ(result.status, 2) << shown;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_EQ(result.err.rfind("tarn-psk31 " + arguments[0] + ": ", 0), 0u) << result.err;
        EXPECT_NE(result.err.find(words), std::string::npos) << shown << "-> " << result.err;
        EXPECT_EQ(result.out, "") << shown;
    }
    EXPECT_EQ(listing(),
              (std::vector<std::string>{"empty.wav", "good.wav", "long.txt", "words.wav"}));
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

} // namespace
