// JSON helpers for expectations in tests: string arrays, and readable values in failure messages.
#pragma once

#include <json/value.h>

#include <initializer_list>
#include <ostream>

inline Json::Value StringArray(std::initializer_list<const char*> texts) {
    Json::Value array(Json::arrayValue);
    for (const char* text : texts) array.append(text);
    return array;
}

namespace Json {
inline void PrintTo(const Value& value, std::ostream* os) {
    *os << value.toStyledString();
}
}  // namespace Json
