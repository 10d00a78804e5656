// tarn-psk31 listen: live receive from an audio input, text to standard
// output as it is decoded, until Ctrl-C or SIGTERM.
#include "audio/AudioDevices.h"
#include "audio/AudioHost.h"
#include "rig/RfFrequency.h"
#include "rig/RigConfig.h"
#include "rig/RigConnection.h"
#include "tools/CommandLine.h"
#include "tools/DecodeRun.h"
#include "tools/Interrupt.h"
#include "tools/ListenScan.h"
#include "tools/ReceivedText.h"
#include "tools/RigOptions.h"

#include <chrono>
#include <cstdio>
#include <thread>

namespace cli {

namespace {

// How often the received text is collected and written (seconds).
constexpr auto kDrainInterval = std::chrono::milliseconds(100);

void printListenHelp(std::FILE* out) {
    std::fprintf(out,
                 "usage: tarn-psk31 listen [--input-device NAME] [OPTIONS]\n"
                 "Receives from an audio input (the radio's audio) and writes the decoded\n"
                 "text to standard output as it arrives, until Ctrl-C or SIGTERM. The\n"
                 "input is used at 8000 Hz, converted if the device runs at another rate.\n"
                 "If the device or the sound server goes away, listening resumes when it\n"
                 "is back.\n\n"
                 "options:\n"
                 "  --input-device NAME  input to listen to, by name or a unique part of it\n"
                 "                       (default: the system default; see 'devices')\n"
                 "  --device-rate HZ     run the device at this rate, converted to 8000 Hz\n"
                 "                       (default: 8000 Hz if the device offers it)\n"
                 "%s"
                 "  -h, --help           show this help\n"
                 "The time of --retune-at counts from the start of listening.\n"
                 "band scanner:\n"
                 "%s"
                 "radio control (the RF frequency is shown when the rig reports its dial):\n"
                 "%s",
                 kReceiveOptionsHelp, liveScanOptionsHelp(), tarn::rig::rigOptionsHelp());
}

} // namespace

int listenCommand(int argc, char** argv) {
    const char* const command = "listen";
    DecodeOptions options;
    tarnaudio::AudioHostOptions audio;
    audio.output = false; // listen never sends: no playback stream at all
    tarn::rig::RigConfig rig;
    LiveScanOptions scan;
    ArgumentReader arguments(argc, argv);
    while (arguments.next()) {
        const std::string& name = arguments.option();
        if (name == "--help" || name == "-h") {
            printListenHelp(stdout);
            return kExitOk;
        }
        if (name.empty()) {
            return reportUsageError(command, "unexpected argument " + quoted(arguments.text()));
        }
        if (const std::optional<int> status = takeLiveScanOption(arguments, scan, command)) {
            if (*status != kExitOk) {
                return *status;
            }
            continue;
        }
        if (const std::optional<int> status = takeRigOption(arguments, rig, command)) {
            if (*status != kExitOk) {
                return *status;
            }
            continue;
        }
        if (name == "--input-device") {
            const std::optional<std::string> value = arguments.value();
            if (!value || value->empty()) {
                return reportUsageError(command,
                                        value ? "empty --input-device" : arguments.error());
            }
            audio.inputDevice = *value;
            continue;
        }
        if (name == "--device-rate") {
            const std::optional<std::string> value = arguments.value();
            const std::optional<double> rate = value ? parseNumber(*value) : std::nullopt;
            if (!rate || !tarnaudio::isValidDeviceRate(*rate)) {
                return reportUsageError(command, "--device-rate needs a rate in Hz, 8000 .. "
                                                 "384000");
            }
            audio.deviceRate = *rate;
            continue;
        }
        if (name == "--trace" || name == "--channel") {
            return reportUsageError(command, name + " applies to recordings only (decode)");
        }
        if (const std::optional<int> status =
                takeReceiveOption(arguments, options, command, printListenHelp)) {
            return *status;
        }
    }

    if (const std::optional<std::string> problem = liveScanUsageProblem(scan)) {
        return reportUsageError(command, *problem);
    }
    if (const std::string problem = tarn::rig::validateRigConfig(rig); !problem.empty()) {
        return reportUsageError(command, problem);
    }
    std::unique_ptr<tarn::rig::RigConnection> connection;
    if (tarn::rig::usesHamlib(rig)) {
        connection = std::make_unique<tarn::rig::RigConnection>(rig);
    }
    if (scan.enabled) {
        return runLiveScan(audio, scan, connection.get(), command);
    }

    DecodeSession session(options);
    TarnData* receiver = &session.engine();
    tarnaudio::AudioHost host(audio, [receiver](std::span<const float> block) {
        receiver->processInputAudioSamples(block);
    });
    if (!host.inputRunning()) {
        host.shutdown();
        const std::string device =
            audio.inputDevice.empty() ? "the default input" : "input " + quoted(audio.inputDevice);
        return reportUsageError(command, "cannot record from " + device +
                                             " (no sound server or device?); "
                                             "'tarn-psk31 devices' lists the inputs");
    }

    const InterruptGuard interruptGuard;
    std::fprintf(stderr, "tarn-psk31 listen: listening to %s at %.1f Hz; Ctrl-C stops\n",
                 quoted(host.inputDeviceName()).c_str(), session.engine().frequency());
    TarnData& engine = session.engine();
    double shownRf = 0.0;
    const auto started = std::chrono::steady_clock::now();
    bool retuned = false;
    bool written = true;
    while (InterruptGuard::received() == 0 && written) {
        std::this_thread::sleep_for(kDrainInterval);
        if (options.retuneAt && !retuned &&
            std::chrono::steady_clock::now() - started >=
                std::chrono::duration<double>(*options.retuneAt)) {
            engine.setFrequency(options.frequency);
            retuned = true;
        }
        if (connection) {
            // The signal's RF frequency, once the rig reports its dial.
            const tarn::rig::RigStatus status = connection->status();
            const std::optional<double> rf =
                tarn::rig::rfFrequency(status.dialHz, status.sideband, engine.frequency());
            if (rf && *rf != shownRf) {
                shownRf = *rf;
                std::fprintf(stderr, "tarn-psk31 listen: on %.1f Hz RF (dial %.0f Hz %s)\n", *rf,
                             status.dialHz, status.mode.c_str());
            }
        }
        while (std::optional<std::string> text = engine.drainTextBuffer()) {
            written = writeReceivedText(stdout, *text, showsControlsVisibly(stdout)) && written;
        }
        written = std::fflush(stdout) == 0 && written;
    }
    // No block reaches the engine after this.
    host.shutdown();
    while (std::optional<std::string> text = engine.drainTextBuffer()) {
        writeReceivedText(stdout, *text, showsControlsVisibly(stdout));
    }
    std::fflush(stdout);
    if (!written) {
        reportError(command, "cannot write the received text");
        return kExitFailure;
    }
    return kExitOk;
}

} // namespace cli
