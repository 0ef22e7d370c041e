// Samba tool runs against the domain controllers: the generic runner, directory searches,
// SMB connections and the download of the domain's security policy template.
#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

#include "domain.hpp"
#include "log.hpp"
#include "qarn.h"
#include "system_paths.hpp"
#include "tool_output.hpp"
#include "trusted_file.hpp"

namespace {

// smbclient writes the policy to the fixed path in /tmp, following whatever it finds there. So
// the path is made ours first: whatever is there is removed (unlink follows no link) and an empty
// file of our own is created exclusively. The sticky bit of /tmp keeps other users from removing
// or replacing it, so smbclient truncates and fills that very file: no link planted by another
// user is written through, whether or not fs.protected_symlinks is set, and no race is left
// between removing and downloading. A user who plants again between unlink and create only
// makes the create fail, a few times at most.
bool ClaimPolicyFile() {
    const int kAttempts = 3;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        unlink(kPolicyFile);
        int fd = open(kPolicyFile, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                      kSecretFileMode);
        if (fd >= 0) return close(fd) == 0;
        if (errno != EEXIST) return false;
    }
    return false;
}

// A download happened when the claimed file is still ours and no longer empty.
bool PolicyDownloaded() {
    TrustedFile policy(kPolicyFile);
    return policy.IsOpen() && policy.Status().st_size > 0;
}

// The command for the log, with the password of a "-U user%password" argument masked.
std::string CommandText(const std::vector<std::string>& argv) {
    std::string text;
    for (size_t i = 0; i < argv.size(); ++i) {
        std::string arg = argv[i];
        size_t percent = arg.find('%');
        if (i > 0 && argv[i - 1] == "-U" && percent != std::string::npos) {
            arg = arg.substr(0, percent + 1) + "****";
        }
        text += arg + " ";
    }
    return text;
}

std::string PolicyTemplatePath(const std::string& domain, const std::string& policyId) {
    return domain + "\\Policies\\" + policyId +
           "\\MACHINE\\Microsoft\\Windows NT\\SecEdit\\GptTmpl.inf";
}

}  // namespace

bool DomainCore::RunCommandCore(std::vector<std::string> argv, ErrorCode& err,
                                const MessageEntry* table, int timeLimit,
                                const std::string& keyword) {
    bool logLines = m_request->GetParam("debug_messages", false).asBool();
    std::ofstream output;
    if (!m_outputFile.empty()) output.open(m_outputFile, std::ios::app);
    ErrorCode matched = kNoError;
    auto handleLine = [&](std::string line) {
        if (logLines) DS_LOG(LOG_DEBUG, "%s:%d %s", line.c_str());
        if (output.is_open()) output << line;
        if (!keyword.empty() && line.find(keyword) == std::string::npos) return false;
        const MessageEntry& entry = FindMessage(table, line);
        bool closing = entry.message[0] == '\0';
        ErrorCode code = !closing || !keyword.empty() ? entry.code : kNoError;
        if (code != kNoError) matched = code;
        return false;
    };
    int status = -1;
    bool succeeded = ExecuteCmd(argv, handleLine, &status, 1, timeLimit);
    err = matched;
    if (!succeeded) {
        if (status == 124) {
            err = kCommandTimedOut;
        } else if (matched == kNoError) {
            DS_LOG(LOG_ERR, "%s:%d Unknown domain error.");
            err = kUnknownDomainError;
        }
    }
    return succeeded;
}

int DomainCore::RunNetSearchKey(const std::string& key, std::vector<std::string>& values,
                                ErrorCode& err, const MessageEntry* table, int /*unused*/,
                                const std::string& extraFlag) {
    std::vector<std::string> argv = {kNetTool, "ads", "search", "-d0"};
    if (!AppendAuthOption(argv, err)) return -1;
    if (m_netFilter.empty()) {
        err = kBadParameter;
        return -1;
    }
    argv.push_back(m_netFilter);
    argv.push_back(key);
    if (!m_netServer.empty()) {
        argv.push_back("-S");
        argv.push_back(m_netServer);
    } else if (!IsADDomain()) {
        err = kNoError;
        return -1;
    }
    int replies = -1;
    bool countRead = false;
    ErrorCode localError = kNoError;
    auto consumeLine = [&](std::string line) {
        if (!countRead && IsRepliesLine(line)) {
            countRead = ReadReplyCount(line, replies);
            return true;
        }
        for (const MessageEntry* entry = table;; ++entry) {
            bool closing = entry->message[0] == '\0';
            if (closing ? !extraFlag.empty() : line.find(entry->message) != std::string::npos) {
                localError = entry->code;
                return true;
            }
            if (closing) break;
        }
        ErrorCode status = MatchMessage(kNTStatusMessageTable, line);
        if (status != kNoError) localError = status;
        return false;
    };
    std::vector<std::string> found;
    if (!ExecuteCmdGetKeyValues(argv, consumeLine, key, found, nullptr, kNetQueryAttempts,
                                kNetQueryTimeLimit)) {
        DS_LOG(LOG_ERR, "%s:%d ExecuteCmdGetKeyValues failed. Command: %s",
               CommandText(argv).c_str());
        err = localError;
        return -1;
    }
    values.insert(values.end(), found.begin(), found.end());
    return replies;
}

