#include <gtest/gtest.h>

#include <tuple>

#include "api_table.hpp"
#include "call.hpp"
#include "dns_server.hpp"
#include "fixture.hpp"
#include "net_lab.hpp"
#include "sandbox.hpp"
#include "tcp_listener.hpp"
#include "util.hpp"

namespace {

const char kCheckListDirectory[] = "/usr/qarn/etc.defaults/directory/checklist/";
const char kLastTestFile[] = "/usr/qarn/etc/directory/last_test";

Json::Value Param(const char* name, const Json::Value& value) {
    Json::Value params(Json::objectValue);
    params[name] = value;
    return params;
}

TEST(GetStages, ReturnsTheInstalledListUnchangedAndOnlyForTheFourTypes) {
    const Json::Value list = ParseJson(R"({"stages": [{"stage": "dns"}]})");
    Sandbox::WriteFile(std::string(kCheckListDirectory) + "ldap_posttest", list.toStyledString());
    ExpectAnswer(CallEntry(GetStages_v1, Param("type", "ldap_posttest")), 0, list);
    Sandbox::WriteFile(std::string(kCheckListDirectory) + "ldap_posttest", "{broken");
    ExpectAnswer(CallEntry(GetStages_v1, Param("type", "ldap_posttest")), 502, Json::Value());
    // Anything but the four list types is refused.
    for (const char* type : {"", "Domain_pretest", "domain_pretest ", "../last_test"}) {
        ExpectAnswer(CallEntry(GetStages_v1, Param("type", type)), 501, Json::Value());
    }
}

// Every check of a shipped list names an earlier check when it takes a parameter from one.
TEST(GetStages, ShippedListsAreRunnable) {
    for (const char* type :
         {"domain_pretest", "domain_posttest", "ldap_pretest", "ldap_posttest"}) {
        Json::Value list;
        ASSERT_TRUE(JsonFromFile(std::string(DSCHECK_SOURCE_DIR) + "/checklist/" + type, list))
            << type;
        EXPECT_EQ(list["type"], type);
        std::set<std::string> seen;
        for (const Json::Value& stage : list["stages"]) {
            for (const Json::Value& check : stage["checks"]) {
                for (const Json::Value& source : check["params"]) {
                    if (source.isMember("from")) {
                        EXPECT_EQ(seen.count(source["from"].asString()), 1u)
                            << type << ": " << check["id"].asString();
                    }
                }
                EXPECT_TRUE(seen.insert(check["id"].asString()).second) << type;
            }
        }
        EXPECT_FALSE(seen.empty()) << type;
    }
}

TEST(LastTest, StampIsReadBack) {
    Sandbox::Run({"/bin/rm", "-rf", "/usr/qarn/etc/directory"});
    ExpectAnswer(CallEntry(GetLastTest_v1), 0, Json::Value());
    ExpectAnswer(CallEntry(SetLastTest_v1), 0, Json::Value());  // no directory: still success
    Sandbox::WriteFile(kLastTestFile, "");
    ExpectAnswer(CallEntry(SetLastTest_v1), 0, Json::Value());
    const Json::Value stamp = CallEntry(GetLastTest_v1).GetData();
    EXPECT_EQ(stamp.getMemberNames(), std::vector<std::string>{"last_test_time"});
    EXPECT_EQ(std::to_string(stamp["last_test_time"].asInt64()).size(), 13u);
}

TEST(TestPort, ClosedPortNamesItsService) {
    const std::tuple<int, int, const char*> cases[] = {
        {53, 1014, "DNS"},   {88, 1013, "Kerberos"},  {137, 1012, "NetBIOS"}, {445, 1010, "SMB"},
        {636, 1016, "LDAP"}, {8080, 1015, "Unknown"}, {389, 1016, "LDAP"}};
    Json::Value params = Param("server_address", "127.0.0.1");
    for (auto [port, code, service] : cases) {
        Json::Value expected =
            ParseJson(R"({"info": {"server_list": ["127.0.0.1"]}, "isPlural": false, "level": 0})");
        expected["info"]["port"] = params["port"] = port;
        expected["info"]["service"] = service;
        ExpectAnswer(CallEntry(TestPort_v1, params), code, expected);
    }
    TcpListener listener("127.0.0.1", 389);
    ExpectAnswer(CallEntry(TestPort_v1, params), 0, Json::Value());
}

// The DC after one that answered only on 636 is asked on 389 first again.
TEST(TestPortByDomain, OtherLDAPPortStandsIn) {
    TcpListener ldaps("127.0.0.11", 636);
    TcpListener ldap("127.0.0.13", 389);
    ExpectAnswer(
        CallEntry(TestPortByDomain_v1, ParseJson(R"({"dc_ips": "127.0.0.11,127.0.0.13,127.0.0.12",
                                         "port": 389})")),
        1011, ParseJson(R"({"info": {"port": "389, 636", "service": "LDAP",
                                        "server_list": ["127.0.0.12"]},
                               "isPlural": true, "level": 1})"));
}

