// tarn-psk31 send: one message on the air through an audio output, as the
// console sends it; returns when it has been played.
#include "audio/AudioDevices.h"
#include "audio/AudioHost.h"
#include "engine/TarnData.h"
#include "rig/RigConfig.h"
#include "rig/RigConnection.h"
#include "rig/TransmitSequencer.h"
#include "tools/CommandLine.h"
#include "tools/Interrupt.h"
#include "tools/RigOptions.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <thread>

namespace cli {

namespace {

// Longest text accepted: the whole signal is rendered before it plays (about
// 10 kB of samples per character) and takes about half an hour on the air.
constexpr size_t kMaxTextBytes = 8192;

void printSendHelp(std::FILE* out) {
    std::fputs("usage: tarn-psk31 send (--text TEXT | --text-file FILE) [OPTIONS]\n"
               "Plays one PSK31 message on an audio output (to the transmitter's audio\n"
               "input) and returns when it has been played. Ctrl-C ends the\n"
               "transmission early. The text is sent byte for byte; a line feed is not\n"
               "added.\n\n"
               "options:\n"
               "  --text TEXT           the message\n"
               "  --text-file FILE      the message, read from a file\n"
               "  --output-device NAME  output to play on, by name or a unique part of it\n"
               "                        (default: the system default; see 'devices')\n"
               "  --speaker             play on the system default output instead\n"
               "  --device-rate HZ      run the device at this rate, converted from 8000 Hz\n"
               "                        (default: 8000 Hz if the device offers it)\n"
               "  --frequency HZ        carrier, 500 .. 2500 Hz (default 1500)\n"
               "  -h, --help            show this help\n"
               "radio control (PTT keyed around the transmission, released at the end,\n"
               "on Ctrl-C or SIGTERM, when the output fails and when the transmit\n"
               "watchdog runs out; the last two exit with status 1):\n",
               out);
    std::fputs(tarn::rig::rigOptionsHelp(), out);
}

std::optional<std::string> readTextFile(const std::string& path, std::string& error) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        error = "cannot read " + quoted(path) + ": " + std::strerror(errno);
        return std::nullopt;
    }
    std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (file.bad()) {
        error = "cannot read " + quoted(path);
        return std::nullopt;
    }
    return text;
}

} // namespace

