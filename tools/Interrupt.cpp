#include "tools/Interrupt.h"

#include <atomic>
#include <csignal>

namespace cli {

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
// Lock-free, so the handler may store to it.
std::atomic<int> receivedSignal{0};
struct sigaction previous[3];
// Guards alive; only the outermost installs and restores the handlers, so
// that a command can guard all of its work and a shared run inside it too.
int guards = 0;

extern "C" void onSignal(int number) {
    receivedSignal.store(number, std::memory_order_relaxed);
}

} // namespace

InterruptGuard::InterruptGuard() {
    if (guards++ > 0) {
        return;
    }
    receivedSignal.store(0, std::memory_order_relaxed);
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    for (int i = 0; i < 3; ++i) {
        sigaction(kSignals[i], &action, &previous[i]);
    }
}

InterruptGuard::~InterruptGuard() {
    if (--guards > 0) {
        return;
    }
    for (int i = 0; i < 3; ++i) {
        sigaction(kSignals[i], &previous[i], nullptr);
    }
}

int InterruptGuard::received() {
    return receivedSignal.load(std::memory_order_relaxed);
}

} // namespace cli