TEST(TestPortByDomain, WildcardFallsBackToSRVTargets) {
    TcpListener kerberos("127.0.0.11", 88);
    Json::Value params = ParseJson(R"({"dc_ips": "*", "port": 88,
        "srv_target_ip": {"kerberos": ["127.0.0.11"], "ldap": ["127.0.0.12"]}})");
    ExpectAnswer(CallEntry(TestPortByDomain_v1, params), 0, Json::Value());
    params["port"] = 445;
    EXPECT_EQ(CallEntry(TestPortByDomain_v1, params).GetData()["info"]["server_list"],
              StringArray({"127.0.0.12"}));
    params.removeMember("srv_target_ip");
    ExpectAnswer(CallEntry(TestPortByDomain_v1, params), 501, Json::Value());
}

// Calls entry with a case's params at its version and expects its answer.
TEST(MTUTest, Answers) {
    for (const Json::Value& c : FixtureJson("net_check_cases.json", "mtu")) {
        NetLab lab(c["gateway_mtu"].asInt());
        lab.AddSilentAddress("10.20.0.99");
        ExpectCaseAnswer(TestMTU_v1, c);
    }
}

TEST(MTUTest, BrokenPingIsAnInternalFailure) {
    NetLab lab;
    Sandbox::WriteFakeTool("/usr/bin/ping", "exit 2");
    ExpectAnswer(CallEntry(TestMTU_v1, ParseJson(R"({"test_ip": ["10.20.0.2"]})"), 2), 502,
                 Json::Value());
}

class ConflictTest : public testing::Test {
  protected:
    ConflictTest() { Sandbox::Link("/usr/bin/arping", "/sbin/arping"); }
    NetLab m_lab;
};

TEST_F(ConflictTest, OwnAddressUsedElsewhere) {
    ExpectAnswer(CallEntry(TestNasIPConflict_v1), 0, Json::Value());
    m_lab.AddHost("intruder", {NetLab::kLocalIPv4});
    ExpectAnswer(CallEntry(TestNasIPConflict_v1), 1021,
                 ParseJson(R"({"isPlural": false, "level": 0})"));
}

TEST_F(ConflictTest, AddressAnsweredFromTwoHardwareAddresses) {
    m_lab.AddHost("twin1", {"10.20.0.50"});
    m_lab.AddHost("twin2", {"10.20.0.50"});
    m_lab.AddHost("single", {"10.20.0.51"});
    for (const Json::Value& c : FixtureJson("net_check_cases.json", "ip_conflict"))
        ExpectCaseAnswer(TestIPConflict_v1, c);
}

TEST_F(ConflictTest, HostNameRegisteredForAnotherAddress) {
    Sandbox::Link(std::string(DSCHECK_BINARY_DIR) + "/qarnwin", "/usr/qarn/sbin/qarnwin");
    Sandbox::WriteFile("/etc/resolv.conf", "nameserver 127.0.0.2\n");
    DnsServer server("ex.test");
    server.AddHost("sandbox.ex.test", {"10.20.0.77"}).Start();
    ExpectAnswer(CallEntry(TestHostnameConflict_v1, Param("server_address", "ex.test")), 1023,
                 ParseJson(R"({"info": {"conflict_ip": "10.20.0.77", "local_ip": "10.20.0.1"},
                               "isPlural": false, "level": 1})"));
    ExpectAnswer(CallEntry(TestHostnameConflict_v1, Param("server_address", "sub.ex.test")), 0,
                 Json::Value());
}

TEST(HostnameConflict, ToolOutputEdges) {
    ExpectAnswer(CallEntry(TestHostnameConflict_v1), 501, Json::Value());
    const Json::Value params = Param("server_address", "ex.test");
    Sandbox::Remove("/usr/qarn/sbin/qarnwin");
    ExpectAnswer(CallEntry(TestHostnameConflict_v1, params), 502, Json::Value());
    Sandbox::WriteFakeTool("/usr/qarn/sbin/qarnwin", "exit 0");
    ExpectAnswer(CallEntry(TestHostnameConflict_v1, params), 502, Json::Value());
}

}  // namespace
