#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <tuple>

#include "api_table.hpp"
#include "call.hpp"
#include "help_links.hpp"
#include "sandbox.hpp"

namespace {

const int kPasses = -1;  // success with null

TEST(GenerateIssue, ReportsTheDescribedError) {
    // The parameters, the code and the details, to whose "info" the code's help links are added.
    const std::tuple<const char*, int, const char*> cases[] = {
        {"{}", 0, R"({"info": {"pass_test": true}, "isPlural": false, "level": 0})"},
        // Any level but 0 is a warning.
        {R"({"errCode": 1034, "level": 5})", 1034,
         R"({"info": {"pass_test": true}, "isPlural": false, "level": 1})"},
        {R"({"errCode": 1120, "level": -1})", 1120,
         R"({"info": {"pass_test": true}, "isPlural": false, "level": 1})"},
        {R"({"errCode": 1082, "isPlural": true, "data": {"ips": ["192.0.2.1", "192.0.2.2"]}})",
         1082, R"({"info": {"ips": ["192.0.2.1", "192.0.2.2"], "pass_test": true}, "isPlural": true,
             "level": 0})"},
        // The marker is reported as true; only a true boolean passes the retry.
        {R"({"errCode": 1001, "data": {"pass_test": false}})", 1001,
         R"({"info": {"pass_test": true}, "isPlural": false, "level": 0})"},
        {R"({"data": {"pass_test": 1}})", 0,
         R"({"info": {"pass_test": true}, "isPlural": false, "level": 0})"},
        {R"({"errCode": 1086, "isPlural": true, "data": {"pass_test": true, "link": "x"}})",
         kPasses, "null"}};
    for (auto [params, code, details] : cases) {
        SCOPED_TRACE(params);
        QARN::APIResponse response = CallEntry(GenerateIssue_v1, ParseJson(params));
        ASSERT_TRUE(response.IsAnswered());
        ASSERT_EQ(response.IsSuccess(), code == kPasses);
        EXPECT_EQ(response.GetErrorCode(), code == kPasses ? 0 : code);
        EXPECT_EQ(response.GetData(), WithHelpLinks(code, ParseJson(details)));
    }
}

// The delay is slept out in full though signals cut into it.
TEST(GenerateIssue, DelaySurvivesSignals) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    pid_t interrupter = Sandbox::Start(
        {"/bin/sh", "-c",
         "for i in 1 2 3 4 5; do sleep 0.1; kill -USR1 " + std::to_string(getpid()) + "; done"});
    auto start = std::chrono::steady_clock::now();
    QARN::APIResponse response =
        CallEntry(GenerateIssue_v1, ParseJson(R"({"delay": 1, "data": {"pass_test": true}})"));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    Sandbox::Stop(interrupter);
    EXPECT_TRUE(response.IsSuccess());
}

}  // namespace
