#include <gtest/gtest.h>
#include <unistd.h>

#include "api_table.hpp"
#include "call.hpp"
#include "domain_join.hpp"
#include "domain_probe.hpp"
#include "sandbox.hpp"

namespace {

const char kJoinConf[] = "/etc/samba/smb.join.conf";
const char kLastJoinInfo[] = "/usr/qarn/etc/private/last_join_info";
const char kConfHead[] = "[global]\nsecurity=ads\nworkgroup=EXAMPLE\nrealm=EXAMPLE.TEST\n";

// A net that finds the domain's controller and NetBIOS name, and joins as join_body says.
void FakeNet(const std::string& joinBody) {
    Sandbox::WriteFakeTool("/usr/local/bin/net",
                           "case \"$2\" in\n"
                           "lookup) printf 'Information for Domain Controller: 192.0.2.10\\n"
                           "Pre-Win2k Domain: EXAMPLE\\n';;\n"
                           "workgroup) echo 'Workgroup: EXAMPLE';;\n"
                           "info) echo 'LDAP_server_name: dc1.example.test';;\n"
                           "join) " +
                               joinBody + ";;\nesac");
}

Json::Value Params(const std::string& json) {
    Json::Value params = ParseJson(json);
    params["server_address"] = "example.test";
    return params;
}

struct ConfCase {
    const char* params;
    const char* tail;  // the lines after the four fixed ones
};

TEST(GenJoinConf, LineByLine) {
    FakeNet("true");
    for (const ConfCase& c :
         {ConfCase{"{}", ""},
          {R"({"dc_ips": "192.0.2.10,192.0.2.11"})", "password server=192.0.2.10,192.0.2.11\n"},
          {R"({"register_nics": ["all"]})", ""},
          {R"({"register_nics": []})", ""},
          {R"({"register_nics": ["eth0", "eth1"]})", "register nic=eth0,eth1\n"}}) {
        ExpectAnswer(CallEntry(GenSmbJoinConf_v1, Params(c.params)), 0, Json::Value());
        EXPECT_EQ(Sandbox::ReadFile(kJoinConf), std::string(kConfHead) + c.tail) << c.params;
    }
    // Without a domain name nothing is written, and the answer is still success.
    Sandbox::Remove(kJoinConf);
    ExpectAnswer(CallEntry(GenSmbJoinConf_v1), 0, Json::Value());
    EXPECT_FALSE(Sandbox::Exists(kJoinConf));
}

TEST(JoinDomain, KeepsAnExistingJoinConfAndNeedsOneToJoin) {
    FakeNet("echo joined");
    Sandbox::WriteFile(kJoinConf, "[global]\nsecurity=ads\n");
    ExpectAnswer(CallEntry(JoinDomain_v1, ParseJson(R"({"username": "EXAMPLE\\alice"})")), 0,
                 Json::Value());
    EXPECT_EQ(Sandbox::ReadFile(kJoinConf), "[global]\nsecurity=ads\n");
    Sandbox::Remove(kJoinConf);
    ExpectAnswer(CallEntry(JoinDomain_v1), kBadParameter, Json::Value());
    EXPECT_TRUE(Sandbox::Logged("join domain: fail to gen smb.join.conf"));
}

// Kerberos fails at kinit (no ticket); a table message without the join keyword is not mapped.
TEST(JoinDomain, MessageWithoutKeywordIsUnknown) {
    FakeNet("echo 'logon is invalid'; exit 255");
    Sandbox::WriteFakeTool("/usr/bin/kinit", "echo 'kinit: Cannot contact any KDC'; exit 1");
    Sandbox::WriteFakeTool("/usr/bin/klist", "exit 1");
    ExpectAnswer(CallEntry(JoinDomain_v1, Params(R"({"username": "alice", "password": "pw"})")),
                 1108, ParseJson(R"({"isPlural": false, "level": 0})"));
}

TEST(JoinDomain, FallsBackToNTLMWithTheCommandLinesOfBoth) {
    FakeNet(
        "case \" $* \" in *' -k '*) echo 'Failed to join domain: krb5 broke'; exit 255;; "
        "*) echo \"Joined 'NAS01'\";; esac");
    Sandbox::WriteFakeTool("/usr/bin/kinit", "exit 0");
    Sandbox::WriteFakeTool("/usr/bin/klist", "exit 1");
    Json::Value params = Params(R"({"username": "alice", "password": "pw",
        "rwdc_fqdn_name": "192.0.2.10", "ou_specified": "OU=Servers,DC=example,DC=test"})");
    ExpectAnswer(CallEntry(JoinDomain_v1, params), 0, Json::Value());
    std::string args = Sandbox::FakeToolArgs("net");
    const char* conf = "ads join -s /etc/samba/smb.join.conf -d3 ";
    const char* ou = " createcomputer=OU=Servers,DC=example,DC=test -S ";
    EXPECT_NE(args.find(std::string(conf) + "-k" + ou + "dc1.example.test\n"), std::string::npos)
        << args;
    EXPECT_NE(args.find(std::string(conf) + "-U EXAMPLE\\alice%pw" + ou + "192.0.2.10\n"),
              std::string::npos)
        << args;
    std::string log;
    for (int wait = 0; wait < 100 && log.find("error=1124") == std::string::npos; ++wait) {
        for (const std::string& message : Sandbox::TakeLog()) log += message + "\n";
        usleep(2000);
    }
    EXPECT_NE(log.find("join domain with krb5 fail. error=1124"), std::string::npos) << log;
}

