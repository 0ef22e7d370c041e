#include <gtest/gtest.h>

#include <tuple>

#include "api_table.hpp"
#include "call.hpp"
#include "dns_server.hpp"
#include "sandbox.hpp"

namespace {

const char kDomain[] = "ex.test";

void Join(const std::string& security = "ads") {
    Sandbox::WriteFile("/etc/samba/smb.conf",
                       "[global]\nsecurity = " + security + "\nrealm = EX.TEST\n");
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
            for (const char* middle : {"", "Default-First-Site-Name._sites.", "dc._msdcs.",
                                       "Default-First-Site-Name._sites.dc._msdcs."}) {
                const std::string name = std::string(service) + "._tcp." + middle + kDomain;
                m_server.AddSRV(name, "dc1.ex.test", 389).AddSRV(name, "dc2.ex.test", 389);
            }
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

TEST_F(CommonDnsTest, DNSValidNamesServerAndDomainOnFailure) {
    m_server.Start();
    Json::Value params = Params("");
    ExpectAnswer(CallEntry(TestDNSValid_v1, params), 0, Json::Value());
    params["server_address"] = "other.test";
    ExpectAnswer(CallEntry(TestDNSValid_v1, params), 1000,
                 ParseJson(R"({"info": {"dns": "127.0.0.2", "domain_name": "other.test"},
                               "isPlural": false, "level": 0})"));
    Join();
    params["dns"] = "127.0.0.3";
    EXPECT_EQ(CallEntry(TestDNSValid_v1, params).GetErrorCode(), 2000);
}

// A bad DNS list is refused before any probe; an address as the domain is not probed at all.
TEST_F(CommonDnsTest, NothingToProbe) {
    for (auto [member, value, code] : {std::make_tuple("dns", "127.0.0.2,dns.ex.test", 501),
                                       std::make_tuple("server_address", "192.0.2.10", 0)}) {
        Json::Value params = Params("a");
        params[member] = value;
        for (auto entry : {TestDNSValid_v1, TestDNSRecord_v1}) {
            ExpectAnswer(CallEntry(entry, params), code, Json::Value());
        }
    }
}

struct RecordCase {
    const char* name;
    const char* type;
    const char* security;  // of smb.conf; empty: not joined
    const char* dns;
    int code;
    const char* data;  // nullptr: the failure details naming the DNS server and the name
};

class DNSRecordTest : public CommonDnsTest, public testing::WithParamInterface<RecordCase> {};

TEST_P(DNSRecordTest, Answers) {
    const RecordCase& c = GetParam();
    m_server.Start();
    if (*c.security != '\0') Join(c.security);
    Json::Value params = Params(c.type);
    params["server_address"] = c.name;
    params["dns"] = c.dns;
    Json::Value data = ParseJson(c.data ? c.data : R"({"isPlural": false, "level": 0})");
    if (!c.data) {
        data["info"]["dns"] = c.dns;
        data["info"]["domain_name"] = c.name;
    }
    ExpectAnswer(CallEntry(TestDNSRecord_v1, params), c.code, data);
}

INSTANTIATE_TEST_SUITE_P(
    Records, DNSRecordTest,
    testing::Values(RecordCase{"dc2.ex.test", "a", "", "127.0.0.2", 0, R"({"a": ["192.0.2.11"]})"},
                    RecordCase{"v6only.ex.test", "address", "", "127.0.0.2", 0,
                               R"({"address": ["2001:db8::20"]})"},
                    RecordCase{"nothere.ex.test", "address", "", "127.0.0.2", 1003, nullptr},
                    RecordCase{"ex.test", "ns", "", "127.0.0.2", 0, R"({"ns": ["ns1.ex.test."]})"},
                    RecordCase{"dc1.ex.test", "ns", "ADS", "127.0.0.2", 1004, nullptr},
                    RecordCase{"dc1.ex.test", "ns", "ads", "127.0.0.2", 2001, nullptr},
                    RecordCase{"ex.test", "srv", "", "127.0.0.2", 0,
                               R"({"srv": {"ldap": ["dc2.ex.test.", "dc1.ex.test."],
                               "kerberos": ["dc2.ex.test.", "dc1.ex.test."]}})"},
                    RecordCase{"dc2.ex.test", "a", "", "127.0.0.3", 1001, nullptr},
                    RecordCase{"ex.test", "srv", "", "127.0.0.3", 1008,
                               R"({"info": {"dns": "127.0.0.3", "domain_name": "ex.test",
                                "absent_srv_record": {"ldap": null}},
                       "isPlural": false, "level": 0})"},
                    RecordCase{"ex.test", "MX", "", "127.0.0.2", 501, "null"}));

TEST_F(CommonDnsTest, MissingKerberosNamesAreListed) {
    DnsServer server("ex2.test");
    server.AddHost("ex2.test", {"192.0.2.10"}).AddSRV("_ldap._tcp.ex2.test", "dc1.ex2.test", 389);
    for (const char* middle : {"Default-First-Site-Name._sites.", "dc._msdcs.",
                               "Default-First-Site-Name._sites.dc._msdcs."}) {
        server.AddSRV(std::string("_ldap._tcp.") + middle + "ex2.test", "dc1.ex2.test", 389);
    }
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

TEST_F(CommonDnsTest, SRVTargetsResolveToDistinctAddressesOrWarn) {
    m_server.Start();
    Json::Value params = ParseJson(R"({"dns": "127.0.0.2",
        "srv": {"kerberos": ["dc1.ex.test."], "ldap": ["dc2.ex.test.", "dc1.ex.test."]}})");
    ExpectAnswer(CallEntry(TestSRVTarget_v1, params), 0,
                 ParseJson(R"({"srv_target_ip": {"kerberos": ["192.0.2.10"],
                     "ldap": ["192.0.2.11", "2001:db8::11", "192.0.2.10"]}})"));
    // Targets that do not resolve warn while others resolve.
    params["srv"] = ParseJson(R"({"kerberos": ["ghost.ex.test."],
                                  "ldap": ["dc1.ex.test.", "ghost.ex.test."]})");
    ExpectAnswer(CallEntry(TestSRVTarget_v1, params), 1007,
                 ParseJson(R"({"info": {"dns": "127.0.0.2",
                                        "unresolve_srv_target": ["GHOST.EX.TEST."]},
                               "data": {"srv_target_ip": {"kerberos": [],
                                                          "ldap": ["192.0.2.10"]}},
                               "isPlural": false, "level": 1})"));
    params["srv"]["ldap"] = StringArray({"ghost2.ex.test."});
    QARN::APIResponse none = CallEntry(TestSRVTarget_v1, params);
    EXPECT_EQ(none.GetData()["level"], 0);
    EXPECT_EQ(none.GetData()["info"]["unresolve_srv_target"],
              StringArray({"GHOST2.EX.TEST.", "GHOST.EX.TEST."}));
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

TEST_F(CommonDnsTest, SRVTargetsNeedBothServicesAndPostSambaConfiguration) {
    ExpectAnswer(
        CallEntry(TestSRVTarget_v1, ParseJson(R"({"dns": "127.0.0.2", "srv": {"ldap": []}})")), 501,
        Json::Value());
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
