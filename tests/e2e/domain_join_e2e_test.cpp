// The join against a real Samba AD domain controller, run inside the test bed's server view by
// tests/testbed/run-e2e: BeforeJoin* on a server that is not joined (the joins themselves, the
// switch-over), then, after `testbed join`, Joined*.
#include <gtest/gtest.h>
#include <unistd.h>

#include <regex>
#include <tuple>

#include "api_table.hpp"
#include "call.hpp"
#include "e2e_testbed.hpp"
#include "sandbox.hpp"

namespace {

const Testbed kBed;
const char kSmbConf[] = "/etc/samba/smb.conf";
const char kSystemctl[] = "/usr/local/sbin/systemctl";

Json::Value Admin() {
    return kBed.Logon("administrator", kBed.adminPassword);
}

class BeforeJoin : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        CallEntry(InitPreJoin_v1);
        ExpectAnswer(CallEntry(GenSmbJoinConf_v1, Admin()), 0, Json::Value());
    }
};

// Samba answers an ordinary user without a machine-account quota "User specified does not have
// administrator privileges" (WERR_ACCESS_DENIED): no row of the join table, so 1124.
TEST_F(BeforeJoin, RefusedAccountsMapToTheirCodes) {
    kBed.SetMachineAccountQuota(0);
    for (const auto& [user, password, code] :
         std::vector<std::tuple<const char*, std::string, int>>{
             {"administrator", kBed.wrongPassword, 1031},
             {"erin", kBed.userPassword, 1032},
             {"grace", kBed.userPassword, 1033},
             {"alice", kBed.userPassword, 1124}}) {
        SCOPED_TRACE(user);
        ExpectAnswer(CallEntry(JoinDomain_v1, kBed.Logon(user, password)), code,
                     ParseJson(R"({"isPlural": false, "level": 0})"));
    }
    kBed.SetMachineAccountQuota(10);
}

TEST_F(BeforeJoin, KerberosJoinIntoAnOUAndARejoin) {
    Sandbox::Run({"/usr/bin/samba-tool", "ou", "create", "OU=Servers", "-H", "ldap://" + kBed.dc1,
                  "-U", "administrator%" + kBed.adminPassword});
    Json::Value params = Admin();
    params["ou_specified"] = "Servers";
    Sandbox::TakeLog();
    ExpectAnswer(CallEntry(JoinDomain_v1, params), 0, Json::Value());
    EXPECT_TRUE(Sandbox::Logged("joined domain(krb5)"));
    EXPECT_EQ(Sandbox::Run({"/bin/sh", "-c",
                            "/usr/local/bin/net ads search -P -s /etc/samba/smb.join.conf "
                            "\"(sAMAccountName=$1\\$)\" distinguishedName"
                            " | grep -q 'OU=Servers,DC=example,DC=test'",
                            "sh", kBed.MachineAccount()}),
              0);
    // The account exists now: the same join again succeeds.
    ExpectAnswer(CallEntry(JoinDomain_v1, Admin()), 0, Json::Value());
}

// A stale ticket of the user: Kerberos fails, NTLM joins; both runs are in last_join_info.
TEST_F(BeforeJoin, FallsBackToNTLM) {
    CallEntry(InitPreJoin_v1);
    ASSERT_EQ(Sandbox::Run({"/bin/sh", "-c", "echo \"$1\" | /usr/bin/kinit -l 3s administrator",
                            "sh", kBed.adminPassword}),
              0);
    sleep(5);
    Sandbox::TakeLog();
    ExpectAnswer(CallEntry(JoinDomain_v1, Admin()), 0, Json::Value());
    EXPECT_TRUE(Sandbox::Logged("joined domain(NTLM)"));
    const std::string info = Sandbox::ReadFile("/usr/qarn/etc/private/last_join_info");
    EXPECT_TRUE(std::regex_search(info, std::regex(R"(Failed to join domain[\s\S]*Joined ')")))
        << info;
    Sandbox::Run({"/usr/bin/kdestroy"});
}

TEST_F(BeforeJoin, SetJoinEnvWithoutUserChangesNothing) {
    std::string before = Sandbox::ReadFile(kSmbConf);
    int smbd = Sandbox::Run({kSystemctl, "is-active", "--quiet", "smbd"});
    Json::Value params = Admin();
    params.removeMember("username");
    ExpectAnswer(CallEntry(SetJoin_v1, params), 501, Json::Value());
    EXPECT_EQ(Sandbox::ReadFile(kSmbConf), before);
    EXPECT_EQ(Sandbox::Run({kSystemctl, "is-active", "--quiet", "smbd"}), smbd);
}

TEST_F(BeforeJoin, SetJoinEnvSwitchesTheServerOver) {
    ExpectAnswer(CallEntry(SetJoin_v1, Admin()), 0, Json::Value());
    // The files' exact content is proven in the sandbox (domain_join_test.cpp); here the switched
    // server works: its services run, and a domain user resolves and logs on to its share.
    for (const char* unit : {"smbd", "nmbd", "winbind"}) {
        EXPECT_EQ(Sandbox::Run({kSystemctl, "is-active", "--quiet", unit}), 0) << unit;
    }
    EXPECT_EQ(Sandbox::Run({"/usr/bin/getent", "passwd", kBed.workgroup + "\\alice"}), 0);
    EXPECT_EQ(Sandbox::Run({"/usr/local/bin/smbclient", "//127.0.0.1/share", "-U",
                            kBed.workgroup + "\\alice%" + kBed.userPassword, "-c", "ls"}),
              0);
}

TEST(Joined, RecordsTheDefaultPolicysSigningSettings) {
    Sandbox::TakeLog();
    ExpectAnswer(CallEntry(RecordSmbGPO_v1, Admin()), 0, Json::Value());
    const std::string log = LogUntil("LmCompatibilityLevel:5");
    for (const char* line : {"[SMB GPO Settings]", "EnableSecuritySignature:1",
                             "RequireSecuritySignature:1", "LmCompatibilityLevel:5"}) {
        EXPECT_NE(log.find(line), std::string::npos) << line << "\n" << log;
    }
}

}  // namespace

int main(int argc, char** argv) {
    Sandbox::CaptureSystemLog();
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
