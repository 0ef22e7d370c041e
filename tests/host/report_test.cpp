// The report from captured module answers: answers in, report out.
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>

#include "call.hpp"
#include "check_list.hpp"
#include "fixture.hpp"
#include "report_builder.hpp"
#include "report_formatter.hpp"
#include "run_history.hpp"
#include "sandbox.hpp"

namespace {

ReportCatalog Catalog() {
    ReportCatalog catalog;
    std::string error;
    EXPECT_TRUE(catalog.Load(DSCHECK_SOURCE_DIR "/checklist/report_catalog.json", error)) << error;
    return catalog;
}

// A pretest against dc1 and a stopped dc2, answers as the module gives them.
Json::Value StoppedControllerRun() {
    return FixtureJson("stopped_controller_run.json");
}

// Expects each key of expected at its value in actual, the checks' entries key by key.
void ExpectKeys(const Json::Value& actual, const Json::Value& expected) {
    for (const std::string& key : expected.getMemberNames()) {
        if (key != "checks") {
            EXPECT_EQ(actual[key], expected[key]) << key;
            continue;
        }
        ASSERT_EQ(actual[key].size(), expected[key].size());
        for (Json::ArrayIndex i = 0; i < expected[key].size(); ++i) {
            SCOPED_TRACE(actual[key][i]["id"].asString());
            ExpectKeys(actual[key][i], expected[key][i]);
        }
    }
}

TEST(Report, StatusFindingsCommandsMatrixAndRootCauseOfAStoppedController) {
    ReportCatalog catalog = Catalog();
    Json::Value report = ReportBuilder(catalog).Build(StoppedControllerRun());
    ExpectKeys(report, FixtureJson("stopped_controller_report.json"));
    for (const Json::Value& check : report["checks"]) {
        if (check.isMember("code")) {
            EXPECT_EQ(check["meaning"], catalog.Code(check["code"].asInt())["meaning"]);
        }
    }
    // An unreachable port has no link of the module's: the catalog's is its help.
    EXPECT_EQ(report["checks"][1]["links"]["link"], catalog.Code(1013)["links"]["link"]);
    EXPECT_TRUE(report["checks"][1]["links"]["link"].isString());
}

TEST(Report, EveryCodeOfTheModuleHasAMeaningAndAnAction) {
    ReportCatalog catalog = Catalog();
    std::string source = Sandbox::ReadFile(DSCHECK_SOURCE_DIR "/include/error_code.hpp");
    int codes = 0;
    for (size_t at = source.find(" = "); at != std::string::npos; at = source.find(" = ", at + 1)) {
        int code = std::atoi(source.c_str() + at + 3);
        if (code <= 0) continue;
        ++codes;
        Json::Value text = catalog.Code(code);
        EXPECT_TRUE(text["meaning"].isString() && text["action"].isString()) << code;
    }
    EXPECT_GT(codes, 90);
}

TEST(Report, OutputFormatsAndExitStatus) {
    Json::Value report = ReportBuilder(Catalog()).Build(StoppedControllerRun());
    report["run"] = "20261123T050000Z-domain_pretest";
    EXPECT_EQ(ReportFormatter::ExitStatus(report), kRunError);
    EXPECT_EQ(ReportFormatter::Nagios(report),
              "DSCHECK CRITICAL - domain_pretest: 2 ok, 2 warning, 1 error, 1 skipped "
              "(port_88 1013, kinit 1083, smb_auth 1034) | ok=2 warning=2 error=1 "
              "unavailable=0 skipped=1 time=7.500s\n");
    std::string text = ReportFormatter::Text(report);
    for (const char* line : {"Result: ERROR", "Blocked by: port 88 unreachable on 192.0.2.11",
                             "  192.0.2.11         FAIL             ok               FAIL"}) {
        EXPECT_NE(text.find(line), std::string::npos) << line;
    }
}

// A reader of the text exposition format: every sample names a declared gauge, label values
// are quoted and escaped, values are numbers.
TEST(Report, PrometheusExpositionParses) {
    Json::Value run = StoppedControllerRun();
    run["type"] = "odd\"type\\";
    std::istringstream lines(ReportFormatter::Prometheus(ReportBuilder(Catalog()).Build(run)));
    std::set<std::string> gauges;
    std::string line;
    int samples = 0;
    std::regex sample(
        R"re(^([a-z_]+)\{([a-z_]+="(\\.|[^"\\])*"(,[a-z_]+="(\\.|[^"\\])*")*)\} -?[0-9.e+]+$)re");
    while (std::getline(lines, line)) {
        std::smatch match;
        if (line.rfind("# TYPE ", 0) == 0) {
            EXPECT_EQ(line.substr(line.rfind(' ')), " gauge");
            gauges.insert(line.substr(7, line.find(' ', 7) - 7));
        } else if (line.rfind("# HELP ", 0) != 0) {
            ASSERT_TRUE(std::regex_match(line, match, sample)) << line;
            EXPECT_TRUE(gauges.count(match[1])) << line;
            ++samples;
        }
    }
    EXPECT_EQ(samples, 6 + 3);
}

// Two runs and the changes between them: better, worse, new and gone.
TEST(Report, DiffSaysWhatGotBetterAndWorse) {
    Json::Value runs = FixtureJson("run_diff.json");
    EXPECT_EQ(RunHistory::Diff(runs["before"], runs["after"])["changes"], runs["changes"]);
}

TEST(CheckList, ParametersFromEverySource) {
    CheckList list;
    std::string error;
    ASSERT_TRUE(list.Parse(ParseJson(R"({"type": "t", "inputs": ["a", "pw", "empty"],
        "shared_params": {"API": {"a": {"input": "a"}, "pw": {"input": "pw"},
                                  "x": {"value": "shared"}}},
        "stages": [{"stage": "s", "checks": [{"id": "c", "api": "API", "method": "m",
            "params": {"x": {"value": 7}, "e": {"input": "empty"},
                       "f": {"from": "prev", "paths": [["data", "no"], ["error", "details", "v"]]},
                       "g": {"from": "none", "paths": [["data"]]}}}]}]})"),
                           error))
        << error;
    Answers answers{{"prev", ParseJson(R"({"success": false, "error": {"details": {"v": [1]}}})")}};
    EXPECT_EQ(list.ResolveParams(list.stages[0].checks[0],
                                 ParseJson(R"({"a": "A", "pw": "secret", "empty": ""})"), answers),
              ParseJson(R"({"a": "A", "pw": "secret", "x": 7, "f": [1]})"));
    EXPECT_EQ(list.stages[0].checks[0].takesFrom, (std::vector<std::string>{"none", "prev"}));
    for (const char* bad : {R"({"stages": [{"checks": [{"id": "c", "api": "A"}]}]})",
                            R"({"stages": [{"checks": [{"id": "c", "api": "A", "method": "m",
                                "params": {"p": {"from": 1}}}]}]})",
                            R"({"stages": [{"checks": [{"id": "c", "api": "A", "method": "m"},
                                {"id": "c", "api": "A", "method": "m"}]}]})"}) {
        EXPECT_FALSE(CheckList().Parse(ParseJson(bad), error)) << bad;
    }
}

}  // namespace
