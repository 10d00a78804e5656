#include "tests/rig/RigctldProcess.h"

#include <arpa/inet.h>
#include <csignal>
#include <cstdio>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace rigtest {

namespace {

// Connects to (or, with port 0, binds) 127.0.0.1:port; returns the port on
// success and 0 on failure.
int loopback(int port) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* raw = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof address;
    const bool ok = port == 0 ? bind(fd, raw, size) == 0 && getsockname(fd, raw, &size) == 0
                              : connect(fd, raw, size) == 0;
    close(fd);
    return ok ? ntohs(address.sin_port) : 0;
}

} // namespace

std::string findProgram(const char* name) {
    for (const char* dir : {"/usr/bin", "/usr/local/bin"}) {
        const std::string path = std::string(dir) + "/" + name;
        if (access(path.c_str(), X_OK) == 0) {
            return path;
        }
    }
    return "";
}

int freeLocalPort() {
    return loopback(0);
}

RigctldProcess::RigctldProcess(int port) : port(port) {
    const std::string program = findProgram("rigctld");
    const std::string portText = std::to_string(port);
    pid = fork();
    if (pid == 0) {
        // Dies with the test: a crashed test must not leave the daemon
        // running and holding CTest's output open.
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        execl(program.c_str(), "rigctld", "-m", "1", "-P", "RIG", "-T", "127.0.0.1", "-t",
              portText.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    for (int i = 0; i < 500 && loopback(port) == 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

void RigctldProcess::stop() {
    if (pid > 0) {
        kill(pid, SIGTERM);
        waitpid(pid, nullptr, 0);
        pid = -1;
    }
}

std::string output(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    std::string out;
    char buffer[256];
    while (pipe && fgets(buffer, sizeof buffer, pipe)) {
        out += buffer;
    }
    if (pipe) {
        pclose(pipe);
    }
    while (!out.empty() && out.back() == '\n') {
        out.pop_back();
    }
    return out;
}

} // namespace rigtest
