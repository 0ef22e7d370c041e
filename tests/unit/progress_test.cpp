#include <gtest/gtest.h>
#include <time.h>

#include "api_table.hpp"
#include "call.hpp"
#include "sandbox.hpp"
#include "util.hpp"

namespace {

const char kProgressFile[] = "/tmp/dir_service_check_progress.json";

void WriteProgress(const std::string& json) {
    Sandbox::WriteFile(kProgressFile, json);
}

Json::Value ReadProgress() {
    Json::Value record;
    JsonFromFile(kProgressFile, record);
    return record;
}

void ExpectError(const QARN::APIResponse& response, int code, const Json::Value& details) {
    ASSERT_TRUE(response.IsAnswered());
    EXPECT_FALSE(response.IsSuccess());
    EXPECT_EQ(response.GetErrorCode(), code);
    EXPECT_EQ(response.GetData(), details);
}

TEST(StartProgress, CreatesTheRun) {
    int before = static_cast<int>(time(nullptr));
    QARN::APIResponse response = CallEntry(
        StartProgress_v1, ParseJson(R"({"server_type": "domain"})"), 1, "alice", "192.0.2.9");
    ASSERT_TRUE(response.IsSuccess());
    Json::Value record = ReadProgress();
    EXPECT_EQ(response.GetData(),
              ParseJson("{\"init_time\": " + std::to_string(record["init_time"].asInt()) + "}"));
    EXPECT_GE(record["init_time"].asInt(), before);
    EXPECT_EQ(record["server_type"], "domain");
    EXPECT_EQ(record["runner"], "alice");
    EXPECT_EQ(record["client_ip"], "192.0.2.9");
}

TEST(StartProgress, RefusedOnAJoinedOrBoundServer) {
    Sandbox::WriteFile("/etc/samba/smb.conf", "[global]\n\tsecurity = ADS\n");
    ExpectError(CallEntry(StartProgress_v1, ParseJson(R"({"server_type": "ldap"})")), 1110,
                Json::Value());
    Sandbox::WriteFile("/etc/samba/smb.conf", "[global]\n\tsecurity = user\n");
    Sandbox::WriteFile("/etc/nsswitch.conf", "passwd: files ldap\ngroup: files\n");
    ExpectError(CallEntry(StartProgress_v1, ParseJson(R"({"server_type": "ldap"})")), 1110,
                Json::Value());
    EXPECT_FALSE(Sandbox::Exists(kProgressFile));
}

TEST(StartProgress, NeedsServerType) {
    Sandbox::WriteFile("/etc/nsswitch.conf", "passwd: files winbind # ldap\n");
    ExpectError(CallEntry(StartProgress_v1), 501, Json::Value());
}

TEST(StartProgress, SameRunKeepsItsStartAndCategory) {
    WriteProgress(R"({"init_time": 100, "category": "dns", "last_update": 150, "extra": 1})");
    QARN::APIResponse response = CallEntry(
        StartProgress_v1, ParseJson(R"({"init_time": 100, "server_type": "ad"})"), 1, "bob");
    ASSERT_TRUE(response.IsSuccess());
    EXPECT_EQ(response.GetData(), ParseJson(R"({"init_time": 100})"));
    EXPECT_EQ(ReadProgress(), ParseJson(R"({"init_time": 100, "category": "dns",
        "last_update": 150, "extra": 1, "server_type": "ad", "runner": "bob",
        "client_ip": "192.0.2.7"})"));
}

TEST(StartProgress, UnwritableFileStillSucceeds) {
    Sandbox::Run({"/bin/mkdir", kProgressFile});
    QARN::APIResponse response =
        CallEntry(StartProgress_v1, ParseJson(R"({"server_type": "domain"})"));
    EXPECT_TRUE(response.IsSuccess());
    EXPECT_TRUE(response.GetData()["init_time"].isInt());
}

TEST(StartProgress, AbandonedRunOfAnotherIdentity) {
    const std::string file = R"({"init_time": 100, "runner": "carol"})";
    WriteProgress(file);
    ExpectError(CallEntry(StartProgress_v1, ParseJson(R"({"server_type": "domain"})")), 1112,
                ParseJson(file));
    ExpectError(CallEntry(UpdateProgress_v1, ParseJson(R"({"init_time": 99})")), 1112,
                ParseJson(file));
}

TEST(Progress, AnotherModuleProcessMakesTheRunActive) {
    const std::string file = R"({"init_time": 100})";
    WriteProgress(file);
    pid_t other = Sandbox::Start({"/bin/sh", "-c", "sleep 60", "QARN.Core.DirectoryServiceCheck"});
    ExpectError(CallEntry(StartProgress_v1, ParseJson(R"({"server_type": "domain"})")), 1111,
                ParseJson(file));
    ExpectError(CallEntry(UpdateProgress_v1), 1114, ParseJson(file));
    Sandbox::Stop(other);
}

TEST(Progress, AWriterOfTheFileMakesTheRunActive) {
    WriteProgress(R"({"init_time": 100})");
    pid_t writer = Sandbox::Start(
        {"/bin/sh", "-c", std::string("while :; do sleep 0.3; touch ") + kProgressFile + "; done"});
    QARN::APIResponse response = CallEntry(UpdateProgress_v1, ParseJson(R"({"init_time": 5})"));
    Sandbox::Stop(writer);
    EXPECT_EQ(response.GetErrorCode(), 1114);
}

TEST(UpdateProgress, RecordsCategoryAndTime) {
    WriteProgress(R"({"init_time": 100, "runner": "alice"})");
    int before = static_cast<int>(time(nullptr));
    QARN::APIResponse response =
        CallEntry(UpdateProgress_v1, ParseJson(R"({"init_time": 100, "category": "port"})"));
    ASSERT_TRUE(response.IsSuccess());
    EXPECT_TRUE(response.GetData().isNull());
    Json::Value record = ReadProgress();
    EXPECT_EQ(record["category"], "port");
    EXPECT_GE(record["last_update"].asInt(), before);
    EXPECT_EQ(record["runner"], "alice");
}

TEST(UpdateProgress, WithoutAReadableFile) {
    ExpectError(CallEntry(UpdateProgress_v1), 1113, Json::Value());
    WriteProgress("not json");
    ExpectError(CallEntry(UpdateProgress_v1), 1113, Json::Value());
    WriteProgress("[100]");
    ExpectError(CallEntry(UpdateProgress_v1), 1113, Json::Value());
}

TEST(UpdateProgress, FileWithoutIdentityMatchesRequestWithout) {
    WriteProgress(R"({"server_type": "ldap"})");
    EXPECT_TRUE(CallEntry(UpdateProgress_v1).IsSuccess());
}

struct EndCase {
    const char* name;
    const char* file;  // null: no progress file
    const char* params;
    bool removed;
};

class EndProgressTest : public testing::TestWithParam<EndCase> {};

TEST_P(EndProgressTest, AlwaysAnswersEnd) {
    const EndCase& c = GetParam();
    if (c.file != nullptr) WriteProgress(c.file);
    QARN::APIResponse response = CallEntry(EndProgress_v1, ParseJson(c.params));
    ASSERT_TRUE(response.IsSuccess());
    EXPECT_EQ(response.GetData(), ParseJson(R"({"isProgressEnd": true})"));
    EXPECT_EQ(Sandbox::Exists(kProgressFile), c.file != nullptr && !c.removed);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, EndProgressTest,
    testing::Values(EndCase{"OwnRun", R"({"init_time": 100})", R"({"init_time": 100})", true},
                    EndCase{"ForeignRunStays", R"({"init_time": 100})", R"({"init_time": 1})",
                            false},
                    EndCase{"ForeignRunForced", R"({"init_time": 100})",
                            R"({"init_time": 1, "force_remove": true})", true},
                    EndCase{"NoFile", nullptr, "{}", false}),
    [](const testing::TestParamInfo<EndCase>& info) { return info.param.name; });

}  // namespace
