// tarn-psk31 encode: text in, the PSK31 signal the station would transmit out,
// as an 8000 Hz mono WAV file.
#include "audiofile/AudioFile.h"
#include "engine/TarnData.h"
#include "tools/CommandLine.h"
#include "tools/Interrupt.h"
#include "varicode/varicode.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <random>
#include <stdexcept>
#include <unistd.h>
#include <vector>

namespace cli {

namespace {

constexpr const char* kCommand = "encode";
constexpr int64_t kSamplesPerSymbol = 256;
// The rendered block's sample count is a 32-bit signed integer.
constexpr int64_t kMaxSymbols = INT32_MAX / kSamplesPerSymbol;
// Idle zeros before and after every message.
constexpr int64_t kIdleSymbols = 16;
// The shortest character (space, one symbol) takes 5 symbols with its
// framing zeros, so a longer text can never fit; reading stops there.
constexpr size_t kMaxTextBytes = (kMaxSymbols - kIdleSymbols) / 5;

void printEncodeHelp(std::FILE* out) {
    std::fputs("usage: tarn-psk31 encode (--text TEXT | --text-file FILE | < FILE) -o OUT.wav\n"
               "                          [OPTIONS]\n"
               "Renders text as the station's PSK31 signal, one character per byte, with\n"
               "the idle lead-in and tail, and writes it as an 8000 Hz mono WAV file\n"
               "(32-bit float unless --pcm16). Without --text or --text-file the text is\n"
               "read from standard input, byte for byte (a final newline is sent too).\n\n"
               "options:\n"
               "  --text TEXT       the text to send\n"
               "  --text-file FILE  read the text from FILE\n"
               "  --frequency HZ    carrier, 500 .. 2500 Hz (default 1500)\n"
               "  -o, --output OUT  the WAV file to write (replaced whole, or left alone)\n"
               "  --pcm16           write 16-bit integer samples\n"
               "  --noise RMS       add white Gaussian noise of this RMS level (the signal's\n"
               "                    peak is 0.6), as a receiver would hear it\n"
               "  --seed N          seed of the noise (default 1), for repeatable files\n"
               "  --lead-in SECONDS silence (or noise) before the signal, as in a recording\n"
               "                    started before the transmission (default 0)\n"
               "  -h, --help        show this help\n",
               out);
}

// Reads at most limit + 1 bytes from `descriptor`, so that an oversized
// text is detected without holding all of it. Waits in steps of 0.2 s and
// looks for a stop signal between them: a signal that lands just before a
// blocking read would otherwise leave it waiting for ever. False on a read
// error or a stop (InterruptGuard::received() tells which).
bool readText(int descriptor, size_t limit, std::string& text) {
    char buffer[65536];
    while (text.size() <= limit) {
        if (InterruptGuard::received() != 0) {
            return false;
        }
        pollfd wanted{descriptor, POLLIN, 0};
        const int ready = poll(&wanted, 1, 200);
        if (ready < 0 && errno != EINTR) {
            return false;
        }
        if (ready <= 0) {
            continue;
        }
        const ssize_t got = ::read(descriptor, buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        if (got == 0) {
            return true;
        }
        text.append(buffer, static_cast<size_t>(got));
    }
    return true;
}

// Symbols the engine will render for text: the idle zeros plus each
// character's pattern and its four framing zeros.
int64_t countSymbols(const std::string& text) {
    int64_t symbols = kIdleSymbols;
    for (const unsigned char c : text) {
        symbols += static_cast<int64_t>(std::strlen(varicode::pattern(c))) + 4;
    }
    return symbols;
}

// Writes `leadIn` samples of silence and then the rendered block, with
// white Gaussian noise of RMS `noiseRms` (seeded by `seed`) added to every
// sample, one piece at a time: nothing beyond the rendered block grows with
// the text. The noise comes in sample order from one generator, so a piece
// size never changes a sample. Returns the exit status when it stopped.
std::optional<int> writeRecording(audiofile::WavWriter& writer, const float* rendered,
                                  int64_t count, int64_t leadIn, double noiseRms, uint32_t seed) {
    constexpr int64_t kPiece = 1 << 16; // samples
    std::vector<float> piece(static_cast<size_t>(kPiece));
    std::mt19937 generator(seed);
    std::normal_distribution<double> noise(0.0, noiseRms);
    const int64_t total = leadIn + count;
    for (int64_t done = 0; done < total;) {
        if (const int signal = InterruptGuard::received()) {
            return 128 + signal;
        }
        const int64_t size = std::min(kPiece, done < leadIn ? leadIn - done : total - done);
        const float* samples = piece.data();
        if (done < leadIn) {
            std::fill_n(piece.begin(), size, 0.0f);
        } else if (noiseRms > 0.0) {
            std::copy_n(rendered + (done - leadIn), size, piece.begin());
        } else {
            samples = rendered + (done - leadIn);
        }
        if (noiseRms > 0.0) {
            for (int64_t i = 0; i < size; ++i) {
                piece[static_cast<size_t>(i)] =
                    static_cast<float>(piece[static_cast<size_t>(i)] + noise(generator));
            }
        }
        if (auto error = writer.write(samples, size)) {
            if (const int signal = InterruptGuard::received()) {
                return 128 + signal;
            }
            return reportUsageError(kCommand, error->message);
        }
        done += size;
    }
    return std::nullopt;
}

} // namespace

int encodeCommand(int argc, char** argv) {
    std::optional<std::string> text;
    std::string textFile;
    std::string output;
    double frequency = 1500.0;
    double noiseRms = 0.0;
    double leadIn = 0.0; // seconds
    uint32_t seed = 1;
    auto format = audiofile::SampleFormat::float32;

    ArgumentReader arguments(argc, argv);
    while (arguments.next()) {
        const std::string& name = arguments.option();
        if (name.empty()) {
            return reportUsageError(kCommand, "unexpected argument " + quoted(arguments.text()) +
                                                  " (the text goes after --text)");
        }
        if (name == "--help" || name == "-h") {
            printEncodeHelp(stdout);
            return kExitOk;
        }
        if (name == "--pcm16") {
            format = audiofile::SampleFormat::pcm16;
            continue;
        }
        if (name != "--text" && name != "--text-file" && name != "--frequency" && name != "-o" &&
            name != "--output" && name != "--noise" && name != "--seed" && name != "--lead-in") {
            reportError(kCommand, "unknown option " + quoted(arguments.text()));
            printEncodeHelp(stderr);
            return kExitUsage;
        }
        const std::optional<std::string> value = arguments.value();
        if (!value) {
            return reportUsageError(kCommand, arguments.error());
        }
        if (name == "--text") {
            text = *value;
        } else if (name == "--text-file") {
            textFile = *value;
        } else if (name == "-o" || name == "--output") {
            output = *value;
        } else if (name == "--frequency") {
            const std::optional<double> hz = parseNumber(*value);
            if (!hz) {
                return reportUsageError(kCommand, "invalid --frequency " + quoted(*value) +
                                                      ": expected a frequency in Hz");
            }
            frequency = *hz;
            warnIfFrequencyClamped(kCommand, *hz);
        } else if (name == "--noise") {
            const std::optional<double> rms = parseNumber(*value);
            if (!rms || *rms < 0.0 || *rms > 1e6) {
                return reportUsageError(kCommand, "invalid --noise " + quoted(*value) +
                                                      ": expected an RMS level, 0 or more");
            }
            noiseRms = *rms;
        } else if (name == "--lead-in") {
            const std::optional<double> seconds = parseNumber(*value);
            // An hour is far more than a receiver needs to settle.
            if (!seconds || *seconds < 0.0 || *seconds > 3600.0) {
                return reportUsageError(kCommand, "invalid --lead-in " + quoted(*value) +
                                                      ": expected 0 .. 3600 seconds");
            }
            leadIn = *seconds;
        } else {
            const std::optional<long long> number = parseInteger(*value, 0, UINT32_MAX);
            if (!number) {
                return reportUsageError(kCommand, "invalid --seed " + quoted(*value) +
                                                      ": expected an integer 0 .. 4294967295");
            }
            seed = static_cast<uint32_t>(*number);
        }
    }
    if (output.empty()) {
        return reportUsageError(kCommand, "no output file given (-o OUT.wav)");
    }
    if (text && !textFile.empty()) {
        return reportUsageError(kCommand, "--text and --text-file cannot both be given");
    }
    const bool fromStandardInput = !text && textFile.empty();
    if (auto clash = findSameFile({textFile}, {output}, fromStandardInput)) {
        return reportUsageError(kCommand, *clash);
    }

    // From here on a stop signal ends the command between steps, and the
    // unfinished output goes with the writer.
    const InterruptGuard interruptGuard;
    // Created before the text is read or rendered, so that an unwritable
    // place is reported at once.
    audiofile::WavWriter writer;
    if (auto error = writer.create(output, format)) {
        return reportUsageError(kCommand, error->message);
    }

    if (!text) {
        text.emplace();
        if (!textFile.empty()) {
            const int in = ::open(textFile.c_str(), O_RDONLY | O_CLOEXEC);
            if (in < 0) {
                return reportUsageError(kCommand, "cannot read " + quoted(textFile) + ": " +
                                                      std::strerror(errno));
            }
            const bool ok = readText(in, kMaxTextBytes, *text);
            const int error = errno;
            ::close(in);
            if (const int signal = InterruptGuard::received()) {
                return 128 + signal;
            }
            if (!ok) {
                return reportUsageError(kCommand, "cannot read " + quoted(textFile) + ": " +
                                                      std::strerror(error));
            }
        } else {
            if (isatty(STDIN_FILENO)) {
                std::fputs("tarn-psk31 encode: reading the text from the terminal; end it with "
                           "Ctrl-D\n",
                           stderr);
            }
            const bool ok = readText(STDIN_FILENO, kMaxTextBytes, *text);
            if (const int signal = InterruptGuard::received()) {
                return 128 + signal;
            }
            if (!ok) {
                return reportUsageError(kCommand, std::string("cannot read standard input: ") +
                                                      std::strerror(errno));
            }
        }
    }

    const int64_t symbols = countSymbols(*text);
    if (symbols > kMaxSymbols) {
        return reportUsageError(kCommand, "text too long to render: " +
                                              (text->size() > kMaxTextBytes
                                                   ? "more than " + std::to_string(kMaxTextBytes)
                                                   : std::to_string(text->size())) +
                                              " characters need more than " +
                                              std::to_string(kMaxSymbols) + " symbols");
    }

    const int64_t leadInSamples = static_cast<int64_t>(std::llround(leadIn * tarn::kSampleRate));
    const int64_t sampleCount = symbols * kSamplesPerSymbol + leadInSamples;
    if (sampleCount > audiofile::maxWavSamples(format)) {
        return reportUsageError(
            kCommand, "text too long for one WAV file: " + std::to_string(symbols) +
                          " symbols make " + std::to_string(sampleCount / 8000 / 60) +
                          " minutes of audio, more than one WAV file holds (" +
                          std::to_string(audiofile::maxWavSamples(format) / 8000 / 60) + ")");
    }

    TarnData engine(tarn::kTabletSquelch);
    engine.setFrequency(frequency);
    std::vector<float> message;
    try {
        message = engine.renderString(std::string_view(*text));
    } catch (const std::length_error&) {
        return reportUsageError(kCommand, "text too long to render");
    } catch (const std::bad_alloc&) {
        return reportUsageError(kCommand, "not enough memory to render " + std::to_string(symbols) +
                                              " symbols");
    }
    if (const int signal = InterruptGuard::received()) {
        return 128 + signal;
    }
    const float* rendered = message.data();
    const int64_t count = static_cast<int64_t>(message.size());
    if (const std::optional<int> status =
            writeRecording(writer, rendered, count, leadInSamples, noiseRms, seed)) {
        return *status;
    }
    if (auto error = writer.commit()) {
        return reportUsageError(kCommand, error->message);
    }
    return kExitOk;
}

} // namespace cli
