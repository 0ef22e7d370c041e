#include "call.hpp"

#include <gtest/gtest.h>
#include <json/reader.h>

#include <memory>
#include <stdexcept>

void ExpectAnswer(const QARN::APIResponse& response, int code, const Json::Value& data) {
    ASSERT_TRUE(response.IsAnswered());
    EXPECT_EQ(response.GetErrorCode(), code);
    EXPECT_EQ(response.GetData(), data);
}

void ExpectCaseAnswer(QARN::APIEntryFunction entry, const Json::Value& c) {
    SCOPED_TRACE(c["params"].toStyledString());
    ExpectAnswer(CallEntry(entry, c["params"], c.get("version", 1).asInt()), c["code"].asInt(),
                 c["data"]);
}

Json::Value ParseJson(const std::string& text) {
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
        throw std::invalid_argument("bad JSON in test: " + errors);
    }
    return value;
}
