// The domain service checks on answers the test bed's Samba cannot give; the rest runs against
// real controllers in tests/e2e/domain_service_e2e_test.cpp.
#include <gtest/gtest.h>

#include "api_table.hpp"
#include "call.hpp"
#include "domain_probe.hpp"

namespace {

const char kNet[] = "/usr/local/bin/net";

// A fake tool with no runs recorded yet, on a server that is not joined.
void FreshTool(const std::string& path, const std::string& body) {
    Sandbox::Remove("/etc/samba/smb.conf");
    Sandbox::Remove("/tmp/" + path.substr(path.rfind('/') + 1) + ".args");
    Sandbox::WriteFakeTool(path, body);
}

TEST(SyncDCTime, SucceedsWhateverTheToolDoes) {
    const Json::Value domain = ParseJson(R"({"server_address": "example.test"})");
    FreshTool("/usr/qarn/sbin/qarnsyncdctime", "exit 1");
    ExpectAnswer(CallEntry(SyncDCTime_v1, domain), 0, Json::Value());
    ExpectAnswer(CallEntry(SyncDCTime_v1), 0, Json::Value());  // no domain: not run
    EXPECT_EQ(Sandbox::FakeToolArgs("qarnsyncdctime"), "EXAMPLE.TEST\n");
    Sandbox::Remove("/usr/qarn/sbin/qarnsyncdctime");
    ExpectAnswer(CallEntry(SyncDCTime_v1, domain), 0, Json::Value());
    EXPECT_TRUE(Sandbox::Logged("qarnsyncdctime to \"EXAMPLE.TEST\" fail"));
}

// Debian's MIT Kerberos makes up for a skewed KDC clock: the test bed's controllers never refuse.
TEST(TestKinit, MachineTicketRefusedForTheClock) {
    FreshTool(kNet, "echo 'failed to kinit password: NT_STATUS_TIME_DIFFERENCE_AT_DC'; exit 1");
    SetSecurity("ads", "\trealm = example.test\n");
    ExpectAnswer(CallEntry(TestKinit_v1), kClockSkewTooGreat,
                 ParseJson(R"({"isPlural": false, "level": 0})"));
    EXPECT_EQ(Sandbox::FakeToolArgs("net"), "ads kerberos kinit -P -d0\n");
}

TEST(CheckRODC, NoWritableKey) {
    FreshTool(kNet, "echo 'Is a PDC:   no'");
    ExpectAnswer(CallEntry(CheckRODC_v1), 0, Json::Value());
    EXPECT_EQ(Sandbox::FakeToolArgs("net"), "ads lookup -s /etc/samba/smb.join.conf -d0\n");
}

TEST(SmbAuthLocal, AccessDeniedOnAJoinedMemberIsAWarning) {
    FreshTool("/usr/local/bin/smbclient", "echo 'NT_STATUS_ACCESS_DENIED'; exit 1");
    SetSecurity("ads");
    ExpectAnswer(
        CallEntry(TestSmbAuthLocal_v1, ParseJson(R"({"username": "a@x", "password": "p"})")),
        kAccessDeniedAllDCsADServer,
        ParseJson(R"({"info": {"ip": "localhost", "service": "SMB"}, "isPlural": false,
                               "level": 1})"));
    EXPECT_EQ(Sandbox::FakeToolArgs("smbclient"), "-U a@x%p -L localhost\n");
}

// NTLM refused but Kerberos accepted: the address passes, yet its NTLM failure stays in the
// collector, so every address counts as failed there and 1031 is not translated.
TEST(LdapAuth, AnAddressFailsOnlyWithBothMethods) {
    FreshTool(kNet,
              "case $* in *ntlm) exit 1;; *.11\\ krb5) echo 'Invalid credentials'; exit 1;; esac");
    ExpectAnswer(CallEntry(TestLDAPAuth_v1, ParseJson(R"({"dc_ips": "192.0.2.10,192.0.2.11",
                                                        "username": "a@x", "password": "p"})")),
                 kAuthFailed,
                 ParseJson(R"({"info": {"ip": "192.0.2.11"}, "isPlural": false, "level": 1})"));
    EXPECT_EQ(
        Sandbox::FakeToolArgs("net"),
        "ads auth -d1 -U a@x%p -S 192.0.2.10 ntlm\nads auth -d1 -U a@x%p -S 192.0.2.10 krb5\n"
        "ads auth -d1 -U a@x%p -S 192.0.2.11 ntlm\nads auth -d1 -U a@x%p -S 192.0.2.11 krb5\n");
}

}  // namespace
