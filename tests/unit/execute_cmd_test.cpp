#include <gtest/gtest.h>

#include "qlibc.h"
#include "sandbox.hpp"
#include "util.hpp"

namespace {

const std::string kTool = "/usr/local/bin/tool";
const std::string kRuns = "/tmp/tool.args";

void WriteTool(const std::string& body) {
    Sandbox::WriteFakeTool(kTool, body);
}

int RunCount() {
    std::string runs = Sandbox::FakeToolArgs("tool");
    return static_cast<int>(std::count(runs.begin(), runs.end(), '\n'));
}

// The lines the callback saw; it asks to stop after the first when stopAtFirst.
std::vector<std::string> Collect(const std::vector<std::string>& argv, int* status,
                                 int attempts = 1, int limit = 0, bool stopAtFirst = false) {
    std::vector<std::string> lines;
    ExecuteCmd(
        argv,
        [&](std::string line) {
            lines.push_back(line);
            return stopAtFirst;
        },
        status, attempts, limit);
    return lines;
}

TEST(ExecuteCmd, RunsTheProgramDirectlyWithoutALimitUnderTimeoutWithOne) {
    WriteTool("echo out; echo err >&2; exit 0");
    int status = -7;
    std::vector<std::string> lines = Collect({kTool, "a b", "$HOME;x"}, &status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(lines, (std::vector<std::string>{"out\n", "err\n"}));
    EXPECT_EQ(Sandbox::FakeToolArgs("tool"), "a b $HOME;x\n");
    Sandbox::WriteFakeTool("/usr/bin/timeout", "");
    EXPECT_TRUE(ExecuteCmd({kTool, "x"}, nullptr, &status, 1, 5));
    EXPECT_EQ(Sandbox::FakeToolArgs("timeout"), "5 " + kTool + " x\n");
}

TEST(ExecuteCmd, CallbackStopsTheReading) {
    WriteTool("yes line");
    int status = 0;
    EXPECT_EQ(Collect({kTool}, &status, 1, 10, true).size(), 1u);
    EXPECT_NE(status, 124);
}

TEST(ExecuteCmd, LongLinesArriveInPieces) {
    WriteTool("printf '%01500d\\n' 0");
    int status = -1;
    std::vector<std::string> lines = Collect({kTool}, &status);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].size(), 1023u);
    EXPECT_EQ(lines[1].size(), 1500u - 1023u + 1u);
    EXPECT_EQ(lines[1].back(), '\n');
}

TEST(ExecuteCmd, BadArgumentsLeaveTheStatus) {
    int status = 42;
    EXPECT_FALSE(ExecuteCmd({}, nullptr, &status, 1, 0));
    EXPECT_EQ(status, 42);
    EXPECT_EQ(QLIBCErrGet(), 0xd00);
    EXPECT_TRUE(Sandbox::Logged("Invaild Argument (!vstrArgs.empty())=[0]"));
}

struct RunCase {
    const char* name;
    const char* body;  // null: the program does not exist
    int attempts;
    int limit;
    int status;
    int runs;
};

class RetryTest : public testing::TestWithParam<RunCase> {};

TEST_P(RetryTest, RetriesOnlyTheTimeLimit) {
    const RunCase& c = GetParam();
    if (c.body != nullptr) WriteTool(c.body);
    int status = -7;
    EXPECT_EQ(ExecuteCmd({kTool}, nullptr, &status, c.attempts, c.limit), c.status == 0);
    EXPECT_EQ(status, c.status);
    EXPECT_EQ(RunCount(), c.runs);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, RetryTest,
    testing::Values(RunCase{"TimeLimitRetried", "sleep 5", 3, 1, 124, 3},
                    RunCase{"FailureNotRetried", "exit 1", 3, 5, 1, 1},
                    RunCase{"SuccessNotRetried", "exit 0", 3, 5, 0, 1},
                    RunCase{"MissingProgramCountsAsTimeLimit", nullptr, 2, 0, 124, 0},
                    RunCase{"NoAttempts", "exit 0", 0, 0, 124, 0}),
    [](const testing::TestParamInfo<RunCase>& info) { return info.param.name; });

TEST(ExecuteCmdLines, CollectsLinesOfTheLastRun) {
    // Fails on the first run, succeeds on the second.
    WriteTool(
        "if [ ! -e /tmp/once ]; then touch /tmp/once; echo first; exit 3; fi\n"
        "echo second; printf 'no newline'");
    int status = 0;
    std::vector<std::string> lines = ExecuteCmd(kTool, {}, &status, 2, 10, "r");
    EXPECT_EQ(status, 0);
    EXPECT_EQ(lines, (std::vector<std::string>{"second", "no newline"}));
}

