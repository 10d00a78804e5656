#include "reporting/UdpSender.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace reporting {

std::optional<HostPort> parseHostPort(std::string_view text, uint16_t defaultPort) {
    HostPort result;
    std::string_view portText;
    if (!text.empty() && text.front() == '[') {
        const size_t close = text.find(']');
        if (close == std::string_view::npos) {
            return std::nullopt;
        }
        result.host = std::string(text.substr(1, close - 1));
        const std::string_view rest = text.substr(close + 1);
        if (!rest.empty()) {
            if (rest.front() != ':') {
                return std::nullopt;
            }
            portText = rest.substr(1);
        }
    } else {
        const size_t colon = text.rfind(':');
        if (colon != std::string_view::npos && text.find(':') == colon) {
            result.host = std::string(text.substr(0, colon));
            portText = text.substr(colon + 1);
        } else {
            result.host = std::string(text);
        }
    }
    if (result.host.empty()) {
        return std::nullopt;
    }
    result.port = defaultPort;
    if (!portText.empty() || (text.size() > 0 && text.back() == ':')) {
        unsigned value = 0;
        if (portText.empty() || portText.size() > 5) {
            return std::nullopt;
        }
        for (const char c : portText) {
            if (c < '0' || c > '9') {
                return std::nullopt;
            }
            value = value * 10 + static_cast<unsigned>(c - '0');
        }
        if (value == 0 || value > 65535) {
            return std::nullopt;
        }
        result.port = static_cast<uint16_t>(value);
    }
    return result;
}

UdpSender::~UdpSender() {
    if (socketFd >= 0) {
        ::close(socketFd);
    }
}

bool UdpSender::open(const HostPort& destination, std::string& error) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* found = nullptr;
    const std::string port = std::to_string(destination.port);
    const int status = ::getaddrinfo(destination.host.c_str(), port.c_str(), &hints, &found);
    if (status != 0 || found == nullptr) {
        error = destination.host + ": " + ::gai_strerror(status);
        return false;
    }
    const int fd = ::socket(found->ai_family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        error = std::string("no UDP socket: ") + std::strerror(errno);
        ::freeaddrinfo(found);
        return false;
    }
    const auto* bytes = reinterpret_cast<const uint8_t*>(found->ai_addr);
    address.assign(bytes, bytes + found->ai_addrlen);
    ::freeaddrinfo(found);
    if (socketFd >= 0) {
        ::close(socketFd);
    }
    socketFd = fd;
    // Binding now fixes the source port before the first datagram.
    sockaddr_storage local{};
    local.ss_family = reinterpret_cast<const sockaddr*>(address.data())->sa_family;
    const socklen_t localSize =
        local.ss_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
    if (::bind(socketFd, reinterpret_cast<sockaddr*>(&local), localSize) != 0) {
        error = std::string("cannot bind a UDP port: ") + std::strerror(errno);
        ::close(socketFd);
        socketFd = -1;
        return false;
    }
    return true;
}

bool UdpSender::send(const std::vector<uint8_t>& datagram, std::string& error) {
    if (socketFd < 0) {
        error = "not open";
        return false;
    }
    const ssize_t sent = ::sendto(socketFd, datagram.data(), datagram.size(), MSG_NOSIGNAL,
                                  reinterpret_cast<const sockaddr*>(address.data()),
                                  static_cast<socklen_t>(address.size()));
    if (sent != static_cast<ssize_t>(datagram.size())) {
        error = std::string("UDP send failed: ") + std::strerror(errno);
        return false;
    }
    return true;
}

uint16_t UdpSender::sourcePort() const {
    if (socketFd < 0) {
        return 0;
    }
    sockaddr_storage local{};
    socklen_t size = sizeof local;
    if (::getsockname(socketFd, reinterpret_cast<sockaddr*>(&local), &size) != 0) {
        return 0;
    }
    if (local.ss_family == AF_INET6) {
        return ntohs(reinterpret_cast<sockaddr_in6*>(&local)->sin6_port);
    }
    return ntohs(reinterpret_cast<sockaddr_in*>(&local)->sin_port);
}

} // namespace reporting
