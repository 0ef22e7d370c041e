#include <gtest/gtest.h>

#include <tuple>

#include "qlibc.h"
#include "sandbox.hpp"
#include "util.hpp"

namespace {

using Lines = std::vector<std::string>;
const std::string kTool = "/usr/local/bin/tool";
const std::string kRuns = "/tmp/tool.args";  // the fake's runs, read by its own scripts

// A fresh fake tool; the runs of the one before are forgotten.
void WriteTool(const std::string& body) {
    Sandbox::ForgetFakeToolArgs("tool");
    Sandbox::WriteFakeTool(kTool, body);
}

// The callback sees stdout and stderr, long lines in pieces, and may stop the reading.
TEST(ExecuteCmd, RunsTheProgramDirectlyWithoutALimitUnderTimeoutWithOne) {
    WriteTool("echo out; echo err >&2; printf '%01500d\\n' 0");
    Lines lines;
    auto collect = [&](std::string line) {
        lines.push_back(line);
        return false;
    };
    int status = -7;
    EXPECT_TRUE(ExecuteCmd({kTool, "a b", "$HOME;x"}, collect, &status, 1, 0));
    EXPECT_EQ(status, 0);
    EXPECT_EQ(lines,
              (Lines{"out\n", "err\n", std::string(1023, '0'), std::string(477, '0') + "\n"}));
    EXPECT_EQ(Sandbox::FakeToolArgs("tool"), "a b $HOME;x\n");
    WriteTool("yes line");
    int seen = 0;
    ExecuteCmd(
        {kTool}, [&](std::string) { return ++seen > 0; }, &status, 1, 10);
    EXPECT_EQ(seen, 1);
    EXPECT_NE(status, 124);
    Sandbox::WriteFakeTool("/usr/bin/timeout", "");
    EXPECT_TRUE(ExecuteCmd({kTool, "x"}, nullptr, &status, 1, 5));
    EXPECT_EQ(Sandbox::FakeToolArgs("timeout"), "5 " + kTool + " x\n");
}

TEST(ExecuteCmd, BadArgumentsLeaveTheStatus) {
    int status = 42;
    EXPECT_FALSE(ExecuteCmd({}, nullptr, &status, 1, 0));
    EXPECT_TRUE(ExecuteCmd("", {}, &status, 1, 10, "r").empty());
    EXPECT_EQ(status, 42);
    EXPECT_EQ(QLIBCErrGet(), 0xd00);
    EXPECT_TRUE(Sandbox::Logged("Invaild Argument (!vstrArgs.empty())=[0]"));
}

TEST(ExecuteCmd, RetriesOnlyTheTimeLimit) {
    // An empty body: the program does not exist.
    const std::tuple<const char*, int, int, int, int> cases[] = {{"sleep 5", 3, 1, 124, 3},
                                                                 {"exit 1", 3, 5, 1, 1},
                                                                 {"exit 0", 3, 5, 0, 1},
                                                                 {"", 2, 0, 124, 0},
                                                                 {"exit 0", 0, 0, 124, 0}};
    for (const auto& [body, attempts, limit, expected, runs] : cases) {
        SCOPED_TRACE(std::string(body) + " x" + std::to_string(attempts));
        WriteTool(body);
        if (*body == '\0') Sandbox::Remove(kTool);
        int status = -7;
        EXPECT_EQ(ExecuteCmd({kTool}, nullptr, &status, attempts, limit), expected == 0);
        EXPECT_EQ(status, expected);
        EXPECT_EQ(Sandbox::FakeToolArgs("tool"), std::string(runs, '\n'));  // a line a run
    }
}

TEST(ExecuteCmdLines, CollectsLinesOfTheLastRunInTheMode) {
    const std::string failsOnce =
        "if [ ! -e /tmp/once ]; then touch /tmp/once; echo first; exit 3; fi\n"
        "echo second; printf 'no newline'";
    const std::string outAndErr = "echo out; echo err >&2";
    const std::tuple<int, int, const char*, std::string, Lines> cases[] = {
        {2, 0, "r", failsOnce, {"second", "no newline"}},
        {1, 0, "r", outAndErr, {"out"}},
        {1, 0, "rB", outAndErr, {"out", "err"}},
        {0, -1, "r", "exit 0", {}}};
    for (const auto& [attempts, expected, mode, body, lines] : cases) {
        SCOPED_TRACE(body + " " + mode);
        WriteTool(body);
        int status = 5;
        EXPECT_EQ(ExecuteCmd(kTool, {}, &status, attempts, 10, mode), lines);
        EXPECT_EQ(status, expected);
    }
}

// Only the wanted key of the lines the filter keeps; a failure keeps the list as it was.
TEST(ExecuteCmdGetKeyValues, TakesOnlyTheWantedKeyAndKeepsTheListOnFailure) {
    WriteTool(
        "echo 'LDAP server name: dc1'; echo 'Server_time_offset: -12'; echo 'Server_time_offset: "
        "7'\n"
        "echo '#Server_time_offset: 5'; echo 'server_time_offset = 9'");
    auto skip = [](std::string line) { return line.find('7') != std::string::npos; };
    Lines values{"earlier"};
    int status = -1;
    EXPECT_TRUE(
        ExecuteCmdGetKeyValues({kTool}, skip, "Server_time_offset", values, &status, 1, 10));
    WriteTool("echo 'Server_time_offset: 3'; exit 2");
    EXPECT_FALSE(
        ExecuteCmdGetKeyValues({kTool}, nullptr, "Server_time_offset", values, &status, 1, 10));
    EXPECT_EQ(status, 2);
    EXPECT_EQ(values, (Lines{"earlier", "-12"}));
}

// "=" comes before ":"; a run over the time limit leaves nothing, and a retry starts afresh.
TEST(ExecuteCmdGetMaps, SplitsKeysAndKeepsOnlyACompleteRun) {
    const std::string pairs =
        "echo 'a = 1'; echo 'a=2'; echo 'b: x=y'; echo 'c: 3'; echo '; d = 4'; echo plain";
    const std::string slowFirstRun = "echo \"run = $(wc -l < " + kRuns + ")\"\nif [ \"$(wc -l < " +
                                     kRuns + ")\" -lt 2 ]; then sleep 5; fi";
    const KeyValuesMap old{{"old", {"kept"}}};
    const std::tuple<int, int, int, std::string, KeyValuesMap> cases[] = {
        {1, 10, 0, pairs, {{"old", {"kept"}}, {"a", {"1", "2"}}, {"b: x", {"y"}}, {"c", {"3"}}}},
        {2, 1, 124, "echo 'a = 1'; sleep 5", old},
        {3, 1, 0, slowFirstRun, {{"run", {"2"}}}}};
    for (const auto& [attempts, limit, expected, body, map] : cases) {
        SCOPED_TRACE(body);
        WriteTool(body);
        KeyValuesMap result = old;
        int status = -1;
        EXPECT_EQ(ExecuteCmdGetMaps({kTool}, nullptr, result, &status, attempts, limit),
                  expected == 0);
        EXPECT_EQ(status, expected);
        EXPECT_EQ(result, map);
    }
}

}  // namespace
