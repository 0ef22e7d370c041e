// The domain service checks against real Samba domain controllers. Runs inside the test bed's
// server view; tests/testbed/run-service-e2e changes the controllers between the suites:
//   AllUp*         dc1, dc2 and a read-only DC answer; a user object carries the server's name
//   Dc2Stopped*    dc2 stopped (the read-only DC too, from here on)
//   AllStopped*    dc1 and dc2 stopped
//   Skewed*        dc1 ten minutes ahead of the server, dc2 stopped
//   Joined*        the server joined and its smbd running, dc1 on time again
//   JoinedSkewed*  joined, dc1 ten minutes ahead
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <regex>

#include "api_table.hpp"
#include "call.hpp"
#include "domain_probe.hpp"
#include "testbed_env.hpp"

namespace {

const Testbed kBed;
const std::string kDc2 = TestbedValue("TESTBED_DC2_IP", "192.0.2.11");
const std::string kRodc = TestbedValue("TESTBED_RODC_IP", "192.0.2.12");
const char kSmbConf[] = "/etc/samba/smb.conf";

Json::Value Request(const std::string& user, const std::string& password,
                    const std::string& dcIPs) {
    Json::Value params(Json::objectValue);
    params["server_address"] = kBed.dnsDomain;
    params["dc_ips"] = dcIPs;
    params["username"] = user;
    params["password"] = password;
    return params;
}

Json::Value Alice(const std::string& dcIPs) {
    return Request("alice", kBed.userPassword, dcIPs);
}

Json::Value Administrator() {
    return Request("administrator", kBed.adminPassword, kBed.dc1);
}

std::string BothDCs() {
    return kBed.dc1 + "," + kDc2;
}

std::string ReadAll(const std::string& path) {
    std::ifstream file(path);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

void WriteAll(const std::string& path, const std::string& text) {
    std::ofstream(path) << text;
}

// Expects a failure of level with the failed hosts as the checks report them.
void ExpectFailedHosts(const QARN::APIResponse& response, ErrorCode code, ErrorSeverity level,
                       const std::vector<std::string>& hosts) {
    ASSERT_FALSE(response.IsSuccess());
    EXPECT_EQ(response.GetErrorCode(), code) << response.ToJson();
    const Json::Value& data = response.GetData();
    EXPECT_EQ(data["level"], static_cast<int>(level));
    if (hosts.size() == 1) {
        EXPECT_EQ(data["info"]["ip"], hosts[0]);
        EXPECT_EQ(data["isPlural"], false);
    } else {
        Json::Value ips(Json::arrayValue);
        for (const std::string& host : hosts) ips.append(host);
        EXPECT_EQ(data["info"]["ips"], ips);
        EXPECT_EQ(data["isPlural"], true);
    }
}

TEST(AllUp, ReadOnlyController) {
    WriteAll("/etc/samba/smb.join.conf", "[global]\nsecurity=ads\nworkgroup=" + kBed.workgroup +
                                             "\nrealm=" + kBed.realm + "\n");
    Json::Value params(Json::objectValue);
    params["rwdc_fqdn_name"] = kBed.dc1;
    ExpectAnswer(CallEntry(CheckRODC_v1, params), 0, Json::Value());
    params["rwdc_fqdn_name"] = kRodc;
    QARN::APIResponse response = CallEntry(CheckRODC_v1, params);
    EXPECT_EQ(response.GetErrorCode(), kReadOnlyDCFound);
    EXPECT_EQ(response.GetData()["level"], static_cast<int>(kWarning));
    params["rwdc_fqdn_name"] = "192.0.2.99";  // nobody there
    EXPECT_EQ(CallEntry(CheckRODC_v1, params).GetErrorCode(), kUnknownDomainError);
}

// A user object named like the server: taken once the server is an AD member, before it joins.
TEST(AllUp, ComputerNameTakenByAUser) {
    const std::string original = ReadAll(kSmbConf);
    ExpectAnswer(CallEntry(CheckComputerAccount_v1, Administrator()), 0, Json::Value());
    WriteAll(kSmbConf, std::regex_replace(original, std::regex("security = user"),
                                          "security = ads"));
    QARN::APIResponse response = CallEntry(CheckComputerAccount_v1, Administrator());
    WriteAll(kSmbConf, original);
    EXPECT_EQ(response.GetErrorCode(), kComputerNameTaken) << response.ToJson();
    EXPECT_EQ(response.GetData()["level"], static_cast<int>(kError));
}

TEST(AllUp, LogonsSucceedEverywhere) {
    for (QARN::APIEntryFunction entry : {TestSmbAuth_v1, TestLDAPAuth_v1}) {
        QARN::APIResponse response = CallEntry(entry, Alice(BothDCs()));
        EXPECT_TRUE(response.IsSuccess()) << response.ToJson();
    }
}

TEST(AllUp, WrongPasswordOnEveryController) {
    QARN::APIResponse response =
        CallEntry(TestLDAPAuth_v1, Request("bob", kBed.wrongPassword, BothDCs()));
    ExpectFailedHosts(response, kAuthFailed, kError, {kBed.dc1, kDc2});
}

TEST(Dc2Stopped, LogonsWarnAboutIt) {
    ExpectFailedHosts(CallEntry(TestSmbAuth_v1, Alice(BothDCs())), kUnknownDomainError, kWarning,
                      {kDc2});
    ExpectFailedHosts(CallEntry(TestLDAPAuth_v1, Alice(BothDCs())), kNoDCReachable, kWarning,
                      {kDc2});
}

TEST(AllStopped, LogonsFail) {
    ExpectFailedHosts(CallEntry(TestSmbAuth_v1, Alice(BothDCs())), kUnknownDomainError, kError,
                      {kBed.dc1, kDc2});
    ExpectFailedHosts(CallEntry(TestLDAPAuth_v1, Alice(BothDCs())), kNoDCReachable, kError,
                      {kBed.dc1, kDc2});
}

// Runs the time tool as the check does and returns what it wrote to stderr.
std::string RunSyncTool(int& status) {
    FILE* pipe = popen(("/usr/qarn/sbin/qarnsyncdctime " + kBed.realm + " 2>&1").c_str(), "r");
    std::string output;
    char buffer[256];
    while (fgets(buffer, sizeof buffer, pipe) != nullptr) output += buffer;
    status = WEXITSTATUS(pclose(pipe));
    return output;
}

// The server cannot set the clock it shares with the machine (no CAP_SYS_TIME in its view): the
// tool reads the skewed time and reports the refused attempt.
TEST(Skewed, TimeToolTriesToFollowTheController) {
    int status = 0;
    std::string output = RunSyncTool(status);
    EXPECT_EQ(status, 1) << output;
    EXPECT_TRUE(std::regex_search(output, std::regex(R"(offset \+(599|60[01])\.\d s: cannot set )"
                                                     R"(the clock: Operation not permitted)")))
        << output;
    ExpectAnswer(CallEntry(SyncDCTime_v1, Alice(kBed.dc1)), 0, Json::Value());
}

TEST(Skewed, UserTicket) {
    QARN::APIResponse response = CallEntry(TestKinit_v1, Alice(kBed.dc1));
    EXPECT_EQ(response.GetErrorCode(), 0) << response.ToJson();
}

TEST(Joined, ComputerAccountIsTheServers) {
    ExpectAnswer(CallEntry(CheckComputerAccount_v1, Administrator()), 0, Json::Value());
}

TEST(Joined, LocalSmbLogon) {
    QARN::APIResponse response = CallEntry(TestSmbAuthLocal_v1, Alice(kBed.dc1));
    EXPECT_TRUE(response.IsSuccess()) << response.ToJson();
}

TEST(Joined, TimeToolKeepsAClockOnTime) {
    int status = 0;
    std::string output = RunSyncTool(status);
    EXPECT_EQ(status, 0) << output;
    EXPECT_NE(output.find("clock kept"), std::string::npos) << output;
}

TEST(JoinedSkewed, MachineTicket) {
    QARN::APIResponse response = CallEntry(TestKinit_v1, Alice(kBed.dc1));
    EXPECT_EQ(response.GetErrorCode(), kClockSkewTooGreat) << response.ToJson();
    EXPECT_EQ(response.GetData()["level"], static_cast<int>(kError));
}

}  // namespace
