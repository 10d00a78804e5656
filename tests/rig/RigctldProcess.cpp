#include "tests/rig/RigctldProcess.h"

#include <arpa/inet.h>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace rigtest {

namespace {

bool accepts(int port) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool ok = connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    close(fd);
    return ok;
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
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    socklen_t size = sizeof address;
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
    close(fd);
    return ntohs(address.sin_port);
}

RigctldProcess::RigctldProcess(int port) : port(port) {
    const std::string program = findProgram("rigctld");
    const std::string portText = std::to_string(port);
    pid = fork();
    if (pid == 0) {
        execl(program.c_str(), "rigctld", "-m", "1", "-P", "RIG", "-T", "127.0.0.1", "-t",
              portText.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    for (int i = 0; i < 500 && !accepts(port); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

RigctldProcess::~RigctldProcess() {
    stop();
}

void RigctldProcess::stop() {
    if (pid > 0) {
        kill(pid, SIGTERM);
        waitpid(pid, nullptr, 0);
        pid = -1;
    }
}

pid_t spawn(const std::vector<std::string>& arguments, int* output) {
    int fds[2];
    if (pipe(fds) != 0) {
        return -1;
    }
    std::vector<char*> argv;
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(fds[1], 1);
        close(fds[0]);
        close(fds[1]);
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(fds[1]);
    *output = fds[0];
    return pid;
}

std::string rigctl(const std::string& address, const std::string& command) {
    const std::string line = findProgram("rigctl") + " -m 2 -r " + address + " " + command;
    FILE* pipe = popen(line.c_str(), "r");
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
