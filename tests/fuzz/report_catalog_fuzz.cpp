// The report of a run: a catalog document and the checks' answers, shaped into the host's reply
// and the runner's records, through the report builder.
#include <deque>

#include "api_response.hpp"
#include "report_builder.hpp"
#include "unit_fuzz_input.hpp"

namespace {

std::string TextOf(const Json::Value& node, const char* key) {
    return node[key].isString() ? node[key].asString() : "";
}

// The reply the host gives: the module's answer as the web API shapes it, with a 32-bit code and
// details that are an object or null; none when the check could not be called.
Json::Value Reply(const Json::Value& node) {
    if (!node.isMember("success")) return Json::Value();
    QARN::APIResponse response;
    if (node["success"] == Json::Value(true)) {
        response.SetSuccess(node["data"]);
    } else {
        response.SetError(node["code"].isInt() ? node["code"].asInt() : 0,
                          node["details"].isObject() ? node["details"] : Json::Value());
    }
    return response.ToJson();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Json::Value document;
    ReportCatalog catalog;
    std::string error;
    if (!ParseDocument(Text(data, size), document) || !document.isObject() ||
        !catalog.Set(document["catalog"], error)) {
        return 0;
    }
    std::deque<CheckSpec> specs;
    Json::Value run(Json::objectValue);
    run["type"] = TextOf(document, "type");
    run["checks"] = Json::Value(Json::arrayValue);
    for (const Json::Value& node : document["checks"]) {
        if (!node.isObject()) continue;
        CheckSpec& spec = specs.emplace_back();
        spec.id = TextOf(node, "id");
        spec.method = TextOf(node, "method");
        spec.perController = node["per_controller"] == Json::Value(true);
        CheckRecord record;
        record.spec = &spec;
        record.params = node["params"];
        record.reply = Reply(node);
        record.outcome = record.reply.isNull() ? CheckRecord::Outcome::kUnavailable
                                               : CheckRecord::Outcome::kAnswered;
        run["checks"].append(ReportBuilder::RecordJson(record));
    }
    ReportBuilder(catalog).Build(run);
    return 0;
}
