#include "domain.hpp"

#include <unistd.h>

#include <boost/algorithm/string/case_conv.hpp>
#include <fstream>
#include <locale>

#include "dns_resolver.hpp"
#include "log.hpp"
#include "qarn.h"
#include "system_paths.hpp"

const char kKrb5[] = "krb5";
const char kNTLM[] = "ntlm";

namespace {

const int kPasswordServerSize = 8192;
const int kWorkgroupSize = 128;
const int kWorkgroupFileValueSize = 32;
const int kKdcIPSize = 8196;

// The address of a "net lookup" line: the text before a port separator.
void AddLookupLine(std::string line, std::vector<std::string>& addresses) {
    if (!line.empty() && line.back() == '\n') line.pop_back();
    if (line.empty()) return;
    addresses.push_back(line.substr(0, line.find(':')));
}

const char* LookupKind(const char* service) {
    if (service == nullptr) return "pdc";
    std::string name = service;
    return ToLower(name) == kSRVTypeKerberos ? "kdc" : "dc";
}

}  // namespace

DomainCore::DomainCore(QARN::APIRequest* request, QARN::APIResponse* response)
    : CommonCore(request, response), m_domainError(*this) {}

bool DomainCore::IsADDomain() {
    EJoinStatus status = GetJoinedStatus();
    return status == kADSJoined || status == kADServer;
}

bool DomainCore::IsADServer() {
    return GetJoinedStatus() == kADServer;
}

bool DomainCore::IsJoinedDomain() {
    EJoinStatus status = GetJoinedStatus();
    return status == kADSJoined || status == kDomainJoined || status == kADServer;
}

std::string DomainCore::RequestString(const char* name) {
    const Json::Value missing;
    const Json::Value& value = m_request->GetParamRef(name, missing);
    return value.isString() ? value.asString() : "";
}

void DomainCore::SetDebugLevel(int level) {
    m_debugLevel = level;
    int requested = m_request->GetParam("debug_level", -1).asInt();
    if (requested != -1) m_debugLevel = requested;
}

const std::string& DomainCore::GetDCIP() {
    if (!m_dcIP.empty()) return m_dcIP;
    if (m_request->HasParam("dc_ips")) {
        m_dcIP = RequestString("dc_ips");
        return m_dcIP;
    }
    if (!IsJoinedDomain()) return m_dcIP;
    char server[kPasswordServerSize] = {};
    if (QLIBCFileGetKeyValue(kSmbConfFile, "password server", server, sizeof(server), 0) > 0) {
        m_dcIP = server;
    }
    return m_dcIP;
}

bool DomainCore::TakeSrvMember(const Json::Value& targets, const std::string& service,
                               std::vector<std::string>& result, ErrorCode& err) {
    const Json::Value* member = targets.isObject()
                                    ? targets.find(service.data(), service.data() + service.size())
                                    : nullptr;
    if (member == nullptr || member->empty()) {
        err = kBadParameter;
        DS_LOG(LOG_ERR, "%s:%d invalid (%s) srv target IP", service.c_str());
        return false;
    }
    for (const Json::Value& address : *member) result.push_back(address.asString());
    return true;
}

std::vector<std::string> DomainCore::GetSrvIPs(ErrorCode& err, const char* service) {
    std::vector<std::string> result;
    if (!m_request->HasParam("srv_target_ip")) {
        err = kBadParameter;
        DS_LOG(LOG_ERR, "%s:%d don't have srv target IP");
        return result;
    }
    Json::Value targets = m_request->GetParam("srv_target_ip", Json::Value());
    if (targets.empty()) {
        err = kBadParameter;
        DS_LOG(LOG_ERR, "%s:%d invalid srv target IP");
        return result;
    }
    bool taken = service != nullptr ? TakeSrvMember(targets, service, result, err)
                                    : TakeSrvMember(targets, kSRVTypeKerberos, result, err) ||
                                          TakeSrvMember(targets, kSRVTypeLDAP, result, err);
    if (!taken) {
        err = kNoDCAddress;
        result.clear();
    }
    return result;
}

std::vector<std::string> DomainCore::NetLookup(ErrorCode& err, const char* service) {
    std::vector<std::string> addresses;
    if (!IsADDomain()) {
        err = kNoDCAddress;
        return addresses;
    }
    int status = -1;
    ExecuteCmd(
        {kNetTool, "lookup", LookupKind(service), "-d0"},
        [&addresses](std::string line) {
            AddLookupLine(std::move(line), addresses);
            return false;
        },
        &status, 1, kQuickToolTimeLimit);
    if (status == 0 && !addresses.empty()) return addresses;
    if (status == 0) err = kNoDCAddress;
    ResetTestAddress();
    return {};
}

