#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "net_lab.hpp"
#include "qarn.h"
#include "sandbox.hpp"
#include "sz_list.hpp"

namespace {

const char kResolvConf[] = "/etc/resolv.conf";

std::string DNSSetting(int size = 20) {
    std::string buffer(static_cast<size_t>(size), '\0');
    if (QARNNetDNSGet(&buffer[0], size) != 0) return "<failed>";
    return buffer.c_str();
}

// Reading joins the entries that fit whole.
TEST(DNS, ReadAndWritten) {
    Sandbox::WriteFile(
        kResolvConf, "# x\nnameserver 192.0.2.1\n nameserver\t192.0.2.2\nnameserver 192.0.2.33\n");
    EXPECT_EQ(DNSSetting(), "192.0.2.1,192.0.2.2");
    EXPECT_EQ(DNSSetting(64), "192.0.2.1,192.0.2.2,192.0.2.33");
    Sandbox::WriteFile(kResolvConf, "nameserver 2001:db8:1234:5678::53\n");
    EXPECT_EQ(DNSSetting(), "<failed>");
    Sandbox::WriteFile(kResolvConf, "search ex.test\n");
    EXPECT_EQ(DNSSetting(), "<failed>");
    // A new list rewrites the file the link points to and keeps its other lines; an unsafe entry
    // changes nothing.
    Sandbox::WriteFile("/run/resolvconf/resolv.conf", "search ex.test\nnameserver 192.0.2.1\n");
    Sandbox::Link("/run/resolvconf/resolv.conf", kResolvConf);
    QLIBC_SZLIST* list = SzList({"192.0.2.53", "2001:db8::53"});
    EXPECT_EQ(QARNNetDNSListSet(list), 0);
    QLIBCSzListFree(list);
    const std::string written = "search ex.test\nnameserver 192.0.2.53\nnameserver 2001:db8::53\n";
    EXPECT_EQ(Sandbox::ReadFile("/run/resolvconf/resolv.conf"), written);
    for (const char* entry : {"", "192.0.2.5 # x", "192.0.2.5\noptions debug"}) {
        list = SzList({"192.0.2.9", entry});
        EXPECT_LT(QARNNetDNSListSet(list), 0) << entry;
        QLIBCSzListFree(list);
    }
    EXPECT_EQ(Sandbox::ReadFile("/run/resolvconf/resolv.conf"), written);
}

// The MTU checker's tests read the interface's MTU; bad names are refused.
TEST(Interfaces, DefaultGatewayInterfaceAndItsAddress) {
    NetLab lab;
    char name[16] = {}, address[16] = {};
    ASSERT_EQ(QARNNetDefaultGatewayInterfaceGet(name, sizeof(name)), 0);
    EXPECT_STREQ(name, NetLab::kInterface);
    EXPECT_LT(QARNNetDefaultGatewayInterfaceGet(name, 4), 0);
    EXPECT_EQ(QARNILnxGetIP(name, address, sizeof(address)), 9);
    EXPECT_STREQ(address, NetLab::kLocalIPv4);
    for (const char* bad : {"", "..", "lo/../lo", "averyveryverylongname"}) {
        EXPECT_LT(QARNILnxGetIP(bad, address, sizeof(address)), 0) << bad;
        EXPECT_LT(QARNGetMTUSetting(bad), 0) << bad;
    }
    EXPECT_LT(QARNGetMTUSetting(nullptr), 0);
}

TEST(AddrType, Classifies) {
    const std::pair<const char*, int> cases[] = {
        {"192.0.2.1", 2},  {"::1", 10}, {"2001:db8::1", 10}, {"192.0.2.256", 0}, {"dc1", 0},
        {" 192.0.2.1", 0}, {"", 0},     {"fe80::1%lan0", 0}, {nullptr, 0}};
    for (auto [text, type] : cases) {
        EXPECT_EQ(QARNNetGetAddrType(text), type) << (text != nullptr ? text : "null");
    }
}

}  // namespace
