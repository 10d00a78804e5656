// One UDP socket to one destination: every datagram leaves from the same
// source port for the life of the sender. POSIX sockets; sends never block.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace reporting {

struct HostPort {
    std::string host;
    uint16_t port = 0;
};

// "host:port", "host" (with the default port), "[v6addr]:port".
std::optional<HostPort> parseHostPort(std::string_view text, uint16_t defaultPort);

class UdpSender {
public:
    UdpSender() = default;
    ~UdpSender();
    UdpSender(const UdpSender&) = delete;
    UdpSender& operator=(const UdpSender&) = delete;

    // Resolves the destination and opens the socket. False with the reason
    // in error when the name does not resolve or no socket can be had.
    bool open(const HostPort& destination, std::string& error);
    bool isOpen() const { return socketFd >= 0; }
    // Sends one datagram. False with the reason when the system refused it
    // (the datagram is then lost: these reports are best effort).
    bool send(const std::vector<uint8_t>& datagram, std::string& error);
    // The local port datagrams leave from (0 before open).
    uint16_t sourcePort() const;

private:
    int socketFd = -1;
    std::vector<uint8_t> address; // a sockaddr of the resolved destination
};

} // namespace reporting
