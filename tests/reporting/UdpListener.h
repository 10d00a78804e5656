// A UDP socket on 127.0.0.1 that tests send to, and read back from with the
// sender's port.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <optional>
#include <vector>

class UdpListener {
public:
    UdpListener() {
        fd = ::socket(AF_INET, SOCK_DGRAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
        socklen_t size = sizeof address;
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
        boundPort = ntohs(address.sin_port);
    }
    ~UdpListener() { ::close(fd); }
    UdpListener(const UdpListener&) = delete;
    UdpListener& operator=(const UdpListener&) = delete;

    uint16_t port() const { return boundPort; }

    struct Datagram {
        std::vector<uint8_t> bytes;
        uint16_t fromPort;
    };
    // The next datagram, waiting up to two seconds (loopback delivers at once;
    // the wait only bounds a failing test).
    std::optional<Datagram> receive() {
        pollfd waiting{fd, POLLIN, 0};
        if (::poll(&waiting, 1, 2000) != 1) {
            return std::nullopt;
        }
        Datagram datagram{std::vector<uint8_t>(65536), 0};
        sockaddr_in from{};
        socklen_t size = sizeof from;
        const ssize_t n = ::recvfrom(fd, datagram.bytes.data(), datagram.bytes.size(), 0,
                                     reinterpret_cast<sockaddr*>(&from), &size);
        if (n < 0) {
            return std::nullopt;
        }
        datagram.bytes.resize(static_cast<size_t>(n));
        datagram.fromPort = ntohs(from.sin_port);
        return datagram;
    }

private:
    int fd = -1;
    uint16_t boundPort = 0;
};