TEST(InitPreJoin, ForgetsTheLastJoin) {
    Sandbox::WriteFile(kLastJoinInfo, "old");
    ExpectAnswer(CallEntry(InitPreJoin_v1), 0, Json::Value());
    EXPECT_FALSE(Sandbox::Exists(kLastJoinInfo));
}

const char kUnjoinedConf[] =
    "[global]\n\tworkgroup = EXAMPLE\n\tsecurity = user\n"
    "\tclient NTLMv2 auth = no\n[share]\n\tpath = /srv\n";

// A server not joined yet, whose service manager runs body.
void UnjoinedServer(const std::string& systemctlBody) {
    Sandbox::WriteFile("/etc/samba/smb.conf", kUnjoinedConf);
    Sandbox::WriteFile("/usr/qarn/etc/private/workgroup", "Workgroup=EXAMPLE\n");
    FakeNet("true");
    setenv("PATH", "/usr/local/sbin:/usr/bin:/bin", 1);
    Sandbox::WriteFakeTool("/usr/local/sbin/systemctl", systemctlBody);
}

TEST(SetJoinEnv, SwitchesTheServerOver) {
    UnjoinedServer("true");
    Sandbox::WriteFile("/etc/nsswitch.conf", "passwd: files\ngroup: files\n");
    Json::Value params = Params(R"({"username": "alice", "password": "pw", "manage_mode": 1,
                                    "dc_ips": "192.0.2.10"})");
    ExpectAnswer(CallEntry(SetJoin_v1, params), 0, Json::Value());
    EXPECT_EQ(Sandbox::FakeToolArgs("systemctl"),
              "stop winbind\nstop nmbd\nstop smbd\nenable --now nmbd\nenable --now smbd\n"
              "enable --now winbind\nreload smbd\nreload winbind\n");
    EXPECT_EQ(Sandbox::ReadFile("/etc/samba/smb.conf"),
              "[global]\n\tworkgroup = EXAMPLE\n\tsecurity = ads\n"
              "\tidmap config * : backend = tdb\n\tidmap config * : range = 3000-7999\n"
              "\trealm = EXAMPLE.TEST\n\tldap timeout = 60\n\tpassword server = 192.0.2.10\n"
              "\tallow trusted domains = no\n\tadmin users = @\"EXAMPLE\\Domain Admins\"\n"
              "[share]\n\tpath = /srv\n");
    EXPECT_EQ(Sandbox::ReadFile("/etc/nsswitch.conf"),
              "passwd:         files winbind\ngroup:          files winbind\n");
    EXPECT_TRUE(Sandbox::Logged("event 0x11800404"));
}

TEST(SetJoinEnv, AServiceThatDoesNotStartIsAFailedStep) {
    UnjoinedServer("case \"$*\" in 'enable --now smbd') exit 1;; esac");
    ExpectAnswer(CallEntry(SetJoin_v1, Params(R"({"username": "alice"})")), kInternalStepFailed,
                 Json::Value());
    EXPECT_TRUE(Sandbox::Logged("failed to start services (pkg-qarnsamba-smbd) by reason"));
}

}  // namespace
