#include "api_table.hpp"

#include "debug_handler.hpp"
#include "progress.hpp"

namespace {

#define DS_API(family) "QARN.Core.DirectoryServiceCheck." family

// Builds the handler for this request only and runs its one check.
template <typename Handler, void (Handler::*Check)()>
void RunCheck(QARN::APIRequest* request, QARN::APIResponse* response) {
    Handler handler(request, response);
    (handler.*Check)();
}

}  // namespace

void StartProgress_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<ProgressHandler, &ProgressHandler::InitProgress>(request, response);
}

void UpdateProgress_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<ProgressHandler, &ProgressHandler::UpdateProgress>(request, response);
}

void EndProgress_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<ProgressHandler, &ProgressHandler::RemoveProgress>(request, response);
}

void GenerateIssue_v1(QARN::APIRequest* request, QARN::APIResponse* response) {
    RunCheck<DebugHandler, &DebugHandler::GenerateIssue>(request, response);
}

namespace {

const QARN::WebAPIEntry gTable[] = {
    {DS_API("Progress"), 1, "start_progress", StartProgress_v1},
    {DS_API("Progress"), 1, "update_progress", UpdateProgress_v1},
    {DS_API("Progress"), 1, "end_progress", EndProgress_v1},
    {DS_API("Debug"), 1, "generate_issue", GenerateIssue_v1},
    {nullptr, 0, nullptr, nullptr},
};

}  // namespace

extern "C" __attribute__((visibility("default"))) const QARN::WebAPIEntry* GetAPITable() {
    return gTable;
}
