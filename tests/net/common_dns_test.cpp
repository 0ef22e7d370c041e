#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "api_table.hpp"
#include "call.hpp"
#include "dns_server.hpp"
#include "domain_machine.hpp"
#include "fixture.hpp"
#include "sandbox.hpp"

namespace {

const char kDomain[] = "ex.test";

// Announces the domain's controllers under the four SRV names of service ("_ldap", "_kerberos").
void AnnounceDCs(DnsServer& server, const std::string& domain, const std::string& service,
                 const std::vector<std::string>& targets) {
    for (const char* middle : {"", "Default-First-Site-Name._sites.", "dc._msdcs.",
                               "Default-First-Site-Name._sites.dc._msdcs."}) {
        for (const std::string& target : targets) {
            server.AddSRV(service + "._tcp." + middle + domain, target, 389);
        }
    }
}

// A domain whose controllers are announced under all four LDAP and Kerberos SRV names.
class CommonDnsTest : public testing::Test {
  protected:
    CommonDnsTest() : m_server(kDomain) {
        m_server.AddHost(kDomain, {"192.0.2.10"})
            .AddHost("dc1.ex.test", {"192.0.2.10"})
            .AddHost("dc2.ex.test", {"192.0.2.11", "2001:db8::11"})
            .AddHost("v6only.ex.test", {"2001:db8::20"});
        for (const char* service : {"_ldap", "_kerberos"}) {
            AnnounceDCs(m_server, kDomain, service, {"dc1.ex.test", "dc2.ex.test"});
        }
        Sandbox::WriteFile("/etc/resolv.conf", "nameserver 127.0.0.2\n");
        Sandbox::WriteFile("/etc/samba/smb.conf", "[global]\n");
    }

    Json::Value Params(const std::string& recordType) {
        Json::Value params;
        params["dns"] = DnsServer::kAddress;
        params["server_address"] = kDomain;
        params["record_type"] = recordType;
        return params;
    }

    DnsServer m_server;
};

TEST_F(CommonDnsTest, Answers) {
    m_server.Start();
    for (const Json::Value& c : FixtureJson("net_dns_cases.json")) {
        Sandbox::WriteFile("/etc/samba/smb.conf", "[global]\n" + c["global"].asString());
        ExpectCaseAnswer(EntryOf(c["method"].asString()), c);
    }
}

TEST_F(CommonDnsTest, MissingKerberosNamesAreListed) {
    DnsServer server("ex2.test");
    server.AddHost("ex2.test", {"192.0.2.10"});
    AnnounceDCs(server, "ex2.test", "_ldap", {"dc1.ex2.test"});
    server.Start();
    Json::Value params = Params("srv");
    params["server_address"] = "ex2.test";
    QARN::APIResponse response = CallEntry(TestDNSRecord_v1, params);
    EXPECT_EQ(response.GetErrorCode(), 1006);
    EXPECT_EQ(response.GetData()["info"]["absent_srv_record"],
              StringArray({"_kerberos._tcp.ex2.test",
                           "_kerberos._tcp.Default-First-Site-Name._sites.ex2.test",
                           "_kerberos._tcp.dc._msdcs.ex2.test",
                           "_kerberos._tcp.Default-First-Site-Name._sites.dc._msdcs.ex2.test"}));
    EXPECT_TRUE(response.GetData()["info"].isMember("link"));
}

TEST_F(CommonDnsTest, SRVTargetPostTakesSambasLookup) {
    Sandbox::WriteFile("/etc/samba/smb.conf", "[global]\nrealm = EX.TEST\n");
    Sandbox::WriteFakeTool("/usr/local/bin/net",
                           "[ \"$2\" = kdc ] && echo 192.0.2.10:88 && echo 192.0.2.11:88\n"
                           "[ \"$2\" = ldap ] && echo 192.0.2.10:389\nexit 0");
    ExpectAnswer(CallEntry(TestSRVTargetPost_v1, ParseJson(R"({"srv": {}})")), 0,
                 ParseJson(R"({"srv_target_ip": {"kerberos": ["192.0.2.10", "192.0.2.11"],
                                                 "ldap": ["192.0.2.10"]},
                               "test_ip": ["192.0.2.10", "192.0.2.11"]})"));
}

TEST_F(CommonDnsTest, SRVTargetPostChecksConfiguredDCsOnTheDNSPath) {
    m_server.Start();
    Sandbox::WriteFakeTool("/usr/local/bin/net", "exit 1");
    Sandbox::WriteFile("/etc/samba/smb.conf",
                       "[global]\nrealm = EX.TEST\npassword server = dc1.ex.test, 192.0.2.99, *\n");
    const Json::Value params =
        ParseJson(R"({"srv": {"kerberos": ["dc1.ex.test."], "ldap": ["dc1.ex.test."]}})");
    ExpectAnswer(CallEntry(TestSRVTargetPost_v1, params), 1069,
                 ParseJson(R"({"info": {"bad_DCs": ["192.0.2.99"]},
                               "isPlural": false, "level": 0})"));
    Sandbox::WriteFile("/etc/samba/smb.conf", "[global]\npassword server = *\n");
    ExpectAnswer(CallEntry(TestSRVTargetPost_v1, params), 0,
                 ParseJson(R"({"srv_target_ip": {"kerberos": ["192.0.2.10"],
                                                 "ldap": ["192.0.2.10"]},
                               "test_ip": ["192.0.2.10"]})"));
}

TEST_F(CommonDnsTest, SRVTargetPostNeedsSambaConfiguration) {
    ExpectAnswer(CallEntry(TestSRVTargetPost_v1), 501, Json::Value());
    Sandbox::Remove("/etc/samba/smb.conf");
    ExpectAnswer(CallEntry(TestSRVTargetPost_v1, ParseJson(R"({"srv": {}})")), 1102, Json::Value());
}

TEST(SetDNS, WritesExactlyTheListedServersOrNothing) {
    Sandbox::WriteFile("/etc/resolv.conf",
                       "# managed\nsearch ex.test\nnameserver 192.0.2.1\noptions ndots:1\n"
                       "nameserver 192.0.2.2\n");
    ExpectAnswer(CallEntry(SetDNS_v1, ParseJson(R"({"dns": ",192.0.2.53,,192.0.2.54,"})")), 0,
                 Json::Value());
    const std::string written = Sandbox::ReadFile("/etc/resolv.conf");
    EXPECT_EQ(written,
              "# managed\nsearch ex.test\nnameserver 192.0.2.53\nnameserver 192.0.2.54\n"
              "options ndots:1\n");
    // An entry that would break the file is refused, and the file stays.
    ExpectAnswer(CallEntry(SetDNS_v1, ParseJson(R"({"dns": "192.0.2.5\nsearch evil"})")), 502,
                 Json::Value());
    EXPECT_EQ(Sandbox::ReadFile("/etc/resolv.conf"), written);
    ExpectAnswer(CallEntry(SetDNS_v1), 501, Json::Value());
}

}  // namespace
