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

struct SetErrorCase {
    const char* name;
    const char* findings;  // answer data before the report
    ErrorSeverity severity;
    ErrorCode code;
    const char* details;  // expected details
};

class SetErrorTest : public testing::TestWithParam<SetErrorCase> {};

TEST_P(SetErrorTest, SendsCodeAndDetails) {
    const SetErrorCase& c = GetParam();
    Answer answer;
    answer.handler.Data() = ParseJson(c.findings);
    answer.handler.SetError(c.severity, c.code);
    ASSERT_TRUE(answer.response.IsAnswered());
    EXPECT_FALSE(answer.response.IsSuccess());
    EXPECT_EQ(answer.response.GetErrorCode(), c.code);
    EXPECT_EQ(answer.response.GetData(), ParseJson(c.details));
}

const std::string kNtlmAuth =
    "\"https://learn.microsoft.com/en-us/previous-versions/windows/it-pro/windows-10/security/"
    "threat-protection/security-policy-settings/"
    "network-security-restrict-ntlm-ntlm-authentication-in-this-domain\"";

INSTANTIATE_TEST_SUITE_P(
    Details, SetErrorTest,
    testing::Values(SetErrorCase{"NoLinksNoFindings", "null", kError, kClockSkewTooGreat,
                                 R"({"isPlural": false, "level": 0})"},
                    SetErrorCase{"PluralKept", R"({"isPlural": true, "info": {"ips": ["a", "b"]}})",
                                 kWarning, kTimeOffsetTooLarge,
                                 R"({"isPlural": true, "level": 1, "info": {"ips": ["a", "b"]}})"},
                    SetErrorCase{"ExtraKeysKept", R"({"info": {}, "badValue": 3})", kError,
                                 kSMBConfWrongValues,
                                 R"({"info": {}, "badValue": 3, "isPlural": false, "level": 0})"},
                    SetErrorCase{"CodeOnlyDropsFindings", R"({"info": {"ip": "x"}})", kCodeOnly,
                                 kNTLMBlocked, "null"}),
    [](const testing::TestParamInfo<SetErrorCase>& info) { return info.param.name; });

TEST(SetError, NtlmCodeAddsItsThreeLinksBesideTheFindings) {
    Answer answer;
    answer.handler.Data()["info"]["ip"] = "192.0.2.1";
    answer.handler.SetError(kWarning, kNTLMBlocked);
    const Json::Value& details = answer.response.GetData();
    EXPECT_EQ(details["level"], 1);
    EXPECT_EQ(details["info"]["ip"], "192.0.2.1");
    EXPECT_EQ(details["info"]["link_ntlm_auth"], ParseJson(kNtlmAuth));
    EXPECT_TRUE(details["info"]["link_ntlm_traffic"].isString());
    EXPECT_TRUE(details["info"]["link_server_exception"].isString());
    EXPECT_EQ(details["info"].size(), 4u);
}

TEST(SetError, LinkReplacesAFindingOfTheSameName) {
    Answer answer;
    answer.handler.Data()["info"]["link"] = "mine";
    answer.handler.SetError(kError, kWinbindNotAvailable);
    EXPECT_EQ(answer.response.GetData()["info"]["link"],
              "https://www.qarn.com/support/technical-support-request");
}

TEST(SetError, EveryReportIsLoggedWithItsSourcePosition) {
    Answer answer;
    answer.handler.SetError(kError, kClockSkewTooGreat);
    EXPECT_TRUE(Sandbox::Logged("abstract_check_handler.cpp:"));
    answer.handler.SetError(kCodeOnly, kNTLMBlocked);
    EXPECT_TRUE(Sandbox::Logged("test fail(err code=1034)"));
    answer.handler.SetError(kNoProgressFile);
    EXPECT_TRUE(Sandbox::Logged("test fail(err code=1113)"));
}

TEST(SetError, BareCodeSendsNullDetails) {
    Answer answer;
    answer.handler.Data()["info"]["ip"] = "192.0.2.1";
    answer.handler.SetError(kNoProgressFile);
    EXPECT_EQ(answer.response.GetErrorCode(), kNoProgressFile);
    EXPECT_TRUE(answer.response.GetData().isNull());
}

TEST(SetSuccess, SendsTheGivenResult) {
    Answer answer;
    answer.handler.Data()["ignored"] = 1;
    answer.handler.SetSuccess(ParseJson(R"({"x": [1]})"));
    EXPECT_TRUE(answer.response.IsSuccess());
    EXPECT_EQ(answer.response.GetData(), ParseJson(R"({"x": [1]})"));
}

TEST(HelpLinks, ThirteenCodesFifteenLinks) {
    size_t links = 0;
    for (const auto& [code, keys] : kHelpLinks) {
        links += keys.size();
        for (const auto& [key, address] : keys) {
            EXPECT_EQ(address.rfind("https://", 0), 0u) << code << " " << key;
        }
    }
    EXPECT_EQ(kHelpLinks.size(), 13u);
    EXPECT_EQ(links, 15u);
    EXPECT_EQ(kHelpLinks.at(1005), kHelpLinks.at(1006));
}

}  // namespace
