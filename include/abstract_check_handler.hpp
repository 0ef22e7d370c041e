// Root of the check handlers: holds the request, the response and the answer data, and owns the
// one way of answering.
#pragma once

#include <json/value.h>

#include <string>
#include <unordered_map>

#include "api_request.hpp"
#include "api_response.hpp"
#include "error_code.hpp"

using HelpLinkMap = std::unordered_map<ErrorCode, std::unordered_map<std::string, std::string>>;

// Error code to help-link keys and addresses; read-only after load.
extern const HelpLinkMap kHelpLinks;

class AbstractCheckHandler {
  public:
    AbstractCheckHandler(QARN::APIRequest* request, QARN::APIResponse* response);
    virtual ~AbstractCheckHandler() = default;

    AbstractCheckHandler(const AbstractCheckHandler&) = delete;
    AbstractCheckHandler& operator=(const AbstractCheckHandler&) = delete;

  protected:
    // Failure with details: help links under "info", "isPlural" (false unless set), "level".
    void SetError(ErrorSeverity severity, ErrorCode code);
    // Failure with the bare code; the answer data is not sent.
    void SetError(ErrorCode code);
    void SetSuccess(const Json::Value& data);

    Json::Value m_data;
    QARN::APIRequest* m_request;
    QARN::APIResponse* m_response;
};
