#include "domain_validation.hpp"

#include <errno.h>
#include <unistd.h>

#include <fstream>

#include "log.hpp"
#include "qarn.h"
#include "smb_conf_rules.hpp"
#include "system_paths.hpp"
#include "tool_output.hpp"

namespace {

const int kWorkgroupSize = 128;
const int kMaxTimeOffset = 300;  // seconds
const int kSearchLimit = 30;     // passed to every directory search, which ignores it
const char kTimeOffsetKey[] = "Server_time_offset";
const char kNSSKeyword[] = "failed to call wbcGetpwnam";
const char kHostPrincipalPrefix[] = "host/";

Json::Value ToJsonArray(const std::vector<std::string>& texts) {
    Json::Value array(Json::arrayValue);
    for (const std::string& text : texts) array.append(text);
    return array;
}

std::string JoinNames(const std::vector<std::string>& names) {
    std::string joined;
    for (const std::string& name : names) joined += (joined.empty() ? "" : ", ") + name;
    return joined;
}

// The code a failed winbind attempt reports: no verdict is an unknown error; a verdict of success
// from a command that failed is reported as whenSucceeded.
ErrorCode AttemptFailureCode(ErrorCode code, ErrorCode whenSucceeded) {
    if (code == kNoMessageMatched) return kUnknownDomainError;
    return code == kNoError ? whenSucceeded : code;
}

// Opens path for reading; false when it cannot be opened or read (a directory, say), with the
// failure recorded as the last platform error.
bool OpenReadable(std::ifstream& input, const char* path) {
    input.open(path);
    if (input.is_open() && (input.peek(), !input.bad())) return true;
    QLIBCErrSetEx(errno, __FILE_NAME__, __LINE__);
    return false;
}

}  // namespace

bool DomainValidationHandler::PostStatusSkip(EJoinStatus status) {
    if (GetJoinedStatus() == status) {
        SetSuccess(Json::Value());
        return true;
    }
    if (!IsJoinedDomain()) {
        SetError(kDomainJoinRequired);
        return true;
    }
    return false;
}

void DomainValidationHandler::RestartWinbind() {
    if (QARNSystemdEnableStatusGet(kWinbindService) == 1) QARNSystemdRestart(kWinbindService);
}

void DomainValidationHandler::CleanWinbindCache() {
    QLIBCExec(kNetTool, "cache", "flush", nullptr, nullptr);
    QLIBCExec(kTdbTool, kWinbindCacheFile, "erase", nullptr, nullptr);
    QLIBCExec(kTdbTool, kNetSamLogonCacheFile, "erase", nullptr, nullptr);
}

bool DomainValidationHandler::PrepareNextAttempt(int attempt, bool flushCaches) {
    if (attempt >= kWinbindAttempts) return false;
    if (flushCaches) CleanWinbindCache();
    RestartWinbind();
    sleep(kWinbindRepairPause);
    return true;
}

void DomainValidationHandler::CheckWinbindAlive() {
    if (QARNSystemdEnableStatusGet(kWinbindService) != 1) {
        SetError(kError, kWinbindNotAvailable);
        return;
    }
    for (int attempt = 1;; ++attempt) {
        ErrorCode code = kNoMessageMatched;
        auto readLine = [&code](std::string line) {
            std::optional<ErrorCode> verdict = WinbindPingVerdict(line);
            if (verdict) code = *verdict;
            return verdict == kWinbindPingFailed;
        };
        if (ExecuteCmd({kWbinfoTool, "-p"}, readLine, nullptr, 1, kWinbindTimeLimit) &&
            code == kNoError) {
            SetSuccess(Json::Value());
            return;
        }
        if (!PrepareNextAttempt(attempt, false)) {
            SetError(kError, AttemptFailureCode(code, kWinbindPingFailed));
            return;
        }
    }
}

