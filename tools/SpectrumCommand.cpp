// tarn-psk31 spectrum: a recording in, the receiver's waterfall out as a
// picture (and optionally as the raw normalised rows).
#include "audiofile/AudioFile.h"
#include "tools/CommandLine.h"
#include "tools/DecodeRun.h"
#include "tools/Interrupt.h"
#include "tools/PngWriter.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <unistd.h>
#include <vector>

namespace cli {

namespace {

// The picture spans the tuning range: bins 64 .. 320 are 500 .. 2500 Hz at
// 7.8125 Hz per bin.
constexpr int kFirstBin = 64;
constexpr int kLastBin = 320;
constexpr int kPictureWidth = kLastBin - kFirstBin + 1;

void printSpectrumHelp(std::FILE* out) {
    std::fprintf(out,
                 "usage: tarn-psk31 spectrum FILE -o OUT.png [--raw ROWS.f32] [OPTIONS]\n"
                 "Runs a recording through the receiver exactly as decode does and draws\n"
                 "the waterfall it leaves behind: newest row at the top, one row per\n"
                 "1024 samples (128 ms, at most 512 rows), 500 to 2500 Hz from left to\n"
                 "right at 7.8125 Hz per pixel. The received text goes to standard\n"
                 "output as with decode.\n\n"
                 "options:\n"
                 "  -o, --output OUT.png the picture to write (replaced whole, or left alone)\n"
                 "  --raw ROWS.f32       also write all 512 rows of the waterfall, newest\n"
                 "                       first, 1024 levels (0 .. 3) per row, as\n"
                 "                       little-endian 32-bit floats\n"
                 "%s"
                 "%s"
                 "  -h, --help           show this help\n",
                 kReceiveOptionsHelp, kRecordingOptionsHelp);
}

// Copies the engine's waterfall rows as they are made, so that the picture
// outlives the receive run. Rows sit at the engine's own ring positions.
class WaterfallCopy {
public:
    WaterfallCopy() : rows(static_cast<size_t>(tarn::kWaterfallRows) * tarn::kSpectrumSize) {}

    void update(const TarnData& engine) {
        const int32_t current = engine.status().waterfallRow;
        int32_t fresh = (current - newest + tarn::kWaterfallRows) % tarn::kWaterfallRows;
        while (fresh > 0) {
            --fresh;
            newest = (newest + 1) % tarn::kWaterfallRows;
            // Same thread as the engine's input: the copy always succeeds.
            engine.copySpectrumRow(
                fresh, std::span<float, tarn::kSpectrumSize>(rowAt(newest), tarn::kSpectrumSize));
            ++made;
        }
    }
    // rowsBack 0 = newest .. 511 = oldest, as the engine counts them.
    const float* back(int rowsBack) const {
        return rowAt((newest - rowsBack + tarn::kWaterfallRows) % tarn::kWaterfallRows);
    }
    int64_t rowsMade() const { return made; }

private:
    float* rowAt(int row) { return rows.data() + static_cast<size_t>(row) * tarn::kSpectrumSize; }
    const float* rowAt(int row) const {
        return rows.data() + static_cast<size_t>(row) * tarn::kSpectrumSize;
    }

    std::vector<float> rows;
    int32_t newest = 0; // the engine starts at row 0 and writes its first block to row 1
    int64_t made = 0;
};

uint8_t colourByte(float fraction) {
    return static_cast<uint8_t>(std::lround(std::clamp(fraction, 0.0f, 1.0f) * 255.0f));
}

std::vector<uint8_t> drawWaterfall(const WaterfallCopy& waterfall, int height) {
    std::vector<uint8_t> rgb;
    rgb.reserve(static_cast<size_t>(kPictureWidth) * height * 3);
    for (int y = 0; y < height; ++y) {
        const float* row = waterfall.back(y);
        for (int bin = kFirstBin; bin <= kLastBin; ++bin) {
            // Levels are 0 .. 3; a degenerate display scale can leave a NaN,
            // drawn black.
            const float level = std::isnan(row[bin]) ? 0.0f : row[bin];
            rgb.push_back(colourByte(level / 3.0f));
            const uint8_t greenBlue = colourByte(level / 1.5f);
            rgb.push_back(greenBlue);
            rgb.push_back(greenBlue);
        }
    }
    return rgb;
}

std::vector<uint8_t> rawRows(const WaterfallCopy& waterfall) {
    std::vector<uint8_t> bytes;
    bytes.reserve(static_cast<size_t>(tarn::kWaterfallRows) * tarn::kSpectrumSize * 4);
    for (int rowsBack = 0; rowsBack < tarn::kWaterfallRows; ++rowsBack) {
        const float* row = waterfall.back(rowsBack);
        for (int bin = 0; bin < tarn::kSpectrumSize; ++bin) {
            uint32_t bits;
            std::memcpy(&bits, &row[bin], sizeof bits);
            for (int shift = 0; shift < 32; shift += 8) {
                bytes.push_back(static_cast<uint8_t>(bits >> shift));
            }
        }
    }
    return bytes;
}

// Writes all of `bytes` to the temporary file; the error message, or nothing.
std::optional<std::string> writeAll(audiofile::AtomicFile& file, const std::string& path,
                                    const std::vector<uint8_t>& bytes) {
    size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t result = ::write(file.fd(), bytes.data() + written, bytes.size() - written);
        if (result < 0 && errno == EINTR) {
            continue;
        }
        if (result <= 0) {
            return "cannot write " + cli::quoted(path) + ": " +
                   (result < 0 ? std::strerror(errno) : "nothing written");
        }
        written += static_cast<size_t>(result);
    }
    return std::nullopt;
}

} // namespace