bool DomainCore::AppendSRVRecordTargets(ErrorCode& err, const char* service) {
    std::string domainName = m_request->GetParam("server_address", "").asString();
    Json::Value records(Json::objectValue);
    err = GetSRVResults(service ? service : "", domainName, "", records);
    if (err != kNoError) {
        err = kNoDCAddress;
        return false;
    }
    Json::Value accumulated(Json::arrayValue);
    for (const Json::Value& targets : records) {
        Json::Value answer(Json::objectValue);
        GetTargetIP("", targets, answer);
        if (!answer["unresolve_srv_target"].empty()) return false;
        accumulated = ConcatJsonArray(accumulated, answer["resolve"]);
        RemoveDuplicates(accumulated);
    }
    for (const Json::Value& address : accumulated) m_testIPs.push_back(address.asString());
    return true;
}

std::vector<std::string>& DomainCore::GetTestIPs(ErrorCode& err, const char* service) {
    if (!m_testIPs.empty()) return m_testIPs;
    const ErrorCode callers = err;
    m_testIPs = SplitString(GetDCIP(), ',', nullptr);
    if (!m_testIPs.empty()) return m_testIPs;
    m_testIPs = GetSrvIPs(err, service);
    if (m_testIPs.empty()) m_testIPs = NetLookup(err, service);
    if (!m_testIPs.empty() || AppendSRVRecordTargets(err, service)) err = callers;
    return m_testIPs;
}

std::vector<std::string>& DomainCore::GetTestAddress(ErrorCode& err, const char* service) {
    if (!m_testAddress.empty()) return m_testAddress;
    std::vector<std::string>& testIPs = GetTestIPs(err, service);
    if (testIPs.empty()) return m_testAddress;
    if (!m_testAllIp) testIPs.resize(1);
    if (m_authMethod != kAuthKrb5) {
        m_testAddress = testIPs;
        return m_testAddress;
    }
    for (const std::string& ip : testIPs) {
        ErrorCode converted = kNoError;
        std::string name = ConvertIP2Fqdn(ip, converted);
        if (name.empty()) {
            DS_LOG(LOG_ERR, "%s:%d Failed to convert IP [%s] to FQDN.", ip.c_str());
            err = converted;
        } else {
            m_testAddress.push_back(name);
        }
    }
    return m_testAddress;
}

std::string DomainCore::ConvertIP2Fqdn(std::string ip, ErrorCode& err) {
    if (ip.empty()) {
        err = kBadParameter;
        return "";
    }
    err = kNoError;
    auto matchKerberosMessage = [&err](std::string line) {
        const MessageEntry& entry = FindMessage(kKrb5MessageTable, line);
        if (entry.message[0] == '\0') return false;
        err = entry.code;
        return true;
    };
    std::vector<std::string> names;
    if (!ExecuteCmdGetKeyValues({kNetTool, "ads", "info", "-S", ip}, matchKerberosMessage,
                                "LDAP_server_name", names, nullptr, kNetQueryAttempts,
                                kNetQueryTimeLimit)) {
        return "";
    }
    if (names.empty()) {
        err = kUnknownDomainError;
        return "";
    }
    return names.front();
}

const std::string& DomainCore::GetFQDN() {
    if (!m_fqdn.empty()) return m_fqdn;
    std::string name;
    if (m_request->HasParam("server_address")) name = RequestString("server_address");
    if (name.empty()) {
        if (!IsADDomain()) {
            DS_LOG(LOG_ERR, "%s:%d GetFQDN fail need param:%s", "server_address");
            return m_fqdn;
        }
        const KeyValueMap& settings = GetSMBConf();
        auto realm = settings.find("realm");
        if (realm != settings.end()) name = realm->second;
    }
    m_fqdn = boost::algorithm::to_upper_copy(name, std::locale::classic());
    return m_fqdn;
}

const std::string& DomainCore::GetUPN() {
    if (!m_upn.empty()) return m_upn;
    std::string user = RequestString("username");
    if (user.empty()) return m_upn;
    size_t at = user.find('@');
    if (at != std::string::npos) {
        m_upn = user.substr(0, at + 1) +
                boost::algorithm::to_upper_copy(user.substr(at + 1), std::locale::classic());
        return m_upn;
    }
    const std::string& domain = GetFQDN();
    if (domain.empty()) return m_upn;
    size_t backslash = user.find('\\');
    if (backslash != std::string::npos) user = user.substr(backslash + 1);
    m_upn = user + "@" + domain;
    return m_upn;
}

const std::string& DomainCore::GetWorkgroup(bool refresh) {
    if (!m_workgroup.empty()) return m_workgroup;
    if (IsJoinedDomain()) {
        char workgroup[kWorkgroupSize] = {};
        if (QARNWorkgroupGet(workgroup, sizeof(workgroup)) >= 0) m_workgroup = workgroup;
        return m_workgroup;
    }
    m_workgroup = LookUpWorkgroup(refresh);
    return m_workgroup;
}

