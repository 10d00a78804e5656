// A real rigctld serving Hamlib's dummy rig (model 1, keyed by CAT) on a free
// local port, and rigctl as an operator would use it against that port.
#pragma once

#include <string>
#include <sys/types.h>

namespace rigtest {

// The full path of a Hamlib utility, or "" when it is not installed.
std::string findProgram(const char* name);

// A TCP port on 127.0.0.1 that nothing listens on right now.
int freeLocalPort();

class RigctldProcess {
public:
    // Starts rigctld -m 1 -P RIG on `port` and waits until it accepts.
    explicit RigctldProcess(int port);
    ~RigctldProcess() { stop(); }
    RigctldProcess(const RigctldProcess&) = delete;
    RigctldProcess& operator=(const RigctldProcess&) = delete;

    bool running() const { return pid > 0; }
    void stop();
    std::string address() const { return "127.0.0.1:" + std::to_string(port); }

private:
    int port;
    pid_t pid = -1;
};

// Runs `command` through the shell and returns its standard output without
// the final line feed.
std::string output(const std::string& command);

// `rigctl -m 2 -r ADDRESS COMMAND...`, as output() gives it.
inline std::string rigctl(const std::string& address, const std::string& command) {
    return output(findProgram("rigctl") + " -m 2 -r " + address + " " + command);
}

} // namespace rigtest
