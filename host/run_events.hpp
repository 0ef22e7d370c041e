// The events of one run as Server-Sent Events text, kept so a late client gets them replayed:
// "stage", "check-started", "check-finished" (the report's entry of the check), and "report"
// last. Readers wait for new events through a callback.
#pragma once

#include <json/value.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "diagnosis_runner.hpp"
#include "report_catalog.hpp"

class RunEvents : public RunObserver {
  public:
    // catalog: the run's, for titles and check entries while the run calls the observer.
    explicit RunEvents(const ReportCatalog* catalog = nullptr) : catalog_(catalog) {}
    // A finished run: its report alone.
    static std::shared_ptr<RunEvents> ReportOnly(const Json::Value& report);

    void StageStarted(const StageSpec& stage, size_t index, size_t count) override;
    void CheckStarted(const CheckSpec& check) override;
    void CheckFinished(const CheckRecord& record) override;
    // The last event; no more follow.
    void Finish(const Json::Value& report);

    // The event texts from index from on, appended to text; the index after them in from.
    // Returns true once the run has finished and text holds the last event. When there is
    // nothing new yet, wake is called once, from the run's thread, when there is.
    bool Read(size_t& from, std::string& text, std::function<void()> wake);

  private:
    void Add(const char* name, const Json::Value& data, bool last = false);

    const ReportCatalog* catalog_;
    std::mutex mutex_;
    std::vector<std::string> events_;
    bool finished_ = false;
    std::vector<std::function<void()>> waiting_;
};
