// Runs one entry function in process, as the host would; JSON helpers for expectations.
#pragma once

#include <json/value.h>
#include <json/writer.h>

#include <initializer_list>
#include <ostream>
#include <string>

#include "api_request.hpp"
#include "api_response.hpp"
#include "webapi_entry.hpp"

inline QARN::APIResponse CallEntry(QARN::APIEntryFunction entry,
                                   const Json::Value& params = Json::Value(Json::objectValue),
                                   int version = 1, const std::string& user = "admin",
                                   const std::string& remoteIP = "192.0.2.7") {
    QARN::APIRequest request("api", "method", version, params, user, remoteIP);
    QARN::APIResponse response;
    entry(&request, &response);
    return response;
}

// Expects the response answered with code (0: success) and exactly data.
void ExpectAnswer(const QARN::APIResponse& response, int code, const Json::Value& data);

// A JSON case: calls entry with its "params" (and "version", default 1) and expects its "code"
// and exactly its "data".
void ExpectCaseAnswer(QARN::APIEntryFunction entry, const Json::Value& c);

// Parses a JSON text; tests write expected values compactly.
Json::Value ParseJson(const std::string& text);

inline Json::Value StringArray(std::initializer_list<const char*> texts) {
    Json::Value array(Json::arrayValue);
    for (const char* text : texts) array.append(text);
    return array;
}

namespace Json {
// Readable JSON in test failure messages.
inline void PrintTo(const Value& value, std::ostream* os) {
    *os << value.toStyledString();
}
}  // namespace Json
