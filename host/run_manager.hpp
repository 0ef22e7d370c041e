// The server's diagnoses: at most one running at a time, on a thread of its own, its events
// kept for the clients that follow it; the history of past runs; one check of a past run done
// again.
#pragma once

#include <json/value.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "diagnosis.hpp"
#include "request_dispatcher.hpp"
#include "run_events.hpp"

class RunManager {
  public:
    enum class Start { kStarted, kBusy, kBadRequest, kRefused };

    RunManager(const RequestDispatcher& dispatcher, const DiagnosisSetup& setup)
        : dispatcher_(dispatcher), setup_(setup) {}
    ~RunManager();

    // testType: a check list's type or "join". kStarted gives the run's id in result;
    // otherwise result holds "error" (and the module's answer for kRefused).
    Start StartRun(const std::string& testType, const Json::Value& inputs,
                   const CallRequest& caller, Json::Value& result);
    // The events of run id (a run name, prefix or "last"); null when there is no such run.
    std::shared_ptr<RunEvents> Events(const std::string& id);
    // Cancels the active run if it is id; false when id is not the active run.
    bool Cancel(const std::string& id);
    // Cancels the active run and waits until its bracket is closed.
    void Stop();

    // {"types": [{"name", "inputs", "secrets"}...]}.
    Json::Value TestTypes(const CallRequest& caller) const;
    // {"runs": [{"run", "type", "started", "status", "counts"}...]}, newest first.
    Json::Value Runs() const;
    bool Report(const std::string& id, Json::Value& report, std::string& error) const;
    // The report entry of a fresh call of check of run id, masked secrets taken from secrets.
    bool Recheck(const std::string& id, const std::string& check, const Json::Value& secrets,
                 const CallRequest& caller, Json::Value& entry, std::string& error) const;

  private:
    struct ActiveRun {
        std::string id;        // as announced
        std::string storedId;  // as the history keeps it, once finished
        std::unique_ptr<Diagnosis> diagnosis;
        std::shared_ptr<RunEvents> events;
        std::thread thread;
        std::atomic<bool> finished{false};
    };

    bool IsActive(const std::string& id) const;
    void Retire();
    std::string HistoryId(const std::string& id) const;

    const RequestDispatcher& dispatcher_;
    DiagnosisSetup setup_;
    mutable std::mutex mutex_;
    std::unique_ptr<ActiveRun> active_;
};
