// A DNS server for tests: dnsmasq, authoritative for one zone, listening on 127.0.0.2 port 53
// (UDP and TCP) inside the sandbox. Names it does not hold answer NXDOMAIN.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

class DnsServer {
  public:
    static constexpr const char* kAddress = "127.0.0.2";

    explicit DnsServer(const std::string& zone);
    ~DnsServer();
    DnsServer(const DnsServer&) = delete;
    DnsServer& operator=(const DnsServer&) = delete;

    // Records take effect with Start.
    DnsServer& AddHost(const std::string& name, const std::vector<std::string>& addresses);
    DnsServer& AddSRV(const std::string& name, const std::string& target, int port);
    // Starts dnsmasq and waits until it accepts TCP connections; throws when it does not.
    void Start();

  private:
    std::string m_zone;
    std::vector<std::string> m_lines;
    pid_t m_pid = -1;
};
