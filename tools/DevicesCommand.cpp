// tarn-psk31 devices: the audio inputs and outputs that listen and send can
// use, with the system defaults marked.
#include "audio/AudioDevices.h"
#include "tools/CommandLine.h"

#include <portaudio.h>

#include <cstdio>

namespace cli {

namespace {

void printDevicesHelp(std::FILE* out) {
    std::fputs("usage: tarn-psk31 devices\n"
               "Lists the audio inputs and outputs by name; '*' marks the system default.\n"
               "Give a name (or a unique part of it) to listen --input-device or\n"
               "send --output-device.\n",
               out);
}

void printGroup(const std::vector<tarnaudio::DeviceInfo>& devices, bool inputs) {
    std::printf("%s:\n", inputs ? "inputs" : "outputs");
    int shown = 0;
    for (const tarnaudio::DeviceInfo& device : devices) {
        const int channels = inputs ? device.inputChannels : device.outputChannels;
        if (channels < 1) {
            continue;
        }
        const bool isDefault = inputs ? device.defaultInput : device.defaultOutput;
        std::printf("  %c %s  (%s, %d channel%s, %.0f Hz)\n", isDefault ? '*' : ' ',
                    device.name.c_str(), device.hostApi.c_str(), channels, channels == 1 ? "" : "s",
                    device.defaultRate);
        ++shown;
    }
    if (shown == 0) {
        std::puts("  (none)");
    }
}

} // namespace

int devicesCommand(int argc, char** argv) {
    const char* const command = "devices";
    ArgumentReader arguments(argc, argv);
    while (arguments.next()) {
        if (arguments.option() == "--help" || arguments.option() == "-h") {
            printDevicesHelp(stdout);
            return kExitOk;
        }
        reportError(command, "unexpected argument " + quoted(arguments.text()));
        printDevicesHelp(stderr);
        return kExitUsage;
    }
    const tarnaudio::PortAudioSession session;
    if (session.status() != paNoError) {
        reportError(command, std::string("the audio system could not be opened: ") +
                                 Pa_GetErrorText(session.status()));
        return kExitFailure;
    }
    const std::vector<tarnaudio::DeviceInfo> devices = tarnaudio::listDevices();
    printGroup(devices, true);
    printGroup(devices, false);
    return kExitOk;
}

} // namespace cli
