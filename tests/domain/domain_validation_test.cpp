// The validation checks in the sandbox: the gate, the Samba settings check on real files, and fake
// tools only for outputs that the test bed's servers cannot be made to print.
#include <gtest/gtest.h>

#include "api_table.hpp"
#include "call.hpp"
#include "domain_probe.hpp"

namespace {

const Json::Value kNull;
const char kSystemctl[] = "/usr/local/sbin/systemctl";

TEST(CheckSMBConf, UnreadableFilesAndTheGate) {
    SetSecurity("ads", "\tprinting = bsd\n");
    Sandbox::Run({"/bin/mkdir", "-p", "/etc/samba/smb.join.conf"});
    ExpectAnswer(CallEntry(CheckSMBConf_v1), 1103, ErrorDetails(1103, false, 0));
    EXPECT_TRUE(Sandbox::Logged("Cannot open file: /etc/samba/smb.join.conf[0x0015 "));

    Sandbox::WriteFile("/etc/samba/smb.conf", "[global]\n\tserver role = dc\n");
    ExpectAnswer(CallEntry(CheckSMBConf_v1), 1102, ErrorDetails(1102, false, 0));

    SetSecurity("user");
    ExpectAnswer(CallEntry(CheckSMBConf_v1), 1126, kNull);
}

TEST(CheckTimeSync, GateAnswersWithoutTesting) {
    Sandbox::WriteFakeTool("/usr/local/bin/net", "exit 1");
    SetSecurity("domain");
    ExpectAnswer(CallEntry(CheckTimeSync_v1, ParseJson(R"({"dc_ips": "192.0.2.10"})")), 0, kNull);
    SetSecurity("user");
    ExpectAnswer(CallEntry(CheckTimeSync_v1, ParseJson(R"({"dc_ips": "192.0.2.10"})")), 1126,
                 kNull);
    EXPECT_EQ(Sandbox::FakeToolArgs("net"), "");
}

// Offsets at the limit and unreadable ones: no real clock is set that exactly.
TEST(CheckTimeSync, OnlyOffsetsBeyondFiveMinutes) {
    SetSecurity("ads");
    Sandbox::WriteFakeTool("/usr/local/bin/net", R"(case "$5" in
        10.0.0.1) echo 'Server_time_offset: 300' ;;
        10.0.0.2) echo 'Server_time_offset: -301' ;;
        10.0.0.3) echo 'Server time: now' ;;
        10.0.0.4) echo 'Server_time_offset: 99999999999' ;;
        esac)");
    QARN::APIResponse response = CallEntry(
        CheckTimeSync_v1, ParseJson(R"({"dc_ips": "10.0.0.1,10.0.0.2,10.0.0.3,10.0.0.4"})"));
    ExpectAnswer(response, 1082,
                 ErrorDetails(1082, false, 1, ParseJson(R"({"ips": ["10.0.0.2"]})")));
    EXPECT_TRUE(Sandbox::Logged("stoi fail: stoi"));
    EXPECT_EQ(Sandbox::FakeToolArgs("net"),
              "ads info -d0 -S 10.0.0.1\nads info -d0 -S 10.0.0.2\n"
              "ads info -d0 -S 10.0.0.3\nads info -d0 -S 10.0.0.4\n");
}

void WriteServiceManager(const char* enabledStatus) {
    Sandbox::WriteFakeTool(
        kSystemctl, std::string("[ \"$1\" = is-enabled ] && exit ") + enabledStatus + "\nexit 0");
}

// Winbind answering without ever printing its verdict, and a controller lookup that names no
// controller: outputs that winbind does not give on demand.
TEST(WinbindChecks, NoVerdictIsRetriedWithRestarts) {
    WriteServiceManager("0");
    Sandbox::WriteFakeTool("/usr/local/bin/wbinfo", "exit 0");
    ExpectAnswer(CallEntry(CheckWinbindAlive_v1), 1108, ErrorDetails(1108, false, 0));
    EXPECT_EQ(Sandbox::FakeToolArgs("wbinfo"), "-p\n-p\n-p\n");
    EXPECT_EQ(Sandbox::FakeToolArgs("systemctl"),
              "is-enabled winbind\nis-enabled winbind\nrestart winbind\n"
              "is-enabled winbind\nrestart winbind\n");
}

TEST(WinbindChecks, ControllerNotNamedAnswersAtOnce) {
    WriteServiceManager("0");
    Sandbox::WriteFakeTool("/usr/local/bin/wbinfo",
                           "echo 'failed to call wbcPingDc: WBC_ERR_DOMAIN_NOT_FOUND'");
    ExpectAnswer(CallEntry(CheckDCConnection_v1), 2002, ErrorDetails(2002, false, 0));
    EXPECT_EQ(Sandbox::FakeToolArgs("wbinfo"), "-P\n");
    EXPECT_EQ(Sandbox::FakeToolArgs("systemctl"), "");
}

TEST(WinbindChecks, NameServiceWithoutWorkgroup) {
    Sandbox::WriteFile("/etc/samba/smb.conf", "[global]\n\tsecurity = ads\n");
    ExpectAnswer(CallEntry(CheckNSS_v1), 1089, ErrorDetails(1089, false, 0));
    EXPECT_TRUE(Sandbox::Logged("Cannot get workgroup name"));
}

// Several trusted domains at once: the test bed has one forest.
TEST(CheckDuplicateSPN, ReplyCountsPerTrustedDomain) {
    SetSecurity("ads", "\trealm = example.com\n");
    Sandbox::WriteFile("/usr/qarn/etc/private/trust_domain_info",
                       "[EXAMPLE]\n\tFQDN=EXAMPLE.COM\n\tFQDN=CHILD.EXAMPLE.COM\n"
                       "\tFQDN=example.com\n\tFQDN=OTHER.COM\n\tFQDN=DOWN.COM\n");
    Sandbox::WriteFakeTool("/usr/local/bin/net", R"(case "$8" in
        DOWN.COM) exit 1 ;;
        OTHER.COM) echo 'Got 0 replies' ;;
        *) echo 'Got 1 replies'; echo 'servicePrincipalName: host/sandbox' ;;
        esac)");
    ExpectAnswer(
        CallEntry(CheckDuplicateSPN_v1), 1074,
        ErrorDetails(
            1074, false, 1,
            ParseJson(R"({"duplicate_spn_domain": ["CHILD.EXAMPLE.COM", "example.com"]})")));
    EXPECT_TRUE(
        Sandbox::Logged("Failed to get net ads search result for server [DOWN.COM], "
                        "filter [servicePrincipalName=host/sandbox]."));
}

}  // namespace
