// The host as users run it: a real process loading the real module.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <tuple>

#include "call.hpp"
#include "sandbox.hpp"

extern char** environ;

namespace {

struct HostRun {
    int exitStatus;
    std::string output;
};

HostRun RunHost(std::vector<std::string> args) {
    args.insert(args.begin(), DSCHECK_BINARY_DIR "/dscheck");
    std::vector<char*> argv;
    for (std::string& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    int fds[2];
    EXPECT_EQ(pipe2(fds, O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
    pid_t pid = -1;
    EXPECT_EQ(posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    std::string output;
    char buffer[4096];
    ssize_t n;
    while ((n = read(fds[0], buffer, sizeof(buffer))) > 0) output.append(buffer, n);
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
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

TEST(Host, UnknownMethodsAndBadWordsAreUsageErrors) {
    for (const auto& words : std::vector<std::vector<std::string>>{
             {"call", kDebug, "no_such_method"},
             {"call", kDebug, "generate_issue", "--version", "2"},
             {"call", "QARN.Nothing", "generate_issue"},
             {"--module", "/tmp/none.so", "list"},
             {"call", kDebug},
         }) {
        HostRun run = RunHost(words);
        EXPECT_EQ(run.exitStatus, 2) << testing::PrintToString(words);
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
    EXPECT_NE(run.output.find(kProgress + "\t1\tstart_progress\tStartProgress_v1\n"),
              std::string::npos);
    EXPECT_NE(run.output.find(kDebug + "\t1\tgenerate_issue\tGenerateIssue_v1\n"),
              std::string::npos);
}

}  // namespace
