// The domain core against a real Samba AD domain controller. Runs inside the test bed's server
// view: tests/testbed/run-e2e runs the suites named BeforeJoin* on a server that is not joined,
// joins it, then runs the suites named Joined*.
#include <gtest/gtest.h>

#include <tuple>

#include "api_table.hpp"
#include "call.hpp"
#include "domain_probe.hpp"
#include "e2e_testbed.hpp"

namespace {

const Testbed kBed;

Json::Value Params(std::initializer_list<std::pair<const char*, Json::Value>> members) {
    Json::Value params(Json::objectValue);
    for (const auto& [name, value] : members) params[name] = value;
    return params;
}

Json::Value TestIPs(const std::vector<std::string>& addresses) {
    Json::Value result;
    for (const std::string& address : addresses) result["test_ip"].append(address);
    return result;
}

void ExpectSuccess(const QARN::APIResponse& response, const Json::Value& data) {
    EXPECT_TRUE(response.IsSuccess()) << response.ToJson();
    EXPECT_EQ(response.GetData(), data);
}

TEST(BeforeJoin, ServerAddressByAddressAndByName) {
    for (const std::string& address : {kBed.dc1, "dc1." + kBed.dnsDomain}) {
        ExpectSuccess(CallEntry(CheckServerAddress_v1,
                                Params({{"server_address", address}, {"server_type", "ad"}})),
                      Params({{"server_address", kBed.realm}, {"check_address_fail", false}}));
    }
}

TEST(BeforeJoin, TestIPsFromEverySource) {
    // DNS holds the SRV records of every controller, the stopped one too.
    std::vector<std::string> registered = {kBed.dc1};
    if (!kBed.dc2.empty()) registered.push_back(kBed.dc2);
    for (const auto& [params, expected] : std::vector<std::pair<Json::Value, Json::Value>>{
             {Params({{"dc_ips", kBed.dc1}}), TestIPs({kBed.dc1})},
             {Params({{"srv_target_ip", ParseJson(R"({"ldap": [")" + kBed.dc1 + "\"]}")}}),
              TestIPs({kBed.dc1})},
             {Params({{"server_address", kBed.dnsDomain}}), TestIPs(registered)}}) {
        ExpectSuccess(CallEntry(PrepareTestIP_v1, params), expected);
    }
}

// The right password's ticket is proven through test_kinit (domain_service_e2e_test.cpp).
TEST(BeforeJoin, UserTicketWrongPassword) {
    Sandbox::Remove("/etc/krb5.conf");
    DomainFixture wrong(kBed.Logon("bob", kBed.wrongPassword, kBed.dc1));
    EXPECT_EQ(wrong.probe.Kinit(true), kAuthFailed);
}

TEST(BeforeJoin, SmbLogonsMapToTheirCodes) {
    for (const auto& [user, password, code] :
         std::vector<std::tuple<const char*, std::string, ErrorCode>>{
             {"alice", kBed.userPassword, kNoError},
             {"alice", "x", kAuthFailed},
             {"carol", kBed.userPassword, kAccountLocked},
             {"erin", kBed.userPassword, kAccountLocked},
             {"grace", kBed.userPassword, kPasswordExpired},
             {"nobody", kBed.userPassword, kAuthFailed}}) {
        SCOPED_TRACE(user);
        DomainFixture fixture(kBed.Logon(user, password, kBed.dc1));
        ErrorSeverity severity = kCodeOnly;
        ErrorCode err = kNoError;
        EXPECT_EQ(fixture.probe.RunSmbclient(severity, err, 30), code == kNoError);
        EXPECT_EQ(err, code);
        if (code != kNoError) {
            EXPECT_EQ(fixture.probe.Data()["info"]["ip"], kBed.dc1);
            EXPECT_EQ(severity, kError);
        }
    }
}

TEST(BeforeJoin, LockedOutAfterBadPasswords) {
    ErrorSeverity severity = kCodeOnly;
    ErrorCode err = kNoError;
    for (const std::string& password :
         {kBed.wrongPassword, kBed.wrongPassword, kBed.wrongPassword, kBed.userPassword}) {
        DomainFixture(kBed.Logon("dave", password, kBed.dc1)).probe.RunSmbclient(severity, err, 30);
    }
    EXPECT_EQ(err, kAccountLocked);
}

// With Kerberos a controller is contacted by the name it tells (net ads info); the stopped one
// tells none and is left out.
// (The logons' warning about it is proven through test_smb_auth in domain_service_e2e_test.cpp.)
TEST(BeforeJoin, KerberosLeavesOutAStoppedController) {
    if (kBed.dc2.empty()) GTEST_SKIP() << "no stopped second controller";
    DomainFixture kerberos(kBed.Logon("alice", kBed.userPassword, kBed.dc1 + "," + kBed.dc2));
    kerberos.probe.SetAuthMethod(kAuthKrb5);
    ErrorSeverity severity = kCodeOnly;
    ErrorCode err = kNoError;
    EXPECT_TRUE(kerberos.probe.RunSmbclient(severity, err, 10));
    EXPECT_EQ(kerberos.probe.GetTestAddress(err, nullptr),
              std::vector<std::string>{"dc1." + kBed.dnsDomain});
}

class Joined : public testing::Test {
  protected:
    static void SetUpTestSuite() { Sandbox::Remove("/etc/krb5.conf"); }
};

TEST_F(Joined, TestIPsFromSambaLookup) {
    ExpectSuccess(CallEntry(PrepareTestIP_v1), TestIPs({kBed.dc1}));
}

TEST_F(Joined, ComputerObjectInTheDirectory) {
    DomainFixture fixture;
    fixture.probe.SetNetFilter("(sAMAccountName=" + kBed.MachineAccount() + "$)");
    std::vector<std::string> names;
    ErrorCode err = kNoError;
    EXPECT_EQ(
        fixture.probe.RunNetSearchKey("dNSHostName", names, err, kNTStatusMessageTable, 0, ""), 1);
    ASSERT_EQ(names.size(), 1u);
    EXPECT_EQ(ToLower(names[0]), kBed.hostname + "." + kBed.dnsDomain);
}

// The machine account reads the default domain policy and logs on with Kerberos.
TEST_F(Joined, MachineAccountAtTheController) {
    DomainFixture fixture(Params({{"dc_ips", kBed.dc1}}));
    std::vector<std::string> lines;
    EXPECT_EQ(fixture.probe.GetGPO("{31B2F340-016D-11D2-945F-00C04FB984F9}", lines), kNoError);
    EXPECT_NE(std::find(lines.begin(), lines.end(), "[System Access]"), lines.end());
    fixture.probe.SetAuthMethod(kAuthKrb5);
    ErrorSeverity severity = kCodeOnly;
    ErrorCode err = kNoError;
    EXPECT_TRUE(fixture.probe.RunSmbclient(severity, err, 30));
    EXPECT_EQ(err, kNoError);
}

}  // namespace
