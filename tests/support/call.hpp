// Runs one entry function in process, as the host would.
#pragma once

#include <json/value.h>

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

// Parses a JSON text; tests write expected values compactly.
Json::Value ParseJson(const std::string& text);
