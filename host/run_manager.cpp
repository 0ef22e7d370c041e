#include "run_manager.hpp"

#include <syslog.h>

#include <chrono>

#include "diagnosis_api.hpp"
#include "report_builder.hpp"
#include "run_history.hpp"
#include "secret_input.hpp"

namespace {

const char kMasked[] = "********";

Json::Value Error(const std::string& text) {
    Json::Value error(Json::objectValue);
    error["error"] = text;
    return error;
}

// The parameters a check was sent, its masked secrets replaced from secrets (or left out).
Json::Value UnmaskedParams(const Json::Value& params, const Json::Value& secrets) {
    Json::Value unmasked(Json::objectValue);
    for (const std::string& name : params.getMemberNames()) {
        bool masked = SecretInput::IsSecret(name) && params[name] == kMasked;
        if (!masked) {
            unmasked[name] = params[name];
        } else if (secrets.isObject() && secrets[name].isString()) {
            unmasked[name] = secrets[name];
        }
    }
    return unmasked;
}

}  // namespace

RunManager::~RunManager() {
    Stop();
}

RunManager::Start RunManager::StartRun(const std::string& testType, const Json::Value& inputs,
                                       const CallRequest& caller, Json::Value& result) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (active_ && !active_->finished) {
        result = Error("a run is active: " + active_->id);
        return Start::kBusy;
    }
    Retire();
    auto run = std::make_unique<ActiveRun>();
    run->diagnosis = std::make_unique<Diagnosis>(dispatcher_, caller, setup_);
    std::string error;
    if (!run->diagnosis->Prepare(testType == kJoinTestType ? "" : testType, error) ||
        !run->diagnosis->AcceptsInputs(inputs, error)) {
        result = Error(error);
        return Start::kBadRequest;
    }
    Json::Value refusal;
    if (!run->diagnosis->Open(refusal)) {
        int code = refusal["error"]["code"].asInt();
        Json::Value text = run->diagnosis->Catalog().Code(code);
        result = Error("the run cannot start: " + std::to_string(code) + " " +
                       (text.isObject() ? text["meaning"].asString() : ""));
        result["refusal"] = refusal;
        return Start::kRefused;
    }
    run->id = run->diagnosis->RunName();
    run->events = std::make_shared<RunEvents>(&run->diagnosis->Catalog());
    ActiveRun* started = run.get();
    run->thread = std::thread([started, inputs] {
        std::string historyError;
        Json::Value report = started->diagnosis->Run(inputs, *started->events, historyError);
        if (!historyError.empty()) {
            syslog(LOG_ERR, "%s:%d history: %s", __FILE_NAME__, __LINE__, historyError.c_str());
        }
        started->storedId = report["run"].asString();
        started->finished = true;  // from now on clients get the report alone
        started->events->Finish(report);
    });
    result = Json::Value(Json::objectValue);
    result["run"] = run->id;
    active_ = std::move(run);
    return Start::kStarted;
}

void RunManager::Retire() {
    if (active_ && active_->thread.joinable()) active_->thread.join();
}

bool RunManager::IsActive(const std::string& id) const {
    return active_ && (id == active_->id || (active_->finished && id == active_->storedId));
}

std::string RunManager::HistoryId(const std::string& id) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return IsActive(id) && active_->finished ? active_->storedId : id;
}

std::shared_ptr<RunEvents> RunManager::Events(const std::string& id) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (IsActive(id) && !active_->finished) return active_->events;
    }
    Json::Value report;
    std::string error;
    if (!Report(id, report, error)) return nullptr;
    return RunEvents::ReportOnly(report);
}

bool RunManager::Cancel(const std::string& id) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!IsActive(id)) return false;
    active_->diagnosis->Cancel();
    return true;
}

void RunManager::Stop() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!active_) return;
    active_->diagnosis->Cancel();
    Retire();
}

Json::Value RunManager::TestTypes(const CallRequest& caller) const {
    Json::Value types(Json::arrayValue);
    std::vector<std::string> names(std::begin(kTestTypes), std::end(kTestTypes));
    names.push_back(kJoinTestType);
    for (const std::string& name : names) {
        Diagnosis diagnosis(dispatcher_, caller, setup_);
        std::string error;
        if (!diagnosis.Prepare(name == kJoinTestType ? "" : name, error)) continue;
        Json::Value type(Json::objectValue);
        type["name"] = name;
        type["inputs"] = Json::Value(Json::arrayValue);
        type["secrets"] = Json::Value(Json::arrayValue);
        for (const std::string& input : diagnosis.List().inputs) {
            type["inputs"].append(input);
            if (SecretInput::IsSecret(input)) type["secrets"].append(input);
        }
        types.append(type);
    }
    Json::Value result(Json::objectValue);
    result["types"] = types;
    return result;
}

Json::Value RunManager::Runs() const {
    RunHistory history(setup_.historyDirectory);
    std::vector<std::string> names = history.Runs();
    Json::Value runs(Json::arrayValue);
    for (auto name = names.rbegin(); name != names.rend(); ++name) {
        Json::Value report;
        std::string error;
        if (!history.Load(*name, report, error)) continue;
        Json::Value entry(Json::objectValue);
        for (const char* key : {"run", "type", "started", "status", "counts"})
            entry[key] = report[key];
        runs.append(entry);
    }
    Json::Value result(Json::objectValue);
    result["runs"] = runs;
    return result;
}

bool RunManager::Report(const std::string& id, Json::Value& report, std::string& error) const {
    return RunHistory(setup_.historyDirectory).Load(HistoryId(id), report, error);
}

bool RunManager::Recheck(const std::string& id, const std::string& check,
                         const Json::Value& secrets, const CallRequest& caller, Json::Value& entry,
                         std::string& error) const {
    Json::Value report;
    if (!Report(id, report, error)) return false;
    const Json::Value* found = nullptr;
    for (const Json::Value& candidate : report["checks"]) {
        if (candidate["id"] == check) found = &candidate;
    }
    ReportCatalog catalog;
    if (found == nullptr) {
        error = "run " + report["run"].asString() + " has no check " + check;
        return false;
    }
    if (!catalog.Load(setup_.dataDirectory + "/report_catalog.json", error)) return false;
    CheckSpec spec;
    spec.id = check;
    spec.api = (*found)["api"].asString();
    spec.method = (*found)["method"].asString();
    spec.version = (*found)["version"].asInt();
    spec.perController = found->isMember("tried");
    CallRequest request = caller;
    request.api = spec.api;
    request.method = spec.method;
    request.version = spec.version;
    request.params = UnmaskedParams((*found)["params"], secrets);
    auto start = std::chrono::steady_clock::now();
    CallResult result = dispatcher_.Call(request);
    CheckRecord record;
    record.spec = &spec;
    record.stage = (*found)["stage"].asString();
    record.outcome = result.reply.isNull() ? CheckRecord::Outcome::kUnavailable
                                           : CheckRecord::Outcome::kAnswered;
    record.params = request.params;
    record.reply = result.reply;
    record.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    entry = ReportBuilder(catalog).CheckEntry(ReportBuilder::RecordJson(record));
    return true;
}
