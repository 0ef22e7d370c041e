// A JSON array of strings, for expected values in tests.
#pragma once

#include <json/value.h>

#include <initializer_list>

inline Json::Value StringArray(std::initializer_list<const char*> texts) {
    Json::Value array(Json::arrayValue);
    for (const char* text : texts) array.append(text);
    return array;
}
