// The logged-in sessions: a random token (the cookie) per login with its user and its CSRF
// value; a session ends after an idle time, after an absolute time, or at logout.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>

struct WebSession {
    std::string token;
    std::string user;
    std::string csrf;
    std::chrono::steady_clock::time_point created;
    std::chrono::steady_clock::time_point lastUsed;
};

class SessionStore {
  public:
    static constexpr std::chrono::minutes kIdleLimit{30};
    static constexpr std::chrono::hours kAbsoluteLimit{8};

    // A new session for user.
    WebSession Create(const std::string& user);
    // The live session of token, marked used; false when there is none.
    bool Find(const std::string& token, WebSession& session);
    void Remove(const std::string& token);

  private:
    bool Expired(const WebSession& session, std::chrono::steady_clock::time_point now) const;
    void DropExpired(std::chrono::steady_clock::time_point now);

    std::mutex mutex_;
    std::map<std::string, WebSession> sessions_;
};

// count random bytes from the kernel, as lower-case hex.
std::string RandomHex(size_t count);
// Compares two secrets in a time that does not depend on where they differ.
bool SecretsEqual(const std::string& a, const std::string& b);
