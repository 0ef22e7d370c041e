// Port probe and DNS record timings inside a sandbox:
//   closed ports (refused: about one round trip each), silently dropping addresses with a
//   1-second limit (about the limit each), and "test_dns_record" of type "srv" against the sum of
//   the nslookup runs it makes (target: wall time below 1.1 times that sum).
#include <time.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "api_table.hpp"
#include "dns_server.hpp"
#include "net_lab.hpp"
#include "port_checker.hpp"
#include "qlibc.h"
#include "sandbox.hpp"
#include "tcp_listener.hpp"

namespace {

const int kProbes = 20;
const int kDeadAddresses = 5;
const char kCommands[] = "/tmp/nslookup.commands";
const char kRealNslookup[] = "/usr/bin/nslookup.real";

double Now() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec + now.tv_nsec / 1e9;
}

void BenchClosedPorts() {
    PortChecker checker("127.0.0.1", TcpListener::ClosedPort("127.0.0.1"));
    const double start = Now();
    for (int i = 0; i < kProbes; ++i) checker.Scan();
    const double perProbe = (Now() - start) / kProbes;
    printf("closed port: %d probes, %.1f us per probe\n", kProbes, perProbe * 1e6);
}

void BenchDeadAddresses() {
    NetLab lab;
    std::string hosts;
    for (int i = 0; i < kDeadAddresses; ++i) {
        const std::string address = "10.20.0." + std::to_string(100 + i);
        lab.AddSilentAddress(address);
        hosts += address + " dead.test\n";
    }
    Sandbox::WriteFile("/etc/hosts", hosts);
    PortChecker checker("dead.test", 389);
    checker.SetTimeout(1);
    const double start = Now();
    const int failed = checker.Scan();
    const double perAddress = (Now() - start) / kDeadAddresses;
    printf("dead addresses: %d failed of %d, %.3f s per address (limit 1 s, deviation %+.1f%%)\n",
           failed, kDeadAddresses, perAddress, (perAddress - 1.0) * 100);
}

// Runs the recorded nslookup command lines again, directly and one after the other.
double SumOfToolRuns() {
    std::ifstream recorded(kCommands);
    std::string line;
    double sum = 0;
    while (std::getline(recorded, line)) {
        std::vector<std::string> args;
        std::istringstream words(line);
        for (std::string word; words >> word;) args.push_back(word);
        args.resize(3);
        const double start = Now();
        QLIBCExec(kRealNslookup, args[0].c_str(), args[1].c_str(),
                  args[2].empty() ? nullptr : args[2].c_str(), nullptr);
        sum += Now() - start;
    }
    return sum;
}

double TimeSRVRecords() {
    Json::Value params;
    params["dns"] = DnsServer::kAddress;
    params["server_address"] = "ex.test";
    params["record_type"] = "srv";
    QARN::APIRequest request("api", "test_dns_record", 1, params, "admin", "127.0.0.1");
    QARN::APIResponse response;
    const double start = Now();
    TestDNSRecord_v1(&request, &response);
    const double wall = Now() - start;
    if (!response.IsSuccess()) printf("test_dns_record srv did not succeed\n");
    return wall;
}

void BenchSRVRecords() {
    DnsServer server("ex.test");
    server.AddHost("ex.test", {"192.0.2.10"});
    for (const char* service : {"_ldap", "_kerberos"}) {
        for (const char* middle : {"", "Default-First-Site-Name._sites.", "dc._msdcs.",
                                   "Default-First-Site-Name._sites.dc._msdcs."}) {
            server.AddSRV(std::string(service) + "._tcp." + middle + "ex.test", "dc1.ex.test", 389);
        }
    }
    server.Start();
    // One run through a recording wrapper gives the command lines, the timed run uses the tool.
    Sandbox::Run({"/bin/cp", "/usr/bin/nslookup", kRealNslookup});
    Sandbox::WriteScript("/usr/bin/nslookup", std::string("echo \"$*\" >> ") + kCommands +
                                                  "\nexec " + kRealNslookup + " \"$@\"");
    TimeSRVRecords();
    Sandbox::Run({"/bin/cp", kRealNslookup, "/usr/bin/nslookup"});
    const double wall = TimeSRVRecords();
    const double tools = SumOfToolRuns();
    printf("test_dns_record srv: wall %.3f s, its nslookup runs %.3f s, ratio %.3f\n", wall, tools,
           wall / tools);
}

}  // namespace

int main() {
    Sandbox::Enter({DSCHECK_SOURCE_DIR, DSCHECK_BINARY_DIR});
    BenchClosedPorts();
    BenchDeadAddresses();
    BenchSRVRecords();
    return 0;
}
