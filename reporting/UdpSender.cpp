#include "reporting/UdpSender.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <system_error>
#include <thread>
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

ResolvedAddress resolve(const HostPort& destination) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* found = nullptr;
    const std::string port = std::to_string(destination.port);
    const int status = ::getaddrinfo(destination.host.c_str(), port.c_str(), &hints, &found);
    ResolvedAddress result;
    if (status != 0 || found == nullptr) {
        result.error = destination.host + ": " + ::gai_strerror(status);
        return result;
    }
    const auto* bytes = reinterpret_cast<const uint8_t*>(found->ai_addr);
    result.address.assign(bytes, bytes + found->ai_addrlen);
    ::freeaddrinfo(found);
    return result;
}

AddressLookup::AddressLookup(const HostPort& destination) {
    std::promise<ResolvedAddress> promise;
    answer = promise.get_future();
    try {
        std::thread([promise = std::move(promise), destination]() mutable {
            promise.set_value(resolve(destination));
        }).detach();
    } catch (const std::system_error& failure) {
        done =
            ResolvedAddress{{}, destination.host + ": no thread to look it up: " + failure.what()};
    }
}

const ResolvedAddress* AddressLookup::result() {
    if (!done && answer.valid() &&
        answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready) {
        done = answer.get();
    }
    return done ? &*done : nullptr;
}

bool UdpSender::open(const HostPort& destination, std::string& error) {
    return open(resolve(destination), error);
}

bool UdpSender::open(const ResolvedAddress& destination, std::string& error) {
    if (destination.address.empty()) {
        error = destination.error;
        return false;
    }
    const auto family = reinterpret_cast<const sockaddr*>(destination.address.data())->sa_family;
    const int fd = ::socket(family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        error = std::string("no UDP socket: ") + std::strerror(errno);
        return false;
    }
    address = destination.address;
    if (socketFd >= 0) {
        ::close(socketFd);
    }
    socketFd = fd;
    // Binding now fixes the source port before the first datagram.
    sockaddr_storage local{};
    local.ss_family = family;
    const socklen_t localSize = family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
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
