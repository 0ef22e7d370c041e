#include "dns_server.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <stdexcept>

#include "sandbox.hpp"

namespace {

const char kDnsmasq[] = "/usr/sbin/dnsmasq";
const int kStartAttempts = 100;
const long kStartPollNanoseconds = 50 * 1000 * 1000;

bool AcceptsTcp(const char* address, int port) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_port = htons(static_cast<uint16_t>(port));
    inet_pton(AF_INET, address, &target.sin_addr);
    const bool connected = connect(fd, reinterpret_cast<sockaddr*>(&target), sizeof(target)) == 0;
    close(fd);
    return connected;
}

}  // namespace

DnsServer::DnsServer(const std::string& zone) : m_zone(zone) {
    AddHost("ns1." + zone, {kAddress});
}

DnsServer::~DnsServer() {
    if (m_pid > 0) Sandbox::Stop(m_pid);
}

DnsServer& DnsServer::AddHost(const std::string& name, const std::vector<std::string>& addresses) {
    std::string line = "host-record=" + name;
    for (const std::string& address : addresses) line += "," + address;
    m_lines.push_back(line);
    return *this;
}

DnsServer& DnsServer::AddSRV(const std::string& name, const std::string& target, int port) {
    m_lines.push_back("srv-host=" + name + "," + target + "," + std::to_string(port) + ",0,100");
    return *this;
}

void DnsServer::Start() {
    const std::string config = "/tmp/dnsmasq-" + m_zone + ".conf";
    std::string text =
        "no-resolv\nno-hosts\nbind-interfaces\nlisten-address=" + std::string(kAddress) +
        "\nauth-server=ns1." + m_zone + ",lo\nauth-zone=" + m_zone + "\n";
    for (const std::string& line : m_lines) text += line + "\n";
    Sandbox::WriteFile(config, text);
    m_pid = Sandbox::Start(
        {kDnsmasq, "--keep-in-foreground", "--user=root", "--pid-file=", "--conf-file=" + config});
    for (int attempt = 0; attempt < kStartAttempts; ++attempt) {
        if (AcceptsTcp(kAddress, 53)) return;
        timespec pause{0, kStartPollNanoseconds};
        nanosleep(&pause, nullptr);
    }
    throw std::runtime_error("dnsmasq does not answer on " + std::string(kAddress));
}
