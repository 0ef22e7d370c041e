#include "report_builder.hpp"

#include <algorithm>
#include <set>

#include "secret_input.hpp"

namespace {

const char* const kHostKeys[] = {
    "server_list", "ip", "ips", "bad_DCs", "conflict_ip", "inconsistent_mtu_ip", "icmp_no_reply"};

const char* OutcomeName(CheckRecord::Outcome outcome) {
    switch (outcome) {
        case CheckRecord::Outcome::kAnswered:
            return "answered";
        case CheckRecord::Outcome::kUnavailable:
            return "unavailable";
        case CheckRecord::Outcome::kSkipped:
            return "skipped";
        case CheckRecord::Outcome::kCancelled:
            return "cancelled";
    }
    return "cancelled";
}

void AddHosts(const Json::Value& value, std::vector<std::string>& hosts) {
    if (value.isString()) {
        if (!value.asString().empty() && value.asString() != "*" &&
            std::find(hosts.begin(), hosts.end(), value.asString()) == hosts.end()) {
            hosts.push_back(value.asString());
        }
    } else if (value.isArray() || value.isObject()) {
        for (const Json::Value& item : value) AddHosts(item, hosts);
    }
}

// The controllers a check was asked to try, from its parameters.
std::vector<std::string> TriedHosts(const Json::Value& params) {
    std::vector<std::string> hosts;
    std::string list = params["dc_ips"].isString() ? params["dc_ips"].asString() : "";
    for (size_t start = 0; start < list.size();) {
        size_t comma = std::min(list.find(',', start), list.size());
        AddHosts(Json::Value(list.substr(start, comma - start)), hosts);
        start = comma + 1;
    }
    if (hosts.empty()) AddHosts(params["srv_target_ip"], hosts);
    AddHosts(params["test_ip"], hosts);
    return hosts;
}

Json::Value Strings(const std::vector<std::string>& texts) {
    Json::Value array(Json::arrayValue);
    for (const std::string& text : texts) array.append(text);
    return array;
}

std::vector<std::string> StringList(const Json::Value& array) {
    std::vector<std::string> texts;
    for (const Json::Value& item : array) texts.push_back(item.asString());
    return texts;
}

bool IsLinkKey(const std::string& key) {
    return key.compare(0, 4, "link") == 0;
}

// Status of an answered check from the host's reply.
void SetStatus(const Json::Value& reply, Json::Value& entry) {
    if (reply["success"].asBool()) {
        entry["status"] = "ok";
        return;
    }
    const int level = ReplyLevel(reply);
    entry["status"] = level == 1 ? "warning" : "error";
    entry["code"] = reply["error"]["code"];
    entry["level"] = level;
}

void SplitDetails(const Json::Value& details, Json::Value& entry) {
    Json::Value findings(Json::objectValue);
    Json::Value links(Json::objectValue);
    if (details.isObject()) {
        for (const std::string& key : details.getMemberNames()) {
            if (key == "info" && details[key].isObject()) {
                for (const std::string& name : details[key].getMemberNames()) {
                    (IsLinkKey(name) ? links : findings)[name] = details[key][name];
                }
            } else if (key != "isPlural" && key != "level") {
                findings[key] = details[key];
            }
        }
    } else if (!details.isNull()) {
        findings["details"] = details;
    }
    entry["findings"] = findings;
    entry["links"] = links;
}

// The catalog's help links of a code, beside the module's own (which win on the same key).
void AddCatalogLinks(const Json::Value& catalogLinks, Json::Value& links) {
    if (!catalogLinks.isObject()) return;
    for (const std::string& key : catalogLinks.getMemberNames()) {
        if (!links.isMember(key)) links[key] = catalogLinks[key];
    }
}

bool Failed(const Json::Value& entry) {
    return entry["status"] == "error" || entry["status"] == "warning";
}

}  // namespace

std::vector<std::string> FailedHosts(const Json::Value& details) {
    std::vector<std::string> hosts;
    if (!details["info"].isObject()) return hosts;
    for (const char* key : kHostKeys) AddHosts(details["info"][key], hosts);
    return hosts;
}

Json::Value ReportBuilder::MaskSecrets(const Json::Value& values) {
    Json::Value masked = values;
    for (const std::string& name : values.getMemberNames()) {
        if (SecretInput::IsSecret(name)) masked[name] = "********";
    }
    return masked;
}

Json::Value ReportBuilder::RecordJson(const CheckRecord& record) {
    Json::Value check(Json::objectValue);
    check["id"] = record.spec->id;
    check["stage"] = record.stage;
    check["api"] = record.spec->api;
    check["method"] = record.spec->method;
    check["version"] = record.spec->version;
    check["per_controller"] = record.spec->perController;
    check["outcome"] = OutcomeName(record.outcome);
    check["params"] =
        MaskSecrets(record.params.isObject() ? record.params : Json::Value(Json::objectValue));
    check["reply"] = record.reply;
    check["seconds"] = record.seconds;
    if (!record.stoppedBy.empty()) check["stopped_by"] = record.stoppedBy;
    return check;
}