int sendCommand(int argc, char** argv) {
    const char* const command = "send";
    std::optional<std::string> text;
    std::optional<std::string> textFile;
    double frequency = 1500.0;
    bool speaker = false;
    tarnaudio::AudioHostOptions audio;
    audio.input = false; // send only plays
    tarn::rig::RigConfig rig;
    ArgumentReader arguments(argc, argv);
    while (arguments.next()) {
        const std::string& name = arguments.option();
        if (name == "--help" || name == "-h") {
            printSendHelp(stdout);
            return kExitOk;
        }
        if (name == "--speaker") {
            speaker = true;
            continue;
        }
        if (const std::optional<int> status = takeRigOption(arguments, rig, command)) {
            if (*status != kExitOk) {
                return *status;
            }
            continue;
        }
        if (name != "--text" && name != "--text-file" && name != "--output-device" &&
            name != "--frequency" && name != "--device-rate") {
            reportError(command, (name.empty() ? "unexpected argument " : "unknown option ") +
                                     quoted(arguments.text()));
            printSendHelp(stderr);
            return kExitUsage;
        }
        const std::optional<std::string> value = arguments.value();
        if (!value) {
            return reportUsageError(command, arguments.error());
        }
        if (name == "--text" || name == "--text-file") {
            if (text || textFile) {
                return reportUsageError(command, "give one of --text and --text-file, once");
            }
            (name == "--text" ? text : textFile) = *value;
        } else if (name == "--output-device") {
            if (value->empty()) {
                return reportUsageError(command, "empty --output-device");
            }
            audio.outputDevice = *value;
        } else if (name == "--device-rate") {
            const std::optional<double> rate = parseNumber(*value);
            if (!rate || !tarnaudio::isValidDeviceRate(*rate)) {
                return reportUsageError(command, "--device-rate needs a rate in Hz, 8000 .. "
                                                 "384000");
            }
            audio.deviceRate = *rate;
        } else {
            const std::optional<double> hz = parseNumber(*value);
            if (!hz) {
                return reportUsageError(command, "invalid --frequency " + quoted(*value) +
                                                     ": expected a frequency in Hz");
            }
            frequency = *hz;
            warnIfFrequencyClamped(command, frequency);
        }
    }
    if (textFile) {
        std::string error;
        text = readTextFile(*textFile, error);
        if (!text) {
            return reportUsageError(command, error);
        }
    }
    if (!text) {
        reportError(command, "no message given");
        printSendHelp(stderr);
        return kExitUsage;
    }
    if (text->size() > kMaxTextBytes) {
        return reportUsageError(command, "the message has " + std::to_string(text->size()) +
                                             " bytes; at most " + std::to_string(kMaxTextBytes) +
                                             " can be sent at once");
    }

    if (const std::string problem = tarn::rig::validateRigConfig(rig); !problem.empty()) {
        return reportUsageError(command, problem);
    }

    auto engine = std::make_unique<TarnData>(tarn::kTabletSquelch);
    engine->setFrequency(frequency);
    engine->setForceOutputToSpeaker(speaker);
    tarnaudio::AudioHost host(audio, {});
    // With a rig, the sequencer keys PTT around the transmission and hands
    // the audio to the host; without one the host plays it directly.
    std::unique_ptr<tarn::rig::RigConnection> connection;
    std::unique_ptr<tarn::rig::TransmitSequencer> sequencer;
    if (tarn::rig::usesHamlib(rig)) {
        connection = std::make_unique<tarn::rig::RigConnection>(rig);
        // Nothing goes on the air unless the rig answers first.
        const auto deadline = std::chrono::steady_clock::now() + rig.timeout;
        tarn::rig::RigStatus status = connection->status();
        while (!status.connected && status.error.empty() &&
               std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            status = connection->status();
        }
        if (!status.connected) {
            reportError(command, "cannot reach the rig on " + quoted(rig.port) + ": " +
                                     (status.error.empty() ? "no answer" : status.error));
            return kExitFailure;
        }
        sequencer = std::make_unique<tarn::rig::TransmitSequencer>(
            *connection, host,
            tarn::rig::SequenceTiming{rig.leadDelay, rig.tailDelay, rig.watchdog});
        engine->setTransmitSink(sequencer.get());
    } else {
        engine->setTransmitSink(&host);
    }
    // The sink goes before the engine is done with it.
    struct Detach {
        TarnData& engine;
        ~Detach() { engine.setTransmitSink(nullptr); }
    } detach{*engine};

    const InterruptGuard interruptGuard;
    std::fprintf(stderr, "tarn-psk31 send: sending %zu character%s at %.1f Hz\n", text->size(),
                 text->size() == 1 ? "" : "s", engine->frequency());
    std::fflush(stderr);
    if (!host.outputRunning()) {
        const std::string device = speaker || audio.outputDevice.empty()
                                       ? "the default output"
                                       : "output " + quoted(audio.outputDevice);
        reportError(command, "cannot play on " + device +
                                 " (no sound server or device?); "
                                 "'tarn-psk31 devices' lists the outputs");
        return kExitFailure;
    }
    engine->sendString(std::string_view(*text));
    if (!engine->isSending()) {
        reportError(command, sequencer && !sequencer->lastError().empty()
                                 ? sequencer->lastError()
                                 : "the transmission could not be started");
        return kExitFailure;
    }
    int signal = 0;
    while (engine->isSending()) {
        if ((signal = InterruptGuard::received()) != 0) {
            // Ends the transmission as the render callback would: output
            // stopped, route released, idle.
            engine->stopAudioOutput();
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    // The sequencer releases PTT (destroyed first), then the host stops.
    const bool cut = host.failed();
    const bool watchdog = sequencer && sequencer->cutByWatchdog();
    sequencer.reset();
    connection.reset();
    host.shutdown();
    if (cut && signal == 0) {
        reportError(command, "the output failed during the transmission");
        return kExitFailure;
    }
    if (watchdog) {
        reportError(
            command,
            "the transmit watchdog cut the transmission after " +
                std::to_string(
                    std::chrono::duration_cast<std::chrono::seconds>(rig.watchdog).count()) +
                " s; the rest of the text was not sent");
        return kExitFailure;
    }
    return signal ? 128 + signal : kExitOk;
}

} // namespace cli
