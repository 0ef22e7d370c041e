// The host as users run it: a real process loading the real module; dscheck run, show and
// history on a check list of Debug checks.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <tuple>

#include "call.hpp"
#include "host_process.hpp"
#include "sandbox.hpp"

namespace {

// Debug checks: a warning, one fed by its findings (so it passes), one carrying the password,
// a stop, one that never runs.
class Runner : public testing::Test {
  protected:
    void SetUp() override {
        InstallPretest("debug_checks_run.json");
        Sandbox::Remove("/tmp/dir_service_check_progress.json");
        Sandbox::WriteFile("/tmp/secrets", "# the run's secrets\npassword=S3cret-42\n", 0600);
    }
    HostRun Run(std::vector<std::string> words) {
        words.insert(words.begin(),
                     {"run", "domain_pretest", "--data-dir", DSCHECK_SOURCE_DIR "/checklist"});
        return RunHost(words);
    }
};

TEST_F(Runner, RunsTheListInItsBracketAndKeepsTheReport) {
    HostRun run = Run({"--json", "--secrets-file", "/tmp/secrets"});
    EXPECT_EQ(run.exitStatus, 2) << run.output;
    Json::Value report = ParseJson(run.output);
    std::vector<std::string> statuses;
    for (const Json::Value& check : report["checks"])
        statuses.push_back(check["status"].asString());
    EXPECT_EQ(statuses, (std::vector<std::string>{"warning", "ok", "error", "error", "skipped"}));
    EXPECT_EQ(report["checks"][2]["params"]["password"], "********");
    // The bracket and the progress file after a run are proven against the test bed
    // (tests/testbed/runner-test).
    EXPECT_NE(Sandbox::ReadFile("/usr/qarn/etc/directory/last_test").find("last_test_time"),
              std::string::npos);

    std::string stored = "/var/lib/dscheck/" + report["run"].asString() + ".json";
    struct stat file {
    }, directory{};
    ASSERT_EQ(stat(stored.c_str(), &file), 0);
    ASSERT_EQ(stat("/var/lib/dscheck", &directory), 0);
    EXPECT_EQ(file.st_mode & 0777, 0600u);
    EXPECT_EQ(directory.st_mode & 0777, 0700u);
    EXPECT_EQ(Sandbox::ReadFile(stored).find("S3cret"), std::string::npos);

    HostRun shown = RunHost({"show", "last", "--format", "nagios"});
    EXPECT_EQ(shown.exitStatus, 2);
    EXPECT_EQ(shown.output.rfind("DSCHECK CRITICAL - domain_pretest: 1 ok, 1 warning, 2 error, "
                                 "1 skipped (a 1013, c 1031, d 1120) | ",
                                 0),
              0u)
        << shown.output;
}

TEST_F(Runner, HistoryKeepsTheNewestRuns) {
    for (int i = 0; i < 52; ++i)
        Sandbox::WriteFile("/var/lib/dscheck/20200101T0000" + std::to_string(10 + i) + "Z-x.json",
                           "{}");
    EXPECT_EQ(Run({"--quiet"}).exitStatus, 2);
    HostRun history = RunHost({"history", "--json"});
    Json::Value runs = ParseJson(history.output);
    ASSERT_EQ(runs.size(), 50u);
    EXPECT_EQ(runs[0]["run"].isNull(), true);  // the oldest kept is a planted placeholder
    EXPECT_FALSE(Sandbox::Exists("/var/lib/dscheck/20200101T000010Z-x.json"));
    EXPECT_EQ(runs[49]["type"], "domain_pretest");
}

TEST_F(Runner, AnotherInterfaceSeesTheRunAlive) {
    pid_t pid =
        Sandbox::Start({DSCHECK_BINARY_DIR "/dscheck", "run", "domain_pretest", "--data-dir",
                        DSCHECK_SOURCE_DIR "/checklist", "--quiet", "delay=4"});
    sleep(1);
    HostRun other = RunHost({"call", "QARN.Core.DirectoryServiceCheck.Progress", "start_progress",
                             "server_type=domain"});
    EXPECT_EQ(ParseJson(other.output)["error"]["code"], 1111) << other.output;
    kill(pid, SIGINT);
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), 130);
    EXPECT_FALSE(Sandbox::Exists("/tmp/dir_service_check_progress.json"));
}

const std::string kDebug = "QARN.Core.DirectoryServiceCheck.Debug";
const std::string kProgress = "QARN.Core.DirectoryServiceCheck.Progress";

