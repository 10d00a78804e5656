// Releasing PTT when the process is told to end. A keyed radio must not stay
// on the air because its program was interrupted: rigctld and many serial
// interfaces hold the PTT line after the client has gone.
//
// Every live RigConnection is on a process-wide list. install() makes
// SIGINT and SIGTERM, and exit(), release PTT on all of them:
// - The signal handler only write()s the signal number to a pipe
//   (async-signal-safe). A watcher thread reads it, releases PTT on every
//   listed connection (each waits at most its timeout), then calls
//   `afterRelease(signal)` on the watcher thread. The default re-raises the
//   signal with its default action, so the process ends as it would have.
//   The console passes a function that asks its event loop to quit.
// - exit() (and a return from main) releases through std::atexit.
// Programs that handle the signals themselves and shut down in order (the
// command-line tools' InterruptGuard) need not install it: destroying the
// TransmitSequencer and the RigConnection releases PTT too.
#pragma once

#include <functional>

namespace tarn::rig {

class RigConnection;

class EmergencyRelease {
public:
    // Once per process; later calls only replace `afterRelease`.
    static void install(std::function<void(int signal)> afterRelease = {});
    // Releases PTT on every listed connection now (bounded by their
    // timeouts). Not from a signal handler.
    static void releaseAll();

    // RigConnection's own bookkeeping.
    static void add(RigConnection* connection);
    static void remove(RigConnection* connection);
};

} // namespace tarn::rig
