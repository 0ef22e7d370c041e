#include "run_events.hpp"

#include "report_builder.hpp"
#include "report_formatter.hpp"

std::shared_ptr<RunEvents> RunEvents::ReportOnly(const Json::Value& report) {
    auto events = std::make_shared<RunEvents>();
    events->Finish(report);
    return events;
}

void RunEvents::StageStarted(const StageSpec& stage, size_t index, size_t count) {
    Json::Value data(Json::objectValue);
    data["stage"] = stage.name;
    data["index"] = static_cast<Json::UInt64>(index);
    data["count"] = static_cast<Json::UInt64>(count);
    Add("stage", data);
}

void RunEvents::CheckStarted(const CheckSpec& check) {
    Json::Value data(Json::objectValue);
    data["id"] = check.id;
    data["title"] = catalog_->Title(check.method);
    Add("check-started", data);
}

void RunEvents::CheckFinished(const CheckRecord& record) {
    Add("check-finished", ReportBuilder(*catalog_).CheckEntry(ReportBuilder::RecordJson(record)));
}

void RunEvents::Finish(const Json::Value& report) {
    Add("report", report, true);
}

void RunEvents::Add(const char* name, const Json::Value& data, bool last) {
    std::string text =
        std::string("event: ") + name + "\ndata: " + ReportFormatter::CompactText(data) + "\n\n";
    std::vector<std::function<void()>> waiting;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        events_.push_back(std::move(text));
        finished_ = last;
        waiting.swap(waiting_);
    }
    for (auto& wake : waiting) wake();
}

bool RunEvents::Read(size_t& from, std::string& text, std::function<void()> wake) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (; from < events_.size(); ++from) text += events_[from];
    if (finished_) return true;
    if (text.empty()) waiting_.push_back(std::move(wake));
    return false;
}
