// Failed logins per client address: more than a few within a minute and the address must wait.
#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <mutex>
#include <string>

class LoginLimiter {
  public:
    static constexpr size_t kFailuresAllowed = 5;
    static constexpr std::chrono::seconds kWindow{60};

    // Seconds address must wait before it may try again; 0 when it may try now.
    long WaitSeconds(const std::string& address);
    void RecordFailure(const std::string& address);

  private:
    using Clock = std::chrono::steady_clock;
    void DropOld(Clock::time_point now);

    std::mutex mutex_;
    std::map<std::string, std::deque<Clock::time_point>> failures_;
};
