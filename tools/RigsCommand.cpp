// tarn-psk31 rigs: the radio models Hamlib can control, for --rig.
#include "rig/RigModels.h"
#include "tools/CommandLine.h"

#include <cstdio>

namespace cli {

namespace {

void printRigsHelp(std::FILE* out) {
    std::fputs("usage: tarn-psk31 rigs\n"
               "Lists the radio models Hamlib controls: maker, model and the number to\n"
               "give send and listen as --rig. Model 2 is a rigctld reached over the\n"
               "network (--rig-port host:port).\n",
               out);
}

} // namespace

int rigsCommand(int argc, char** argv) {
    const char* const command = "rigs";
    ArgumentReader arguments(argc, argv);
    while (arguments.next()) {
        if (arguments.option() == "--help" || arguments.option() == "-h") {
            printRigsHelp(stdout);
            return kExitOk;
        }
        reportError(command, "unexpected argument " + quoted(arguments.text()));
        printRigsHelp(stderr);
        return kExitUsage;
    }
    const std::vector<tarn::rig::RigModel> models = tarn::rig::listRigModels();
    std::printf("%-24s %-32s %s\n", "maker", "model", "number");
    for (const tarn::rig::RigModel& model : models) {
        std::printf("%-24s %-32s %d\n", model.maker.c_str(), model.name.c_str(), model.number);
    }
    return kExitOk;
}

} // namespace cli
