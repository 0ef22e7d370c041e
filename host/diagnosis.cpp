#include "diagnosis.hpp"

#include <json/reader.h>

#include <algorithm>
#include <chrono>
#include <fstream>

#include "diagnosis_api.hpp"
#include "report_builder.hpp"
#include "run_history.hpp"

namespace {

const char kReportCatalogFile[] = "report_catalog.json";
const char kJoinListFile[] = "domain_join";

bool ReadJsonFile(const std::string& path, Json::Value& value, std::string& error) {
    std::ifstream file(path);
    Json::CharReaderBuilder builder;
    std::string errors;
    if (file && Json::parseFromStream(builder, file, &value, &errors)) return true;
    error = path + ": " + (file ? errors : "cannot be read");
    return false;
}

}  // namespace

std::string UtcTimeText(std::time_t when, const char* format) {
    std::tm parts{};
    gmtime_r(&when, &parts);
    char text[64];
    strftime(text, sizeof(text), format, &parts);
    return text;
}

Diagnosis::Diagnosis(const RequestDispatcher& dispatcher, const CallRequest& caller,
                     const DiagnosisSetup& setup)
    : dispatcher_(dispatcher), caller_(caller), setup_(setup), bracket_(dispatcher, caller) {}

Diagnosis::~Diagnosis() = default;

bool Diagnosis::Prepare(const std::string& testType, std::string& error) {
    if (!catalog_.Load(setup_.dataDirectory + "/" + kReportCatalogFile, error) ||
        !LoadCheckList(testType, error)) {
        return false;
    }
    if (testType.empty()) list_.type = kJoinListType;
    return true;
}

bool Diagnosis::LoadCheckList(const std::string& testType, std::string& error) {
    Json::Value document;
    if (testType.empty()) {
        if (!ReadJsonFile(setup_.dataDirectory + "/" + kJoinListFile, document, error)) {
            return false;
        }
    } else {
        CallRequest request = caller_;
        request.api = kCommonAPI;
        request.method = "get_stages";
        request.params = Json::Value(Json::objectValue);
        request.params["type"] = testType;
        CallResult result = dispatcher_.Call(request);
        if (!result.reply["success"].asBool()) {
            error = "get_stages " + testType + " answered " +
                    (result.reply.isNull()
                         ? result.message
                         : result.reply["error"]["code"].asString() + " (is it a test type?)");
            return false;
        }
        document = result.reply["data"];
    }
    if (!list_.Parse(document, error)) return false;
    if (list_.type.empty()) list_.type = testType;
    return true;
}

bool Diagnosis::AcceptsInputs(const Json::Value& inputs, std::string& error) const {
    for (const std::string& name : inputs.getMemberNames()) {
        if (std::find(list_.inputs.begin(), list_.inputs.end(), name) == list_.inputs.end()) {
            error = "unknown input " + name + "; " + list_.type + " takes:";
            for (const std::string& input : list_.inputs) error += " " + input;
            return false;
        }
    }
    return true;
}

bool Diagnosis::Open(Json::Value& refusal) {
    started_ = std::time(nullptr);
    runName_ = UtcTimeText(started_, "%Y%m%dT%H%M%SZ-") + list_.type;
    std::string serverType = list_.type.substr(0, list_.type.find('_'));
    RunBracket::Opening opening = bracket_.Open(serverType, refusal);
    bracketOpened_ = opening == RunBracket::Opening::kOpened;
    return opening != RunBracket::Opening::kRefused;
}

Json::Value Diagnosis::Run(const Json::Value& inputs, RunObserver& observer,
                           std::string& historyError) {
    auto clock = std::chrono::steady_clock::now();
    {
        std::lock_guard<std::mutex> lock(mutex_);
        runner_ = std::make_unique<DiagnosisRunner>(dispatcher_, caller_, list_, setup_.jobs);
        if (cancelled_) runner_->Cancel();
    }
    observer_ = &observer;
    std::vector<CheckRecord> records = runner_->Run(inputs, *this);
    if (list_.type != kJoinListType && !Cancelled()) {
        CallRequest request = caller_;
        request.api = kCommonAPI;
        request.method = "set_last_test";
        dispatcher_.Call(request);
    }
    bracket_.Close();
    double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - clock).count();
    Json::Value report = ReportBuilder(catalog_).Build(RunJson(records, inputs, seconds));
    if (!setup_.historyDirectory.empty()) {
        std::string id;
        if (RunHistory(setup_.historyDirectory).Save(report, id, historyError)) report["run"] = id;
    }
    return report;
}

Json::Value Diagnosis::RunJson(const std::vector<CheckRecord>& records, const Json::Value& inputs,
                               double seconds) const {
    Json::Value run(Json::objectValue);
    run["run"] = runName_;
    run["type"] = list_.type;
    run["started"] = UtcTimeText(started_, "%Y-%m-%d %H:%M:%S UTC");
    run["started_epoch"] = static_cast<Json::Int64>(started_);
    run["seconds"] = seconds;
    run["bracket"] =
        bracketOpened_ ? "opened and closed" : "none: the server is joined or bound (1110)";
    run["inputs"] = ReportBuilder::MaskSecrets(inputs);
    run["checks"] = Json::Value(Json::arrayValue);
    for (const CheckRecord& record : records)
        run["checks"].append(ReportBuilder::RecordJson(record));
    return run;
}

void Diagnosis::Cancel() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        cancelled_ = true;
        if (runner_) runner_->Cancel();
    }
    bracket_.Close();
}

bool Diagnosis::Cancelled() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return cancelled_;
}

void Diagnosis::StageStarted(const StageSpec& stage, size_t index, size_t count) {
    bracket_.Update(stage.name);
    observer_->StageStarted(stage, index, count);
}

void Diagnosis::CheckStarted(const CheckSpec& check) {
    observer_->CheckStarted(check);
}

void Diagnosis::CheckFinished(const CheckRecord& record) {
    observer_->CheckFinished(record);
}