void DomainValidationHandler::CheckDCConnection() {
    DCConnectionState state;
    auto readLine = [&state](std::string line) { return ReadDCConnectionLine(line, state); };
    for (int attempt = 1;; ++attempt) {
        state.code = kNoMessageMatched;
        if (ExecuteCmd({kWbinfoTool, "-P"}, readLine, nullptr, 1, kWinbindTimeLimit)) {
            if (state.code == kNoError) {
                SetSuccess(Json::Value());
                return;
            }
            if (state.code == kNoDCAddress) {
                SetError(kError, kNoDCAddressJoined);
                return;
            }
        }
        if (!PrepareNextAttempt(attempt, true)) {
            SetError(kError, AttemptFailureCode(state.code, kWinbindDCConnectionFailed));
            return;
        }
    }
}

void DomainValidationHandler::CheckNSS() {
    char workgroup[kWorkgroupSize] = {};
    if (QARNWorkgroupGet(workgroup, sizeof(workgroup)) < 0) {
        DS_LOG(LOG_ERR, "%s:%d Cannot get workgroup name");
        SetError(kError, kNSSLookupFailed);
        return;
    }
    std::string hostname;
    if (!HostNameOrAnswer(hostname, kError, kNSSLookupFailed)) return;
    const std::string account = std::string(workgroup) + "\\" + hostname + "$";
    ErrorCode code = kNoError;
    for (int attempt = 1;; ++attempt) {
        code = kNoError;
        if (RunCommandCore({kWbinfoTool, "-i", account}, code, kWinbindMessageTable,
                           kWinbindLookupTimeLimit, kNSSKeyword) &&
            code == kNoError) {
            break;
        }
        if (code == kNoMessageMatched || code == kCommandTimedOut) code = kNSSLookupFailed;
        if (!PrepareNextAttempt(attempt, true)) break;
    }
    if (code != kNoError) {
        SetError(kError, code);
        return;
    }
    QARN_USER* user = nullptr;
    int found = QARNUserGet(account.c_str(), &user);
    if (found < 0) {
        DS_LOG(LOG_ERR, "%s:%d QARNUserGet(%s) fail[0x%04X %s:%d]", account.c_str(), QLIBCErrGet(),
               QLIBCErrorGetFile(), QLIBCErrorGetLine());
    }
    QARNUserFree(user);
    if (found >= 0) {
        SetSuccess(Json::Value());
    } else {
        SetError(kError, kNSSLookupFailed);
    }
}

bool DomainValidationHandler::QueryTimeOffset(const std::string& address, int& offset) {
    std::vector<std::string> values;
    if (!ExecuteCmdGetKeyValues({kNetTool, "ads", "info", "-d0", "-S", address}, nullptr,
                                kTimeOffsetKey, values, nullptr, kNetQueryAttempts,
                                kNetQueryTimeLimit) ||
        values.empty() || values.front().empty()) {
        return false;
    }
    std::optional<int> parsed = ParseTimeOffset(values.front());
    if (!parsed) {
        DS_LOG(LOG_ERR, "%s:%d stoi fail: %s", "stoi");
        return false;
    }
    offset = *parsed;
    return true;
}

bool DomainValidationHandler::TestAddressesOrAnswer(const std::string& srvType,
                                                    const char* serverKind,
                                                    std::vector<std::string>& addresses) {
    ErrorCode code = kNoError;
    addresses = GetTestAddress(code, srvType.c_str());
    if (code == kNoDCAddress) {
        SetError(kError, kNoDCAddressJoined);
        return false;
    }
    if (addresses.empty()) {
        DS_LOG(LOG_ERR, "%s:%d Cannot get %s server's IP address(es)", serverKind);
        SetError(code);
        return false;
    }
    return true;
}

void DomainValidationHandler::CheckTimeSync() {
    if (PostStatusSkip(kDomainJoined)) return;
    std::vector<std::string> addresses;
    if (!TestAddressesOrAnswer(kSRVTypeKerberos, "kdc", addresses)) return;
    std::vector<std::string> skewed;
    for (const std::string& address : addresses) {
        int offset = 0;
        if (QueryTimeOffset(address, offset) &&
            (offset > kMaxTimeOffset || offset < -kMaxTimeOffset))
            skewed.push_back(address);
    }
    if (skewed.empty()) {
        SetSuccess(Json::Value());
        return;
    }
    m_data["info"]["ips"] = ToJsonArray(skewed);
    DS_LOG(LOG_WARNING, "%s:%d Detected one or more DC(s) with time diff > 5 minutes");
    SetError(kWarning, kTimeOffsetTooLarge);
}

