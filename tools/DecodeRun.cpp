#include "tools/DecodeRun.h"

#include "audiofile/AudioFile.h"
#include "tools/Interrupt.h"
#include "tools/Progress.h"
#include "tools/ReceivedText.h"

#include <cmath>
#include <cstring>
#include <vector>

namespace cli {

const char* const kReceiveOptionsHelp =
    "  --frequency HZ       carrier to tune to, 500 .. 2500 Hz (default 1500)\n"
    "  --afc on|off         automatic frequency control (default on)\n"
    "  --squelch LEVEL      squelch threshold, natural log of power (default -20)\n"
    "  --retune-at SECONDS  tune to the frequency again at this time, which\n"
    "                       demodulates the last 8 seconds again\n";

const char* const kRecordingOptionsHelp =
    "  --trace OUT.csv      write the engine's tuning state after every block\n"
    "  --channel N          channel of a multi-channel recording, 1 = first (default 1)\n";

OptionParse parseReceiveOption(ArgumentReader& arguments, DecodeOptions& options,
                               std::string_view command) {
    const std::string& name = arguments.option();
    const bool known = name == "--frequency" || name == "--afc" || name == "--squelch" ||
                       name == "--retune-at" || name == "--trace" || name == "--channel";
    if (!known) {
        return OptionParse::notMine;
    }
    const std::optional<std::string> value = arguments.value();
    if (!value) {
        reportUsageError(command, arguments.error());
        return OptionParse::invalid;
    }
    auto invalid = [&](std::string_view expected) {
        reportUsageError(command, "invalid " + name + " " + quoted(*value) + ": expected " +
                                      std::string(expected));
        return OptionParse::invalid;
    };
    if (name == "--frequency") {
        const std::optional<double> hz = parseNumber(*value);
        if (!hz) {
            return invalid("a frequency in Hz");
        }
        options.frequency = *hz;
        warnIfFrequencyClamped(command, *hz);
    } else if (name == "--afc") {
        const std::optional<bool> on = parseSwitch(*value);
        if (!on) {
            return invalid("on or off");
        }
        options.afc = *on;
    } else if (name == "--squelch") {
        const std::optional<double> level = parseNumber(*value);
        // The engine keeps the level as a float; a value beyond float's range
        // would become infinite.
        if (!level || std::fabs(*level) > 1e30) {
            return invalid("a level such as -20");
        }
        options.squelch = static_cast<float>(*level);
    } else if (name == "--retune-at") {
        const std::optional<double> seconds = parseNumber(*value);
        if (!seconds || *seconds < 0.0) {
            return invalid("a time in seconds, 0 or more");
        }
        options.retuneAt = *seconds;
    } else if (name == "--trace") {
        if (value->empty()) {
            return invalid("a file name");
        }
        options.tracePath = *value;
    } else {
        const std::optional<long long> channel = parseInteger(*value, 1, 1 << 16);
        if (!channel) {
            return invalid("a channel number, 1 or more");
        }
        options.channel = static_cast<int>(*channel);
    }
    return OptionParse::taken;
}

std::optional<int> takeReceiveOption(ArgumentReader& arguments, DecodeOptions& options,
                                     std::string_view command, void (*printHelp)(std::FILE*)) {
    switch (parseReceiveOption(arguments, options, command)) {
    case OptionParse::taken:
        return std::nullopt;
    case OptionParse::invalid:
        return kExitUsage;
    case OptionParse::notMine:
        break;
    }
    reportError(command, "unknown option " + quoted(arguments.text()));
    printHelp(stderr);
    return kExitUsage;
}

DecodeSession::DecodeSession(const DecodeOptions& decodeOptions, std::FILE* text, std::FILE* trace)
    : options(decodeOptions), textOut(text ? text : stdout), traceOut(trace),
      showControls(showsControlsVisibly(textOut)) {
    tarn = std::make_unique<TarnData>(tarn::kTabletSquelch);
    tarn->setFrequency(options.frequency);
    tarn->setAutomaticFrequencyControl(options.afc);
    if (options.squelch) {
        tarn->setBackgroundNoiseLevel(*options.squelch);
    }
}

DecodeSession::~DecodeSession() = default;

const char* DecodeSession::traceHeader() {
    return "block,frequency,frequencyErrorOffset,signalAtFrequency,useFFTForAFC,"
           "phaseSyncSubBit,carrierStart,currentFFTRow";
}

bool DecodeSession::processBlock(const float* samples, int32_t count) {
    if (!tarn) {
        return false;
    }
    if (options.retuneAt && !retuned &&
        static_cast<double>(sampleIndex) >= *options.retuneAt * tarn::kSampleRate) {
        tarn->setFrequency(options.frequency);
        retuned = true;
    }
    tarn->processInputAudioSamples(std::span<const float>(samples, static_cast<size_t>(count)));
    bool written = drainText();
    if (traceOut) {
        written = writeTraceLine() && written;
    }
    ++blockIndex;
    sampleIndex += count;
    return written;
}

bool DecodeSession::drainText() {
    bool written = true;
    while (std::optional<std::string> text = tarn->drainTextBuffer()) {
        written = writeReceivedText(textOut, *text, showControls) && written;
    }
    // Text appears as it is decoded, also through a pipe.
    return std::fflush(textOut) == 0 && written;
}

namespace {

// %.9g of a float, or %.17g of a double, with every NaN printed as "nan"
// whatever its sign bit.
void appendNumber(std::string& line, double value, int digits) {
    if (std::isnan(value)) {
        line += "nan";
        return;
    }
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "%.*g", digits, value);
    line += buffer;
}

} // namespace

