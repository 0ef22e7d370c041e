// The domain service checks against real Samba domain controllers. Runs inside the test bed's
// server view; tests/testbed/run-service-e2e changes the controllers between the suites:
//   AllUp          dc1, dc2 and a read-only DC answer; a user object carries the server's name
//   Dc2Stopped     dc2 stopped (the read-only DC too, from here on)
//   AllStopped     dc1 and dc2 stopped
//   Skewed         dc1 ten minutes ahead of the server, dc2 stopped
//   Joined         the server joined, its winbindd and smbd running, dc1 on time again
//   JoinedSkewed   joined, dc1 ten minutes ahead
#include <gtest/gtest.h>

#include <cstdio>
#include <regex>

#include "api_table.hpp"
#include "call.hpp"
#include "domain_probe.hpp"
#include "e2e_testbed.hpp"

namespace {

const Testbed kBed;
const std::string kDc2 = TestbedValue("TESTBED_DC2_IP", "192.0.2.11");
const std::string kBoth = kBed.dc1 + "," + kDc2;

Json::Value Request(const std::string& dcIPs, const std::string& user = "alice",
                    const std::string& password = kBed.userPassword) {
    return kBed.Logon(user, password, dcIPs);
}

// A failure of level naming the failed hosts: one as "ip", several as "ips"; an SMB logon's
// names its service too.
void ExpectFailed(QARN::APIEntryFunction entry, const Json::Value& request, ErrorCode code,
                  ErrorSeverity level, const std::vector<std::string>& hosts) {
    Json::Value info(Json::objectValue);
    if (entry == TestSmbAuth_v1) info["service"] = "SMB";
    Json::Value ips(Json::arrayValue);
    for (const std::string& host : hosts) ips.append(host);
    info[hosts.size() > 1 ? "ips" : "ip"] = hosts.size() > 1 ? ips : ips[0];
    ExpectAnswer(CallEntry(entry, request), code,
                 ErrorDetails(code, hosts.size() > 1, level, info));
}

Json::Value Controller(const std::string& name) {
    return ParseJson(R"({"rwdc_fqdn_name": ")" + name + "\"}");
}

TEST(AllUp, ReadOnlyController) {
    Sandbox::WriteFile(
        "/etc/samba/smb.join.conf",
        "[global]\nsecurity=ads\nworkgroup=" + kBed.workgroup + "\nrealm=" + kBed.realm + "\n");
    ExpectAnswer(CallEntry(CheckRODC_v1, Controller(kBed.dc1)), 0, Json::Value());
    ExpectAnswer(CallEntry(CheckRODC_v1, Controller(TestbedValue("TESTBED_RODC_IP", "192.0.2.12"))),
                 kReadOnlyDCFound, ErrorDetails(kReadOnlyDCFound, false, kWarning));
}

// A user object named like the server: found once the server is an AD member, before it joins.
TEST(AllUp, ComputerNameTakenByAUser) {
    const Json::Value admin = Request(kBed.dc1, "administrator", kBed.adminPassword);
    ExpectAnswer(CallEntry(CheckComputerAccount_v1, admin), 0, Json::Value());
    const std::string original = Sandbox::ReadFile("/etc/samba/smb.conf");
    Sandbox::WriteFile(
        "/etc/samba/smb.conf",
        std::regex_replace(original, std::regex("security = user"), "security = ads"));
    QARN::APIResponse response = CallEntry(CheckComputerAccount_v1, admin);
    Sandbox::WriteFile("/etc/samba/smb.conf", original);
    ExpectAnswer(response, kComputerNameTaken, ParseJson(R"({"isPlural": false, "level": 0})"));
}

TEST(AllUp, Logons) {
    ExpectAnswer(CallEntry(TestSmbAuth_v1, Request(kBoth)), 0, Json::Value());
    ExpectAnswer(CallEntry(TestLDAPAuth_v1, Request(kBoth)), 0, Json::Value());
    ExpectFailed(TestLDAPAuth_v1, Request(kBoth, "bob", kBed.wrongPassword), kAuthFailed, kError,
                 {kBed.dc1, kDc2});
}

// Connection refused: smbclient prints no message of the table (1108); the net front tells
// "No logon servers are currently available" (1120).
TEST(Dc2Stopped, LogonsWarnAboutIt) {
    ExpectFailed(TestSmbAuth_v1, Request(kBoth), kUnknownDomainError, kWarning, {kDc2});
    ExpectFailed(TestLDAPAuth_v1, Request(kBoth), kNoDCReachable, kWarning, {kDc2});
}

TEST(AllStopped, NothingAnswers) {
    ExpectFailed(TestSmbAuth_v1, Request(kBoth), kUnknownDomainError, kError, {kBed.dc1, kDc2});
    ExpectFailed(TestLDAPAuth_v1, Request(kBoth), kNoDCReachable, kError, {kBed.dc1, kDc2});
    EXPECT_EQ(CallEntry(CheckRODC_v1, Controller(kBed.dc1)).GetErrorCode(), kUnknownDomainError);
}

// The time tool as the check runs it, expected to exit with status; what it printed.
std::string RunSyncTool(int status) {
    FILE* pipe = popen(("/usr/qarn/sbin/qarnsyncdctime " + kBed.realm + " 2>&1").c_str(), "r");
    std::string output;
    char buffer[256];
    while (fgets(buffer, sizeof buffer, pipe) != nullptr) output += buffer;
    EXPECT_EQ(WEXITSTATUS(pclose(pipe)), status) << output;
    return output;
}

// The server's view has no CAP_SYS_TIME: the tool reads the skewed time and reports the refusal.
TEST(Skewed, TimeToolTriesToFollowTheController) {
    const std::string output = RunSyncTool(1);
    EXPECT_TRUE(std::regex_search(
        output,
        std::regex(R"(offset \+(599|600)\.\d s: cannot set the clock: Operation not permitted)")))
        << output;
    ExpectAnswer(CallEntry(SyncDCTime_v1, Request(kBed.dc1)), 0, Json::Value());
}

// MIT Kerberos retries on the KDC's clock (kdc_timesync, on by default). Without that, kinit
// fails with "Clock skew too great", which the platform's kinit reports as a failure (502).
TEST(Skewed, UserTicket) {
    ExpectAnswer(CallEntry(TestKinit_v1, Request(kBed.dc1)), 0, Json::Value());
    Sandbox::WriteFile("/tmp/no_timesync.conf", "[libdefaults]\n\tkdc_timesync = 0\n");
    setenv("KRB5_CONFIG", "/etc/krb5.conf:/tmp/no_timesync.conf", 1);
    QARN::APIResponse response = CallEntry(TestKinit_v1, Request(kBed.dc1));
    unsetenv("KRB5_CONFIG");
    EXPECT_EQ(response.GetErrorCode(), kInternalStepFailed) << response.ToJson();
}

TEST(Joined, ComputerAccountTimeAndLocalLogon) {
    ExpectAnswer(
        CallEntry(CheckComputerAccount_v1, Request(kBed.dc1, "administrator", kBed.adminPassword)),
        0, Json::Value());
    ExpectAnswer(CallEntry(TestSmbAuthLocal_v1, Request(kBed.dc1)), 0, Json::Value());
    const std::string output = RunSyncTool(0);
    EXPECT_NE(output.find("clock kept"), std::string::npos) << output;
}

// Samba's net asks for the machine ticket with a configuration of its own (timesync on).
TEST(JoinedSkewed, MachineTicket) {
    ExpectAnswer(CallEntry(TestKinit_v1, Request(kBed.dc1)), 0, Json::Value());
}

}  // namespace