std::vector<std::string> DomainValidationHandler::GetTrustedDomainFQDN() {
    std::vector<std::string> domains;
    auto addDomain = [&domains](std::string line) {
        if (std::optional<std::string> domain = TrustedDomainFQDN(line)) domains.push_back(*domain);
        return false;
    };
    std::ifstream trusts(kTrustDomainInfoFile);
    for (std::string line; std::getline(trusts, line);) addDomain(line);
    if (domains.empty()) {
        ExecuteCmd({kWbinfoTool, "-e", "--verbose"}, addDomain, nullptr, 1, kWinbindTimeLimit);
    }
    return domains;
}

std::string DomainValidationHandler::ObjectNameToSID(const std::string& name) {
    SetNetFilter("name=" + name);
    std::vector<std::string> values;
    ErrorCode err = kNoError;
    if (RunNetSearchKey("objectSid", values, err, kKrb5MessageTable, kSearchLimit, "") < 0 ||
        values.empty()) {
        return "";
    }
    return "*" + values.front();
}

void DomainValidationHandler::CheckDuplicateSPN() {
    const std::vector<std::string> domains = GetTrustedDomainFQDN();
    if (PostStatusSkip(kDomainJoined)) return;
    if (domains.empty()) {
        DS_LOG(LOG_ERR, "%s:%d Cannot get trusted domains' FQDN");
        SetError(kInternalStepFailed);
        return;
    }
    std::string hostname;
    if (!HostNameOrAnswer(hostname, kCodeOnly, kInternalStepFailed)) return;
    const std::string realm = GetFQDN();
    const std::string principal = kHostPrincipalPrefix + hostname;
    std::vector<std::string> duplicated;
    for (const std::string& domain : domains) {
        ErrorCode err = kNoError;
        std::vector<std::string> values;
        SetNetServer(domain);
        SetNetFilter("servicePrincipalName=" + principal);
        int replies = RunNetSearchKey("servicePrincipalName", values, err, kKrb5MessageTable,
                                      kSearchLimit, "");
        if (replies < 0 || values.empty()) {
            DS_LOG(LOG_ERR,
                   "%s:%d Failed to get net ads search result for server [%s], filter [%s].",
                   domain.c_str(), GetNetFilter().c_str());
            continue;
        }
        if (replies > 1 || (replies == 1 && domain != realm)) duplicated.push_back(domain);
    }
    if (duplicated.empty()) {
        SetSuccess(Json::Value());
        return;
    }
    m_data["info"]["duplicate_spn_domain"] = ToJsonArray(duplicated);
    DS_LOG(LOG_ERR, "%s:%d Trusted domain %s have duplicate SPNs. Realm: %s",
           m_data["info"]["duplicate_spn_domain"].toStyledString().c_str(), realm.c_str());
    SetError(kWarning, kDuplicateSPN);
}

void DomainValidationHandler::CheckEssentialSPN() {
    if (PostStatusSkip(kDomainJoined)) return;
    std::string hostname;
    if (!HostNameOrAnswer(hostname, kCodeOnly, kInternalStepFailed)) return;
    std::vector<std::string> missing = {kHostPrincipalPrefix + hostname,
                                        kHostPrincipalPrefix + hostname + "." + GetFQDN()};
    SetNetFilter("name=" + hostname);
    std::vector<std::string> values;
    ErrorCode err = kNoError;
    if (RunNetSearchKey("servicePrincipalName", values, err, kKrb5MessageTable, kSearchLimit, "") <
        0) {
        DS_LOG(LOG_ERR, "%s:%d Failed to get net ads search result for filter [%s].",
               GetNetFilter().c_str());
        SetSuccess(Json::Value());
        return;
    }
    for (const std::string& value : values) {
        for (auto name = missing.begin(); name != missing.end(); ++name) {
            if (QLIBCUnicodeUTF8StrCaseCmp(name->c_str(), value.c_str()) == 0) {
                missing.erase(name);
                break;
            }
        }
    }
    if (missing.empty()) {
        SetSuccess(Json::Value());
        return;
    }
    m_data["info"]["missingSPN"] = ToJsonArray(missing);
    DS_LOG(LOG_ERR, "%s:%d One or more SPN is missing");
    SetError(kWarning, kEssentialSPNMissing);
}