bool DecodeSession::writeTraceLine() {
    const tarn::EngineStatus status = tarn->status();
    std::string line = std::to_string(blockIndex);
    line += ',';
    appendNumber(line, status.frequency, 17);
    line += ',';
    appendNumber(line, status.frequencyErrorOffset, 9);
    line += ',';
    appendNumber(line, status.signalLevel, 9);
    line += ',';
    line += status.afcAcquiring ? '1' : '0';
    line += ',';
    line += std::to_string(status.symbolPhase);
    line += ',';
    appendNumber(line, status.timingError, 9);
    line += ',';
    line += std::to_string(status.waterfallRow);
    line += '\n';
    return std::fputs(line.c_str(), traceOut) >= 0;
}

int runDecode(const DecodeOptions& options, std::string_view command, const DecodeHooks& hooks) {
    if (auto clash = findSameFile({options.input}, {options.tracePath})) {
        return reportUsageError(command, *clash);
    }
    // Covers the opening too, so that a stop signal never leaves the trace's
    // temporary file behind.
    const InterruptGuard interruptGuard;
    auto opened = audiofile::AudioFileReader::open(options.input, options.channel);
    if (!opened) {
        return reportUsageError(command, opened.error().message);
    }
    audiofile::AudioFileReader& reader = *opened.value();

    audiofile::AtomicFile traceFile;
    std::FILE* trace = nullptr;
    auto closeTrace = [&] {
        if (trace) {
            std::fclose(trace);
            trace = nullptr;
        }
    };
    if (!options.tracePath.empty()) {
        if (auto error = traceFile.create(options.tracePath)) {
            return reportUsageError(command, error->message);
        }
        trace = fdopen(traceFile.fd(), "w");
        if (trace) {
            traceFile.releaseDescriptor(); // now closed by fclose
        }
        if (!trace || std::fprintf(trace, "%s\n", DecodeSession::traceHeader()) < 0) {
            const int error = errno;
            closeTrace();
            return reportUsageError(command, "cannot write " + quoted(options.tracePath) + ": " +
                                                 std::strerror(error));
        }
    }

    DecodeSession session(options, hooks.text, trace);
    if (!session.ready()) {
        closeTrace();
        reportError(command, "the receiver could not be started");
        return kExitFailure;
    }
    ProgressLine progress("decoding " + options.input, reader.expectedSamples());
    // Said once, when the run ends: samples that were not finite numbers.
    auto reportCleaned = [&] {
        if (const int64_t cleaned = reader.cleanedSamples()) {
            reportError(command, "warning: " + quoted(options.input) + ": " +
                                     std::to_string(cleaned) +
                                     (cleaned == 1 ? " sample was" : " samples were") +
                                     " not a finite number (NaN taken as 0, infinity as "
                                     "+-1.0)");
        }
    };
    std::vector<float> block(tarn::kInputBlockSamples);
    for (;;) {
        // Blocks are exactly 2000 samples except the last.
        int32_t filled = 0;
        while (filled < tarn::kInputBlockSamples) {
            auto got = reader.read(block.data() + filled, tarn::kInputBlockSamples - filled);
            if (!got) {
                progress.finish();
                closeTrace();
                return reportUsageError(command, got.error().message);
            }
            if (got.value() == 0) {
                break;
            }
            filled += static_cast<int32_t>(got.value());
        }
        if (filled == 0) {
            break;
        }
        if (!session.processBlock(block.data(), filled)) {
            progress.finish();
            closeTrace();
            return reportUsageError(command, std::string("cannot write the output: ") +
                                                 std::strerror(errno));
        }
        progress.update(session.samplesDone());
        if (hooks.afterBlock &&
            !hooks.afterBlock(DecodeBlock{session.blocksDone() - 1, session.samplesDone() - filled,
                                          block.data(), filled, session.engine()})) {
            break;
        }
        if (filled < tarn::kInputBlockSamples) {
            break;
        }
        if (const int signal = InterruptGuard::received()) {
            // Stopped by the user: the unfinished trace is removed.
            progress.finish();
            reportCleaned();
            closeTrace();
            return 128 + signal;
        }
    }
    progress.finish();
    reportCleaned();
    if (options.retuneAt && !session.retunedYet()) {
        reportError(command, "warning: --retune-at " + formatNumber(*options.retuneAt) +
                                 " s is past the end of the recording (" +
                                 formatNumber(static_cast<double>(session.samplesDone()) /
                                              tarn::kSampleRate) +
                                 " s); it was not retuned");
    }
    if (const int signal = InterruptGuard::received()) {
        closeTrace();
        return 128 + signal;
    }

    if (trace) {
        const bool flushed = std::fflush(trace) == 0 && !std::ferror(trace);
        closeTrace();
        if (!flushed) {
            return reportUsageError(command, "cannot write " + quoted(options.tracePath) + ": " +
                                                 std::strerror(errno));
        }
        if (auto error = traceFile.commit()) {
            return reportUsageError(command, error->message);
        }
    }
    return kExitOk;
}

} // namespace cli
