// A LAN inside the sandbox: the sandbox's interface "lan0" (10.20.0.1, fd00:20::1) on a bridge,
// a gateway host (10.20.0.2, fd00:20::2) that carries the default routes, and further hosts, each
// in a network namespace of its own. Everything is removed again when the lab ends.
#pragma once

#include <string>
#include <vector>

class NetLab {
  public:
    static constexpr const char* kLocalIPv4 = "10.20.0.1";
    static constexpr const char* kLocalIPv6 = "fd00:20::1";
    static constexpr const char* kGatewayIPv4 = "10.20.0.2";
    static constexpr const char* kGatewayIPv6 = "fd00:20::2";
    static constexpr const char* kInterface = "lan0";
    // veth drops frames above the receiver's MTU plus a 4-byte VLAN allowance: a host whose
    // interface MTU is this much below a path MTU passes packets of exactly that size.
    static constexpr int kVethAllowance = 4;

    // gatewayMtu below 1500 makes the gateway a path-MTU black hole: larger packets vanish.
    explicit NetLab(int gatewayMtu = 1500);
    ~NetLab();
    NetLab(const NetLab&) = delete;
    NetLab& operator=(const NetLab&) = delete;

    // A host on the LAN holding the addresses (IPv4 /24, IPv6 /64).
    void AddHost(const std::string& name, const std::vector<std::string>& addresses,
                 int mtu = 1500);
    // Frames for address go to a hardware address that nobody has: packets vanish unanswered.
    void AddSilentAddress(const std::string& address);
    // Runs "ip" with args; throws when it fails.
    static void Ip(const std::vector<std::string>& args);

  private:
    void Attach(const std::string& local, const std::string& port);
    std::vector<std::string> m_namespaces;
    int m_ports = 0;
};