void DomainValidationHandler::CheckMachineConflict() {
    std::string hostname;
    if (!HostNameOrAnswer(hostname, kCodeOnly, kHostnameUnreadable)) return;
    SetNetFilter("name=" + hostname + "*CNF:*");
    std::vector<std::string> values;
    ErrorCode err = kNoError;
    int replies = RunNetSearchKey("name", values, err, kKrb5MessageTable, kSearchLimit, "");
    if (replies < 0) {
        DS_LOG(LOG_ERR, "%s:%d Failed to get net ads search result for filter [%s].",
               GetNetFilter().c_str());
    }
    if (replies <= 0) {
        SetSuccess(Json::Value());
        return;
    }
    DS_LOG(LOG_ERR, "%s:%d Detected machine account conflict");
    m_data["info"]["hostname"] = hostname;
    SetError(kError, kMachineAccountConflict);
}

void DomainValidationHandler::CheckMachinePassword() {
    std::vector<std::string> argv = {kNetTool, "ads", "auth", "-P"};
    SetDebugLevel(0);
    SetOutputFile("");
    if (GetDebugLevel() >= 0) argv.push_back("-d" + std::to_string(GetDebugLevel()));
    std::vector<std::string> addresses;
    if (!TestAddressesOrAnswer(kSRVTypeLDAP, "ldap", addresses)) return;
    argv.push_back("-S");
    for (const std::string& address : addresses) {
        argv.push_back(address);
        ErrorCode err = kNoError;
        if (!RunCommandCore(argv, err, kKrb5MessageTable, kKerberosTimeLimit, "")) {
            m_domainError.Add(err == kCommandTimedOut ? kNoDCReachable : err, address);
        }
        argv.pop_back();
    }
    ErrorCode proper = m_domainError.GetProperErr();
    if (proper == kNoError) {
        SetSuccess(Json::Value());
        return;
    }
    DS_LOG(LOG_ERR, "%s:%d Failed to pass net ads auth DC via machine account.");
    PutFailedHosts(proper);
    SetError(m_domainError.IsAllHostFailed() ? kError : kWarning, proper);
}

bool DomainValidationHandler::CollectSMBConfFailures(const KeyValueMap& settings,
                                                     std::vector<std::string>& failed) {
    auto note = [&failed](const std::vector<const SMBConfRule*>& rules) {
        for (const SMBConfRule* rule : rules) {
            DS_LOG(LOG_WARNING, "%s:%d %s", rule->finding);
            failed.push_back(rule->name);
        }
    };
    const bool adServer = IsADServer();
    note(FailedSettingRules(settings, adServer));
    if (adServer || QLIBCFileExist(kSmbJoinConfFile) != 1) return true;
    std::ifstream joinConf;
    if (!OpenReadable(joinConf, kSmbJoinConfFile)) {
        DS_LOG(LOG_ERR, "%s:%d Cannot open file: %s[0x%04X %s:%d]", kSmbJoinConfFile, QLIBCErrGet(),
               QLIBCErrorGetFile(), QLIBCErrorGetLine());
        SetError(kError, kJoinConfUnreadable);
        return false;
    }
    note(FailedJoinRules(settings, FileLoadKeyValues(joinConf)));
    return true;
}

void DomainValidationHandler::CheckSMBConf() {
    if (PostStatusSkip(kJoinStatusUnknown)) return;
    const KeyValueMap& settings = GetSMBConf();
    if (settings.empty()) {
        SetError(kError, kSMBConfUnreadable);
        return;
    }
    std::vector<std::string> failed;
    if (!CollectSMBConfFailures(settings, failed)) return;
    if (failed.empty()) {
        SetSuccess(Json::Value());
        return;
    }
    m_data["info"]["badValue"] = JoinNames(failed);
    if (failed.size() > 1) m_data["isPlural"] = true;
    SetError(kError, kSMBConfWrongValues);
}
