// The domain checks' answers on machines laid out in the sandbox (tests/fixtures/*_answers.json):
// outputs that the test bed's servers cannot be made to give.
#include <gtest/gtest.h>

#include "call.hpp"
#include "domain_machine.hpp"
#include "domain_probe.hpp"
#include "fixture.hpp"

namespace {

struct AnswerCase {
    std::string name;
    Json::Value spec;
};

// The cases of every *_answers.json fixture.
std::vector<AnswerCase> Cases() {
    std::vector<AnswerCase> cases;
    for (const char* area : {"domain", "join", "service", "validation"}) {
        for (const Json::Value& spec : FixtureJson(std::string(area) + "_answers.json")) {
            cases.push_back({spec["name"].asString(), spec});
        }
    }
    return cases;
}

// "details" stands for an error answer with the code's help links, "data" for any other.
Json::Value ExpectedData(const Json::Value& spec) {
    if (!spec.isMember("details")) return spec["data"];
    const Json::Value& details = spec["details"];
    return ErrorDetails(spec["code"].asInt(), details["isPlural"].asBool(),
                        details["level"].asInt(), details.get("info", Json::objectValue));
}

void PrintTo(const AnswerCase& c, std::ostream* os) {
    *os << c.name;
}

class DomainAnswerTest : public testing::TestWithParam<AnswerCase> {};

TEST_P(DomainAnswerTest, AnswersAndLeavesTheMachineAsExpected) {
    const Json::Value& spec = GetParam().spec;
    SandboxMachine machine(spec);
    ExpectAnswer(
        CallEntry(EntryOf(spec["method"].asString()), spec.get("params", Json::objectValue)),
        spec["code"].asInt(), ExpectedData(spec));
    const Json::Value& toolArgs = spec["tool_args"];
    for (const std::string& tool : toolArgs.getMemberNames()) {
        EXPECT_EQ(Sandbox::FakeToolArgs(tool), toolArgs[tool].asString()) << tool;
    }
    for (const Json::Value& text : spec["logged"]) {
        EXPECT_TRUE(Sandbox::Logged(text.asString())) << text;
    }
    const Json::Value& after = spec["after"];
    for (const std::string& path : after.getMemberNames()) {
        Json::Value content = Sandbox::Exists(path) ? Sandbox::ReadFile(path) : Json::Value();
        EXPECT_EQ(content, after[path]) << path;
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, DomainAnswerTest, testing::ValuesIn(Cases()), RowName());

}  // namespace
