// The domain service checks.
#include "domain_service.hpp"

#include <unistd.h>

#include "log.hpp"
#include "qlibc.h"
#include "system_paths.hpp"

DomainServiceHandler::DomainServiceHandler(QARN::APIRequest* request, QARN::APIResponse* response)
    : DomainCore(request, response) {}

void DomainServiceHandler::InitPreCheck() {
    for (const char* path : {kKdcIPFile, kKrb5ConfFile, kWorkgroupFile, kRootCredentialCache}) {
        unlink(path);
    }
    SetSuccess(Json::Value());
}

void DomainServiceHandler::SyncDCTime() {
    const std::string& domain = GetFQDN();
    if (!domain.empty() &&
        QLIBCExec(kSyncDCTimeTool, domain.c_str(), nullptr, nullptr, nullptr) < 0) {
        DS_LOG(LOG_ERR, "%s:%d qarnsyncdctime to \"%s\" fail", domain.c_str());
    }
    SetSuccess(Json::Value());
}

void DomainServiceHandler::Krb5Check() {
    ErrorCode err = Kinit(true);
    if (err == kNoError) {
        SetSuccess(Json::Value());
        return;
    }
    SetError(kError, err);
}
