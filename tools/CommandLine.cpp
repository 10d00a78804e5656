#include "tools/CommandLine.h"

#include "audiofile/AudioFile.h"

#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

namespace cli {

std::optional<double> parseNumber(std::string_view text) {
    // strtod accepts leading blanks, hexadecimal floats and "nan"/"inf"; of
    // these only plain decimal notation is a sensible operator input.
    if (text.empty() || text.size() > 64 || std::isspace(static_cast<unsigned char>(text[0]))) {
        return std::nullopt;
    }
    const std::string copy(text);
    if (copy.find_first_of("xXnNiI") != std::string::npos) {
        return std::nullopt;
    }
    errno = 0;
    char* end = nullptr;
    const double value = std::strtod(copy.c_str(), &end);
    if (end != copy.c_str() + copy.size() || errno == ERANGE || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

std::optional<long long> parseInteger(std::string_view text, long long low, long long high) {
    if (text.empty() || text.size() > 20 || std::isspace(static_cast<unsigned char>(text[0]))) {
        return std::nullopt;
    }
    const std::string copy(text);
    errno = 0;
    char* end = nullptr;
    const long long value = std::strtoll(copy.c_str(), &end, 10);
    if (end != copy.c_str() + copy.size() || errno == ERANGE || value < low || value > high) {
        return std::nullopt;
    }
    return value;
}

std::optional<bool> parseSwitch(std::string_view text) {
    if (text == "on" || text == "yes" || text == "true" || text == "1") {
        return true;
    }
    if (text == "off" || text == "no" || text == "false" || text == "0") {
        return false;
    }
    return std::nullopt;
}

ArgumentReader::ArgumentReader(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        arguments.emplace_back(argv[i]);
    }
}

bool ArgumentReader::next() {
    currentOption.clear();
    inlineValue.reset();
    lastError.clear();
    if (position >= arguments.size()) {
        return false;
    }
    currentText = arguments[position++];
    if (!optionsEnded && currentText == "--") {
        optionsEnded = true;
        return next();
    }
    // "-" alone is a positional argument (conventionally standard input).
    if (optionsEnded || currentText.size() < 2 || currentText[0] != '-') {
        return true;
    }
    const size_t equals = currentText.find('=');
    if (currentText.rfind("--", 0) == 0 && equals != std::string::npos) {
        currentOption = currentText.substr(0, equals);
        inlineValue = currentText.substr(equals + 1);
    } else {
        currentOption = currentText;
    }
    return true;
}

std::optional<std::string> ArgumentReader::value() {
    if (inlineValue) {
        return inlineValue;
    }
    if (position >= arguments.size()) {
        lastError = currentOption + " needs a value";
        return std::nullopt;
    }
    return arguments[position++];
}

void reportError(std::string_view command, std::string_view message) {
    std::string line = "tarn-psk31";
    if (!command.empty()) {
        line += ' ';
        line += command;
    }
    line += ": ";
    line += message;
    line += '\n';
    std::fputs(line.c_str(), stderr);
}

int reportUsageError(std::string_view command, std::string_view message) {
    reportError(command, message);
    return kExitUsage;
}

void warnIfFrequencyClamped(std::string_view command, double frequency) {
    constexpr double kLowest = 500.0;
    constexpr double kHighest = 2500.0;
    if (frequency < kLowest || frequency > kHighest) {
        reportError(command, "warning: " + formatNumber(frequency) +
                                 " Hz is outside 500 .. 2500 Hz; tuning to " +
                                 formatNumber(frequency > kHighest ? kHighest : kLowest) + " Hz");
    }
}

namespace {

struct NamedFile {
    std::string name;
    dev_t device;
    ino_t inode;
    std::string leaf; // for a file not made yet: its name in the folder `inode`
    bool operator==(const NamedFile& other) const {
        return device == other.device && inode == other.inode && leaf == other.leaf;
    }
};

// An existing file by its device and inode; one yet to be written by its
// folder's and its own name, so that two spellings of one new output meet.
std::optional<NamedFile> identify(const std::string& name, bool mayBeNew) {
    struct stat about {};
    if (name.empty()) {
        return std::nullopt;
    }
    if (stat(name.c_str(), &about) == 0) {
        return NamedFile{name, about.st_dev, about.st_ino, ""};
    }
    const size_t slash = name.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : name.substr(0, slash + 1);
    const std::string leaf = slash == std::string::npos ? name : name.substr(slash + 1);
    if (!mayBeNew || errno != ENOENT || leaf.empty() || stat(folder.c_str(), &about) != 0) {
        return std::nullopt;
    }
    return NamedFile{name, about.st_dev, about.st_ino, leaf};
}

} // namespace

std::optional<std::string> findSameFile(const std::vector<std::string>& inputs,
                                        const std::vector<std::string>& outputs,
                                        bool standardInput) {
    std::vector<NamedFile> seen;
    for (const std::string& input : inputs) {
        if (auto file = identify(input, false)) {
            seen.push_back(*file);
        }
    }
    struct stat about {};
    if (standardInput && fstat(STDIN_FILENO, &about) == 0 && S_ISREG(about.st_mode)) {
        seen.push_back(NamedFile{"", about.st_dev, about.st_ino, ""});
    }
    const size_t inputCount = seen.size();
    for (const std::string& output : outputs) {
        const std::optional<NamedFile> file = identify(output, true);
        if (!file) {
            continue;
        }
        for (size_t i = 0; i < seen.size(); ++i) {
            if (!(seen[i] == *file)) {
                continue;
            }
            if (i >= inputCount) {
                return quoted(seen[i].name) + " and " + quoted(output) +
                       " are the same file; the outputs need different files";
            }
            return quoted(output) + " is also an input" +
                   (seen[i].name.empty() ? " (standard input)" : "") + "; refusing to overwrite it";
        }
        seen.push_back(*file);
    }
    return std::nullopt;
}

std::string formatNumber(double value) {
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return std::string(text, result.ptr);
}

std::string quoted(std::string_view value) {
    return audiofile::quotedName(value);
}

} // namespace cli
