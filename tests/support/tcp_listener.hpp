// A TCP listener for port probes; it lets the kernel complete handshakes, or, resetting, accepts
// each connection and resets it at once.
#pragma once

#include <atomic>
#include <string>
#include <thread>

class TcpListener {
  public:
    enum class Mode { kListen, kReset };

    // Port 0 picks a free port.
    explicit TcpListener(const std::string& address, int port = 0, Mode mode = Mode::kListen);
    ~TcpListener();
    TcpListener(const TcpListener&) = delete;
    TcpListener& operator=(const TcpListener&) = delete;

    int Port() const { return m_port; }
    // A port of address that nothing listens on (the kernel answers with a reset).
    static int ClosedPort(const std::string& address);

  private:
    void ResetConnections();

    int m_fd = -1;
    int m_port = 0;
    std::atomic<bool> m_stopping{false};
    std::thread m_resetter;
};
