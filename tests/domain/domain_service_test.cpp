// The domain service checks on answers the test bed's Samba cannot give; the rest runs against
// real controllers in tests/e2e/domain_service_e2e_test.cpp.
#include <gtest/gtest.h>

#include "api_table.hpp"
#include "call.hpp"
#include "domain_probe.hpp"

namespace {

const char kNet[] = "/usr/local/bin/net";
const char kSmbclient[] = "/usr/local/bin/smbclient";
const char kSyncTool[] = "/usr/qarn/sbin/qarnsyncdctime";

// A fake tool with no runs recorded yet, on a server that is not joined.
void FreshTool(const std::string& path, const std::string& body) {
    Sandbox::Remove("/etc/samba/smb.conf");
    Sandbox::Remove("/tmp/" + path.substr(path.rfind('/') + 1) + ".args");
    WriteFakeTool(path, body);
}

TEST(InitPreService, RemovesStaleKerberosState) {
    const char* const files[] = {"/usr/qarn/etc/private/kdc_ip", "/etc/krb5.conf",
                                 "/usr/qarn/etc/private/workgroup", "/tmp/krb5cc_0"};
    for (const char* file : files) Sandbox::WriteFile(file, "stale\n");
    ExpectAnswer(CallEntry(InitPreService_v1), 0, Json::Value());
    for (const char* file : files) EXPECT_FALSE(Sandbox::Exists(file)) << file;
    ExpectAnswer(CallEntry(InitPreService_v1), 0, Json::Value());
}

TEST(SyncDCTime, SucceedsWhateverTheToolDoes) {
    const Json::Value domain = ParseJson(R"({"server_address": "example.test"})");
    FreshTool(kSyncTool, "exit 1");
    ExpectAnswer(CallEntry(SyncDCTime_v1, domain), 0, Json::Value());
    EXPECT_EQ(ToolArgs("qarnsyncdctime"), "EXAMPLE.TEST\n");
    EXPECT_FALSE(Sandbox::Logged("qarnsyncdctime to"));
    ExpectAnswer(CallEntry(SyncDCTime_v1), 0, Json::Value());  // no domain: not run
    EXPECT_EQ(ToolArgs("qarnsyncdctime"), "EXAMPLE.TEST\n");
    Sandbox::Remove(kSyncTool);
    ExpectAnswer(CallEntry(SyncDCTime_v1, domain), 0, Json::Value());
    EXPECT_TRUE(Sandbox::Logged("qarnsyncdctime to \"EXAMPLE.TEST\" fail"));
}

TEST(CheckRODC, WritableKeyDecides) {
    const std::pair<const char*, int> cases[] = {
        {"echo 'Is writable:   yes'", 0},
        {"echo 'Is writable:   no'", kReadOnlyDCFound},
        {"echo 'Is a PDC:   no'", 0},
        {"exit 1", kUnknownDomainError},
    };
    FreshTool(kNet, "");
    for (const auto& [body, code] : cases) {
        WriteFakeTool(kNet, body);
        QARN::APIResponse response =
            CallEntry(CheckRODC_v1, ParseJson(R"({"rwdc_fqdn_name": "dc9.example.test"})"));
        EXPECT_EQ(response.GetErrorCode(), code) << body;
        if (code == kReadOnlyDCFound) {
            EXPECT_EQ(response.GetData()["level"], static_cast<int>(kWarning));
        }
    }
    const std::string runs = ToolArgs("net");
    EXPECT_EQ(runs.substr(0, runs.find('\n')),
              "ads lookup -s /etc/samba/smb.join.conf -d0 -S dc9.example.test");
}

TEST(SmbAuthLocal, AccessDeniedOnAJoinedMemberIsAWarning) {
    FreshTool(kSmbclient, "echo 'session setup failed: NT_STATUS_ACCESS_DENIED'; exit 1");
    SetSecurity("ads");
    QARN::APIResponse response = CallEntry(
        TestSmbAuthLocal_v1, ParseJson(R"({"username": "EXAMPLE\\alice", "password": "pw"})"));
    EXPECT_EQ(response.GetErrorCode(), kAccessDeniedAllDCsADServer);
    EXPECT_EQ(response.GetData()["level"], static_cast<int>(kWarning));
    EXPECT_EQ(response.GetData()["info"]["ip"], "localhost");
    EXPECT_EQ(ToolArgs("smbclient"), "-U EXAMPLE\\alice%pw -L localhost\n");
}

struct LdapAuthCase {
    const char* name;
    const char* net;  // body of the fake net, answering per address and method
    int code;
    const char* details;  // "info" and "isPlural"
    int level;
};

class LdapAuthTest : public testing::TestWithParam<LdapAuthCase> {};

TEST_P(LdapAuthTest, EveryAddressWithBothMethods) {
    const LdapAuthCase& c = GetParam();
    FreshTool(kNet, c.net);
    QARN::APIResponse response =
        CallEntry(TestLDAPAuth_v1,
                  ParseJson(R"({"dc_ips": "192.0.2.10,192.0.2.11", "username": "alice@example.test",
                      "password": "pw"})"));
    EXPECT_EQ(response.GetErrorCode(), c.code);
    if (c.code == 0) return;
    Json::Value expected = ParseJson(c.details);
    expected["level"] = c.level;
    EXPECT_EQ(response.GetData(), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, LdapAuthTest,
    testing::Values(
        LdapAuthCase{"SecondMethodSucceedsEverywhere", "case $* in *ntlm) exit 1;; esac", 0, "", 0},
        LdapAuthCase{"OneAddressFailsBoth",
                     "case $* in *192.0.2.11*) echo 'ads_connect: Invalid credentials'; exit 1;; "
                     "esac",
                     kAuthFailedSomeDCs, R"({"info": {"ip": "192.0.2.11"}, "isPlural": false})",
                     kWarning},
        LdapAuthCase{"AllFailBothWithTheirOwnCodes",
                     "case $* in *ntlm) echo 'ads_connect: Invalid credentials';; *) echo "
                     "'Clock skew too great';; esac; exit 1",
                     kAuthFailed,
                     R"({"info": {"ips": ["192.0.2.10", "192.0.2.11"]}, "isPlural": true})",
                     kError},
        LdapAuthCase{"TimeLimitIsNoLogonServer", "exit 124", kNoDCReachable,
                     R"({"info": {"ips": ["192.0.2.10", "192.0.2.11"]}, "isPlural": true})",
                     kError}),
    [](const testing::TestParamInfo<LdapAuthCase>& info) { return info.param.name; });

TEST(LdapAuth, CommandLine) {
    FreshTool(kNet, "exit 0");
    CallEntry(TestLDAPAuth_v1, ParseJson(R"({"dc_ips": "192.0.2.10", "username": "a@x.test",
                                             "password": "pw", "debug_level": 0})"));
    EXPECT_EQ(ToolArgs("net"), "ads auth -d0 -U a@x.test%pw -S 192.0.2.10 ntlm\n");
}

}  // namespace
