#include "tcp_listener.hpp"

#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace {

// A stream socket bound to the numeric address and port (0: any free port); its descriptor.
int BindSocket(const std::string& address, int port) {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) {
        throw std::runtime_error("no address: " + address);
    }
    const int fd = socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
    const bool bound = fd >= 0 && bind(fd, found->ai_addr, found->ai_addrlen) == 0;
    freeaddrinfo(found);
    if (!bound) {
        if (fd >= 0) close(fd);
        throw std::runtime_error("cannot bind " + address + ": " + strerror(errno));
    }
    return fd;
}

int PortOf(int fd) {
    sockaddr_storage bound{};
    socklen_t length = sizeof(bound);
    char port[NI_MAXSERV] = "";
    getsockname(fd, reinterpret_cast<sockaddr*>(&bound), &length);
    getnameinfo(reinterpret_cast<sockaddr*>(&bound), length, nullptr, 0, port, sizeof(port),
                NI_NUMERICSERV);
    return std::stoi(port);
}

}  // namespace

TcpListener::TcpListener(const std::string& address, int port, Mode mode)
    : m_fd(BindSocket(address, port)), m_port(PortOf(m_fd)) {
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
    const int fd = BindSocket(address, 0);
    const int port = PortOf(fd);
    close(fd);
    return port;
}
