// Argument reading and strict value parsing shared by the tarn-psk31 commands.
//
// Options are written "--name VALUE" or "--name=VALUE"; a lone "--" ends the
// options. Every command reports bad input as one line on stderr,
// "tarn-psk31 COMMAND: REASON", and exits with status 2.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

// Exit statuses of every command.
constexpr int kExitOk = 0;
constexpr int kExitFailure = 1; // the work itself failed (e.g. a device error)
constexpr int kExitUsage = 2;   // bad input: options, values, files

// A finite number with no trailing characters ("1500", "-20.5", "1e3"), or
// nothing for "", "12x", "nan", "inf", out-of-range magnitudes.
std::optional<double> parseNumber(std::string_view text);
// A decimal integer within [low, high], or nothing.
std::optional<long long> parseInteger(std::string_view text, long long low, long long high);
// "on"/"off" (also "yes"/"no", "true"/"false", "1"/"0"), or nothing.
std::optional<bool> parseSwitch(std::string_view text);

// Walks a command's arguments (argv[1..] after the command word).
class ArgumentReader {
public:
    ArgumentReader(int argc, char** argv);

    // Advances to the next argument; false when none is left.
    bool next();
    // The current argument's option name ("--frequency" for both spellings),
    // or empty when it is a positional argument.
    const std::string& option() const { return currentOption; }
    // The current positional argument (or the whole text of an option).
    const std::string& text() const { return currentText; }
    // The value of the current option: its "=VALUE" part or the next argument.
    // Nothing (and error() set) when it has none.
    std::optional<std::string> value();
    // Set after a failed value() call.
    const std::string& error() const { return lastError; }

private:
    std::vector<std::string> arguments;
    size_t position = 0;
    bool optionsEnded = false;
    std::string currentOption;
    std::string currentText;
    std::optional<std::string> inlineValue;
    std::string lastError;
};

// Writes "tarn-psk31 COMMAND: MESSAGE\n" to stderr and returns kExitUsage.
int reportUsageError(std::string_view command, std::string_view message);
// The same line, without choosing an exit status.
void reportError(std::string_view command, std::string_view message);
// Warns on stderr when a carrier frequency lies outside what the engine
// tunes to (500 .. 2500 Hz); the engine then uses the nearer limit.
void warnIfFrequencyClamped(std::string_view command, double frequency);
// Checks, before anything is written, that no output is the same file as an
// input or as another output: device and inode after following links, so a
// symlink or a hard link is caught too. Outputs not made yet are compared by
// folder and name; empty names are skipped. With `standardInput`, what stdin reads
// from counts as an input. Returns the message to report, or nothing.
std::optional<std::string> findSameFile(const std::vector<std::string>& inputs,
                                        const std::vector<std::string>& outputs,
                                        bool standardInput = false);
// A number as briefly as it reads back exactly: 2500.0001, 1e+20, 0.25.
std::string formatNumber(double value);
// Quotes a value or file name for an error line as the shell would read it
// back: 'value', 'no'$'\n''such' (audiofile::quotedName).
std::string quoted(std::string_view value);

} // namespace cli
