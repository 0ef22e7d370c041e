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

struct RefusalCase {
    const char* name;
    const char* setting;  // a system file and its content, or null
    const char* content;
    const char* progress;  // progress file, null: none
    QARN::APIEntryFunction entry;
    const char* params;
    int code;
    bool withRecord;  // details are the progress record, else null
};

class RefusalTest : public testing::TestWithParam<RefusalCase> {};

TEST_P(RefusalTest, AnswersTheCodeAndLeavesTheFile) {
    const RefusalCase& c = GetParam();
    if (c.setting != nullptr) Sandbox::WriteFile(c.setting, c.content);
    if (c.progress != nullptr) WriteProgress(c.progress);
    ExpectAnswer(CallEntry(c.entry, ParseJson(c.params)), c.code,
                 c.withRecord ? ParseJson(c.progress) : Json::Value());
    if (c.progress == nullptr) {
        EXPECT_FALSE(Sandbox::Exists(kProgressFile));
    } else {
        EXPECT_EQ(Sandbox::ReadFile(kProgressFile), c.progress);
    }
}

const char kOtherRun[] = R"({"init_time": 100, "runner": "carol"})";

INSTANTIATE_TEST_SUITE_P(
    Cases, RefusalTest,
    testing::Values(
        RefusalCase{"JoinedServer", "/etc/samba/smb.conf", "[global]\n\tsecurity = ADS\n", nullptr,
                    StartProgress_v1, R"({"server_type": "ldap"})", 1110, false},
        RefusalCase{"BoundServer", "/etc/nsswitch.conf", "passwd: files ldap\n", nullptr,
                    StartProgress_v1, R"({"server_type": "ldap"})", 1110, false},
        RefusalCase{"NoServerType", "/etc/nsswitch.conf", "passwd: files winbind # ldap\n", nullptr,
                    StartProgress_v1, "{}", 501, false},
        RefusalCase{"StartBesideAbandonedRun", nullptr, nullptr, kOtherRun, StartProgress_v1,
                    R"({"server_type": "domain"})", 1112, true},
        RefusalCase{"UpdateOfAbandonedRun", nullptr, nullptr, kOtherRun, UpdateProgress_v1,
                    R"({"init_time": 99})", 1112, true},
        RefusalCase{"UpdateWithoutFile", nullptr, nullptr, nullptr, UpdateProgress_v1, "{}", 1113,
                    false},
        RefusalCase{"UpdateOfBrokenFile", nullptr, nullptr, "not json", UpdateProgress_v1, "{}",
                    1113, false},
        RefusalCase{"UpdateOfNonObject", nullptr, nullptr, "[100]", UpdateProgress_v1, "{}", 1113,
                    false}),
    [](const testing::TestParamInfo<RefusalCase>& info) { return info.param.name; });

TEST(Progress, AnotherModuleProcessMakesTheRunActive) {
    const std::string file = R"({"init_time": 100})";
    WriteProgress(file);
    pid_t other = Sandbox::Start({"/bin/sh", "-c", "sleep 60", "QARN.Core.DirectoryServiceCheck"});
    ExpectAnswer(CallEntry(StartProgress_v1, ParseJson(R"({"server_type": "domain"})")), 1111,
                 ParseJson(file));
    ExpectAnswer(CallEntry(UpdateProgress_v1), 1114, ParseJson(file));
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
    testing::Values(
        EndCase{"OwnRun", R"({"init_time": 100})", R"({"init_time": 100})", true},
        EndCase{"ForeignRunStays", R"({"init_time": 100})", R"({"init_time": 1})", false},
        EndCase{"ForeignRunForced", R"({"init_time": 100})",
                R"({"init_time": 1, "force_remove": true})", true},
        EndCase{"FileWithoutIdentityIsOwnRun", R"({"server_type": "ldap"})", "{}", true},
        EndCase{"NoFile", nullptr, "{}", false}),
    [](const testing::TestParamInfo<EndCase>& info) { return info.param.name; });

}  // namespace
