// Kerberos configuration, tickets and the authentication options of the Samba tools.
#include <unistd.h>

#include <fstream>

#include "domain.hpp"
#include "log.hpp"
#include "qarn.h"
#include "system_paths.hpp"
#include "tool_output.hpp"

namespace {

const char kSambaKrb5ConfPrefix[] = "/run/samba/smb_krb5/krb5.conf.";
const char kEncryptionTypes[] =
    "aes256-cts-hmac-sha1-96 aes128-cts-hmac-sha1-96 aes128-cts-hmac-sha256-128 des3-cbc-sha1 "
    "arcfour-hmac-md5 aes256-cts-hmac-sha384-192 camellia128-cts-cmac camellia256-cts-cmac";
const int kWrongPassword = 1;

}  // namespace

std::unordered_set<std::string> DomainCore::GetSmbKrb5ConfKDC() {
    std::unordered_set<std::string> kdcs;
    const std::string& workgroup = GetWorkgroup(false);
    if (workgroup.empty()) return kdcs;
    std::string path = kSambaKrb5ConfPrefix + workgroup;
    std::ifstream samba(path);
    if (!samba.is_open()) {
        DS_LOG(LOG_ERR, "%s:%d Can't open %s", path.c_str());
        return kdcs;
    }
    if (!ReadRealmKDCs(samba, kdcs)) DS_LOG(LOG_ERR, "%s:%d Realm section not found.");
    return kdcs;
}

Json::Value DomainCore::GetAvailableKdcIpList() {
    Json::Value candidates(Json::arrayValue);
    for (const std::string& entry : SplitString(GetDCIP(), ',', nullptr)) {
        if (AppendAddressesOf(entry, candidates) != kNoError) {
            DS_LOG(LOG_DEBUG, "%s:%d Can not resolve [%s].", entry.c_str());
        }
    }
    Json::Value available(Json::arrayValue);
    if (candidates.empty()) return available;
    std::unordered_set<std::string> known = GetSmbKrb5ConfKDC();
    if (known.empty()) return available;
    RemoveDuplicates(candidates);
    for (const Json::Value& candidate : candidates) {
        if (known.count(candidate.asString())) available.append(candidate);
    }
    return available;
}

void DomainCore::WriteKrb5Conf(std::ostream& output, const Json::Value& kdcs) {
    const std::string& realm = GetFQDN();
    output << "[libdefaults]\n"
           << "\tpermitted_enctypes = " << kEncryptionTypes << "\n"
           << "\tdefault_realm = " << realm << "\n"
           << "\tdns_lookup_realm = false\n"
           << "\tdns_lookup_kdc = " << (kdcs.empty() ? "true" : "false") << "\n"
           << "[realms]\n"
           << "\t" << realm << " = {\n";
    for (const Json::Value& kdc : kdcs) output << "\t\tkdc = " << kdc.asString() << "\n";
    output << "\t}\n";
}

bool DomainCore::GenKrb5Conf(bool regenerate) {
    if (GetFQDN().empty()) return false;
    if (QLIBCFileExist(kKrb5ConfFile) == 1) {
        if (!regenerate) return true;
        unlink(kKrb5ConfFile);
    }
    std::ofstream output(kKrb5ConfFile, std::ios::trunc);
    if (!output.is_open()) {
        DS_LOG(LOG_ERR, "%s:%d can't open %s", kKrb5ConfFile);
        return false;
    }
    WriteKrb5Conf(output, GetAvailableKdcIpList());
    return true;
}

ErrorCode DomainCore::Kinit(bool regenerate) {
    if (m_request->HasParam("re_gen_krb5")) {
        regenerate = m_request->GetParam("re_gen_krb5", false).asBool() || regenerate;
    }
    if (!GenKrb5Conf(regenerate)) return kInternalStepFailed;
    return IsJoinedDomain() ? MachineKinit() : UserKinit(regenerate);
}

ErrorCode DomainCore::MachineKinit() {
    std::vector<std::string> argv = {kNetTool, "ads", "kerberos", "kinit", "-P"};
    SetDebugLevel(0);
    SetOutputFile("");
    if (GetDebugLevel() >= 0) argv.push_back("-d" + std::to_string(GetDebugLevel()));
    ErrorCode err = kNoError;
    if (RunCommandCore(argv, err, kNTStatusMessageTable, kKerberosTimeLimit, "")) return kNoError;
    m_domainError.Add(err == kCommandTimedOut ? kNoDCReachable : err, GetFQDN());
    return m_domainError.GetProperErr();
}

ErrorCode DomainCore::UserKinit(bool regenerate) {
    const std::string& principal = GetUPN();
    if (principal.empty()) return kBadParameter;
    if (!regenerate) {
        std::vector<std::string> cached;
        if (ExecuteCmdGetKeyValues({kKlistTool}, nullptr, "Default principal", cached, nullptr,
                                   kNetQueryAttempts, kNetQueryTimeLimit) &&
            !cached.empty() && cached.front() == principal) {
            return kNoError;
        }
    }
    std::string password = m_request->GetParam("password", "").asString();
    int result = QARNWinsKinit(principal.c_str(), password.c_str());
    if (result == kWrongPassword) {
        DS_LOG(LOG_ERR, "%s:%d kinit wrong password");
        return kAuthFailed;
    }
    if (result < 0) {
        DS_LOG(LOG_ERR, "%s:%d kinit error");
        return kInternalStepFailed;
    }
    return kNoError;
}

bool DomainCore::AppendAuthOption(std::vector<std::string>& argv, ErrorCode& err) {
    if (m_authMethod == kAuthKrb5) {
        ErrorCode result = Kinit(m_request->GetParam("rejoin", false).asBool());
        if (result != kNoError) {
            DS_LOG(LOG_ERR, "%s:%d Kinit failed");
            err = result;
            return false;
        }
        argv.push_back("-k");
        return true;
    }
    std::string user = m_request->GetParam("username", "").asString();
    std::string password = m_request->GetParam("password", "").asString();
    if (!user.empty()) {
        argv.push_back("-U");
        if (user.find('\\') == std::string::npos && user.find('@') == std::string::npos) {
            user = GetWorkgroup(false) + "\\" + user;
        }
        argv.push_back(user + "%" + password);
        return true;
    }
    if (IsJoinedDomain()) {
        argv.push_back("-P");
        return true;
    }
    err = kBadParameter;
    return false;
}
