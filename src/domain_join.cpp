// Joining the server to an Active Directory domain and switching it over afterwards.
#include "domain_join.hpp"

#include <stdlib.h>
#include <unistd.h>

#include <fstream>

#include "log.hpp"
#include "qarn.h"
#include "system_paths.hpp"

const MessageEntry kJoinMessageTable[] = {
    {"account restriction", kAccountRestriction},
    {"logon is invalid", kAuthFailed},
    {"Insufficient quota exists", kMachineAccountQuota},
    {"The user account has expired", kAccountLocked},
    {"The user account password has expired.", kPasswordExpired},
    {"None of the information to be translated has been translated.", kComputerNameTaken},
    {"Failed to set account flags for machine account (NT_STATUS_ACCESS_DENIED)",
     kMachineAccountFlagsDenied},
    {"The request is not supported", kNTLMBlocked},
    {"The authentication failed because NTLM was blocked", kNTLMBlocked},
    {"", kJoinFailed},
};

namespace {

const char kJoinFailedKeyword[] = "Failed to join domain";
const char kDefaultPolicyId[] = "{31B2F340-016D-11D2-945F-00C04FB984F9}";
const char kJoinReason[] = "QARNWinsJoinDomain";
const char* const kPolicySettings[] = {"EnableSecuritySignature", "RequireSecuritySignature",
                                       "LmCompatibilityLevel"};
const int kJoinDebugLevel = 3;
const int kRunJoinUnused = 60;
const int kStringTableSize = 1024;
const int kServiceListSize = 4;
const int kSmbConfLock = 70;
const int kSmbConfUnlock = 64;
const int kSmbConfLockSeconds = 10;
const int kLogLevelInfo = 2;
const int kLogCategory = 1;
const unsigned int kJoinedEvent = 0x11800404;

// "a,b" of the array's elements; empty for anything but an array.
std::string JoinedNics(const Json::Value& nics) {
    std::string joined;
    if (!nics.isArray()) return joined;
    for (const Json::Value& nic : nics) {
        if (!joined.empty()) joined += ",";
        joined += nic.asString();
    }
    return joined;
}

std::string JoinedList(const QLIBC_SZLIST* list) {
    std::string joined;
    for (int i = 0; i < QLIBCSzListCount(list); ++i) {
        if (i > 0) joined += ",";
        joined += QLIBCSzListGet(list, i);
    }
    return joined;
}

}  // namespace

DomainJoinHandler::DomainJoinHandler(QARN::APIRequest* request, QARN::APIResponse* response)
    : DomainCore(request, response) {}

void DomainJoinHandler::InitPreCheck() {
    unlink(kLastJoinInfoFile);
    SetSuccess(m_data);
}

bool DomainJoinHandler::GenJoinConf(bool force) {
    if (!force && QLIBCFileExist(kSmbJoinConfFile) == 1) return true;
    if (GetFQDN().empty() || GetWorkgroup(true).empty()) return false;
    unlink(kSmbJoinConfFile);
    if (WriteJoinConf()) return true;
    unlink(kSmbJoinConfFile);  // no half-written configuration stays behind
    return false;
}

bool DomainJoinHandler::WriteJoinConf() {
    std::ofstream output(kSmbJoinConfFile, std::ios::trunc);
    if (!output.is_open()) {
        DS_LOG(LOG_ERR, "%s:%d can't open %s", kSmbJoinConfFile);
        return false;
    }
    std::string realm = GetFQDN();
    output << "[global]\n"
           << "security=ads\n"
           << "workgroup=" << GetWorkgroup(true) << "\n"
           << "realm=" << realm << "\n";
    if (!GetDCIP().empty()) output << "password server=" << GetDCIP() << "\n";
    if (m_request->HasParam("register_nics")) {
        std::string nics = JoinedNics(m_request->GetParam("register_nics", Json::Value()));
        if (!nics.empty() && nics != "all") output << "register nic=" << nics << "\n";
    }
    if (!output.flush()) {
        DS_LOG(LOG_ERR, "%s:%d write smb.join.conf fail");
        return false;
    }
    return true;
}