TEST(ExecuteCmdLines, ModeRKeepsErrorsOut) {
    WriteTool("echo out; echo err >&2");
    int status = -1;
    EXPECT_EQ(ExecuteCmd(kTool, {}, &status, 1, 10, "r"), std::vector<std::string>{"out"});
    EXPECT_EQ(ExecuteCmd(kTool, {}, &status, 1, 10, "rB"),
              (std::vector<std::string>{"out", "err"}));
}

TEST(ExecuteCmdLines, NoRunGivesMinusOne) {
    int status = 0;
    EXPECT_TRUE(ExecuteCmd(kTool, {}, &status, 0, 10, "r").empty());
    EXPECT_EQ(status, -1);
    status = 5;
    EXPECT_TRUE(ExecuteCmd("", {}, &status, 1, 10, "r").empty());
    EXPECT_EQ(status, 5);
}

TEST(ExecuteCmdGetKeyValues, TakesOnlyTheWantedKey) {
    WriteTool(
        "echo 'LDAP server name: dc1'\necho 'Server_time_offset: -12'\n"
        "echo '#Server_time_offset: 5'\necho 'server_time_offset = 9'");
    std::vector<std::string> values{"earlier"};
    int status = -1;
    EXPECT_TRUE(
        ExecuteCmdGetKeyValues({kTool}, nullptr, "Server_time_offset", values, &status, 1, 10));
    EXPECT_EQ(values, (std::vector<std::string>{"earlier", "-12"}));
    // A filter drops lines; a failure keeps the list as it was.
    WriteTool("echo 'k: skip me'; echo 'k: keep'");
    values.clear();
    auto skip = [](std::string line) { return line.find("skip") != std::string::npos; };
    EXPECT_TRUE(ExecuteCmdGetKeyValues({kTool}, skip, "k", values, &status, 1, 10));
    EXPECT_EQ(values, std::vector<std::string>{"keep"});
    WriteTool("echo 'k: more'; exit 2");
    EXPECT_FALSE(ExecuteCmdGetKeyValues({kTool}, nullptr, "k", values, &status, 1, 10));
    EXPECT_EQ(status, 2);
    EXPECT_EQ(values, std::vector<std::string>{"keep"});
}

TEST(ExecuteCmdGetMaps, EqualsSignComesBeforeColon) {
    WriteTool("echo 'a = 1'; echo 'a=2'; echo 'b: x=y'; echo 'c: 3'; echo '; d = 4'; echo plain");
    KeyValuesMap result{{"old", {"kept"}}};
    int status = -1;
    EXPECT_TRUE(ExecuteCmdGetMaps({kTool}, nullptr, result, &status, 1, 10));
    EXPECT_EQ(result,
              (KeyValuesMap{{"old", {"kept"}}, {"a", {"1", "2"}}, {"b: x", {"y"}}, {"c", {"3"}}}));
}

TEST(ExecuteCmdGetMaps, TimeLimitDropsEverythingCollected) {
    WriteTool("echo 'a = 1'; sleep 5");
    KeyValuesMap result{{"old", {"kept"}}};
    int status = -1;
    EXPECT_FALSE(ExecuteCmdGetMaps({kTool}, nullptr, result, &status, 2, 1));
    EXPECT_EQ(status, 124);
    EXPECT_EQ(result, (KeyValuesMap{{"old", {"kept"}}}));
    EXPECT_FALSE(ExecuteCmdGetMaps({kTool}, nullptr, result, &status, 0, 1));
    EXPECT_EQ(status, 124);
}

TEST(ExecuteCmdGetMaps, RetryAfterTimeLimitStartsEmpty) {
    WriteTool("echo \"run = $(wc -l < " + kRuns + ")\"\nif [ \"$(wc -l < " + kRuns +
              ")\" -lt 2 ]; then sleep 5; fi");
    KeyValuesMap result{{"old", {"dropped"}}};
    int status = -1;
    EXPECT_TRUE(ExecuteCmdGetMaps({kTool}, nullptr, result, &status, 3, 1));
    EXPECT_EQ(result, (KeyValuesMap{{"run", {"2"}}}));
}

}  // namespace
