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

class PortCheckerTest : public testing::Test {
  protected:
    // Names outside /etc/hosts fail at once: nothing answers on the configured DNS server.
    void SetUp() override { Sandbox::WriteFile("/etc/resolv.conf", "nameserver 127.0.0.9\n"); }
};

class PortCheckerOpenTest : public PortCheckerTest,
                            public testing::WithParamInterface<const char*> {};

TEST_P(PortCheckerOpenTest, ListeningAddressPasses) {
    TcpListener listener(GetParam());
    PortChecker checker(GetParam(), listener.Port());
    EXPECT_EQ(checker.Scan(), 0);
    EXPECT_EQ(AsSet(checker.GetSucessResult()), std::set<std::string>{GetParam()});
    EXPECT_TRUE(checker.GetFailResult().empty());
}

INSTANTIATE_TEST_SUITE_P(Addresses, PortCheckerOpenTest,
                         testing::Values("127.0.0.1", "127.0.0.5", "::1"));

TEST_F(PortCheckerTest, ResettingPeerCountsAsOpen) {
    TcpListener listener("127.0.0.1", 0, TcpListener::Mode::kReset);
    PortChecker checker("127.0.0.1", listener.Port());
    EXPECT_EQ(checker.Scan(), 0);
}

TEST_F(PortCheckerTest, UnresolvableNameIsItsOwnFailure) {
    PortChecker checker("no-such-host.invalid", 80);
    EXPECT_EQ(checker.Scan(), 1);
    EXPECT_EQ(checker.GetFailResult(), StringArray({"no-such-host.invalid"}));
}

TEST_F(PortCheckerTest, EveryAddressOfANameIsTried) {
    NetLab lab;
    Sandbox::WriteFile("/etc/hosts", std::string(NetLab::kLocalIPv4) + " multi.test\n" +
                                         NetLab::kLocalIPv6 + " multi.test\n");
    TcpListener listener(NetLab::kLocalIPv4);
    PortChecker checker("multi.test", listener.Port());
    EXPECT_EQ(checker.Scan(), 1);
    EXPECT_EQ(AsSet(checker.GetSucessResult()), std::set<std::string>{NetLab::kLocalIPv4});
    EXPECT_EQ(AsSet(checker.GetFailResult()), std::set<std::string>{NetLab::kLocalIPv6});
}

TEST_F(PortCheckerTest, SilentlyDroppingAddressFailsAtTheDeadline) {
    NetLab lab;
    lab.AddSilentAddress("10.20.0.99");
    PortChecker checker("10.20.0.99", 389);
    checker.SetTimeout(1);
    EXPECT_EQ(checker.Scan(), 1);
    EXPECT_EQ(AsSet(checker.GetFailResult()), std::set<std::string>{"10.20.0.99"});
}

TEST_F(PortCheckerTest, RefusedPortFailsAndTheNextScanReportsOnlyItsOwnFailures) {
    PortChecker checker("127.0.0.1", TcpListener::ClosedPort("127.0.0.1"));
    ASSERT_EQ(checker.Scan(), 1);
    EXPECT_EQ(AsSet(checker.GetFailResult()), std::set<std::string>{"127.0.0.1"});
    EXPECT_TRUE(checker.GetSucessResult().empty());
    checker.SetHost("127.0.0.3");
    checker.SetPort(TcpListener::ClosedPort("127.0.0.3"));
    EXPECT_EQ(checker.Scan(), 1);
    EXPECT_EQ(AsSet(checker.GetFailResult()), std::set<std::string>{"127.0.0.3"});
}

}  // namespace
