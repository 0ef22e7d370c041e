#include "abstract_check_handler.hpp"

#include <gtest/gtest.h>

#include "call.hpp"
#include "sandbox.hpp"

namespace {

// Exposes the answer path; the check's findings are set before it answers.
class ProbeHandler : public AbstractCheckHandler {
  public:
    using AbstractCheckHandler::AbstractCheckHandler;
    using AbstractCheckHandler::SetError;
    using AbstractCheckHandler::SetSuccess;
    Json::Value& Data() { return m_data; }
};

struct Answer {
    QARN::APIRequest request{"api", "method", 1, Json::Value(), "admin", "127.0.0.1"};
    QARN::APIResponse response;
    ProbeHandler handler{&request, &response};
};

const int kBareCode = -1;  // SetError(code) without a severity

struct SetErrorCase {
    const char* name;
    const char* findings;  // answer data before the report
    int severity;
    ErrorCode code;
    const char* details;  // expected; "L" stands for the code's own help link
};

class SetErrorTest : public testing::TestWithParam<SetErrorCase> {};

TEST_P(SetErrorTest, SendsCodeAndDetails) {
    const SetErrorCase& c = GetParam();
    Answer answer;
    answer.handler.Data() = ParseJson(c.findings);
    if (c.severity == kBareCode) {
        answer.handler.SetError(c.code);
    } else {
        answer.handler.SetError(static_cast<ErrorSeverity>(c.severity), c.code);
    }
    ASSERT_TRUE(answer.response.IsAnswered());
    EXPECT_FALSE(answer.response.IsSuccess());
    EXPECT_EQ(answer.response.GetErrorCode(), c.code);
    Json::Value details = answer.response.GetData();
    auto links = kHelpLinks.find(c.code);
    if (links != kHelpLinks.end() && details.isMember("info")) {
        for (const auto& [key, link] : links->second) {
            if (details["info"].get(key, "") == link) details["info"][key] = "L";
        }
    }
    EXPECT_EQ(details, ParseJson(c.details));
    EXPECT_TRUE(Sandbox::Logged(" test fail(err code=" + std::to_string(c.code) + ")"));
}

const SetErrorCase kSetErrorCases[] = {
    {"NoLinksNoFindings", "null", kError, kClockSkewTooGreat, R"({"isPlural": false, "level": 0})"},
    {"PluralKept", R"({"isPlural": true, "info": {"ips": ["a", "b"]}})", kWarning,
     kTimeOffsetTooLarge, R"({"isPlural": true, "level": 1, "info": {"ips": ["a", "b"]}})"},
    {"ExtraKeysKept", R"({"info": {}, "badValue": 3})", kError, kSMBConfWrongValues,
     R"({"info": {}, "badValue": 3, "isPlural": false, "level": 0})"},
    {"NtlmLinksBesideFindings", R"({"info": {"ip": "192.0.2.1"}})", kWarning, kNTLMBlocked,
     R"({"info": {"ip": "192.0.2.1", "link_server_exception": "L", "link_ntlm_traffic": "L",
         "link_ntlm_auth": "L"}, "isPlural": false, "level": 1})"},
    {"LinkReplacesFinding", R"({"info": {"link": "mine"}})", kError, kWinbindNotAvailable,
     R"({"info": {"link": "L"}, "isPlural": false, "level": 0})"},
    {"CodeOnlyDropsFindings", R"({"info": {"ip": "x"}})", kCodeOnly, kNTLMBlocked, "null"},
    {"BareCodeDropsFindings", R"({"info": {"ip": "x"}})", kBareCode, kNoProgressFile, "null"}};

INSTANTIATE_TEST_SUITE_P(Details, SetErrorTest, testing::ValuesIn(kSetErrorCases),
                         [](const auto& info) { return info.param.name; });

TEST(SetSuccess, SendsTheGivenResult) {
    Answer answer;
    answer.handler.Data()["ignored"] = 1;
    answer.handler.SetSuccess(ParseJson(R"({"x": [1]})"));
    EXPECT_TRUE(answer.response.IsSuccess());
    EXPECT_EQ(answer.response.GetData(), ParseJson(R"({"x": [1]})"));
}

}  // namespace
