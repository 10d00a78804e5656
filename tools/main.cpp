// tarn-psk31: the station's command-line tool. Dispatches the first argument
// to its command (see Commands.h for the list).
#include "packaging/TarnVersion.h"
#include "tools/CommandLine.h"
#include "tools/Commands.h"

#include <cstdio>
#include <cstring>
#include <new>
#include <string_view>

namespace {

struct Command {
    const char* name;
    int (*run)(int argc, char** argv);
    const char* summary;
};

#define TARN_PSK31_TABLE_ENTRY(name, function, summary) {name, cli::function, summary},
constexpr Command commands[] = {TARN_PSK31_COMMANDS(TARN_PSK31_TABLE_ENTRY)};
#undef TARN_PSK31_TABLE_ENTRY

void printUsage(std::FILE* out) {
    std::fputs("usage: tarn-psk31 COMMAND [OPTIONS]\n"
               "PSK31 station tools. Audio is 8000 Hz mono; other rates and channel\n"
               "counts are converted on reading.\n\n"
               "commands:\n",
               out);
    for (const Command& command : commands) {
        std::fprintf(out, "  %-10s %s\n", command.name, command.summary);
    }
    std::fputs("\n'tarn-psk31 COMMAND --help' describes a command's options;\n"
               "'tarn-psk31 --version' shows the version and source commit.\n",
               out);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        printUsage(stderr);
        return cli::kExitUsage;
    }
    const std::string_view word = argv[1];
    if (word == "--version") {
        std::printf("tarn-psk31 %s\n", tarn::versionLine());
        return cli::kExitOk;
    }
    if (word == "--help" || word == "-h" || word == "help") {
        if (word == "help" && argc > 2) {
            // "help decode" is "decode --help".
            for (const Command& command : commands) {
                if (std::strcmp(argv[2], command.name) == 0) {
                    char help[] = "--help";
                    char* arguments[] = {argv[2], help, nullptr};
                    return command.run(2, arguments);
                }
            }
            cli::reportError("", "unknown command " + cli::quoted(argv[2]));
            printUsage(stderr);
            return cli::kExitUsage;
        }
        printUsage(stdout);
        return cli::kExitOk;
    }
    for (const Command& command : commands) {
        if (word == command.name) {
            // Whatever runs short of memory ends the same way: one line, and
            // the outputs in progress removed as their owners unwind.
            try {
                return command.run(argc - 1, argv + 1);
            } catch (const std::bad_alloc&) {
                cli::reportError(command.name, "not enough memory");
                return cli::kExitUsage;
            }
        }
    }
    cli::reportError("", "unknown command " + cli::quoted(word));
    printUsage(stderr);
    return cli::kExitUsage;
}
