// The run bracket as the administration interface drives it: start_progress, update_progress
// per stage, end_progress. While the run is open a heartbeat keeps the progress file changing,
// so another interface's start_progress sees the run as alive.
#pragma once

#include <json/value.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "request_dispatcher.hpp"

class RunBracket {
  public:
    enum class Opening { kOpened, kWithoutBracket, kRefused };

    RunBracket(const RequestDispatcher& dispatcher, const CallRequest& caller,
               std::chrono::milliseconds heartbeat = std::chrono::seconds(1));
    ~RunBracket();
    RunBracket(const RunBracket&) = delete;
    RunBracket& operator=(const RunBracket&) = delete;

    // kRefused leaves the module's answer in refusal.
    Opening Open(const std::string& serverType, Json::Value& refusal);
    void Update(const std::string& category);
    // end_progress; safe to call again and from another thread.
    void Close();
    bool IsOpen();

  private:
    Json::Value Call(const char* api, const char* method, Json::Value params) const;
    void Beat();

    const RequestDispatcher& dispatcher_;
    CallRequest caller_;
    std::chrono::milliseconds heartbeat_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::thread beater_;
    bool open_ = false;
    Json::Value initTime_;
    std::string category_;
};
