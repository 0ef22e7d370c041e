// Hostile input: no tool sees a request value as an option, every tool run ends within its
// bounds and is then no clean answer, and files another user planted at the module's /tmp paths
// are neither followed, nor waited on, nor trusted.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <regex>

#include "api_table.hpp"
#include "call.hpp"
#include "domain_probe.hpp"
#include "e2e_tool_spy.hpp"
#include "ldap_cache_reader.hpp"
#include "ldap_cache_writer.hpp"
#include "net_lab.hpp"
#include "spawn.hpp"
#include "tcp_listener.hpp"

namespace {

class HardeningTest : public testing::Test {
  protected:
    void SetUp() override { platform::SetDefaultLimits(2, 1 << 20); }
};

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

Json::Value ToolValue(size_t index, const std::string& mark) {
    return ParseJson(std::regex_replace(kToolValues[index].second, std::regex("MARK"), mark));
}

bool GotArgument(const std::string& runs, const std::string& start) {
    return std::regex_search(runs, std::regex("(^| )" + start, std::regex::icase));
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
        plain[kToolValues[i].first] = ToolValue(i, "plain" + std::to_string(i));
    }
    plain["dns"] = "127.0.0.3";  // a DNS server must be an address to get as far as a tool
    int refused = 0;
    for (const QARN::WebAPIEntry* row = GetAPITable(); row->api != nullptr; ++row) {
        SpyOnTools();
        CallEntry(row->entry, plain, int(row->version));
        const std::string plainRuns = SpiedToolRuns();
        Json::Value hostile = plain;
        for (size_t i = 0; i < std::size(kToolValues); ++i) {
            const std::string mark = "plain" + std::to_string(i), name = kToolValues[i].first;
            hostile[name] = ToolValue(i, "-" + mark);
            if (!GotArgument(plainRuns, mark)) continue;
            Json::Value one = plain;
            one[name] = hostile[name];
            SpyOnTools();
            EXPECT_EQ(CallEntry(row->entry, one, int(row->version)).GetErrorCode(), 501)
                << row->method << " " << name;
            EXPECT_EQ(SpiedToolRuns(), "") << row->method << " " << name;
            ++refused;
        }
        SpyOnTools();
        CallEntry(row->entry, hostile, int(row->version));
        EXPECT_FALSE(GotArgument(SpiedToolRuns(), "-plain")) << row->method << "\n"
                                                             << SpiedToolRuns();
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

TEST_P(StuckToolTest, EndsAsAFailedRun) {
    const StuckCase& c = GetParam();
    NetLab lab;
    TcpListener dns("127.0.0.3", 53);
    Sandbox::WriteFakeTool(c.tool, c.body);
    EXPECT_EQ(CallEntry(c.entry, ParseJson(c.params)).GetErrorCode(), c.code);
    EXPECT_FALSE(ProcessOutlives("sleep|tr|yes"));
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
    RowName());

// Files planted at each /tmp path ($1) by another user (nobody); $2 is a forged content.
struct PlantCase {
    const char* name;
    const char* script;
};

const PlantCase kPlants[] = {
    {"Symlink", "ln -s /etc/hardening_target \"$1\" && chown -h 65534:65534 \"$1\""},
    {"HardLink",
     "printf %s \"$2\" >/tmp/nobody_file && chown 65534:65534 /tmp/nobody_file && "
     "ln /tmp/nobody_file \"$1\""},
    {"Fifo", "mkfifo -m 666 \"$1\" && chown 65534:65534 \"$1\""},
    {"WorldWritable", "printf %s \"$2\" >\"$1\" && chown 65534:65534 \"$1\" && chmod 666 \"$1\""},
    {"Forged", "printf %s \"$2\" >\"$1\" && chown 65534:65534 \"$1\" && chmod 644 \"$1\""}};

const char kTarget[] = "/etc/hardening_target";
const char kForged[] = R"({"init_time": 1, "user": [{"uid": "forged", "uidNumber": "1"}]})";

class PlantedFileTest : public HardeningTest, public testing::WithParamInterface<PlantCase> {
  protected:
    void Plant(const std::string& path) {
        Sandbox::Remove("/tmp/nobody_file");
        Sandbox::WriteFile(kTarget, "target\n", 0644);
        ASSERT_EQ(Sandbox::Run({"/bin/sh", "-c", GetParam().script, "sh", path, kForged}), 0);
    }
    // What the plant pointed at is untouched; the path holds root's file with the mode.
    static void ExpectReplaced(const std::string& path, mode_t mode) {
        EXPECT_EQ(Sandbox::ReadFile(kTarget), "target\n");
        if (Sandbox::Exists("/tmp/nobody_file")) {
            EXPECT_EQ(Sandbox::ReadFile("/tmp/nobody_file"), kForged);
        }
        struct stat status;
        ASSERT_EQ(lstat(path.c_str(), &status), 0);
        EXPECT_EQ(std::make_tuple(status.st_mode, status.st_uid, status.st_nlink),
                  std::make_tuple(S_IFREG | mode, uid_t(0), nlink_t(1)));
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

INSTANTIATE_TEST_SUITE_P(Plants, PlantedFileTest, testing::ValuesIn(kPlants), RowName());

}  // namespace
