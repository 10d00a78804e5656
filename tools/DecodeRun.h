// The receive run shared by the commands that feed audio to the engine
// (decode from a file, and the commands that show the spectrum or listen to
// a device): the receive options, the engine set-up and the per-block steps.
//
// Engine steps, in this order: construct as on a tablet (squelch default
// -20.0), setFrequency(frequency) (always), setAutomaticFrequencyControl(afc),
// set backgroundNoiseLevel if a squelch was given; then for each block of up
// to 2000 samples: setFrequency(frequency) again before the first block that
// starts at or after retuneAt seconds, processInputAudioSamples, drain the
// text ring until it is empty (bytes passed on unchanged, 0 bytes included),
// append a trace line.
#pragma once

#include "engine/TarnData.h"
#include "tools/CommandLine.h"

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace audiofile {
class AtomicFile;
}

namespace cli {

struct DecodeOptions {
    std::string input;              // recording to decode (decode only)
    double frequency = 1500.0;      // Hz; the engine clamps to 500 .. 2500
    bool afc = true;                // automatic frequency control
    std::optional<float> squelch;   // backgroundNoiseLevel, natural-log power
    std::optional<double> retuneAt; // seconds from the start, >= 0
    std::string tracePath;          // CSV of engine state per block, if set
    int channel = 1;                // input channel, 1 = first
};

// Option help lines for a command's --help text: the tuning options
// (--frequency, --afc, --squelch, --retune-at), then those that only apply
// to a recording (--trace, --channel).
extern const char* const kReceiveOptionsHelp;
extern const char* const kRecordingOptionsHelp;

enum class OptionParse {
    notMine, // not a receive option: the caller handles it
    taken,   // parsed into the options
    invalid, // bad value: the error has been reported, exit with kExitUsage
};

// Parses the current argument if it is one of the receive options
// (--frequency, --afc, --squelch, --retune-at, --trace, --channel).
OptionParse parseReceiveOption(ArgumentReader& arguments, DecodeOptions& options,
                               std::string_view command);

// A command's last word on an option: takes it as a receive option
// (std::nullopt: taken), or reports it and returns the exit status, with
// the command's help on stderr when the option is unknown.
std::optional<int> takeReceiveOption(ArgumentReader& arguments, DecodeOptions& options,
                                     std::string_view command, void (*printHelp)(std::FILE*));

// One processed block, as the per-block hook sees it.
struct DecodeBlock {
    int64_t index;        // 0 for the first block
    int64_t firstSample;  // number of the block's first sample from the start
    const float* samples; // the block as fed to the engine
    int32_t count;        // 1 .. 2000
    TarnData& engine;     // after the block (text already drained)
};

// Runs the engine steps over blocks of samples from any source.
class DecodeSession {
public:
    // Builds the engine (with a tablet's squelch default) and applies the
    // options. Writes the received text to `text` (stdout when null); `trace`
    // receives the CSV lines when not null.
    DecodeSession(const DecodeOptions& options, std::FILE* text = nullptr,
                  std::FILE* trace = nullptr);
    ~DecodeSession();

    // False when the engine could not be built (nothing can be processed).
    bool ready() const { return tarn != nullptr; }

    // Feeds one block (count 1 .. 2000) with all per-block steps. Returns
    // false when writing the text or the trace failed.
    bool processBlock(const float* samples, int32_t count);

    TarnData& engine() { return *tarn; }
    int64_t blocksDone() const { return blockIndex; }
    int64_t samplesDone() const { return sampleIndex; }
    // True once --retune-at's time has come and the frequency was set again.
    bool retunedYet() const { return retuned; }

    // The CSV header line of the trace (without newline).
    static const char* traceHeader();

private:
    bool drainText();
    bool writeTraceLine();

    DecodeOptions options;
    std::unique_ptr<TarnData> tarn;
    std::FILE* textOut;
    std::FILE* traceOut;
    int64_t blockIndex = 0;
    int64_t sampleIndex = 0;
    bool retuned = false;
    bool showControls; // the text goes to a terminal: controls shown, not obeyed
};

struct DecodeHooks {
    // Called after every block; return false to stop early (not an error).
    std::function<bool(const DecodeBlock&)> afterBlock;
    // Where the text goes; stdout when null.
    std::FILE* text = nullptr;
};

// The whole decode of options.input: opens the recording and the trace,
// runs every block, reports progress on a terminal. Bad input is reported on
// stderr as "tarn-psk31 COMMAND: ..."; returns the exit status (128 + the
// signal number when Ctrl-C or another stop signal ended the run).
int runDecode(const DecodeOptions& options, std::string_view command,
              const DecodeHooks& hooks = {});

} // namespace cli
