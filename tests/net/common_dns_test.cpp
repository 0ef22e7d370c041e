#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "api_table.hpp"
#include "call.hpp"
#include "dns_server.hpp"
#include "sandbox.hpp"

namespace {

const char kDomain[] = "ex.test";
const char kJoined[] = "security = ads\nrealm = EX.TEST\n";

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

// A bad DNS list is refused before any probe; an address as the domain is not probed at all.
TEST_F(CommonDnsTest, DNSValidAndRecordAnswers) {
    const struct {
        QARN::APIEntryFunction entry;
        const char* name;
        const char* type;
        const char* global;  // smb.conf's global settings
        const char* dns;
        int code;
        const char* data;  // nullptr: the failure details naming the DNS server and the name
    } cases[] = {
        {TestDNSValid_v1, "ex.test", "", "", "127.0.0.2", 0, "null"},
        {TestDNSValid_v1, "other.test", "", "", "127.0.0.2", 1000, nullptr},
        {TestDNSValid_v1, "ex.test", "", kJoined, "127.0.0.3", 2000, nullptr},
        {TestDNSValid_v1, "ex.test", "a", "", "127.0.0.2,dns.ex.test", 501, "null"},
        {TestDNSRecord_v1, "ex.test", "a", "", "127.0.0.2,dns.ex.test", 501, "null"},
        {TestDNSValid_v1, "192.0.2.10", "a", "", "127.0.0.3", 0, "null"},
        {TestDNSRecord_v1, "192.0.2.10", "a", "", "127.0.0.3", 0, "null"},
        {TestDNSRecord_v1, "dc2.ex.test", "a", "", "127.0.0.2", 0, R"({"a": ["192.0.2.11"]})"},
        {TestDNSRecord_v1, "v6only.ex.test", "address", "", "127.0.0.2", 0,
         R"({"address": ["2001:db8::20"]})"},
        {TestDNSRecord_v1, "nothere.ex.test", "address", "", "127.0.0.2", 1003, nullptr},
        {TestDNSRecord_v1, "ex.test", "ns", "", "127.0.0.2", 0, R"({"ns": ["ns1.ex.test."]})"},
        {TestDNSRecord_v1, "dc1.ex.test", "ns", "security = ADS\nrealm = EX.TEST\n", "127.0.0.2",
         1004, nullptr},
        {TestDNSRecord_v1, "dc1.ex.test", "ns", kJoined, "127.0.0.2", 2001, nullptr},
        {TestDNSRecord_v1, "ex.test", "srv", "", "127.0.0.2", 0,
         R"({"srv": {"ldap": ["dc2.ex.test.", "dc1.ex.test."],
                     "kerberos": ["dc2.ex.test.", "dc1.ex.test."]}})"},
        {TestDNSRecord_v1, "dc2.ex.test", "a", "", "127.0.0.3", 1001, nullptr},
        {TestDNSRecord_v1, "ex.test", "srv", "", "127.0.0.3", 1008,
         R"({"info": {"dns": "127.0.0.3", "domain_name": "ex.test",
                      "absent_srv_record": {"ldap": null}}, "isPlural": false, "level": 0})"},
        {TestDNSRecord_v1, "ex.test", "MX", "", "127.0.0.2", 501, "null"},
    };
    m_server.Start();
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " " + c.type + " " + c.dns);
        Sandbox::WriteFile("/etc/samba/smb.conf", std::string("[global]\n") + c.global);
        Json::Value params = Params(c.type);
        params["server_address"] = c.name;
        params["dns"] = c.dns;
        Json::Value data = ParseJson(c.data ? c.data : R"({"isPlural": false, "level": 0})");
        if (!c.data) {
            data["info"]["dns"] = c.dns;
            data["info"]["domain_name"] = c.name;
        }
        ExpectAnswer(CallEntry(c.entry, params), c.code, data);
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

// Targets resolve to distinct addresses; those that do not resolve warn while others resolve.
TEST_F(CommonDnsTest, SRVTargets) {
    const std::tuple<const char*, int, const char*> cases[] = {
        {R"({"kerberos": ["dc1.ex.test."], "ldap": ["dc2.ex.test.", "dc1.ex.test."]})", 0,
         R"({"srv_target_ip": {"kerberos": ["192.0.2.10"],
                               "ldap": ["192.0.2.11", "2001:db8::11", "192.0.2.10"]}})"},
        {R"({"kerberos": ["ghost.ex.test."], "ldap": ["dc1.ex.test.", "ghost.ex.test."]})", 1007,
         R"({"info": {"dns": "127.0.0.2", "unresolve_srv_target": ["GHOST.EX.TEST."]},
             "data": {"srv_target_ip": {"kerberos": [], "ldap": ["192.0.2.10"]}},
             "isPlural": false, "level": 1})"},
        {R"({"kerberos": ["ghost.ex.test."], "ldap": ["ghost2.ex.test."]})", 1007,
         R"({"info": {"dns": "127.0.0.2", "unresolve_srv_target": ["GHOST2.EX.TEST.",
                                                                    "GHOST.EX.TEST."]},
             "data": {"srv_target_ip": {"kerberos": [], "ldap": []}},
             "isPlural": false, "level": 0})"},
        {R"({"ldap": []})", 501, "null"},
    };
    m_server.Start();
    for (const auto& [srv, code, data] : cases) {
        Json::Value params;
        params["dns"] = DnsServer::kAddress;
        params["srv"] = ParseJson(srv);
        ExpectAnswer(CallEntry(TestSRVTarget_v1, params), code, ParseJson(data));
    }
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
