#include "abstract_check_handler.hpp"

#include <gtest/gtest.h>

#include <tuple>

#include "call.hpp"
#include "help_links.hpp"
#include "sandbox.hpp"

namespace {

// Exposes the answer path; the check's findings are set before it answers.
class ProbeHandler : public AbstractCheckHandler {
  public:
    using AbstractCheckHandler::AbstractCheckHandler;
    using AbstractCheckHandler::SetError;
    Json::Value& Data() { return m_data; }
};

const int kBareCode = -1;  // SetError(code) without a severity

TEST(SetError, SendsCodeAndDetails) {
    // The severity, the code, the answer data before the report and the details sent, to whose
    // "info" the code's help links are added (the code's own link replaces the check's).
    const std::tuple<int, ErrorCode, const char*, const char*> cases[] = {
        {kError, kClockSkewTooGreat, "null", R"({"isPlural": false, "level": 0})"},
        {kError, kSMBConfWrongValues, R"({"info": {}, "badValue": 3})",
         R"({"info": {}, "badValue": 3, "isPlural": false, "level": 0})"},
        {kError, kWinbindNotAvailable, R"({"info": {"link": "mine"}})",
         R"({"info": {}, "isPlural": false, "level": 0})"},
        {kCodeOnly, kNTLMBlocked, R"({"info": {"ip": "x"}})", "null"},
        {kBareCode, kNoProgressFile, R"({"info": {"ip": "x"}})", "null"}};
    for (auto [severity, code, findings, details] : cases) {
        SCOPED_TRACE(std::to_string(code) + " " + findings);
        QARN::APIRequest request("api", "method", 1, Json::Value(), "admin", "127.0.0.1");
        QARN::APIResponse response;
        ProbeHandler handler(&request, &response);
        handler.Data() = ParseJson(findings);
        if (severity == kBareCode) {
            handler.SetError(code);
        } else {
            handler.SetError(static_cast<ErrorSeverity>(severity), code);
        }
        ASSERT_TRUE(response.IsAnswered());
        EXPECT_FALSE(response.IsSuccess());
        EXPECT_EQ(response.GetErrorCode(), code);
        EXPECT_EQ(response.GetData(), WithHelpLinks(code, ParseJson(details)));
        EXPECT_TRUE(Sandbox::Logged(" test fail(err code=" + std::to_string(code) + ")"));
    }
}

}  // namespace
