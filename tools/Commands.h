// The commands of tarn-psk31, one source file each (tools/NameCommand.cpp,
// picked up by the build). To add a command, add one line
// X(name, function, summary) to the list below and define
// int cli::function(int argc, char** argv): it receives the arguments after
// the command word (argv[0] is the command name) and returns the exit status.
#pragma once

#define TARN_PSK31_COMMANDS(X)                                                                     \
    X("decode", decodeCommand, "decode a recording to text on standard output")                    \
    X("encode", encodeCommand, "render text as a PSK31 recording (WAV)")                           \
    X("devices", devicesCommand, "list the audio inputs and outputs")                              \
    X("listen", listenCommand, "decode live from an audio input to standard output")               \
    X("send", sendCommand, "play one message on an audio output")                                  \
    X("rigs", rigsCommand, "list the radio models Hamlib controls")                                \
    X("spectrum", spectrumCommand, "draw a recording's waterfall as a PNG picture")                \
    X("log", logCommand, "add to, list, export, import and check the station log")               \
    X("scan", scanCommand, "decode every PSK31 station in a recording's band at once")

namespace cli {
#define TARN_PSK31_DECLARE_COMMAND(name, function, summary) int function(int argc, char** argv);
TARN_PSK31_COMMANDS(TARN_PSK31_DECLARE_COMMAND)
#undef TARN_PSK31_DECLARE_COMMAND
} // namespace cli
