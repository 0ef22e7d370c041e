#include "command_line.hpp"

#include <gtest/gtest.h>

#include <tuple>

#include "call.hpp"

namespace {

CommandLine Parsed(const std::vector<std::string>& words) {
    CommandLine line;
    std::string error;
    EXPECT_TRUE(line.Parse(words, error)) << error;
    return line;
}

TEST(CommandLine, CallWithOptionsAndParameters) {
    CommandLine line =
        Parsed({"--module", "/m.so", "--user", "bob", "--remote-ip", "192.0.2.5", "call", "QARN.X",
                "do", "--version", "2", "--params", R"({"a": 1, "b": "x"})", "b=7", "s=plain text",
                "j={\"k\":[1]}", "e=", "q=\"1\""});
    // --user and --remote-ip reaching the module: runner_cli_test.cpp.
    EXPECT_EQ(
        std::tie(line.command, line.modulePath, line.call.api, line.call.method, line.call.version),
        std::make_tuple(CommandLine::Command::kCall, "/m.so", "QARN.X", "do", 2));
    EXPECT_EQ(line.call.params, ParseJson(R"({"a": 1, "b": 7, "s": "plain text",
                                              "j": {"k": [1]}, "e": "", "q": "1"})"));
}

TEST(CommandLine, ListAndHelp) {
    EXPECT_EQ(Parsed({"list"}).command, CommandLine::Command::kList);
    EXPECT_EQ(Parsed({"--help"}).command, CommandLine::Command::kHelp);
}

TEST(CommandLine, RefusesMalformedWords) {
    const std::vector<std::vector<std::string>> bad = {
        {},
        {"call", "api"},
        {"call", "api", "m", "--version", "0"},
        {"call", "api", "m", "--version", "2x"},
        {"call", "api", "m", "--version", "99999999999999999999"},
        {"call", "api", "m", "--params", "[1]"},
        {"call", "api", "m", "--params", "{bad"},
        {"call", "api", "m", "--params"},
        {"call", "api", "m", "noequals"},
        {"call", "api", "m", "=value"},
        {"--module"},
        {"list", "extra"},
        {"frobnicate"},
    };
    for (const auto& words : bad) {
        CommandLine line;
        std::string error;
        EXPECT_FALSE(line.Parse(words, error)) << testing::PrintToString(words);
        EXPECT_FALSE(error.empty());
    }
}

}  // namespace
