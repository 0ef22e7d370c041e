#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "qarn.h"
#include "qlibc.h"
#include "sandbox.hpp"
#include "spawn.hpp"

namespace {

const char kScript[] = "/usr/local/bin/speak";

TEST(Popen, RefusesWhatCannotRunAndTakesAnArgumentList) {
    char* argv[] = {const_cast<char*>("/nonexistent"), nullptr};
    EXPECT_EQ(QLIBCPopenv("/nonexistent", "r", argv), nullptr);
    EXPECT_EQ(QLIBCPopenv("/bin/true", "w", argv), nullptr);
    EXPECT_EQ(QLIBCPclose(stdin), -1);
    // The list form takes its arguments up to a null.
    FILE* stream = QLIBCPopen("/bin/echo", "r", "one", "two", nullptr);
    ASSERT_NE(stream, nullptr);
    char line[16] = {};
    ASSERT_NE(fgets(line, sizeof(line), stream), nullptr);
    EXPECT_STREQ(line, "one two\n");
    EXPECT_EQ(QLIBCPclose(stream), 0);
}

TEST(Exec, ReturnsTheExitStatus) {
    Sandbox::WriteScript(kScript, "echo \"$#:$*\" >> /tmp/args; exit $1");
    EXPECT_EQ(QLIBCExec(kScript, "0", nullptr, "ignored", nullptr), 0);
    EXPECT_EQ(QLIBCExec(kScript, "4", "b", "c", "d"), 4);
    EXPECT_EQ(QLIBCExecl(kScript, QLIBC_EXEC_QUIET, "7", "x", nullptr), 7);
    EXPECT_EQ(Sandbox::ReadFile("/tmp/args"), "1:0\n4:4 b c d\n2:7 x\n");
    EXPECT_LT(QLIBCExec("/nonexistent", nullptr, nullptr, nullptr, nullptr), 0);
    // A signalled program is negative.
    Sandbox::WriteScript(kScript, "kill -9 $$");
    EXPECT_LT(QLIBCExec(kScript, nullptr, nullptr, nullptr, nullptr), 0);
}

TEST(Spawn, EveryEndAndBound) {
    using Kind = platform::RunResult::Kind;
    Sandbox::WriteScript(kScript,
                         "read x; echo \"$x$x\"; case $x in kill) kill -9 $$;; "
                         "sleep) sleep 5;; quiet) exec >&- 2>&-; sleep 5;; esac; exit 4");
    // The input, the output, the limits, how it ends and the exit status or signal.
    const std::tuple<const char*, const char*, platform::Limits, Kind, int> cases[] = {
        {"ab\n", "abab\n", {}, Kind::kExited, 4},
        {"ab\n", "aba", {0, 3}, Kind::kOutputCapped, 0},
        {"kill\n", "killkill\n", {}, Kind::kSignaled, 9},
        {"sleep\n", "sleepsleep\n", {1, 0}, Kind::kTimedOut, 0},
        {"quiet\n", "quietquiet\n", {1, 0}, Kind::kTimedOut, 0}};
    for (const auto& [input, expected, limits, kind, value] : cases) {
        SCOPED_TRACE(input);
        std::string output;
        platform::RunResult result = platform::Run({kScript}, input, output, limits);
        EXPECT_EQ(std::make_pair(result.kind, result.value), std::make_pair(kind, value));
        EXPECT_EQ(output, expected);
    }
    std::string none;
    EXPECT_EQ(platform::Run({"/nonexistent"}, "", none).kind, Kind::kNotStarted);
}

// The password on stdin is the Kerberos settings' tests.
TEST(Kinit, AWrongPasswordIsOneAndAToolThatStopsReadingDoesNotHurt) {
    Sandbox::WriteScript("/usr/bin/kinit", "echo 'kinit: Password incorrect'; exit 1");
    EXPECT_EQ(QARNWinsKinit("alice@EXAMPLE.TEST", "wrong"), 1);
    // Closes its input at once: the rest of a long password meets a closed pipe.
    Sandbox::WriteScript("/usr/bin/kinit", "exec 0<&-; exit 3");
    EXPECT_LT(QARNWinsKinit("alice@EXAMPLE.TEST", std::string(1 << 20, 'x').c_str()), 0);
}

TEST(Unicode, CaseInsensitiveEquality) {
    EXPECT_EQ(QLIBCUnicodeUTF8StrCaseCmp("HOST/Server.EXAMPLE \u00C5SA\u00C9",
                                         "host/server.example \u00E5sa\u00E9"),
              0);
    EXPECT_NE(QLIBCUnicodeUTF8StrCaseCmp("cifs/a", "host/a"), 0);
}

}  // namespace
