// Hostile input: no tool sees a request value as an option, every tool run ends within its
// bounds and is then no clean answer, and files another user planted at the module's /tmp paths
// are neither followed, nor waited on, nor trusted.
#include <gtest/gtest.h>
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
    void SetUp() override { platform::SetDefaultLimits(2, 1 << 20); }
};

// Every fake tool records its arguments and fails; returns what they recorded so far.
std::string ToolRuns(bool reset = false) {
    std::string runs;
    for (const char* tool : kTools) {
        const char* name = strrchr(tool, '/') + 1;
        if (reset) Sandbox::WriteFakeTool(tool, "exit 1");
        if (reset) Sandbox::Remove(std::string("/tmp/") + name + ".args");
        runs += Sandbox::FakeToolArgs(name);
    }
    return runs;
}

// Request values that tools take as arguments of their own; MARK shows where each went.
const std::pair<const char*, const char*> kToolValues[] = {
    {"server_address", R"("MARK.ex.test")"},
    {"dc_ips", R"("192.0.2.10, MARK")"},
    {"test_ip", R"("MARK")"},
    {"srv", R"({"kerberos": ["MARK."], "ldap": ["MARK."]})"},
    {"srv_target_ip", R"({"kerberos": ["MARK"], "ldap": ["MARK"]})"},
    {"rwdc_fqdn_name", R"("MARK")"},
    {"username", R"("EX\\MARK")"},
    {"dns", R"("MARK")"}};

bool ToolGotArgument(const std::string& start) {
    return std::regex_search(ToolRuns(), std::regex("(^| )" + start, std::regex::icase));
}

int CallRow(const QARN::WebAPIEntry& row, const Json::Value& params) {
    QARN::APIRequest request(row.api, row.method, int(row.version), params, "admin", "127.0.0.1");
    QARN::APIResponse response;
    row.entry(&request, &response);
    return response.GetErrorCode();
}

// Every row, every tool value: where the plain value reaches a tool as an argument of its own,
// the value with a leading "-" is refused with 501 before any tool runs; elsewhere no tool sees
// it either.
TEST_F(HardeningTest, NoToolSeesARequestValueAsAnOption) {
    SetSecurity("ads", "realm = EX.TEST\nworkgroup = EX\n");
    TcpListener dns("127.0.0.3", 53);
    Json::Value plain =
        ParseJson(R"({"password": "pw", "server_type": "ads", "record_type": "a"})");
    for (size_t i = 0; i < std::size(kToolValues); ++i) {
        std::string value = "plain" + std::to_string(i);
        plain[kToolValues[i].first] =
            ParseJson(std::regex_replace(kToolValues[i].second, std::regex("MARK"), value));
    }
    plain["dns"] = "127.0.0.3";  // a DNS server must be an address to get as far as a tool
    int refused = 0;
    for (const QARN::WebAPIEntry* row = GetAPITable(); row->api != nullptr; ++row) {
        ToolRuns(true);
        CallRow(*row, plain);
        Json::Value hostile = plain;
        for (size_t i = 0; i < std::size(kToolValues); ++i) {
            const std::string mark = "plain" + std::to_string(i), name = kToolValues[i].first;
            hostile[name] = ParseJson(
                std::regex_replace(kToolValues[i].second, std::regex("MARK"), "-" + mark));
            if (!ToolGotArgument(mark)) continue;
            Json::Value one = plain;
            one[name] = hostile[name];
            ToolRuns(true);
            EXPECT_EQ(CallRow(*row, one), 501) << row->method << " " << name;
            EXPECT_EQ(ToolRuns(), "") << row->method << " " << name;
            ++refused;
        }
        ToolRuns(true);
        CallRow(*row, hostile);
        EXPECT_FALSE(ToolGotArgument("-plain")) << row->method << "\n" << ToolRuns();
    }
    EXPECT_GE(refused, 14);
}

// A tool that hangs or floods gives the answer of a failed run, and leaves nothing running.
struct StuckCase {
    const char* name;
    QARN::APIEntryFunction entry;
    const char* params;
    const char* tool;
    const char* body;
    int code;
};

class StuckToolTest : public HardeningTest, public testing::WithParamInterface<StuckCase> {};

bool SleepRunning() {
    for (int pid = 2; pid < 32768; ++pid) {
        std::string line;
        if (std::getline(std::ifstream("/proc/" + std::to_string(pid) + "/cmdline"), line) &&
            line.find("sleep") != std::string::npos)
            return true;
    }
    return false;
}

TEST_P(StuckToolTest, EndsAsAFailedRun) {
    const StuckCase& c = GetParam();
    NetLab lab;
    TcpListener dns("127.0.0.3", 53);
    Sandbox::WriteFakeTool(c.tool, c.body);
    EXPECT_EQ(CallEntry(c.entry, ParseJson(c.params)).GetErrorCode(), c.code);
    for (int wait = 0; wait < 100 && SleepRunning(); ++wait) usleep(10000);
    EXPECT_FALSE(SleepRunning());
}

