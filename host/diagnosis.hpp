// One diagnosis (a check list, or the join list) from the check lists to the stored report: the
// run bracket, the checks through the runner, set_last_test, the report and the history. Shared
// by "dscheck run" and the server; the caller supplies the inputs and watches through an
// observer. Cancel may come from any thread.
#pragma once

#include <json/value.h>

#include <ctime>
#include <memory>
#include <mutex>
#include <string>

#include "check_list.hpp"
#include "diagnosis_runner.hpp"
#include "report_catalog.hpp"
#include "request_dispatcher.hpp"
#include "run_bracket.hpp"

struct DiagnosisSetup {
    std::string dataDirectory;     // the check-list directory: catalog and join list
    std::string historyDirectory;  // empty: no history
    size_t jobs = 4;
};

class Diagnosis : private RunObserver {
  public:
    Diagnosis(const RequestDispatcher& dispatcher, const CallRequest& caller,
              const DiagnosisSetup& setup);
    ~Diagnosis() override;

    // Loads the catalog and the check list of testType ("": the join list);
    // false with a reason.
    bool Prepare(const std::string& testType, std::string& error);
    // False with a reason naming the inputs the list takes when inputs holds another.
    bool AcceptsInputs(const Json::Value& inputs, std::string& error) const;
    // Opens the run bracket; false with the module's answer in refusal when another run holds
    // it.
    bool Open(Json::Value& refusal);
    // Runs the checks, closes the bracket and returns the report, stored in the history when
    // there is one (historyError says why it could not be).
    Json::Value Run(const Json::Value& inputs, RunObserver& observer, std::string& historyError);
    // No further checks; the bracket closed.
    void Cancel();
    bool Cancelled() const;

    const CheckList& List() const { return list_; }
    const ReportCatalog& Catalog() const { return catalog_; }
    // The run's name as the report gives it, once opened: start time and type.
    const std::string& RunName() const { return runName_; }

  private:
    void StageStarted(const StageSpec& stage, size_t index, size_t count) override;
    void CheckStarted(const CheckSpec& check) override;
    void CheckFinished(const CheckRecord& record) override;
    bool LoadCheckList(const std::string& testType, std::string& error);
    Json::Value RunJson(const std::vector<CheckRecord>& records, const Json::Value& inputs,
                        double seconds) const;

    const RequestDispatcher& dispatcher_;
    CallRequest caller_;
    DiagnosisSetup setup_;
    ReportCatalog catalog_;
    CheckList list_;
    RunBracket bracket_;
    bool bracketOpened_ = false;
    std::time_t started_ = 0;
    std::string runName_;
    RunObserver* observer_ = nullptr;
    mutable std::mutex mutex_;
    std::unique_ptr<DiagnosisRunner> runner_;
    bool cancelled_ = false;
};

// The report's time texts: "%Y%m%dT%H%M%SZ-" for run names, "%Y-%m-%d %H:%M:%S UTC".
std::string UtcTimeText(std::time_t when, const char* format);
