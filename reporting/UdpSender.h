// One UDP socket to one destination: every datagram leaves from the same
// source port for the life of the sender. POSIX sockets; sends never block.
#pragma once

#include <cstdint>
#include <future>
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

// A destination's socket address, or why its name did not resolve.
struct ResolvedAddress {
    std::vector<uint8_t> address; // a sockaddr; empty when the lookup failed
    std::string error;            // "host: reason" when it failed
};

// Looks the host up (blocks: a slow name server can take many seconds).
ResolvedAddress resolve(const HostPort& destination);

// A name looked up on a thread of its own, so that a slow name server never
// holds up the caller (the console's main thread). The thread is detached:
// a lookup dropped while under way finishes alone and its answer is lost.
class AddressLookup {
public:
    explicit AddressLookup(const HostPort& destination);
    // The answer once the lookup has ended, else null; never blocks.
    const ResolvedAddress* result();

private:
    std::future<ResolvedAddress> answer;
    std::optional<ResolvedAddress> done;
};

class UdpSender {
public:
    UdpSender() = default;
    ~UdpSender();
    UdpSender(const UdpSender&) = delete;
    UdpSender& operator=(const UdpSender&) = delete;

    // Resolves the destination and opens the socket. False with the reason
    // in error when the name does not resolve or no socket can be had.
    bool open(const HostPort& destination, std::string& error);
    // Opens the socket to an address resolve() found.
    bool open(const ResolvedAddress& destination, std::string& error);
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
