#include "check_list.hpp"

#include <set>

namespace {

bool IsEmptyInput(const Json::Value& value) {
    return value.isNull() || (value.isString() && value.asString().empty());
}

Json::Value FollowPath(const Json::Value& answer, const Json::Value& path) {
    const Json::Value* node = &answer;
    for (const Json::Value& key : path) {
        if (!key.isString() || !node->isObject() || !node->isMember(key.asString())) {
            return Json::Value();
        }
        node = &(*node)[key.asString()];
    }
    return *node;
}

bool IsSource(const Json::Value& source) {
    if (!source.isObject() || (source.isMember("from") && !source["from"].isString())) {
        return false;
    }
    if (source.isMember("value")) return true;
    if (source.isMember("input")) return source["input"].isString();
    return source["from"].isString() && source["paths"].isArray();
}

bool CheckSources(const Json::Value& params, const std::string& where, std::string& error) {
    if (!params.isObject()) {
        error = where + ": params must be an object";
        return false;
    }
    for (const std::string& name : params.getMemberNames()) {
        if (!IsSource(params[name])) {
            error = where + ": parameter " + name + " has no value, input or from source";
            return false;
        }
    }
    return true;
}

std::string TextMember(const Json::Value& node, const char* key) {
    return node[key].isString() ? node[key].asString() : "";
}

bool FlagMember(const Json::Value& node, const char* key) {
    return node[key].isBool() && node[key].asBool();
}

}  // namespace

Json::Value ResolveSource(const Json::Value& source, const Json::Value& inputs,
                          const Answers& answers) {
    if (source.isMember("value")) return source["value"];
    if (source.isMember("input")) {
        Json::Value value = inputs.get(source["input"].asString(), Json::Value());
        return IsEmptyInput(value) ? Json::Value() : value;
    }
    auto answer = answers.find(source["from"].asString());
    if (answer == answers.end()) return Json::Value();
    for (const Json::Value& path : source["paths"]) {
        Json::Value value = FollowPath(answer->second, path);
        if (!value.isNull()) return value;
    }
    return Json::Value();
}

bool CheckList::Parse(const Json::Value& document, std::string& error) {
    if (!document.isObject() || !document["stages"].isArray()) {
        error = "a check list is an object with \"stages\"";
        return false;
    }
    type = TextMember(document, "type");
    for (const Json::Value& input : document["inputs"]) {
        if (input.isString()) inputs.push_back(input.asString());
    }
    sharedParams_ = document.get("shared_params", Json::Value(Json::objectValue));
    if (!sharedParams_.isObject()) {
        error = "shared_params must be an object";
        return false;
    }
    for (const std::string& api : sharedParams_.getMemberNames()) {
        if (!CheckSources(sharedParams_[api], "shared_params " + api, error)) return false;
    }
    std::set<std::string> ids;
    for (const Json::Value& stageNode : document["stages"]) {
        if (!stageNode.isObject()) {
            error = "a stage is an object with \"checks\"";
            return false;
        }
        StageSpec stage;
        stage.name = TextMember(stageNode, "stage");
        for (const Json::Value& checkNode : stageNode["checks"]) {
            CheckSpec check;
            if (!ParseCheck(checkNode, check, error)) return false;
            if (!ids.insert(check.id).second) {
                error = "check id " + check.id + " appears twice";
                return false;
            }
            stage.checks.push_back(check);
        }
        stages.push_back(stage);
    }
    return true;
}

bool CheckList::ParseCheck(const Json::Value& node, CheckSpec& check, std::string& error) const {
    if (!node.isObject()) {
        error = "a check is an object: " + node.toStyledString();
        return false;
    }
    check.id = TextMember(node, "id");
    check.api = TextMember(node, "api");
    check.method = TextMember(node, "method");
    if (check.id.empty() || check.api.empty() || check.method.empty() ||
        !node.get("version", 1).isInt()) {
        error =
            "a check needs an id, an api, a method and a whole version: " + node.toStyledString();
        return false;
    }
    check.version = node.get("version", 1).asInt();
    check.params = node.get("params", Json::Value(Json::objectValue));
    if (!CheckSources(check.params, "check " + check.id, error)) return false;
    check.stopOnError = TextMember(node, "on_error") == "stop";
    check.independent = FlagMember(node, "independent");
    check.perController = FlagMember(node, "per_controller");
    std::set<std::string> from;
    const Json::Value& shared = sharedParams_[check.api];
    for (const Json::Value* params : {&shared, static_cast<const Json::Value*>(&check.params)}) {
        for (const std::string& name : params->getMemberNames()) {
            const Json::Value& source = (*params)[name];
            if (source.isMember("from")) from.insert(source["from"].asString());
        }
    }
    check.takesFrom.assign(from.begin(), from.end());
    return true;
}

Json::Value CheckList::ResolveParams(const CheckSpec& check, const Json::Value& inputs,
                                     const Answers& answers) const {
    Json::Value params(Json::objectValue);
    for (const Json::Value* sources : {&sharedParams_[check.api], &check.params}) {
        if (!sources->isObject()) continue;
        for (const std::string& name : sources->getMemberNames()) {
            Json::Value value = ResolveSource((*sources)[name], inputs, answers);
            if (!value.isNull()) {
                params[name] = value;
            } else if (sources == &check.params) {
                params.removeMember(name);
            }
        }
    }
    return params;
}