Json::Value ReportBuilder::CheckEntry(const Json::Value& check) const {
    Json::Value entry(Json::objectValue);
    for (const char* key : {"id", "stage", "api", "method", "version", "seconds", "params"}) {
        entry[key] = check[key];
    }
    entry["title"] = catalog_.Title(check["method"].asString());
    std::string outcome = check["outcome"].asString();
    if (outcome != "answered") {
        entry["status"] = outcome;
        if (check.isMember("stopped_by")) entry["stopped_by"] = check["stopped_by"];
        return entry;
    }
    const Json::Value& reply = check["reply"];
    SetStatus(reply, entry);
    std::vector<std::string> hosts;
    if (Failed(entry)) {
        SplitDetails(reply["error"]["details"], entry);
        Json::Value text = catalog_.Code(entry["code"].asInt());
        entry["meaning"] =
            text.isObject()
                ? text["meaning"]
                : Json::Value("code " + entry["code"].asString() + " is not in the catalog");
        if (text.isObject()) {
            entry["action"] = text["action"];
            AddCatalogLinks(text["links"], entry["links"]);
        }
        hosts = FailedHosts(reply["error"]["details"]);
        entry["hosts"] = Strings(hosts);
        entry["commands"] =
            Strings(catalog_.Commands(check["method"].asString(), check["params"], hosts));
    } else if (!reply["data"].isNull()) {
        entry["findings"] = reply["data"];
    }
    if (check["per_controller"].asBool()) entry["tried"] = Strings(TriedHosts(check["params"]));
    return entry;
}

Json::Value ReportBuilder::Build(const Json::Value& run) const {
    Json::Value report(Json::objectValue);
    report["schema"] = 1;
    for (const char* key :
         {"run", "type", "started", "started_epoch", "seconds", "bracket", "inputs"}) {
        if (run.isMember(key)) report[key] = run[key];
    }
    Json::Value counts(Json::objectValue);
    for (const char* status : {"ok", "warning", "error", "unavailable", "skipped", "cancelled"}) {
        counts[status] = 0;
    }
    report["checks"] = Json::Value(Json::arrayValue);
    for (const Json::Value& check : run["checks"]) {
        Json::Value entry = CheckEntry(check);
        counts[entry["status"].asString()] = counts[entry["status"].asString()].asInt() + 1;
        report["checks"].append(entry);
    }
    report["counts"] = counts;
    // A check the module does not offer leaves the diagnosis incomplete: a warning.
    report["status"] = counts["error"].asInt()                                      ? "error"
                       : counts["warning"].asInt() || counts["unavailable"].asInt() ? "warning"
                                                                                    : "ok";
    report["complete"] = counts["cancelled"].asInt() == 0;
    AddRootCauses(report);
    report["controllers"] = Matrix(report["checks"]);
    return report;
}

void ReportBuilder::AddRootCauses(Json::Value& report) const {
    Json::Value& checks = report["checks"];
    report["root_causes"] = Json::Value(Json::arrayValue);
    for (Json::Value& effect : checks) {
        if (!Failed(effect)) continue;
        for (const Json::Value& rule : catalog_.RootCauses()) {
            const Json::Value& methods = rule["effects"]["methods"];
            const Json::Value& codes = rule["effects"]["codes"];
            if (methods.isArray() &&
                std::find(methods.begin(), methods.end(), effect["method"]) == methods.end()) {
                continue;
            }
            if (codes.isArray() &&
                std::find(codes.begin(), codes.end(), effect["code"]) == codes.end()) {
                continue;
            }
            const Json::Value* cause = nullptr;
            for (const Json::Value& candidate : checks) {
                if (&candidate == &effect) break;
                if (candidate["id"] == rule["cause"] && Failed(candidate)) cause = &candidate;
            }
            if (cause == nullptr) continue;
            std::vector<std::string> hosts = StringList((*cause)["hosts"]);
            std::vector<std::string> effectHosts = StringList(effect["hosts"]);
            if (!hosts.empty() && !effectHosts.empty()) {
                std::vector<std::string> shared;
                for (const std::string& host : effectHosts) {
                    if (std::count(hosts.begin(), hosts.end(), host)) shared.push_back(host);
                }
                if (shared.empty()) continue;
                hosts = shared;
            }
            Json::Value names(hosts.empty() ? "the domain controllers" : "");
            for (const std::string& host : hosts) {
                names = names.asString() + (names.asString().empty() ? "" : ", ") + host;
            }
            Json::Value values;
            values["hosts"] = names;
            std::string text;
            FillTemplate(rule["says"].asString(), values, text);
            effect["blocked_by"].append(text);
            Json::Value cause_entry;
            cause_entry["check"] = effect["id"];
            cause_entry["cause"] = rule["cause"];
            cause_entry["text"] = text;
            report["root_causes"].append(cause_entry);
        }
    }
}

Json::Value ReportBuilder::Matrix(const Json::Value& checks) const {
    std::vector<std::string> controllers;
    std::vector<const Json::Value*> columns;
    for (const Json::Value& entry : checks) {
        if (!entry.isMember("tried")) continue;
        columns.push_back(&entry);
        AddHosts(entry["tried"], controllers);
        AddHosts(entry["hosts"], controllers);
    }
    Json::Value matrix(Json::objectValue);
    matrix["controllers"] = Strings(controllers);
    matrix["checks"] = Json::Value(Json::arrayValue);
    matrix["cells"] = Json::Value(Json::objectValue);
    for (const Json::Value* entry : columns) {
        const std::string id = (*entry)["id"].asString();
        matrix["checks"].append(id);
        std::vector<std::string> tried = StringList((*entry)["tried"]);
        std::vector<std::string> failed = StringList((*entry)["hosts"]);
        for (const std::string& host : controllers) {
            std::string cell = "ok";
            if (!tried.empty() && !std::count(tried.begin(), tried.end(), host) &&
                !std::count(failed.begin(), failed.end(), host)) {
                cell = "-";
            } else if (std::count(failed.begin(), failed.end(), host) ||
                       ((*entry)["status"] == "error" && failed.empty())) {
                cell = "fail";
            }
            if ((*entry)["status"] != "ok" && !Failed(*entry)) cell = "-";
            matrix["cells"][host][id] = cell;
        }
    }
    return matrix;
}
