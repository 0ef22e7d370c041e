// Answer details with the error code's own help links written "L", for compact expectations.
#pragma once

#include <json/value.h>

#include "abstract_check_handler.hpp"

inline Json::Value MaskHelpLinks(Json::Value details, int code) {
    auto links = kHelpLinks.find(static_cast<ErrorCode>(code));
    if (links == kHelpLinks.end() || !details.isObject() || !details.isMember("info")) {
        return details;
    }
    for (const auto& [key, link] : links->second) {
        if (details["info"].get(key, "") == link) details["info"][key] = "L";
    }
    return details;
}
