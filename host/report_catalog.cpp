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
    std::string errors;
    if (!file || !Json::parseFromStream(builder, file, &document_, &errors) ||
        !document_.isObject()) {
        error = path + ": " + (file ? errors : "cannot be read");
        return false;
    }
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
