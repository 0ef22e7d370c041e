// Hostile input: no tool sees a request value as an option, every tool run ends within its
// bounds and is then no clean answer, and files another user planted at the module's /tmp paths
// are neither followed, nor waited on, nor trusted.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <regex>

#include "api_table.hpp"
#include "call.hpp"
#include "domain_probe.hpp"
#include "ldap_cache_reader.hpp"
#include "ldap_cache_writer.hpp"
#include "net_lab.hpp"
#include "spawn.hpp"
#include "tcp_listener.hpp"

namespace {

const int kTestTimeLimit = 2;
const size_t kTestOutputCap = 1 << 20;
const char* const kTools[] = {"/usr/bin/nslookup",
                              "/usr/local/bin/net",
                              "/usr/local/bin/smbclient",
                              "/usr/local/bin/wbinfo",
                              "/usr/local/bin/tdbtool",
                              "/usr/bin/kinit",
                              "/usr/bin/klist",
                              "/bin/ping",
                              "/sbin/arping",
                              "/usr/qarn/sbin/qarnwin",
                              "/usr/qarn/sbin/qarnsyncdctime"};

class HardeningTest : public testing::Test {
  protected:
    void SetUp() override { platform::SetDefaultLimits(kTestTimeLimit, kTestOutputCap); }
};

// The arguments every fake tool ran with, a line a run.
std::string ToolRuns() {
    std::string runs;
    for (const char* tool : kTools) runs += Sandbox::FakeToolArgs(strrchr(tool, '/') + 1);
    return runs;
}

void ResetTools() {
    for (const char* tool : kTools) {
        Sandbox::WriteFakeTool(tool, "exit 1");
        Sandbox::Remove(std::string("/tmp/") + (strrchr(tool, '/') + 1) + ".args");
    }
}

// A request value that some tool takes as an argument of its own; MARK shows where it went.
struct ToolValue {
    const char* name;
    const char* json;  // "MARK" stands for the marker, with or without a leading "-"
};
const ToolValue kToolValues[] = {
    {"server_address", R"("MARK.ex.test")"},
    {"dns", R"("MARK")"},
    {"dc_ips", R"("192.0.2.10, MARK")"},
    {"test_ip", R"("MARK")"},
    {"srv", R"({"kerberos": ["MARK."], "ldap": ["MARK."]})"},
    {"srv_target_ip", R"({"kerberos": ["MARK"], "ldap": ["MARK"]})"},
    {"rwdc_fqdn_name", R"("MARK")"},
    {"username", R"("EX\\MARK")"},
};

Json::Value ValueOf(const ToolValue& value, const std::string& mark) {
    return ParseJson(std::regex_replace(value.json, std::regex("MARK"), mark));
}

// True when some tool got an argument that starts with text.
bool ToolGotArgument(const std::string& text) {
    return std::regex_search(ToolRuns(), std::regex("(^| )" + text, std::regex::icase));
}

QARN::APIResponse CallRow(const QARN::WebAPIEntry& row, const Json::Value& params) {
    QARN::APIRequest request(row.api, row.method, static_cast<int>(row.version), params, "admin",
                             "127.0.0.1");
    QARN::APIResponse response;
    row.entry(&request, &response);
    return response;
}

// Every row, every tool value: where the plain value reaches a tool as an argument of its own,
// the value with a leading "-" is refused with 501 before any tool runs; elsewhere no tool sees
// it either.
TEST_F(HardeningTest, NoToolSeesARequestValueAsAnOption) {
    Sandbox::WriteFile("/etc/samba/smb.conf",
                       "[global]\nsecurity = ads\nrealm = EX.TEST\nworkgroup = EX\n");
    TcpListener dns("127.0.0.3", 53);
    Json::Value plain(Json::objectValue);
    plain["password"] = "pw";
    plain["server_type"] = "ads";
    plain["record_type"] = "a";
    for (size_t i = 0; i < std::size(kToolValues); ++i) {
        plain[kToolValues[i].name] = ValueOf(kToolValues[i], "plain" + std::to_string(i));
    }
    plain["dns"] = "127.0.0.3";  // a DNS server must be an address to get as far as a tool
    int refused = 0;
    for (const QARN::WebAPIEntry* row = GetAPITable(); row->api != nullptr; ++row) {
        ResetTools();
        CallRow(*row, plain);
        Json::Value hostile = plain;
        for (size_t i = 0; i < std::size(kToolValues); ++i) {
            const std::string mark = "plain" + std::to_string(i);
            Json::Value one = plain;
            one[kToolValues[i].name] = ValueOf(kToolValues[i], "-" + mark);
            hostile[kToolValues[i].name] = one[kToolValues[i].name];
            if (!ToolGotArgument(mark)) continue;
            ResetTools();
            EXPECT_EQ(CallRow(*row, one).GetErrorCode(), 501) << row->method << " " << mark;
            EXPECT_EQ(ToolRuns(), "") << row->method << " " << mark;
            ++refused;
        }
        ResetTools();
        CallRow(*row, hostile);
        EXPECT_FALSE(ToolGotArgument("-plain")) << row->method << "\n" << ToolRuns();
    }
    EXPECT_GE(refused, 14);
}

// A tool that never ends (or ends only at its time limit) gives the answer of a failed run.
struct StuckCase {
    const char* name;
    QARN::APIEntryFunction entry;
    const char* params;
    const char* tool;
    const char* body;
    int code;
};

class StuckToolTest : public HardeningTest, public testing::WithParamInterface<StuckCase> {};

int ProcessesRunning(const std::string& text) {
    int count = 0;
    for (int pid = 2; pid < 32768; ++pid) {
        std::ifstream cmdline("/proc/" + std::to_string(pid) + "/cmdline");
        std::string line;
        if (std::getline(cmdline, line) && line.find(text) != std::string::npos) ++count;
    }
    return count;
}

TEST_P(StuckToolTest, EndsAsAFailedRun) {
    const StuckCase& c = GetParam();
    NetLab lab;
    TcpListener dns("127.0.0.3", 53);
    Sandbox::WriteFakeTool(c.tool, c.body);
    EXPECT_EQ(CallEntry(c.entry, ParseJson(c.params)).GetErrorCode(), c.code);
    for (int wait = 0; wait < 100 && ProcessesRunning("sleep") > 0; ++wait) usleep(10000);
    EXPECT_EQ(ProcessesRunning("sleep"), 0);
}

const char kAddress[] = R"({"server_address": "ex.test", "dns": "127.0.0.3"})";
const char kTestIP[] = R"({"test_ip": "10.20.0.50"})";
const char kRecord[] = R"({"server_address": "ex.test", "dns": "127.0.0.3", "record_type": "a"})";

INSTANTIATE_TEST_SUITE_P(
    Cases, StuckToolTest,
    testing::Values(StuckCase{"HangingNslookup", TestDNSValid_v1, kAddress, "/usr/bin/nslookup",
                              "sleep 600", 1000},
                    StuckCase{"QarnwinHangingAfterACleanLine", TestHostnameConflict_v1, kAddress,
                              "/usr/qarn/sbin/qarnwin", "echo 'no conflict'; sleep 600", 502},
                    StuckCase{"FloodingQarnwin", TestHostnameConflict_v1, kAddress,
                              "/usr/qarn/sbin/qarnwin", "tr '\\000' x < /dev/zero", 502},
                    StuckCase{"HangingArpingForDuplicates", TestNasIPConflict_v1, "{}",
                              "/sbin/arping", "sleep 600", 502},
                    StuckCase{"ArpingAtTheTimeoutTool", TestIPConflict_v1, kTestIP, "/sbin/arping",
                              "sleep 600", 502},
                    StuckCase{"FloodingArping", TestIPConflict_v1, kTestIP, "/sbin/arping",
                              "yes 'Unicast reply from 10.20.0.50 [00:00:00:00:00:0'", 502},
                    StuckCase{"FloodingNslookup", TestDNSRecord_v1, kRecord, "/usr/bin/nslookup",
                              "yes 'Address: 192.0.2.1'", 1001}),
    [](const testing::TestParamInfo<StuckCase>& info) { return info.param.name; });

// Files planted at the module's /tmp paths by another user (nobody).
const uid_t kNobody = 65534;
const char kTarget[] = "/etc/hardening_target";
const char kForged[] = R"({"init_time": 1, "user": [{"uid": "forged", "uidNumber": "1"}]})";

struct Plant {
    const char* name;
    std::function<void(const std::string&)> make;
};

void Owned(const std::string& path, const std::string& content, mode_t mode) {
    Sandbox::WriteFile(path, content, mode);
    ASSERT_EQ(chown(path.c_str(), kNobody, kNobody), 0);
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
}

const Plant kPlants[] = {
    {"Symlink",
     [](const std::string& path) {
         ASSERT_EQ(symlink(kTarget, path.c_str()), 0);
         ASSERT_EQ(lchown(path.c_str(), kNobody, kNobody), 0);
     }},
    {"HardLink",
     [](const std::string& path) {
         Owned("/tmp/nobody_file", kForged, 0644);
         ASSERT_EQ(link("/tmp/nobody_file", path.c_str()), 0);
     }},
    {"Fifo",
     [](const std::string& path) {
         ASSERT_EQ(mkfifo(path.c_str(), 0666), 0);
         ASSERT_EQ(chown(path.c_str(), kNobody, kNobody), 0);
     }},
    {"WorldWritable", [](const std::string& path) { Owned(path, kForged, 0666); }},
    {"Forged", [](const std::string& path) { Owned(path, kForged, 0644); }},
};

class PlantedFileTest : public HardeningTest, public testing::WithParamInterface<Plant> {
  protected:
    void SetUp() override {
        HardeningTest::SetUp();
        Sandbox::WriteFile(kTarget, "target\n", 0644);
    }
    // What the plant pointed at is untouched; the path holds a file of root's with mode.
    static void ExpectReplaced(const std::string& path, mode_t mode) {
        EXPECT_EQ(Sandbox::ReadFile(kTarget), "target\n");
        if (Sandbox::Exists("/tmp/nobody_file")) {
            EXPECT_EQ(Sandbox::ReadFile("/tmp/nobody_file"), kForged);
        }
        struct stat status;
        ASSERT_EQ(lstat(path.c_str(), &status), 0);
        EXPECT_TRUE(S_ISREG(status.st_mode));
        EXPECT_EQ(status.st_uid, 0u);
        EXPECT_EQ(status.st_nlink, 1u);
        EXPECT_EQ(status.st_mode & 07777, mode);
    }
};

TEST_P(PlantedFileTest, ProgressFileIsAbsentThenReplaced) {
    GetParam().make("/tmp/dir_service_check_progress.json");
    ExpectAnswer(CallEntry(UpdateProgress_v1, ParseJson(R"({"init_time": 1})")), 1113,
                 Json::Value());
    EXPECT_TRUE(CallEntry(StartProgress_v1, ParseJson(R"({"server_type": "ldap"})")).IsSuccess());
    ExpectReplaced("/tmp/dir_service_check_progress.json", 0644);
}

TEST_P(PlantedFileTest, LDAPCacheIsAbsentThenReplacedPrivately) {
    const std::string path = "/tmp/LDAP_result_user.json";
    GetParam().make(path);
    int entries = 0;
    EXPECT_FALSE(LDAPCacheReader(path, "user").Read([&](const LDAPEntry&, const ResultAttributes&) {
        ++entries;
    }));
    EXPECT_EQ(entries, 0);
    LDAPCacheWriter writer(path, "user");
    EXPECT_TRUE(writer.Commit(ParseJson(R"({"server_type": "openldap"})")));
    ExpectReplaced(path, 0600);
}

// smbclient never writes through what was planted, and a planted file is no policy.
TEST_P(PlantedFileTest, PolicyTemplateIsOursOnly) {
    SetSecurity("ads", "\trealm = example.test\n");
    Sandbox::WriteFile("/etc/krb5.conf", "kept\n");
    Sandbox::WriteFakeTool("/usr/local/bin/net",
                           "case \"$2\" in info) echo 'LDAP_server_name: dc1';; esac");
    Sandbox::WriteFakeTool("/usr/local/bin/smbclient",
                           "echo NT_STATUS_OBJECT_NAME_NOT_FOUND; exit 1");
    DomainFixture fixture(ParseJson(R"({"dc_ips": "192.0.2.10"})"));
    std::vector<std::string> lines;
    GetParam().make("/tmp/GptTmpl.inf");
    EXPECT_EQ(fixture.probe.GetGPO("{ID}", lines), kGPONotFound);
    EXPECT_TRUE(lines.empty());
    GetParam().make("/tmp/GptTmpl.inf");
    Sandbox::WriteFakeTool("/usr/local/bin/smbclient",
                           "printf '\\377\\376x\\000' > /tmp/GptTmpl.inf");
    EXPECT_EQ(fixture.probe.GetGPO("{ID}", lines), kNoError);
    EXPECT_EQ(lines, std::vector<std::string>{"x"});
    EXPECT_EQ(Sandbox::ReadFile(kTarget), "target\n");
}

INSTANTIATE_TEST_SUITE_P(Plants, PlantedFileTest, testing::ValuesIn(kPlants),
                         [](const testing::TestParamInfo<Plant>& info) { return info.param.name; });

}  // namespace