bool DomainCore::RunSmbclient(ErrorSeverity& severity, ErrorCode& err, int timeLimit) {
    ErrorCode addressError = kNoError;
    std::vector<std::string> addresses = GetTestAddress(addressError, nullptr);
    if (addresses.empty()) {
        err = addressError;
        return false;
    }
    std::vector<std::string> argv = {kSmbclientTool};
    if (m_debugLevel >= 0) argv.push_back("-d" + std::to_string(m_debugLevel));
    if (!AppendAuthOption(argv, err)) {
        severity = kError;
        return false;
    }
    if (!m_smbclientCmd.empty()) {
        argv.push_back("-c");
        argv.push_back(m_smbclientCmd);
    }
    if (m_smbShare.empty()) argv.push_back("-L");
    for (const std::string& address : addresses) {
        if (address.empty()) continue;
        argv.push_back(m_smbShare.empty() ? address : "//" + address + "/" + m_smbShare);
        ErrorCode code = kNoError;
        if (!RunCommandCore(argv, code, kNTStatusMessageTable, timeLimit, "")) {
            m_domainError.Add(code == kCommandTimedOut ? kNoDCReachable : code, address);
        }
        argv.pop_back();
    }
    ErrorCode proper = m_domainError.GetProperErr();
    if (proper == kNoError) {
        err = kNoError;
        return true;
    }
    ReportSmbFailure(severity, err, proper);
    return false;
}

// Leaves the failed hosts in the answer data for the calling check.
void DomainCore::ReportSmbFailure(ErrorSeverity& severity, ErrorCode& err, ErrorCode code) {
    m_data["info"]["service"] = "SMB";
    PutFailedHosts(code);
    if (code == kNTLMBlocked || code == kAccountRestriction) {
        severity = kWarning;
    } else {
        severity = m_domainError.IsAllHostFailed() ? kError : kWarning;
    }
    err = code;
}

void DomainCore::PutFailedHosts(ErrorCode code) {
    PutHosts(m_domainError.GetFailedHost(code));
}

void DomainCore::PutHosts(const std::vector<std::string>& hosts) {
    if (hosts.size() == 1) {
        m_data["info"]["ip"] = hosts.front();
        return;
    }
    Json::Value ips(Json::arrayValue);
    for (const std::string& host : hosts) ips.append(host);
    m_data["info"]["ips"] = ips;
    m_data["isPlural"] = true;
}

bool DomainCore::HostNameOrAnswer(std::string& hostname, ErrorSeverity severity, ErrorCode code) {
    char buffer[kHostNameSize] = {};
    if (gethostname(buffer, sizeof(buffer) - 1) == 0) {
        hostname = buffer;
        return true;
    }
    DS_LOG(LOG_ERR, "%s:%d Cannot get hostname");
    SetError(severity, code);
    return false;
}

ErrorCode DomainCore::GetGPO(const std::string& policyId, std::vector<std::string>& lines) {
    if (!IsJoinedDomain()) return kDomainJoinRequired;
    if (!ClaimPolicyFile()) {
        DS_LOG(LOG_ERR, "%s:%d cannot claim %s", kPolicyFile);
        return kGPOUnreadable;
    }
    SetDebugLevel(0);
    SetOutputFile("");
    SetAuthMethod(kAuthKrb5);
    SetSmbShare("sysvol");
    SetSmbclientCmd("get \"" + PolicyTemplatePath(GetFQDN(), policyId) + "\" " + kPolicyFile);
    ErrorSeverity severity = kCodeOnly;
    ErrorCode err = kNoError;
    if (!RunSmbclient(severity, err, kSmbclientTimeLimit)) {
        SetAuthMethod(kAuthNTLM);
        ResetTestAddress();
        if (!RunSmbclient(severity, err, kSmbclientTimeLimit) && err == kObjectNotFound)
            err = kGPONotFound;
    }
    ErrorCode result = err;
    if (PolicyDownloaded()) {
        result = ReadFileUTF16ToUTF8(kPolicyFile, lines) == 0 ? kNoError : kGPOUnreadable;
    }
    unlink(kPolicyFile);
    return result;
}
