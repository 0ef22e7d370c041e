#include "tcp_listener.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace {

// A bound stream socket of address and port (0: any free port); its descriptor.
int BindSocket(const std::string& address, int port, socklen_t* length, sockaddr_storage* bound) {
    *bound = {};
    const bool ipv6 = address.find(':') != std::string::npos;
    if (ipv6) {
        auto* v6 = reinterpret_cast<sockaddr_in6*>(bound);
        v6->sin6_family = AF_INET6;
        v6->sin6_port = htons(static_cast<uint16_t>(port));
        inet_pton(AF_INET6, address.c_str(), &v6->sin6_addr);
        *length = sizeof(sockaddr_in6);
    } else {
        auto* v4 = reinterpret_cast<sockaddr_in*>(bound);
        v4->sin_family = AF_INET;
        v4->sin_port = htons(static_cast<uint16_t>(port));
        inet_pton(AF_INET, address.c_str(), &v4->sin_addr);
        *length = sizeof(sockaddr_in);
    }
    const int fd = socket(bound->ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(bound), *length) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr*>(bound), length) != 0) {
        if (fd >= 0) close(fd);
        throw std::runtime_error("cannot bind " + address + ": " + strerror(errno));
    }
    return fd;
}

int PortOf(const sockaddr_storage& address) {
    return ntohs(address.ss_family == AF_INET6
                     ? reinterpret_cast<const sockaddr_in6*>(&address)->sin6_port
                     : reinterpret_cast<const sockaddr_in*>(&address)->sin_port);
}

}  // namespace

TcpListener::TcpListener(const std::string& address, int port, Mode mode) {
    sockaddr_storage bound;
    socklen_t length = 0;
    m_fd = BindSocket(address, port, &length, &bound);
    m_port = PortOf(bound);
    if (listen(m_fd, 16) != 0) throw std::runtime_error("cannot listen on " + address);
    if (mode == Mode::kReset) m_resetter = std::thread(&TcpListener::ResetConnections, this);
}

TcpListener::~TcpListener() {
    m_stopping = true;
    shutdown(m_fd, SHUT_RDWR);
    if (m_resetter.joinable()) m_resetter.join();
    close(m_fd);
}

void TcpListener::ResetConnections() {
    while (!m_stopping) {
        const int connection = accept(m_fd, nullptr, nullptr);
        if (connection < 0) continue;
        const linger abort{1, 0};
        setsockopt(connection, SOL_SOCKET, SO_LINGER, &abort, sizeof(abort));
        close(connection);
    }
}

int TcpListener::ClosedPort(const std::string& address) {
    sockaddr_storage bound;
    socklen_t length = 0;
    const int fd = BindSocket(address, 0, &length, &bound);
    const int port = PortOf(bound);
    close(fd);
    return port;
}
