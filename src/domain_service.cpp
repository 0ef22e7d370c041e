// The domain service checks.
#include "domain_service.hpp"

#include <strings.h>
#include <unistd.h>

#include "log.hpp"
#include "qlibc.h"
#include "system_paths.hpp"

namespace {

const char kLocalhost[] = "localhost";
const char kWritableKey[] = "Is writable";
const char kNotWritable[] = "no";
const char kAccountNameKey[] = "sAMAccountName";
const char* const kAuthMethods[] = {kNTLM, kKrb5};

}  // namespace

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

void DomainServiceHandler::SmbAuthCheckDC() {
    ErrorCode err = kNoError;
    ErrorSeverity severity = kCodeOnly;
    SetAuthMethod(kAuthNTLM);
    if (RunSmbclient(severity, err, kSmbclientTimeLimit)) {
        SetAuthMethod(kAuthKrb5);
        ResetTestAddress();
        if (RunSmbclient(severity, err, kSmbclientTimeLimit)) {
            SetSuccess(Json::Value());
            return;
        }
    }
    SetError(severity, err);
}

void DomainServiceHandler::SmbAuthCheckLocalhost() {
    ErrorCode err = kNoError;
    ErrorSeverity severity = kCodeOnly;
    AddTestAddress(kLocalhost);
    SetAuthMethod(kAuthNTLM);
    if (RunSmbclient(severity, err, kSmbclientTimeLimit)) {
        std::string host;
        if (!HostNameOrAnswer(host, kError, kInternalStepFailed)) return;
        ResetTestAddress();
        AddTestAddress(host);
        SetAuthMethod(kAuthKrb5);
        if (RunSmbclient(severity, err, kSmbclientTimeLimit)) {
            SetSuccess(Json::Value());
            return;
        }
    }
    if (err == kAccessDeniedAllDCsJoined) {
        SetError(kWarning, kAccessDeniedAllDCsADServer);
        return;
    }
    SetError(severity, err);
}

void DomainServiceHandler::RODCCheck() {
    std::vector<std::string> argv = {kNetTool, "ads", "lookup", "-s", kSmbJoinConfFile, "-d0"};
    Json::Value server = m_request->GetParam("rwdc_fqdn_name", "");
    if (server.isString() && !server.asString().empty()) {
        argv.push_back("-S");
        argv.push_back(server.asString());
    }
    std::vector<std::string> writable;
    if (!ExecuteCmdGetKeyValues(argv, nullptr, kWritableKey, writable, nullptr, kNetQueryAttempts,
                                kNetQueryTimeLimit)) {
        SetError(kUnknownDomainError);
        return;
    }
    if (!writable.empty() && writable.front() == kNotWritable) {
        SetError(kWarning, kReadOnlyDCFound);
        return;
    }
    SetSuccess(Json::Value());
}

void DomainServiceHandler::CheckComputerAccount() {
    std::string host;
    if (!HostNameOrAnswer(host, kCodeOnly, kHostnameUnreadable)) return;
    SetNetFilter("name=" + host);
    SetTestAllIp(false);
    std::vector<std::string> names;
    ErrorCode err = kNoError;
    if (RunNetSearchKey(kAccountNameKey, names, err, kKrb5MessageTable, 0, "") < 0 ||
        names.empty()) {
        SetSuccess(Json::Value());
        return;
    }
    const std::string account = host + "$";
    for (const std::string& name : names) {
        if (strcasecmp(name.c_str(), account.c_str()) == 0) {
            SetSuccess(Json::Value());
            return;
        }
    }
    SetError(kError, kComputerNameTaken);
}

void DomainServiceHandler::NetAuthCheck() {
    SetDebugLevel(1);
    SetOutputFile("");
    std::vector<std::string> argv = {kNetTool, "ads", "auth"};
    if (GetDebugLevel() >= 0) argv.push_back("-d" + std::to_string(GetDebugLevel()));
    ErrorCode err = kNoError;
    if (!AppendAuthOption(argv, err)) {
        SetError(err);
        return;
    }
    std::vector<std::string> addresses = GetTestAddress(err, nullptr);
    if (addresses.empty()) {
        SetError(err);
        return;
    }
    argv.push_back("-S");
    std::vector<std::string> failed;
    size_t tried = 0;
    for (const std::string& address : addresses) {
        if (address.empty()) continue;
        ++tried;
        if (!AuthenticateAddress(argv, address)) failed.push_back(address);
    }
    if (failed.empty()) {
        SetSuccess(Json::Value());
        return;
    }
    ReportFailedAddresses(failed, tried);
}

bool DomainServiceHandler::AuthenticateAddress(std::vector<std::string>& argv,
                                               const std::string& address) {
    argv.push_back(address);
    bool passed = false;
    for (const char* method : kAuthMethods) {
        argv.push_back(method);
        ErrorCode code = kNoError;
        passed = RunCommandCore(argv, code, kKrb5MessageTable, kKerberosTimeLimit, "");
        argv.pop_back();
        if (passed) break;
        m_domainError.Add(code == kCommandTimedOut ? kNoDCReachable : code, address);
    }
    argv.pop_back();
    return passed;
}

void DomainServiceHandler::ReportFailedAddresses(const std::vector<std::string>& failed,
                                                 size_t tried) {
    PutHosts(failed);
    SetError(failed.size() < tried ? kWarning : kError, m_domainError.GetProperErr());
}