void DomainJoinHandler::SMBJoinConfGen() {
    GenJoinConf(true);
    SetSuccess(m_data);
}

void DomainJoinHandler::RecordSmbGPO() {
    std::vector<std::string> lines;
    if (GetGPO(kDefaultPolicyId, lines) != kNoError) {
        DS_LOG(LOG_DEBUG, "%s:%d Cannot get GPO setting");
        SetSuccess(m_data);
        return;
    }
    DS_LOG(LOG_INFO, "%s:%d [SMB GPO Settings]");
    for (const std::string& line : lines) {
        for (const char* setting : kPolicySettings) {
            if (line.empty() || line.find(setting) == std::string::npos) continue;
            DS_LOG(LOG_INFO, "%s:%d %s:%c", setting, line.back());
            break;
        }
    }
    SetSuccess(m_data);
}

std::string DomainJoinHandler::JoinServer(const std::string& requested) {
    if (GetAuthMethod() != kAuthKrb5) return requested;
    ErrorCode ignored = kNoError;
    std::string name = ConvertIP2Fqdn(requested, ignored);
    if (!name.empty()) return name;
    DS_LOG(LOG_ERR, "%s:%d resolve DC to FQDN %s fail", requested.c_str());
    return requested;
}

bool DomainJoinHandler::RunJoin(ErrorCode& err, int /*unused*/) {
    std::vector<std::string> argv = {kNetTool, "ads", "join", "-s", kSmbJoinConfFile};
    if (GetDebugLevel() >= 0) argv.push_back("-d" + std::to_string(GetDebugLevel()));
    if (!AppendAuthOption(argv, err)) return false;
    std::string ou = m_request->GetParam("ou_specified", "").asString();
    if (!ou.empty()) argv.push_back("createcomputer=" + ou);
    std::string server = m_request->GetParam("rwdc_fqdn_name", "").asString();
    if (!server.empty()) {
        argv.push_back("-S");
        argv.push_back(JoinServer(server));
    }
    bool joined = RunCommandCore(argv, err, kJoinMessageTable, kJoinTimeLimit, kJoinFailedKeyword);
    if (joined) {
        err = kNoError;
    } else if (err == kNoError) {
        err = kUnknownDomainError;
    }
    return joined;
}

void DomainJoinHandler::JoinDomain() {
    if (!GenJoinConf(false)) {
        SetError(kBadParameter);
        DS_LOG(LOG_ERR, "%s:%d join domain: fail to gen smb.join.conf");
        return;
    }
    SetDebugLevel(kJoinDebugLevel);
    SetOutputFile(kLastJoinInfoFile);
    SetAuthMethod(kAuthKrb5);
    setenv("LOGNAME", "join", 0);
    ErrorCode err = kNoError;
    if (RunJoin(err, kRunJoinUnused)) {
        DS_LOG(LOG_INFO, "%s:%d joined domain(krb5)");
        SetSuccess(m_data);
        return;
    }
    DS_LOG(LOG_ERR, "%s:%d join domain with krb5 fail. error=%d", err);
    SetAuthMethod(kAuthNTLM);
    if (RunJoin(err, kRunJoinUnused)) {
        DS_LOG(LOG_INFO, "%s:%d joined domain(NTLM)");
        SetSuccess(m_data);
        return;
    }
    DS_LOG(LOG_ERR, "%s:%d join domain: fail err=%d", err);
    SetError(kError, err);
}

void DomainJoinHandler::SetJoinGlobals(QLIBC_SZHASH* global) {
    QLIBCSzHashSetValue(global, "realm", GetFQDN().c_str());
    QLIBCSzHashSetValue(global, "security", "ads");
    QLIBCSzHashSetValue(global, "ldap timeout", "60");
    QLIBCSzHashSetValue(global, "workgroup", GetWorkgroup(false).c_str());
    QLIBCSzHashRemoveKey(global, "client NTLMv2 auth");
    if (!GetDCIP().empty()) QLIBCSzHashSetValue(global, "password server", GetDCIP().c_str());
}

