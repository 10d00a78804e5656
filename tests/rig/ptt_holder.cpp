// Keys a rigctld's PTT by CAT and holds it, for the emergency release test:
//   ptt_holder HOST:PORT signal   waits to be ended by a signal
//   ptt_holder HOST:PORT exit     calls exit() with the connection still open
// Prints "keyed PID" once PTT is on.
#include "rig/EmergencyRelease.h"
#include "rig/RigConnection.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    tarn::rig::EmergencyRelease::install();
    tarn::rig::RigConfig config;
    config.model = 2;
    config.port = argv[1];
    config.ptt = tarn::rig::PttMethod::Cat;
    // Left undestroyed on purpose: the release must not depend on it. (Held
    // by a static, so leak checkers see it as reachable.)
    static tarn::rig::RigConnection* rig = nullptr;
    rig = new tarn::rig::RigConnection(config);
    if (!rig->setPtt(true).empty()) {
        return 1;
    }
    std::printf("keyed %d\n", static_cast<int>(getpid()));
    std::fflush(stdout);
    if (std::strcmp(argv[2], "exit") == 0) {
        std::exit(0);
    }
    for (;;) {
        pause();
    }
}