// Not joined: the platform's recorded workgroup, else a look-up of the domain's controller.
std::string DomainCore::LookUpWorkgroup(bool refresh) {
    bool haveKdcFile = false;
    if (!refresh) {
        char recorded[kWorkgroupFileValueSize] = {};
        if (QLIBCFileExist(kWorkgroupFile) == 1 &&
            QLIBCFileGetKeyValue(kWorkgroupFile, "Workgroup", recorded, sizeof(recorded), 0) > 0 &&
            recorded[0] != '\0') {
            return recorded;
        }
        unlink(kWorkgroupFile);
        haveKdcFile = QLIBCFileExist(kKdcIPFile) == 1;
    } else {
        unlink(kWorkgroupFile);
    }
    if (refresh || !haveKdcFile) {
        const std::string& domain = GetFQDN();
        if (domain.empty()) return "";
        if (QARNWinsLookupLDAP(domain.c_str()) == 0) {
            DS_LOG(LOG_ERR, "%s:%d lookup LDAP for %s Fail", domain.c_str());
            return "";
        }
        DS_LOG(LOG_DEBUG, "%s:%d ads join: get dc ip=%s", domain.c_str());
    }
    char kdc[kKdcIPSize] = {};
    if (QARNWinsGetKDCIP(kdc, sizeof(kdc)) != 1) {
        DS_LOG(LOG_ERR, "%s:%d ads join: dc ip failed");
        return "";
    }
    DS_LOG(LOG_DEBUG, "%s:%d ads join: get dc ip=%s", kdc);
    char workgroup[kWorkgroupSize] = {};
    if (QARNWinsWorkgroup(workgroup, sizeof(workgroup), kdc) != 0) {
        DS_LOG(LOG_ERR, "%s:%d ads join: get domain netbios name fail");
        return "";
    }
    DS_LOG(LOG_DEBUG, "%s:%d ads join: get domain netbios name=%s", workgroup);
    return workgroup;
}

const KeyValueMap& DomainCore::GetSMBConf() {
    if (!m_smbConf.empty()) return m_smbConf;
    const char* path = IsADServer() ? kADServerConfFile : kSmbConfFile;
    std::ifstream settings(path);
    if (!settings.is_open()) {
        DS_LOG(LOG_ERR, "%s:%d Cannot open %s", path);
        return m_smbConf;
    }
    m_smbConf = FileLoadKeyValues(settings);
    return m_smbConf;
}

void DomainCore::ServerAddressCheck() {
    std::string address = m_request->GetParam("server_address", "").asString();
    std::string serverType = m_request->GetParam("server_type", "").asString();
    if (address.empty() || serverType.empty()) {
        DS_LOG(LOG_ERR, "%s:%d check server address empty argument");
        SetError(kBadParameter);
        return;
    }
    std::string dns = m_request->GetParam("dns", "").asString();
    bool isName = QARNNetGetAddrType(address.c_str()) == 0;
    if (isName) {
        if (serverType == "domain") {
            m_data["server_address"] = address;
            SetSuccess(m_data);
            return;
        }
        DnsResolver resolver;
        resolver.SetDNS(dns);
        resolver.SetDomainName(address);
        resolver.SetRecordType("");
        Json::Value resolved(Json::arrayValue);
        if (resolver.ResolveRecord(resolved) == kNoError && resolved.isArray() &&
            !resolved.empty()) {
            address = resolved[0].asString();
        }
    }
    std::vector<std::string> realms;
    if (ExecuteCmdGetKeyValues(
            {kNetTool, "ads", "info", "-S", address, "-d0", "--option=name resolve order=host"},
            nullptr, "Realm", realms, nullptr, kNetQueryAttempts, kNetQueryTimeLimit) &&
        !realms.empty()) {
        m_data["server_address"] = realms.front();
        m_data["check_address_fail"] = false;
        SetSuccess(m_data);
        return;
    }
    DS_LOG(LOG_ERR, "%s:%d check server address %s fail", address.c_str());
    if (!isName) {
        SetError(kUnknownDomainError);
        return;
    }
    m_data["check_address_fail"] = true;
    SetSuccess(m_data);
}

void DomainCore::PrepareTestIP() {
    ErrorCode err = kNoError;
    std::vector<std::string> testIPs = GetTestIPs(err, nullptr);
    if (err == kNoError && testIPs.empty()) err = kNoDCAddress;
    if (err != kNoError) {
        SetError(kError, err == kNoDCAddress && IsJoinedDomain() ? kNoDCAddressJoined : err);
        return;
    }
    Json::Value resolved(Json::arrayValue);
    Json::Value unresolved(Json::arrayValue);
    for (const std::string& testIP : testIPs) {
        ErrorCode result = AppendAddressesOf(testIP, resolved);
        if (result == kDNSServerUnreachable) {
            SetError(kError, kDNSServerUnreachable);
            return;
        }
        if (result == kNameNotResolved) {
            DS_LOG(LOG_ERR, "%s:%d Failed to resolve FQDN [%s].", testIP.c_str());
            unresolved.append(testIP);
        } else if (result != kNoError) {
            SetError(result);
            return;
        }
    }
    if (unresolved.empty()) {
        RemoveDuplicates(resolved);
        m_data["test_ip"] = resolved;
        SetSuccess(m_data);
        return;
    }
    m_data["info"]["unresolved_fqdn"] = unresolved;
    if (unresolved.size() >= 2) m_data["info"]["isPlural"] = true;
    SetError(kError, kTestAddressNotResolved);
}