TEST(Host, PrintsTheAnswerAndItsExitStatus) {
    for (const auto& [parameter, status, reply] :
         std::vector<std::tuple<std::string, int, std::string>>{
             {"errCode=0", 1, R"({"success": false, "error": {"code": 0, "details":
                  {"info": {"pass_test": true}, "isPlural": false, "level": 0}}})"},
             {R"(data={"pass_test": true})", 0, R"({"success": true, "data": null})"}}) {
        HostRun run = RunHost({"call", kDebug, "generate_issue", parameter});
        EXPECT_EQ(run.exitStatus, status) << parameter;
        EXPECT_EQ(ParseJson(run.output), ParseJson(reply));
    }
}

TEST(Host, ParametersFromStandardInput) {
    Sandbox::WriteFile("/tmp/params", R"({"errCode": 1031, "level": 1, "data": {"s": "x"}})");
    HostRun run = RunHost({"call", kDebug, "generate_issue", "--params", "-", "level=0"}, nullptr,
                          "/tmp/params");
    EXPECT_EQ(run.exitStatus, 1);
    // The word after --params wins.
    EXPECT_EQ(ParseJson(run.output)["error"], ParseJson(R"({"code": 1031, "details":
        {"info": {"s": "x", "pass_test": true}, "isPlural": false, "level": 0}})"));
    Sandbox::WriteFile("/tmp/params", R"({"errCode": 1, "errCode": 2})");
    run = RunHost({"call", kDebug, "generate_issue", "--params", "-"}, nullptr, "/tmp/params");
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.output, "");
}

TEST(Host, UserAddressAndStringsReachTheModuleUntouched) {
    const std::string hostile = "'; rm -rf / #\n$(reboot)`id`\x01\u00e9";
    HostRun run = RunHost({"--user", "carol", "--remote-ip", "198.51.100.3", "call", kProgress,
                           "start_progress", "server_type=" + hostile});
    EXPECT_EQ(run.exitStatus, 0) << run.output;
    Json::Value record = ParseJson(Sandbox::ReadFile("/tmp/dir_service_check_progress.json"));
    EXPECT_EQ(record["runner"], "carol");
    EXPECT_EQ(record["client_ip"], "198.51.100.3");
    EXPECT_EQ(record["server_type"].asString(), hostile);
}

// Words the host or the runner refuses, with the check list in place: an exit status (2: call,
// 3: run) and nothing on stdout.
TEST_F(Runner, RefusedWordsAreUsageErrors) {
    const std::string dataDir = DSCHECK_SOURCE_DIR "/checklist";
    const std::vector<std::pair<std::vector<std::string>, int>> cases = {
        {{"call", kDebug, "no_such_method"}, 2},
        {{"call", kDebug, "generate_issue", "--version", "2"}, 2},
        {{"call", "QARN.Nothing", "generate_issue"}, 2},
        {{"--module", "/tmp/none.so", "list"}, 2},
        {{"call", kDebug}, 2},
        {{"call", kDebug, "generate_issue", "--params", "-"}, 2},
        {{"run"}, 3},
        {{"run", "domain_pretest", "--data-dir", dataDir, "nothing=1"}, 3},
        {{"run", "domain_pretest", "--format", "xml"}, 3},
        {{"run", "Domain_pretest", "--data-dir", dataDir}, 3},
        {{"show", "no-such-run"}, 3},
        {{"diff", "last"}, 3},
    };
    for (const auto& [words, status] : cases) {
        HostRun run = RunHost(words);
        EXPECT_EQ(run.exitStatus, status) << testing::PrintToString(words);
        EXPECT_EQ(run.output, "");
    }
}

TEST(Host, HostileParametersGetAClearAnswer) {
    for (const char* parameter :
         {"errCode=\"1034\"", "level=[1]", "delay=1e300", "errCode=99999999999999999999",
          "data=[1,2]", "isPlural={}", "errCode=-2147483649"}) {
        HostRun run = RunHost({"call", kDebug, "generate_issue", parameter});
        EXPECT_EQ(run.exitStatus, 3) << parameter;
        Json::Value reply = ParseJson(run.output);
        EXPECT_EQ(reply["success"], false);
        EXPECT_EQ(reply["error"]["code"], 501);
        EXPECT_TRUE(reply["error"]["details"]["exception"].isString());
        EXPECT_TRUE(Sandbox::Logged(kDebug + " generate_issue threw"));
    }
}

TEST(Host, ListsTheTable) {
    HostRun run = RunHost({"list"});
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_NE(run.output.find(kDebug + "\t1\tgenerate_issue\tGenerateIssue_v1\n"),
              std::string::npos);
}

}  // namespace