int spectrumCommand(int argc, char** argv) {
    const char* const command = "spectrum";
    DecodeOptions options;
    bool haveInput = false;
    std::string picturePath;
    std::string rawPath;
    ArgumentReader arguments(argc, argv);
    while (arguments.next()) {
        const std::string& name = arguments.option();
        if (name.empty()) {
            if (haveInput) {
                return reportUsageError(command, "more than one recording given: " +
                                                     cli::quoted(arguments.text()));
            }
            options.input = arguments.text();
            haveInput = true;
            continue;
        }
        if (name == "--help" || name == "-h") {
            printSpectrumHelp(stdout);
            return kExitOk;
        }
        if (name == "-o" || name == "--output" || name == "--raw") {
            const std::optional<std::string> value = arguments.value();
            if (!value) {
                return reportUsageError(command, arguments.error());
            }
            if (value->empty()) {
                return reportUsageError(command, name + " needs a file name");
            }
            (name == "--raw" ? rawPath : picturePath) = *value;
            continue;
        }
        if (const std::optional<int> status =
                takeReceiveOption(arguments, options, command, printSpectrumHelp)) {
            return *status;
        }
    }
    if (!haveInput) {
        reportError(command, "no recording given");
        printSpectrumHelp(stderr);
        return kExitUsage;
    }
    if (picturePath.empty()) {
        reportError(command, "no picture given (-o OUT.png)");
        printSpectrumHelp(stderr);
        return kExitUsage;
    }
    if (auto clash = findSameFile({options.input}, {picturePath, rawPath, options.tracePath})) {
        return reportUsageError(command, *clash);
    }

    // Stop signals are polled from here on; the unfinished pictures go with
    // their owners.
    const InterruptGuard interruptGuard;
    // Both outputs are created before the run, so that an unwritable place
    // is reported at once rather than after a long recording.
    audiofile::AtomicFile picture;
    audiofile::AtomicFile raw;
    if (auto error = picture.create(picturePath)) {
        return reportUsageError(command, error->message);
    }
    if (!rawPath.empty()) {
        if (auto error = raw.create(rawPath)) {
            return reportUsageError(command, error->message);
        }
    }

    WaterfallCopy waterfall;
    DecodeHooks hooks;
    hooks.afterBlock = [&](const DecodeBlock& block) {
        waterfall.update(block.engine);
        return true;
    };
    const int status = runDecode(options, command, hooks);
    if (status != kExitOk) {
        return status; // the temporary files go with their owners
    }
    if (const int signal = InterruptGuard::received()) {
        return 128 + signal;
    }
    if (waterfall.rowsMade() == 0) {
        return reportUsageError(command, cli::quoted(options.input) +
                                             " is shorter than one spectrum row (1024 samples)");
    }
    const int height =
        static_cast<int>(std::min<int64_t>(waterfall.rowsMade(), tarn::kWaterfallRows));
    // Both files are complete before either is put in place.
    std::optional<std::string> error = writeAll(
        picture, picturePath, encodePng(kPictureWidth, height, drawWaterfall(waterfall, height)));
    if (!error && !rawPath.empty()) {
        error = writeAll(raw, rawPath, rawRows(waterfall));
    }
    if (error) {
        return reportUsageError(command, *error);
    }
    if (auto failed = picture.commit()) {
        return reportUsageError(command, failed->message);
    }
    if (!rawPath.empty()) {
        if (auto failed = raw.commit()) {
            return reportUsageError(command, failed->message);
        }
    }
    return kExitOk;
}

} // namespace cli
