// dscheck serve in a process of its own on the sandbox's loopback, and a session logged in to it.
#pragma once

#include <sys/types.h>

#include <json/value.h>

#include <string>
#include <vector>

#include "web_client.hpp"

class HostServer {
  public:
    HostServer() = default;
    HostServer(const HostServer&) = delete;
    HostServer& operator=(const HostServer&) = delete;
    ~HostServer() { Stop(); }

    // Starts dscheck serve on the files of www and waits until it accepts connections.
    void Start(const std::string& www);
    // SIGTERM; the server's exit status (0 when it is not running).
    int Stop();
    pid_t pid() const { return pid_; }

  private:
    pid_t pid_ = -1;
};

struct WebSession {
    std::string cookie;
    std::string csrf;
    WebFields Guard() const { return {{"Cookie", cookie}, {"X-CSRF-Token", csrf}}; }
};

// Logs user in; the login's reply goes to reply when given.
WebSession LogIn(WebClient& client, const std::string& user, const std::string& password,
                 WebReply* reply = nullptr);

// The names of a server-sent event stream's events, and the data of its last one.
std::vector<std::string> EventNames(const std::string& stream);
Json::Value LastEventData(const std::string& stream);
