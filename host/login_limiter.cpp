#include "login_limiter.hpp"

long LoginLimiter::WaitSeconds(const std::string& address) {
    auto now = Clock::now();
    std::lock_guard<std::mutex> lock(mutex_);
    DropOld(now);
    auto found = failures_.find(address);
    if (found == failures_.end() || found->second.size() < kFailuresAllowed) return 0;
    auto wait = found->second.front() + kWindow - now;
    return std::chrono::duration_cast<std::chrono::seconds>(wait).count() + 1;
}

void LoginLimiter::RecordFailure(const std::string& address) {
    auto now = Clock::now();
    std::lock_guard<std::mutex> lock(mutex_);
    DropOld(now);
    std::deque<Clock::time_point>& times = failures_[address];
    times.push_back(now);
    if (times.size() > kFailuresAllowed) times.pop_front();
}

void LoginLimiter::DropOld(Clock::time_point now) {
    for (auto entry = failures_.begin(); entry != failures_.end();) {
        std::deque<Clock::time_point>& times = entry->second;
        while (!times.empty() && now - times.front() >= kWindow) times.pop_front();
        entry = times.empty() ? failures_.erase(entry) : std::next(entry);
    }
}
