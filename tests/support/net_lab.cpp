#include "net_lab.hpp"

#include <stdexcept>

#include "sandbox.hpp"

namespace {

const char kIp[] = "/usr/sbin/ip";
const char kSwitch[] = "labswitch";
const char kBridge[] = "labbr";
const char kGatewayHost[] = "gw";
const char kSilentHardwareAddress[] = "02:00:00:00:00:99";

bool IsIPv6(const std::string& address) {
    return address.find(':') != std::string::npos;
}

std::string WithPrefix(const std::string& address) {
    return address + (IsIPv6(address) ? "/64" : "/24");
}

void AddAddress(const std::vector<std::string>& prefix, const std::string& address,
                const std::string& device) {
    std::vector<std::string> args = prefix;
    args.insert(args.end(), {"address", "add", WithPrefix(address), "dev", device});
    if (IsIPv6(address)) args.push_back("nodad");
    NetLab::Ip(args);
}

}  // namespace

void NetLab::Ip(const std::vector<std::string>& args) {
    std::vector<std::string> argv = {kIp};
    argv.insert(argv.end(), args.begin(), args.end());
    if (Sandbox::Run(argv) != 0) {
        std::string line;
        for (const std::string& arg : args) line += " " + arg;
        throw std::runtime_error("ip" + line + " failed");
    }
}

// The bridge lives in a namespace of its own: in the sandbox's, it would answer ARP requests for
// the sandbox's addresses itself.
NetLab::NetLab(int gatewayMtu) {
    Ip({"netns", "add", kSwitch});
    m_namespaces.push_back(kSwitch);
    Ip({"-n", kSwitch, "link", "add", kBridge, "type", "bridge"});
    Ip({"-n", kSwitch, "link", "set", kBridge, "up"});
    Attach(kInterface, "lan0p");
    AddAddress({}, kLocalIPv4, kInterface);
    AddAddress({}, kLocalIPv6, kInterface);
    AddHost(kGatewayHost, {kGatewayIPv4, kGatewayIPv6}, gatewayMtu);
    Ip({"route", "add", "default", "via", kGatewayIPv4, "dev", kInterface});
    Ip({"-6", "route", "add", "default", "via", kGatewayIPv6, "dev", kInterface});
}

NetLab::~NetLab() {
    for (const std::string& name : m_namespaces) Sandbox::Run({kIp, "netns", "delete", name});
    Sandbox::Run({kIp, "link", "delete", kInterface});
}

void NetLab::Attach(const std::string& local, const std::string& port) {
    Ip({"link", "add", local, "type", "veth", "peer", "name", port, "netns", kSwitch});
    Ip({"-n", kSwitch, "link", "set", port, "master", kBridge, "up"});
    Ip({"link", "set", local, "up"});
}

void NetLab::AddHost(const std::string& name, const std::vector<std::string>& addresses, int mtu) {
    const std::string device = "h" + std::to_string(++m_ports);
    Ip({"netns", "add", name});
    m_namespaces.push_back(name);
    Attach(device, device + "p");
    Ip({"link", "set", device, "netns", name});
    Ip({"-n", name, "link", "set", "lo", "up"});
    Ip({"-n", name, "link", "set", device, "mtu", std::to_string(mtu), "up"});
    for (const std::string& address : addresses) AddAddress({"-n", name}, address, device);
}

void NetLab::AddSilentAddress(const std::string& address) {
    Ip({"neighbour", "replace", address, "lladdr", kSilentHardwareAddress, "dev", kInterface, "nud",
        "permanent"});
}