const char kAddress[] = R"({"server_address": "ex.test", "dns": "127.0.0.3", "record_type": "a"})";
const char kTestIP[] = R"({"test_ip": "10.20.0.50"})";

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
                    StuckCase{"ArpingUnderTheTimeoutTool", TestIPConflict_v1, kTestIP,
                              "/sbin/arping", "sleep 600", 502},
                    StuckCase{"FloodingArping", TestIPConflict_v1, kTestIP, "/sbin/arping",
                              "yes 'Unicast reply from 10.20.0.50 [00:00:00:00:00:0'", 502},
                    StuckCase{"FloodingNslookup", TestDNSRecord_v1, kAddress, "/usr/bin/nslookup",
                              "yes 'Address: 192.0.2.1'", 1001}),
    [](const testing::TestParamInfo<StuckCase>& info) { return info.param.name; });

// Files planted at each /tmp path by another user (nobody).
const uid_t kNobody = 65534;
const char kTarget[] = "/etc/hardening_target";
const char kForged[] = R"({"init_time": 1, "user": [{"uid": "forged", "uidNumber": "1"}]})";

void PlantFile(const std::string& path, mode_t mode) {
    Sandbox::WriteFile(path, kForged, mode);
    ASSERT_EQ(chown(path.c_str(), kNobody, kNobody) | chmod(path.c_str(), mode), 0);
}

const std::pair<const char*, std::function<void(const std::string&)>> kPlants[] = {
    {"Symlink",
     [](const std::string& path) {
         ASSERT_EQ(symlink(kTarget, path.c_str()) | lchown(path.c_str(), kNobody, kNobody), 0);
     }},
    {"HardLink",
     [](const std::string& path) {
         PlantFile("/tmp/nobody_file", 0644);
         ASSERT_EQ(link("/tmp/nobody_file", path.c_str()), 0);
     }},
    {"Fifo",
     [](const std::string& path) {
         ASSERT_EQ(mkfifo(path.c_str(), 0666) | chown(path.c_str(), kNobody, kNobody), 0);
     }},
    {"WorldWritable", [](const std::string& path) { PlantFile(path, 0666); }},
    {"Forged", [](const std::string& path) { PlantFile(path, 0644); }},
};

class PlantedFileTest : public HardeningTest, public testing::WithParamInterface<size_t> {
  protected:
    void Plant(const std::string& path) {
        Sandbox::Remove("/tmp/nobody_file");
        Sandbox::WriteFile(kTarget, "target\n", 0644);
        kPlants[GetParam()].second(path);
    }
    // What the plant pointed at is untouched; the path holds root's file with the mode.
    static void ExpectReplaced(const std::string& path, mode_t mode) {
        EXPECT_EQ(Sandbox::ReadFile(kTarget), "target\n");
        if (Sandbox::Exists("/tmp/nobody_file")) {
            EXPECT_EQ(Sandbox::ReadFile("/tmp/nobody_file"), kForged);
        }
        struct stat status;
        ASSERT_EQ(lstat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode, S_IFREG | mode);
        EXPECT_EQ(status.st_uid, 0u);
        EXPECT_EQ(status.st_nlink, 1u);
    }
};

TEST_P(PlantedFileTest, NeitherFollowedNorTrusted) {
    Plant("/tmp/dir_service_check_progress.json");
    EXPECT_EQ(CallEntry(UpdateProgress_v1, ParseJson(R"({"init_time": 1})")).GetErrorCode(), 1113);
    EXPECT_TRUE(CallEntry(StartProgress_v1, ParseJson(R"({"server_type": "ldap"})")).IsSuccess());
    ExpectReplaced("/tmp/dir_service_check_progress.json", 0644);

    const std::string cache = "/tmp/LDAP_result_user.json";
    Plant(cache);
    EXPECT_FALSE(LDAPCacheReader(cache, "user").Read([](const LDAPEntry&, const ResultAttributes&) {
        FAIL();
    }));
    EXPECT_TRUE(LDAPCacheWriter(cache, "user").Commit(ParseJson(R"({"server_type": "openldap"})")));
    ExpectReplaced(cache, 0600);

    // smbclient never writes through a plant, and a planted file is no policy.
    SetSecurity("ads", "\trealm = example.test\n");
    Sandbox::WriteFile("/etc/krb5.conf", "kept\n");
    Sandbox::WriteFakeTool("/usr/local/bin/net",
                           "case \"$2\" in info) echo 'LDAP_server_name: dc1';; esac");
    Sandbox::WriteFakeTool("/usr/local/bin/smbclient",
                           "echo NT_STATUS_OBJECT_NAME_NOT_FOUND; exit 1");
    DomainFixture fixture(ParseJson(R"({"dc_ips": "192.0.2.10"})"));
    std::vector<std::string> lines;
    Plant("/tmp/GptTmpl.inf");
    EXPECT_EQ(fixture.probe.GetGPO("{ID}", lines), kGPONotFound);
    Plant("/tmp/GptTmpl.inf");
    Sandbox::WriteFakeTool("/usr/local/bin/smbclient",
                           "printf '\\377\\376x\\000' > /tmp/GptTmpl.inf");
    EXPECT_EQ(fixture.probe.GetGPO("{ID}", lines), kNoError);
    EXPECT_EQ(lines, std::vector<std::string>{"x"});
    EXPECT_EQ(Sandbox::ReadFile(kTarget), "target\n");
}

INSTANTIATE_TEST_SUITE_P(Plants, PlantedFileTest, testing::Range(size_t(0), std::size(kPlants)),
                         [](const testing::TestParamInfo<size_t>& info) {
                             return kPlants[info.param].first;
                         });

}  // namespace
