#include <gtest/gtest.h>
#include <time.h>

#include <tuple>

#include "api_table.hpp"
#include "call.hpp"
#include "sandbox.hpp"
#include "util.hpp"

namespace {

const char kProgressFile[] = "/tmp/dir_service_check_progress.json";
const char kDomain[] = R"({"server_type": "domain"})";

void WriteProgress(const std::string& json) {
    Sandbox::WriteFile(kProgressFile, json);
}

Json::Value ReadProgress() {
    Json::Value record;
    JsonFromFile(kProgressFile, record);
    return record;
}

// A run as the runner makes it: started, updated by category, started again, ended.
TEST(Progress, StartUpdateEnd) {
    int before = static_cast<int>(time(nullptr));
    QARN::APIResponse response =
        CallEntry(StartProgress_v1, ParseJson(kDomain), 1, "alice", "192.0.2.9");
    Json::Value run,
        expected =
            ParseJson(R"({"server_type": "domain", "runner": "alice", "client_ip": "192.0.2.9"})");
    run["init_time"] = expected["init_time"] = ReadProgress()["init_time"];
    EXPECT_GE(run["init_time"].asInt(), before);
    ExpectAnswer(response, 0, run);
    EXPECT_EQ(ReadProgress(), expected);
    Json::Value update = run;
    update["category"] = expected["category"] = "port";
    ExpectAnswer(CallEntry(UpdateProgress_v1, update), 0, Json::Value());
    Json::Value record = ReadProgress();
    EXPECT_GE(record["last_update"].asInt(), before);
    expected["last_update"] = record["last_update"];
    EXPECT_EQ(record, expected);
    // A start of the same run keeps its start, category and time; the caller is the new one.
    Json::Value restart = ParseJson(R"({"server_type": "ad"})");
    restart["init_time"] = run["init_time"];
    ExpectAnswer(CallEntry(StartProgress_v1, restart, 1, "bob"), 0, run);
    expected["server_type"] = "ad";
    expected["runner"] = "bob";
    expected["client_ip"] = "192.0.2.7";
    EXPECT_EQ(ReadProgress(), expected);
    ExpectAnswer(CallEntry(EndProgress_v1, run), 0, ParseJson(R"({"isProgressEnd": true})"));
    EXPECT_FALSE(Sandbox::Exists(kProgressFile));
}

TEST(StartProgress, UnwritableFileStillSucceeds) {
    Sandbox::Run({"/bin/mkdir", kProgressFile});
    EXPECT_TRUE(CallEntry(StartProgress_v1, ParseJson(kDomain)).GetData()["init_time"].isInt());
}

// A joined or bound server, or no server type: no file is written.
TEST(StartProgress, RefusesWhereNoRunCanStart) {
    const std::tuple<const char*, const char*, const char*, int> cases[] = {
        {"ADS", "files", R"({"server_type": "ldap"})", 1110},
        {"user", "files ldap", R"({"server_type": "ldap"})", 1110},
        {"user", "files winbind # ldap", "{}", 501}};
    for (auto [security, passwd, params, code] : cases) {
        SCOPED_TRACE(std::string(security) + " " + passwd);
        Sandbox::WriteFile("/etc/samba/smb.conf",
                           std::string("[global]\n\tsecurity = ") + security + "\n");
        Sandbox::WriteFile("/etc/nsswitch.conf", std::string("passwd: ") + passwd + "\n");
        ExpectAnswer(CallEntry(StartProgress_v1, ParseJson(params)), code, Json::Value());
        EXPECT_FALSE(Sandbox::Exists(kProgressFile));
    }
}

// An abandoned run of another start refuses both calls with its record; a missing or broken
// file refuses updates. The file stays as it was.
TEST(Progress, RefusesBesideAnAbandonedOrBrokenRun) {
    const char* other = R"({"init_time": 100, "runner": "carol"})";
    // The progress file ("": none), the call and its parameters, the code.
    const std::tuple<const char*, QARN::APIEntryFunction, const char*, int> cases[] = {
        {other, StartProgress_v1, kDomain, 1112},
        {other, UpdateProgress_v1, R"({"init_time": 99})", 1112},
        {"", UpdateProgress_v1, "{}", 1113},
        {"not json", UpdateProgress_v1, "{}", 1113},
        {"[100]", UpdateProgress_v1, "{}", 1113}};
    for (auto [file, entry, params, code] : cases) {
        SCOPED_TRACE(std::string(file) + " " + params);
        Sandbox::Remove(kProgressFile);
        if (*file != '\0') WriteProgress(file);
        ExpectAnswer(CallEntry(entry, ParseJson(params)), code,
                     code == 1112 ? ParseJson(file) : Json::Value());
        EXPECT_EQ(Sandbox::ReadFile(kProgressFile), file);
    }
}

// Another module process, or a process that keeps writing the file, makes the run active.
TEST(Progress, ActiveRunIsRefused) {
    const std::string file = R"({"init_time": 100})";
    WriteProgress(file);
    pid_t writer = Sandbox::Start(
        {"/bin/sh", "-c", std::string("while :; do sleep 0.3; touch ") + kProgressFile + "; done"});
    EXPECT_EQ(CallEntry(UpdateProgress_v1, ParseJson(R"({"init_time": 5})")).GetErrorCode(), 1114);
    Sandbox::Stop(writer);
    pid_t other = Sandbox::Start({"/bin/sh", "-c", "sleep 60", "QARN.Core.DirectoryServiceCheck"});
    ExpectAnswer(CallEntry(StartProgress_v1, ParseJson(kDomain)), 1111, ParseJson(file));
    ExpectAnswer(CallEntry(UpdateProgress_v1), 1114, ParseJson(file));
    Sandbox::Stop(other);
}

// Only the run's own file goes, unless forced; a file without an identity is the caller's run.
TEST(EndProgress, AlwaysAnswersEnd) {
    // The progress file ("": none), the parameters, whether the file stays.
    const std::tuple<const char*, const char*, bool> cases[] = {
        {R"({"init_time": 100})", R"({"init_time": 1})", true},
        {R"({"init_time": 100})", R"({"init_time": 1, "force_remove": true})", false},
        {R"({"server_type": "ldap"})", "{}", false},
        {"", "{}", false}};
    for (auto [file, params, stays] : cases) {
        SCOPED_TRACE(std::string(file) + " " + params);
        Sandbox::Remove(kProgressFile);
        if (*file != '\0') WriteProgress(file);
        ExpectAnswer(CallEntry(EndProgress_v1, ParseJson(params)), 0,
                     ParseJson(R"({"isProgressEnd": true})"));
        EXPECT_EQ(Sandbox::Exists(kProgressFile), stays);
    }
}

}  // namespace
