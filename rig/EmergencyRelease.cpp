#include "rig/EmergencyRelease.h"

#include "log/TarnLog.h"
#include "rig/RigConnection.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <unistd.h>
#include <vector>

namespace tarn::rig {

namespace {

std::mutex listMutex;
std::vector<RigConnection*> connections;
std::function<void(int)> afterReleaseFunction;
int wakePipe[2] = {-1, -1};

extern "C" void onTerminatingSignal(int number) {
    const unsigned char byte = static_cast<unsigned char>(number);
    const int saved = errno;
    [[maybe_unused]] const ssize_t written = write(wakePipe[1], &byte, 1);
    errno = saved;
}

void watch() {
    for (;;) {
        unsigned char byte = 0;
        const ssize_t got = read(wakePipe[0], &byte, 1);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got != 1) {
            return;
        }
        const int number = byte;
        tarnLog("Signal %d: releasing PTT\n", number);
        EmergencyRelease::releaseAll();
        std::function<void(int)> then;
        {
            std::lock_guard lock(listMutex);
            then = afterReleaseFunction;
        }
        if (then) {
            then(number);
        } else {
            std::signal(number, SIG_DFL);
            std::raise(number);
        }
    }
}

} // namespace

void EmergencyRelease::install(std::function<void(int)> afterRelease) {
    {
        std::lock_guard lock(listMutex);
        afterReleaseFunction = std::move(afterRelease);
    }
    static std::once_flag once;
    std::call_once(once, [] {
        if (pipe(wakePipe) != 0) {
            tarnLog("PTT release on signals unavailable: no pipe\n");
            return;
        }
        std::thread(watch).detach();
        struct sigaction action {};
        action.sa_handler = onTerminatingSignal;
        sigemptyset(&action.sa_mask);
        sigaction(SIGINT, &action, nullptr);
        sigaction(SIGTERM, &action, nullptr);
        std::atexit([] { releaseAll(); });
    });
}

void EmergencyRelease::releaseAll() {
    std::lock_guard lock(listMutex);
    // Unconditionally: a key request may be on its way to the rig, and the
    // connection's worker runs requests in order, so this one comes last.
    for (RigConnection* connection : connections) {
        connection->setPtt(false);
    }
}

void EmergencyRelease::add(RigConnection* connection) {
    std::lock_guard lock(listMutex);
    connections.push_back(connection);
}

void EmergencyRelease::remove(RigConnection* connection) {
    std::lock_guard lock(listMutex);
    connections.erase(std::remove(connections.begin(), connections.end(), connection),
                      connections.end());
}

} // namespace tarn::rig