bool DomainJoinHandler::WriteGlobalsLocked(const QLIBC_SZHASH* global) {
    if (QLIBCFileLock(kSmbConfLock, kSmbConfLockSeconds) != 0) {
        DS_LOG(LOG_ERR, "%s:%d lock smb.conf failed");
        return false;
    }
    bool written = QARNSMBConfGlobalSet(global) >= 0;
    if (QLIBCFileUnlock(kSmbConfUnlock) != 0) DS_LOG(LOG_ERR, "%s:%d unlock smb.conf failed");
    return written;
}

bool DomainJoinHandler::UpdateJoinSmbConf() {
    if (GetFQDN().empty() || GetWorkgroup(false).empty()) return false;
    QLIBC_SZHASH* global = QLIBCSzHashAlloc(kStringTableSize);
    if (global == nullptr) return false;
    bool written = false;
    if (QARNSMBConfGlobalGet(global) >= 0) {
        SetJoinGlobals(global);
        written = WriteGlobalsLocked(global);
    }
    QLIBCSzHashFree(global);
    return written;
}

bool DomainJoinHandler::StartStopSambaByReason(bool start) {
    QLIBC_SZLIST* services = QLIBCSzListAlloc(kServiceListSize);
    QLIBC_SZLIST* failed = QLIBCSzListAlloc(kServiceListSize);
    QLIBCSzListPush(&services, kNmbdService);
    QLIBCSzListPush(&services, kSmbdService);
    if (start) QLIBCSzListPush(&services, kWinbindService);
    int result = start ? QARNSystemdServiceStartByReason(kJoinReason, services, &failed)
                       : QARNSystemdServiceStopByReason(kJoinReason, services, &failed);
    if (result < 0) {
        DS_LOG(LOG_ERR, "%s:%d failed to %s services (%s) by reason", start ? "start" : "stop",
               JoinedList(failed).c_str());
    }
    QLIBCSzListFree(failed);
    QLIBCSzListFree(services);
    return result >= 0;
}

ErrorCode DomainJoinHandler::SwitchOver(const std::string& user, const std::string& password) {
    QARNWinsStopDomainUpdating();
    if (!StartStopSambaByReason(false)) return kInternalStepFailed;
    if (QARNWinsSetDomainNsswitch(1) != 0) {
        DS_LOG(LOG_ERR, "%s:%d modify nsswitch failed");
        return kInternalStepFailed;
    }
    QARNWinsSetDomainConfig(1);
    if (!UpdateJoinSmbConf()) {
        DS_LOG(LOG_ERR, "%s:%d update smb.conf failed");
        return kInternalStepFailed;
    }
    QARNWinsSetAuthUser(0, user.c_str(), password.c_str());
    bool managed = m_request->GetParam("manage_mode", 0).asInt() == 0;
    if (QARNWinSetTrustDomain(managed ? 1 : 0) < 0) {
        DS_LOG(LOG_ERR, "%s:%d set manage mode failed");
        return kInternalStepFailed;
    }
    if (!StartStopSambaByReason(true)) return kInternalStepFailed;
    return kNoError;
}

void DomainJoinHandler::AddAdminGroup() {
    if (QARNWinsDomainAddAdminGroup() < 0) {
        DS_LOG(LOG_DEBUG, "%s:%d add \"admin users\" fail");
        return;
    }
    bool smbdReloaded = QARNSystemdReload(kSmbdService) >= 0;
    bool winbinddReloaded = QARNSystemdReload(kWinbindService) >= 0;
    if (!smbdReloaded || !winbinddReloaded) {
        DS_LOG(LOG_DEBUG, "%s:%d add \"admin users\" reload service fail");
    }
}

void DomainJoinHandler::JoinDomainPostAction() {
    std::string user = m_request->GetParam("username", "").asString();
    if (user.empty()) {
        SetError(kBadParameter);
        return;
    }
    std::string password = m_request->GetParam("password", "").asString();
    ErrorCode err = SwitchOver(user, password);
    if (err != kNoError) {
        SetError(err);
        return;
    }
    AddAdminGroup();
    QARNLogSet1(kLogLevelInfo, kLogCategory, kJoinedEvent, GetFQDN().c_str(), "", "", "");
    QARNWinsJoinPlugin("", "", 0, 0);
    SetSuccess(m_data);
}
