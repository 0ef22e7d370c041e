// The run bracket: a progress file that follows one run of checks and keeps two runs apart.
#pragma once

#include "abstract_check_handler.hpp"

class ProgressHandler : public AbstractCheckHandler {
  public:
    ProgressHandler(QARN::APIRequest* request, QARN::APIResponse* response);

    void InitProgress();
    void UpdateProgress();
    void RemoveProgress();

    // 0 when the request belongs to the run of the progress file.
    ErrorCode CheckCurrentProgress(bool checkOthers);
    // True when another run shows signs of life within the watch.
    bool IsOtherCheckRunning();

  private:
    void SaveProgress();

    Json::Value m_progress;
};
