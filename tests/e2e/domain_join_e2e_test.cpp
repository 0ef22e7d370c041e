// The join against a real Samba AD domain controller, run inside the test bed's server view by
// tests/testbed/run-e2e: BeforeJoin* on a server that is not joined (the joins themselves, the
// switch-over), then, after `testbed join`, Joined*.
#include <gtest/gtest.h>
#include <unistd.h>

#include "api_table.hpp"
#include "call.hpp"
#include "sandbox.hpp"
#include "testbed_env.hpp"

namespace {

const Testbed kBed;
const char kLastJoinInfo[] = "/usr/qarn/etc/private/last_join_info";
const char kSmbConf[] = "/etc/samba/smb.conf";
const char kSystemctl[] = "/usr/local/sbin/systemctl";

Json::Value JoinParams(const std::string& user, const std::string& password) {
    Json::Value params(Json::objectValue);
    params["server_address"] = kBed.dnsDomain;
    params["username"] = user;
    params["password"] = password;
    return params;
}

Json::Value Admin() {
    return JoinParams("administrator", kBed.adminPassword);
}

// The domain's machine-account quota, set over LDAP as the administrator.
void SetMachineAccountQuota(int quota) {
    const char* script =
        "import sys\n"
        "from samba.samdb import SamDB\n"
        "from samba.param import LoadParm\n"
        "from samba.credentials import Credentials\n"
        "lp = LoadParm(); c = Credentials(); c.guess(lp)\n"
        "c.set_username('administrator'); c.set_password(sys.argv[2])\n"
        "db = SamDB(url='ldap://' + sys.argv[1], lp=lp, credentials=c)\n"
        "db.modify_ldif('dn: %s\\nchangetype: modify\\nreplace: ms-DS-MachineAccountQuota\\n'\n"
        "               'ms-DS-MachineAccountQuota: %s\\n' % (db.domain_dn(), sys.argv[3]))\n";
    ASSERT_EQ(Sandbox::Run({"/usr/bin/python3", "-c", script, kBed.dc1, kBed.adminPassword,
                            std::to_string(quota)}),
              0);
}

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

void ExpectJoinFails(const Json::Value& params, int code) {
    ExpectAnswer(CallEntry(JoinDomain_v1, params), code,
                 ParseJson(R"({"isPlural": false, "level": 0})"));
}

class BeforeJoin : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        CallEntry(InitPreJoin_v1);
        ExpectAnswer(CallEntry(GenSmbJoinConf_v1, Admin()), 0, Json::Value());
    }
};

TEST_F(BeforeJoin, RefusedAccountsMapToTheirCodes) {
    struct Case {
        const char* user;
        std::string password;
        int code;
    };
    for (const Case& c :
         {Case{"administrator", kBed.wrongPassword, 1031}, Case{"erin", kBed.userPassword, 1032},
          Case{"grace", kBed.userPassword, 1033}}) {
        SCOPED_TRACE(c.user);
        ExpectJoinFails(JoinParams(c.user, c.password), c.code);
    }
}

// Samba answers an ordinary user "User specified does not have administrator privileges"
// (WERR_ACCESS_DENIED): no row of the join table, so 1124.
TEST_F(BeforeJoin, OrdinaryUserWithoutMachineAccountQuota) {
    SetMachineAccountQuota(0);
    ExpectJoinFails(JoinParams("alice", kBed.userPassword), 1124);
    SetMachineAccountQuota(10);
}

TEST_F(BeforeJoin, KerberosJoinIntoAnOUAndARejoin) {
    Sandbox::Run({"/usr/bin/samba-tool", "ou", "create", "OU=Servers", "-H", "ldap://" + kBed.dc1,
                  "-U", "administrator%" + kBed.adminPassword});
    Json::Value params = Admin();
    params["ou_specified"] = "Servers";
    Sandbox::TakeLog();
    ExpectAnswer(CallEntry(JoinDomain_v1, params), 0, Json::Value());
    EXPECT_TRUE(Sandbox::Logged("joined domain(krb5)"));
    std::string account = kBed.hostname;
    for (char& c : account) c = static_cast<char>(toupper(c));
    EXPECT_EQ(Sandbox::Run({"/bin/sh", "-c",
                            "/usr/local/bin/net ads search -P -s /etc/samba/smb.join.conf "
                            "\"(sAMAccountName=$1\\$)\" distinguishedName"
                            " | grep -q 'OU=Servers,DC=example,DC=test'",
                            "sh", account}),
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
    std::string info = Sandbox::ReadFile(kLastJoinInfo);
    size_t failed = info.find("Failed to join domain");
    EXPECT_NE(failed, std::string::npos) << info;
    EXPECT_NE(info.find("Joined '", failed), std::string::npos) << info;
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
    // The log receiver may lag behind the request: collect for up to two seconds.
    std::string log;
    std::vector<std::string> lines = {"[SMB GPO Settings]", "EnableSecuritySignature:1",
                                      "RequireSecuritySignature:1", "LmCompatibilityLevel:5"};
    for (int wait = 0; wait < 100 && !Contains(log, lines.back()); ++wait) {
        for (const std::string& message : Sandbox::TakeLog()) log += message + "\n";
        usleep(20000);
    }
    for (const std::string& line : lines) EXPECT_TRUE(Contains(log, line)) << line << "\n" << log;
}

}  // namespace

int main(int argc, char** argv) {
    Sandbox::CaptureSystemLog();
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
