// A UDP socket on 127.0.0.1 at a port the system picks, for tests that
// receive what the program sends there; closed with the object.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <vector>

class LocalUdpSocket {
public:
    LocalUdpSocket() : fd(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        if (fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
            ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0)
            boundPort = ntohs(address.sin_port);
    }
    ~LocalUdpSocket() {
        if (fd >= 0)
            ::close(fd);
    }
    LocalUdpSocket(const LocalUdpSocket&) = delete;
    LocalUdpSocket& operator=(const LocalUdpSocket&) = delete;

    // 0 when no socket could be had.
    uint16_t port() const { return boundPort; }
    // The next datagram waiting, or none (empty) without waiting; the port
    // it came from in `fromPort` when asked.
    std::vector<uint8_t> receive(uint16_t* fromPort = nullptr) const {
        std::vector<uint8_t> bytes(65536);
        sockaddr_in from{};
        socklen_t size = sizeof from;
        const ssize_t got = ::recvfrom(fd, bytes.data(), bytes.size(), MSG_DONTWAIT,
                                       reinterpret_cast<sockaddr*>(&from), &size);
        bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
        if (fromPort)
            *fromPort = ntohs(from.sin_port);
        return bytes;
    }

private:
    int fd;
    uint16_t boundPort = 0;
};
