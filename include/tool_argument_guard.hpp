// The one check of request values that reach a tool as arguments of their own: a value that
// begins with "-" would be read as an option (nslookup, for one, takes no "--"), so the request
// is refused before any tool runs.
#pragma once

#include <string>

#include "api_request.hpp"
#include "api_response.hpp"

class ToolArgumentGuard {
  public:
    // False when a tool value of the method (the API family's last part and the method name of
    // its row) would read as an option; the request is then answered with error 501 (every
    // method's code for a malformed parameter), no details.
    static bool Admits(const std::string& family, const std::string& method,
                       const QARN::APIRequest& request, QARN::APIResponse& response);

  private:
    static bool ReadsAsOption(const Json::Value& value);
};
