// Runs the checks of a check list through the module, stage by stage: each check with the
// parameters its sources give, independent checks side by side on a bounded number of workers,
// every other check alone and in list order.
#pragma once

#include <json/value.h>

#include <atomic>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "check_list.hpp"
#include "request_dispatcher.hpp"

struct CheckRecord {
    enum class Outcome { kAnswered, kUnavailable, kSkipped, kCancelled };

    const CheckSpec* spec = nullptr;
    std::string stage;
    Outcome outcome = Outcome::kCancelled;
    Json::Value params;     // as sent
    Json::Value reply;      // the host's reply shape; null unless answered
    std::string stoppedBy;  // for kSkipped: the check whose error ended the run
    double seconds = 0;
};

// The severity of an error reply: its details' "level", 0 (error) when absent or not an int.
inline int ReplyLevel(const Json::Value& reply) {
    const Json::Value& level = reply["error"]["details"]["level"];
    return level.isInt() ? level.asInt() : 0;
}

// True when reply is an error that ends a run at a check marked "stop": level 0 or no level.
bool IsFatalReply(const Json::Value& reply);

class RunObserver {
  public:
    virtual ~RunObserver() = default;
    virtual void StageStarted(const StageSpec& stage, size_t index, size_t count) = 0;
    virtual void CheckStarted(const CheckSpec& check) = 0;
    virtual void CheckFinished(const CheckRecord& record) = 0;
};

class DiagnosisRunner {
  public:
    DiagnosisRunner(const RequestDispatcher& dispatcher, const CallRequest& caller,
                    const CheckList& list, size_t workers);

    // Every check of the list gets a record, in list order.
    std::vector<CheckRecord> Run(const Json::Value& inputs, RunObserver& observer);
    // Starts no further check; the running ones finish.
    void Cancel();

  private:
    void RunStage(const StageSpec& stage, size_t first, const Json::Value& inputs,
                  RunObserver& observer);
    // Waits until check may start; false when the run ended meanwhile.
    bool WaitForTurn(const CheckSpec& check, std::unique_lock<std::mutex>& lock);
    void Execute(size_t index, const Json::Value& params, RunObserver& observer);
    void WaitForAll(std::unique_lock<std::mutex>& lock);
    void MarkNotRun(size_t index, RunObserver& observer);

    const RequestDispatcher& dispatcher_;
    CallRequest caller_;
    const CheckList& list_;
    size_t workers_;
    std::vector<CheckRecord> records_;
    Answers answers_;
    std::map<std::string, const CheckSpec*> running_;  // by id
    std::string stoppedBy_;
    std::atomic<bool> cancelled_{false};
    std::mutex mutex_;
    std::condition_variable changed_;
};
