#include "port_checker.hpp"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "call.hpp"
#include "net_lab.hpp"
#include "sandbox.hpp"
#include "tcp_listener.hpp"

namespace {

std::set<std::string> AsSet(const Json::Value& list) {
    std::set<std::string> texts;
    for (const Json::Value& entry : list) texts.insert(entry.asString());
    return texts;
}

// Scans and expects the code and the addresses that answered and that failed.
void ExpectScan(PortChecker& checker, int code, const std::set<std::string>& open,
                const std::set<std::string>& failed) {
    EXPECT_EQ(checker.Scan(), code);
    EXPECT_EQ(AsSet(checker.GetSucessResult()), open);
    EXPECT_EQ(AsSet(checker.GetFailResult()), failed);
}

class PortCheckerTest : public testing::Test {
  protected:
    // Names outside /etc/hosts fail at once: nothing answers on the configured DNS server.
    void SetUp() override { Sandbox::WriteFile("/etc/resolv.conf", "nameserver 127.0.0.9\n"); }
};

TEST_F(PortCheckerTest, ListeningOrResettingAddressPasses) {
    for (auto mode : {TcpListener::Mode::kListen, TcpListener::Mode::kReset}) {
        for (const char* address : {"127.0.0.1", "127.0.0.5", "::1"}) {
            TcpListener listener(address, 0, mode);
            PortChecker checker(address, listener.Port());
            ExpectScan(checker, 0, {address}, {});
        }
    }
}

TEST_F(PortCheckerTest, UnresolvableNameIsItsOwnFailure) {
    PortChecker checker("no-such-host.invalid", 80);
    ExpectScan(checker, 1, {}, {"no-such-host.invalid"});
}

TEST_F(PortCheckerTest, EveryAddressOfANameIsTried) {
    NetLab lab;
    Sandbox::WriteFile("/etc/hosts", std::string(NetLab::kLocalIPv4) + " multi.test\n" +
                                         NetLab::kLocalIPv6 + " multi.test\n");
    TcpListener listener(NetLab::kLocalIPv4);
    PortChecker checker("multi.test", listener.Port());
    ExpectScan(checker, 1, {NetLab::kLocalIPv4}, {NetLab::kLocalIPv6});
}

TEST_F(PortCheckerTest, SilentlyDroppingAddressFailsAtTheDeadline) {
    NetLab lab;
    lab.AddSilentAddress("10.20.0.99");
    PortChecker checker("10.20.0.99", 389);
    checker.SetTimeout(1);
    ExpectScan(checker, 1, {}, {"10.20.0.99"});
}

TEST_F(PortCheckerTest, RefusedPortFailsAndTheNextScanReportsOnlyItsOwnFailures) {
    PortChecker checker("127.0.0.1", TcpListener::ClosedPort("127.0.0.1"));
    ExpectScan(checker, 1, {}, {"127.0.0.1"});
    checker.SetHost("127.0.0.3");
    checker.SetPort(TcpListener::ClosedPort("127.0.0.3"));
    ExpectScan(checker, 1, {}, {"127.0.0.3"});
}

}  // namespace
