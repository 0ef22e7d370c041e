// Runs one request through a module's entry function and turns the answer into the reply.
#pragma once

#include <json/value.h>

#include <string>

#include "module.hpp"

struct CallRequest {
    std::string api;
    std::string method;
    int version = 1;
    Json::Value params{Json::objectValue};
    std::string loginUser;
    std::string remoteIP = "127.0.0.1";
};

enum HostExitStatus { kExitSuccess = 0, kExitErrorAnswer = 1, kExitUsage = 2, kExitThrew = 3 };

struct CallResult {
    HostExitStatus status;
    Json::Value reply;    // null for dispatch errors
    std::string message;  // what went wrong, for dispatch errors and exceptions
};

class RequestDispatcher {
  public:
    explicit RequestDispatcher(const Module& module) : module_(module) {}

    CallResult Call(const CallRequest& call) const;

  private:
    const Module& module_;
};
