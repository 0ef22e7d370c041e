#include "progress.hpp"

#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

#include "log.hpp"
#include "qarn.h"
#include "qarnldap.h"
#include "system_paths.hpp"
#include "tool_output.hpp"
#include "trusted_file.hpp"
#include "util.hpp"

namespace {

const int kWatchPasses = 5;

int Now() {
    return static_cast<int>(time(nullptr));
}

bool ModificationTime(timespec& modified) {
    TrustedFile progress(kProgressFile);
    if (!progress.IsOpen()) return false;
    modified = progress.Status().st_mtim;
    return true;
}

bool SameTime(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

bool AnyOtherModuleProcess() {
    int status = -1;
    for (const std::string& line :
         ExecuteCmd(kPsTool, {"axeo", "pid,args"}, &status, 1, kQuickToolTimeLimit, "r")) {
        if (IsOtherModuleProcess(line, getpid())) return true;
    }
    return false;
}

}  // namespace

ProgressHandler::ProgressHandler(QARN::APIRequest* request, QARN::APIResponse* response)
    : AbstractCheckHandler(request, response), m_progress(Json::objectValue) {}

ErrorCode ProgressHandler::CheckCurrentProgress(bool checkOthers) {
    Json::Value record;
    if (!JsonFromTrustedFile(kProgressFile, record) || !record.isObject()) return kNoProgressFile;
    m_progress = record;
    int fileRun = m_progress.get("init_time", 0).asInt();
    int requestRun = m_request->GetParam("init_time", 0).asInt();
    if (fileRun == requestRun) return kNoError;
    if (checkOthers && IsOtherCheckRunning()) return kOtherRunActive;
    return kProgressOfOtherRun;
}

bool ProgressHandler::IsOtherCheckRunning() {
    timespec first{};
    for (int pass = 0; pass < kWatchPasses; ++pass) {
        timespec modified{};
        if (!ModificationTime(modified)) return false;
        if (pass == 0) {
            first = modified;
        } else if (!SameTime(first, modified)) {
            return true;
        }
        if (AnyOtherModuleProcess()) return true;
        sleep(1);
    }
    return false;
}

void ProgressHandler::SaveProgress() {
    if (!JsonToFile(m_progress, kProgressFile)) {
        DS_LOG(LOG_DEBUG, "%s:%d save progress file fail");
    }
}

void ProgressHandler::InitProgress() {
    ErrorCode result = CheckCurrentProgress(true);
    if (result != kNoError && result != kNoProgressFile) {
        m_response->SetError(result, m_progress);
        return;
    }
    if (QARNWinsIsJoined() || QARNLDAPIsBinded()) {
        SetError(kAlreadyJoinedOrBound);
        return;
    }
    if (!m_request->HasParam("server_type")) {
        SetError(kBadParameter);
        return;
    }
    m_progress["server_type"] = m_request->GetParam("server_type", "").asString();
    m_progress["runner"] = m_request->GetLoginUserName();
    m_progress["client_ip"] = m_request->GetRemoteIP();
    if (m_progress["init_time"].isNull()) {
        m_progress["init_time"] = Now();
    }
    SaveProgress();
    m_data["init_time"] = m_progress["init_time"];
    SetSuccess(m_data);
}

void ProgressHandler::UpdateProgress() {
    ErrorCode result = CheckCurrentProgress(true);
    if (result == kNoProgressFile) {
        SetError(kNoProgressFile);
        return;
    }
    if (result != kNoError) {
        m_response->SetError(result == kOtherRunActive ? kUpdateRefusedOtherRunActive : result,
                             m_progress);
        return;
    }
    if (m_request->HasParam("category")) {
        m_progress["category"] = m_request->GetParam("category", "").asString();
    }
    m_progress["last_update"] = Now();
    SaveProgress();
    SetSuccess(Json::Value());
}

void ProgressHandler::RemoveProgress() {
    ErrorCode result = CheckCurrentProgress(false);
    if (result == kNoError || m_request->GetParam("force_remove", false).asBool()) {
        unlink(kProgressFile);
    }
    m_data["isProgressEnd"] = true;
    SetSuccess(m_data);
}
