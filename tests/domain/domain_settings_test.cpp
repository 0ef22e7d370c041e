#include <gtest/gtest.h>

#include "api_table.hpp"
#include "call.hpp"
#include "domain_probe.hpp"

namespace {

using Strings = std::vector<std::string>;
const std::string kNet = "/usr/local/bin/net";

TEST(TestIPs, DCIPsInOrderWithoutAnyTool) {
    DomainFixture fixture(ParseJson(R"({"dc_ips": "192.0.2.10,192.0.2.11"})"));
    ErrorCode err = kNoError;
    EXPECT_EQ(fixture.probe.GetTestIPs(err, nullptr), (Strings{"192.0.2.10", "192.0.2.11"}));
    fixture.probe.SetTestAllIp(false);
    EXPECT_EQ(fixture.probe.GetTestAddress(err, nullptr), Strings{"192.0.2.10"});
    EXPECT_EQ(err, kNoError);
    EXPECT_FALSE(Sandbox::Exists("/tmp/net.args"));
}

TEST(TestIPs, PasswordServerOfAJoinedServer) {
    SetSecurity("ads", "\tpassword server = dc1.example.test\n");
    DomainFixture fixture;
    ErrorCode err = kNoError;
    EXPECT_EQ(fixture.probe.GetTestIPs(err, nullptr), Strings{"dc1.example.test"});
}

TEST(TestIPs, SrvTargetsTryKerberosThenLDAP) {
    DomainFixture fixture(ParseJson(R"({"srv_target_ip": {"ldap": ["192.0.2.20"]}})"));
    ErrorCode err = kConnectionReset;
    EXPECT_EQ(fixture.probe.GetTestIPs(err, nullptr), Strings{"192.0.2.20"});
    EXPECT_EQ(err, kConnectionReset);
    EXPECT_TRUE(Sandbox::Logged("invalid (kerberos) srv target IP"));
}

TEST(TestIPs, SrvTargetsOfAService) {
    const Json::Value params =
        ParseJson(R"({"srv_target_ip": {"kerberos": ["192.0.2.1"], "ldap": ["192.0.2.2"]}})");
    DomainFixture fixture(params);
    ErrorCode err = kNoError;
    EXPECT_EQ(fixture.probe.GetSrvIPs(err, "ldap"), Strings{"192.0.2.2"});
    DomainFixture empty(ParseJson(R"({"srv_target_ip": {"kerberos": []}})"));
    EXPECT_EQ(empty.probe.GetSrvIPs(err, "kerberos"), Strings{});
    EXPECT_EQ(err, kNoDCAddress);
    DomainFixture missing;
    err = kNoError;
    EXPECT_EQ(missing.probe.GetSrvIPs(err, nullptr), Strings{});
    EXPECT_EQ(err, kBadParameter);
}

TEST(TestIPs, SambaLookupGivesAddressesWithoutPorts) {
    SetSecurity("ads");
    WriteFakeTool(kNet, "printf '10.0.0.8:88\\n\\n10.0.0.9\\n'");
    DomainFixture fixture;
    ErrorCode err = kNoError;
    EXPECT_EQ(fixture.probe.GetTestIPs(err, "kerberos"), (Strings{"10.0.0.8", "10.0.0.9"}));
    EXPECT_EQ(err, kNoError);
    EXPECT_EQ(ToolArgs("net"), "lookup kdc -d0\n");
}

struct LookupCase {
    const char* service;
    const char* kind;
};

TEST(NetLookup, KindFollowsTheService) {
    SetSecurity("ads");
    WriteFakeTool(kNet, "exit 0");
    for (const LookupCase& c : {LookupCase{"KERBEROS", "kdc"}, {"ldap", "dc"}, {nullptr, "pdc"}}) {
        Sandbox::Remove("/tmp/net.args");
        DomainFixture fixture;
        ErrorCode err = kNoError;
        EXPECT_TRUE(fixture.probe.NetLookup(err, c.service).empty());
        EXPECT_EQ(err, kNoDCAddress);
        EXPECT_EQ(ToolArgs("net"), std::string("lookup ") + c.kind + " -d0\n");
    }
}

TEST(NetLookup, OnlyForActiveDirectory) {
    SetSecurity("domain");
    DomainFixture fixture;
    ErrorCode err = kNoError;
    EXPECT_TRUE(fixture.probe.NetLookup(err, nullptr).empty());
    EXPECT_EQ(err, kNoDCAddress);
    WriteFakeTool(kNet, "exit 2");
    SetSecurity("ads");
    DomainFixture failing;
    err = kConnectionReset;
    EXPECT_TRUE(failing.probe.NetLookup(err, nullptr).empty());
    EXPECT_EQ(err, kConnectionReset);
}

TEST(TestAddress, KerberosUsesControllerNames) {
    WriteFakeTool(kNet,
                  "case \"$4\" in\n"
                  "192.0.2.10) echo 'LDAP_server_name: dc1.example.test';;\n"
                  "192.0.2.11) echo 'Realm: EXAMPLE.TEST';;\n"
                  "esac");
    DomainFixture fixture(ParseJson(R"({"dc_ips": "192.0.2.10,192.0.2.11"})"));
    fixture.probe.SetAuthMethod(kAuthKrb5);
    ErrorCode err = kNoError;
    EXPECT_EQ(fixture.probe.GetTestAddress(err, nullptr), Strings{"dc1.example.test"});
    EXPECT_EQ(err, kUnknownDomainError);
    EXPECT_TRUE(Sandbox::Logged("Failed to convert IP [192.0.2.11] to FQDN."));
}

TEST(ConvertIP2Fqdn, KerberosMessagesSetTheError) {
    WriteFakeTool(kNet, "echo 'kinit: Clock skew too great'; exit 1");
    DomainFixture fixture;
    ErrorCode err = kNoError;
    EXPECT_EQ(fixture.probe.ConvertIP2Fqdn("192.0.2.10", err), "");
    EXPECT_EQ(err, kClockSkewTooGreat);
    EXPECT_EQ(ToolArgs("net"), "ads info -S 192.0.2.10\n");
    EXPECT_EQ(fixture.probe.ConvertIP2Fqdn("", err), "");
    EXPECT_EQ(err, kBadParameter);
}

struct NameCase {
    const char* name;
    const char* security;
    const char* params;
    const char* fqdn;
    const char* upn;
};

class DomainNamesTest : public testing::TestWithParam<NameCase> {};

TEST_P(DomainNamesTest, PrincipalAndDomain) {
    const NameCase& c = GetParam();
    SetSecurity(c.security, "\trealm = example.test\n");
    DomainFixture fixture(ParseJson(c.params));
    EXPECT_EQ(fixture.probe.GetFQDN(), c.fqdn);
    EXPECT_EQ(fixture.probe.GetUPN(), c.upn);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, DomainNamesTest,
    testing::Values(NameCase{"AddressGivesTheDomain", "user",
                             R"({"server_address": "corp.example.test", "username": "alice"})",
                             "CORP.EXAMPLE.TEST", "alice@CORP.EXAMPLE.TEST"},
                    NameCase{"NetBIOSPartDropped", "user",
                             R"({"server_address": "corp.test", "username": "CORP\\bob"})",
                             "CORP.TEST", "bob@CORP.TEST"},
                    NameCase{
                        "PrincipalFormKeepsLocalPart", "user",
                        R"({"server_address": "x.test", "username": "Carol@sub.example.test"})",
                        "X.TEST", "Carol@SUB.EXAMPLE.TEST"},
                    NameCase{"JoinedUsesTheRealm", "ads", R"({"username": "dave"})", "EXAMPLE.TEST",
                             "dave@EXAMPLE.TEST"},
                    NameCase{"NotJoinedNeedsAnAddress", "user", R"({"username": "erin"})", "", ""},
                    NameCase{"NoUserNoPrincipal", "ads", "{}", "EXAMPLE.TEST", ""}),
    [](const testing::TestParamInfo<NameCase>& info) { return info.param.name; });

TEST(Workgroup, JoinedServerReadsItsSettings) {
    SetSecurity("ads", "\tworkgroup = EXAMPLE\n");
    DomainFixture fixture;
    EXPECT_EQ(fixture.probe.GetWorkgroup(false), "EXAMPLE");
}

TEST(Workgroup, RecordedWorkgroupOfAnUnjoinedServer) {
    Sandbox::WriteFile("/usr/qarn/etc/private/workgroup", "Workgroup=CORP\n");
    DomainFixture fixture;
    EXPECT_EQ(fixture.probe.GetWorkgroup(false), "CORP");
}

TEST(Workgroup, LookedUpThroughTheController) {
    WriteFakeTool(kNet,
                  "case \"$2\" in\n"
                  "lookup) echo 'Information for Domain Controller: 192.0.2.10';"
                  " echo 'Pre-Win2k Domain: STALE';;\n"
                  "workgroup) echo 'Workgroup: CORP';;\n"
                  "esac");
    Sandbox::WriteFile("/usr/qarn/etc/private/workgroup", "Workgroup=\n");
    DomainFixture fixture(ParseJson(R"({"server_address": "corp.test"})"));
    EXPECT_EQ(fixture.probe.GetWorkgroup(true), "CORP");
    EXPECT_EQ(ToolArgs("net"),
              "ads lookup --realm CORP.TEST -d0\nads workgroup -S 192.0.2.10 -d0\n");
    EXPECT_EQ(Sandbox::ReadFile("/usr/qarn/etc/private/kdc_ip"), "KDC=192.0.2.10\n");
}

TEST(ServerAddress, DomainNameAnsweredAtOnce) {
    QARN::APIResponse response =
        CallEntry(CheckServerAddress_v1,
                  ParseJson(R"({"server_address": "corp.example.test", "server_type": "domain"})"));
    ASSERT_TRUE(response.IsSuccess());
    EXPECT_EQ(response.GetData(), ParseJson(R"({"server_address": "corp.example.test"})"));
    EXPECT_FALSE(Sandbox::Exists("/tmp/net.args"));
}

TEST(ServerAddress, RealmOfTheAddress) {
    WriteFakeTool(kNet, "echo 'LDAP server: 192.0.2.10'; echo 'Realm: EXAMPLE.TEST'");
    QARN::APIResponse response =
        CallEntry(CheckServerAddress_v1,
                  ParseJson(R"({"server_address": "192.0.2.10", "server_type": "domain"})"));
    ASSERT_TRUE(response.IsSuccess());
    EXPECT_EQ(response.GetData(),
              ParseJson(R"({"server_address": "EXAMPLE.TEST", "check_address_fail": false})"));
    EXPECT_EQ(ToolArgs("net"), "ads info -S 192.0.2.10 -d0 --option=name resolve order=host\n");
}

TEST(ServerAddress, UnreachableAddressOrName) {
    WriteFakeTool(kNet, "exit 1");
    DnsServer dns("example.test");
    UseDns(dns);
    QARN::APIResponse byAddress =
        CallEntry(CheckServerAddress_v1,
                  ParseJson(R"({"server_address": "192.0.2.10", "server_type": "domain"})"));
    EXPECT_EQ(byAddress.GetErrorCode(), kUnknownDomainError);
    EXPECT_TRUE(byAddress.GetData().isNull());
    QARN::APIResponse byName =
        CallEntry(CheckServerAddress_v1,
                  ParseJson(R"({"server_address": "ldap.example.test", "server_type": "ldap"})"));
    ASSERT_TRUE(byName.IsSuccess());
    EXPECT_EQ(byName.GetData(), ParseJson(R"({"check_address_fail": true})"));
    QARN::APIResponse empty =
        CallEntry(CheckServerAddress_v1, ParseJson(R"({"server_address": "x"})"));
    EXPECT_EQ(empty.GetErrorCode(), kBadParameter);
}

TEST(TestIPs, SRVRecordsOfTheDomain) {
    DnsServer dns("example.test");
    dns.AddHost("dc1.example.test", {"192.0.2.10"});
    AddControllerSRV(dns, "kerberos", "example.test", "dc1.example.test");
    UseDns(dns);
    WriteFakeTool(kNet, "exit 1");
    DomainFixture fixture(ParseJson(R"({"server_address": "example.test"})"));
    ErrorCode err = kConnectionReset;
    EXPECT_EQ(fixture.probe.GetTestIPs(err, "kerberos"), Strings{"192.0.2.10"});
    EXPECT_EQ(err, kConnectionReset);
}

TEST(PrepareTestIP, NoControllerFound) {
    // No DC IPs, no SRV targets, no Samba look-up and no SRV records in DNS.
    DnsServer dns("example.test");
    UseDns(dns);
    WriteFakeTool(kNet, "exit 1");
    for (auto [security, code] : {std::pair<const char*, int>{"ads", 2002}, {"user", 1121}}) {
        SetSecurity(security);
        QARN::APIResponse response =
            CallEntry(PrepareTestIP_v1, ParseJson(R"({"server_address": "example.test"})"));
        EXPECT_EQ(response.GetErrorCode(), code) << security;
        EXPECT_EQ(response.GetData(), ParseJson(R"({"isPlural": false, "level": 0})"));
    }
}

TEST(PrepareTestIP, AddressesPassNamesResolve) {
    DnsServer dns("example.test");
    dns.AddHost("dc1.example.test", {"192.0.2.10"});
    UseDns(dns);
    QARN::APIResponse response = CallEntry(
        PrepareTestIP_v1, ParseJson(R"({"dc_ips": "192.0.2.10,dc1.example.test,192.0.2.11"})"));
    ASSERT_TRUE(response.IsSuccess()) << response.ToJson().toStyledString();
    EXPECT_EQ(response.GetData(), ParseJson(R"({"test_ip": ["192.0.2.10", "192.0.2.11"]})"));
}

TEST(PrepareTestIP, UnresolvedNamesAreListed) {
    DnsServer dns("example.test");
    UseDns(dns);
    QARN::APIResponse response = CallEntry(
        PrepareTestIP_v1, ParseJson(R"({"dc_ips": "dc1.example.test,dc2.example.test"})"));
    EXPECT_EQ(response.GetErrorCode(), kTestAddressNotResolved);
    EXPECT_EQ(response.GetData(), ParseJson(R"({"info": {"unresolved_fqdn": ["dc1.example.test",
                            "dc2.example.test"], "isPlural": true},
                            "isPlural": false, "level": 0})"));
}

TEST(PrepareTestIP, UnreachableDNSServer) {
    Sandbox::WriteFile("/etc/resolv.conf", "nameserver 127.0.0.9\n");
    QARN::APIResponse response =
        CallEntry(PrepareTestIP_v1, ParseJson(R"({"dc_ips": "dc1.example.test"})"));
    EXPECT_EQ(response.GetErrorCode(), kDNSServerUnreachable);
}

}  // namespace
