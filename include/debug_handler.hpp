// Answers with an error the caller describes, to drive the interface's error display.
#pragma once

#include "abstract_check_handler.hpp"

class DebugHandler : public AbstractCheckHandler {
  public:
    using AbstractCheckHandler::AbstractCheckHandler;

    void GenerateIssue();
};
