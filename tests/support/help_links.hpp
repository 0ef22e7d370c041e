// Expected error details with the codes' own help links, which the answer path adds.
#pragma once

#include <json/value.h>

#include "abstract_check_handler.hpp"

// Adds the help links of code to info.
inline void AddHelpLinks(int code, Json::Value& info) {
    auto links = kHelpLinks.find(static_cast<ErrorCode>(code));
    if (links == kHelpLinks.end()) return;
    for (const auto& [key, link] : links->second) info[key] = link;
}

// details with the help links of code added to its "info", when it has one.
inline Json::Value WithHelpLinks(int code, Json::Value details) {
    if (details.isObject() && details.isMember("info")) AddHelpLinks(code, details["info"]);
    return details;
}

// Details of an error answer: info with the code's help links (none when both are empty),
// "isPlural" and "level".
inline Json::Value ErrorDetails(int code, bool plural, int level,
                                Json::Value info = Json::Value(Json::objectValue)) {
    AddHelpLinks(code, info);
    Json::Value details;
    if (!info.empty()) details["info"] = info;
    details["isPlural"] = plural;
    details["level"] = level;
    return details;
}
