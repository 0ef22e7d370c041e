#include "report_catalog.hpp"

#include <json/reader.h>

#include <algorithm>
#include <cctype>
#include <fstream>

namespace {

std::string ValueText(const Json::Value& value) {
    if (value.isString()) return value.asString();
    if (value.isArray()) {
        std::string joined;
        for (const Json::Value& item : value) {
            std::string text = ValueText(item);
            if (!text.empty()) joined += (joined.empty() ? "" : ",") + text;
        }
        return joined;
    }
    if (value.isIntegral() || value.isBool()) return value.asString();
    return "";
}

bool Matches(const Json::Value& when, const Json::Value& params) {
    for (const std::string& name : when.getMemberNames()) {
        if (params[name] != when[name]) return false;
    }
    return true;
}

bool IsTextOrNull(const Json::Value& value) {
    return value.isNull() || value.isString();
}

// node is null or of type, and each of its items is an object that is valid.
template <typename Valid>
bool ObjectsIn(const Json::Value& node, Json::ValueType type, Valid valid) {
    if (!node.isNull() && node.type() != type) return false;
    for (const Json::Value& item : node) {
        if (!item.isObject() || !valid(item)) return false;
    }
    return true;
}

bool IsCatalog(const Json::Value& document) {
    auto validCommand = [](const Json::Value& command) { return IsTextOrNull(command["command"]); };
    auto validCheck = [&](const Json::Value& check) {
        return ObjectsIn(check["commands"], Json::arrayValue, validCommand);
    };
    auto validRule = [](const Json::Value& rule) {
        return (rule["effects"].isNull() || rule["effects"].isObject()) &&
               IsTextOrNull(rule["says"]);
    };
    return document.isObject() &&
           ObjectsIn(document["codes"], Json::objectValue,
                     [](const Json::Value&) { return true; }) &&
           ObjectsIn(document["checks"], Json::objectValue, validCheck) &&
           ObjectsIn(document["root_causes"], Json::arrayValue, validRule);
}

}  // namespace

bool FillTemplate(const std::string& text, const Json::Value& values, std::string& filled) {
    filled.clear();
    size_t position = 0;
    while (position < text.size()) {
        size_t open = text.find('{', position);
        size_t close = open == std::string::npos ? open : text.find('}', open);
        if (close == std::string::npos) {
            filled += text.substr(position);
            break;
        }
        filled += text.substr(position, open - position);
        std::string name = text.substr(open + 1, close - open - 1);
        bool upper = name.size() > 6 && name.compare(name.size() - 6, 6, "|upper") == 0;
        if (upper) name.resize(name.size() - 6);
        std::string value = ValueText(values[name]);
        if (value.empty()) return false;
        if (upper) std::transform(value.begin(), value.end(), value.begin(), ::toupper);
        filled += value;
        position = close + 1;
    }
    return true;
}

bool ReportCatalog::Load(const std::string& path, std::string& error) {
    std::ifstream file(path);
    Json::CharReaderBuilder builder;
    Json::Value document;
    std::string errors;
    if (!file || !Json::parseFromStream(builder, file, &document, &errors)) {
        error = path + ": " + (file ? errors : "cannot be read");
        return false;
    }
    if (Set(document, error)) return true;
    error = path + ": " + error;
    return false;
}

bool ReportCatalog::Set(const Json::Value& document, std::string& error) {
    if (!IsCatalog(document)) {
        error = "not a report catalog (codes, checks and root_causes of the wrong shape)";
        return false;
    }
    document_ = document;
    return true;
}

Json::Value ReportCatalog::Code(int code) const {
    return document_["codes"].get(std::to_string(code), Json::Value());
}

std::string ReportCatalog::Title(const std::string& method) const {
    const Json::Value& title = document_["checks"][method]["title"];
    return title.isString() ? title.asString() : method;
}

std::vector<std::string> ReportCatalog::Commands(const std::string& method,
                                                 const Json::Value& params,
                                                 const std::vector<std::string>& hosts) const {
    std::vector<std::string> commands;
    for (const Json::Value& entry : document_["checks"][method]["commands"]) {
        if (entry["when"].isObject() && !Matches(entry["when"], params)) continue;
        const std::string text = entry["command"].asString();
        Json::Value values = params;
        std::vector<std::string> targets = hosts;
        if (text.find("{host}") == std::string::npos || targets.empty()) targets = {""};
        for (const std::string& host : targets) {
            values["host"] = host;
            std::string filled;
            if (FillTemplate(text, values, filled)) commands.push_back(filled);
        }
        break;
    }
    return commands;
}
