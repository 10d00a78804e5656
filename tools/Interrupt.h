// Ctrl-C (SIGINT), SIGTERM and SIGHUP as a request that long loops poll, so
// that they stop between blocks and remove their unfinished output files
// instead of dying with them half written.
#pragma once

namespace cli {

// While a guard lives, the three signals set the request instead of ending
// the process; the previous handlers come back when the last is destroyed.
// Guards nest (one thread only): an inner guard keeps a request already
// received. A blocking read or write the signal interrupts fails with EINTR,
// so callers check received() before reporting such a failure.
class InterruptGuard {
public:
    InterruptGuard();
    ~InterruptGuard();
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;

    // The signal received since the guard was made, or 0.
    static int received();
};

} // namespace cli
