#include "common.hpp"

#include <boost/algorithm/string/case_conv.hpp>

#include <map>

#include "dns_resolver.hpp"
#include "log.hpp"
#include "qarn.h"
#include "qarnldap.h"
#include "system_paths.hpp"
#include "util.hpp"

namespace {

const char kServerSiteNameKey[] = "Server Site Name";
const int kSecurityValueSize = 16;
const int kSRVNamesPerService = 4;

}  // namespace

CommonCore::CommonCore(QARN::APIRequest* request, QARN::APIResponse* response)
    : AbstractCheckHandler(request, response) {}

bool CommonCore::IsIP(const std::string& text) {
    return QARNNetGetAddrType(text.c_str()) != 0;
}

bool CommonCore::IsIP(const std::vector<std::string>& texts) {
    for (const std::string& text : texts) {
        if (!IsIP(text)) return false;
    }
    return true;
}

ErrorCode CommonCore::AppendAddressesOf(const std::string& entry, Json::Value& addresses) {
    if (IsIP(entry)) {
        addresses.append(entry);
        return kNoError;
    }
    DnsResolver resolver;
    resolver.SetDNS("");
    resolver.SetDomainName(entry);
    resolver.SetRecordType(kRecordTypeA);
    return resolver.ResolveRecord(addresses);
}

CommonCore::EJoinStatus CommonCore::GetJoinedStatus() {
    if (m_joinedStatus == kJoinStatusUnknown) m_joinedStatus = ReadJoinedStatus();
    return m_joinedStatus;
}

CommonCore::EJoinStatus CommonCore::ReadJoinedStatus() {
    if (QARNWinsIsQarnADS() != 0) return kADServer;
    char security[kSecurityValueSize] = {};
    if (QLIBCFileGetKeyValue(kSmbConfFile, "security", security, kSecurityValueSize, 0) > 0) {
        const std::string value = security;
        if (value == "domain") return kDomainJoined;
        if (value == "ads") return kADSJoined;
    }
    return QARNLDAPIsBinded() != 0 ? kLDAPBound : kNotJoined;
}

bool CommonCore::IsJoined() {
    return GetJoinedStatus() != kNotJoined;
}

ErrorCode CommonCore::GetRecordResult(const std::string& recordType, const std::string& domainName,
                                      const std::string& dns, Json::Value& output) {
    const bool joined = IsJoined();
    const std::map<std::string, ErrorCode> failureCodes = {
        {kRecordTypeA, kNoARecord},
        {kRecordTypeAAAA, kNoAAAARecord},
        {kRecordTypeNS, joined ? kNoNSRecordJoined : kNoNSRecord},
        {kRecordTypeSRV, kNoSRVRecord},
        {"", kInternalStepFailed},
    };
    const auto failureCode = failureCodes.find(recordType);
    if (failureCode == failureCodes.end()) {
        DS_LOG(LOG_ERR, "%s:%d invalid record type: %s", recordType.c_str());
        return kBadParameter;
    }
    DnsResolver resolver;
    resolver.SetDNS(dns);
    resolver.SetDomainName(domainName);
    resolver.SetRecordType(recordType);
    return resolver.ResolveRecord(output) == kNoError ? kNoError : failureCode->second;
}

std::string CommonCore::GetServerSiteName(const std::string& domainName, const std::string& dns) {
    if (!m_serverSiteName.empty()) return m_serverSiteName + kSRVSitesSuffix;
    DnsResolver resolver;
    resolver.SetDNS(dns);
    resolver.SetDomainName(domainName);
    resolver.SetRecordType(kRecordTypeA);
    Json::Value addresses(Json::arrayValue);
    if (resolver.ResolveRecord(addresses) != kNoError) {
        DS_LOG(LOG_DEBUG, "%s:%d Failed to resolve domain [%s].", domainName.c_str());
        return kSRVDefaultSite;
    }
    for (const Json::Value& address : addresses) {
        std::vector<std::string> siteNames;
        const std::vector<std::string> argv = {kNetTool, "ads", "lookup", "-S", address.asString()};
        if (ExecuteCmdGetKeyValues(argv, nullptr, kServerSiteNameKey, siteNames, nullptr,
                                   kNetQueryAttempts, kNetQueryTimeLimit) &&
            !siteNames.empty()) {
            m_serverSiteName = siteNames.front();
            return m_serverSiteName + kSRVSitesSuffix;
        }
    }
    DS_LOG(LOG_ERR, "%s:%d Failed to get Server Site Name.");
    return kSRVDefaultSite;
}

std::vector<std::string> CommonCore::GetSRVRecordList(const std::string& service,
                                                      const std::string& domainName,
                                                      const std::string& dns) {
    const std::string site = GetServerSiteName(domainName, dns);
    const std::string prefix = service + kSRVProtocolTCP;
    return {
        prefix + domainName,
        prefix + site + domainName,
        prefix + kSRVDomainControllers + domainName,
        prefix + site + kSRVDomainControllers + domainName,
    };
}

ErrorCode CommonCore::GetSRVResults(const std::string& srvType, const std::string& domainName,
                                    const std::string& dns, Json::Value& output) {
    const std::vector<std::string> srvTypes =
        srvType.empty() ? std::vector<std::string>{kSRVTypeLDAP, kSRVTypeKerberos}
                        : std::vector<std::string>{srvType};
    Json::Value missing(Json::arrayValue);
    Json::ArrayIndex tried = 0;
    for (const std::string& type : srvTypes) {
        const ErrorCode code = ResolveSRVNames(type, domainName, dns, output, missing);
        if (code != kNoError) return code;
        tried += kSRVNamesPerService;
    }
    if (missing.empty()) return kNoError;
    output = missing;
    return missing.size() == tried ? kNoSRVRecord : kSomeSRVRecordsMissing;
}

ErrorCode CommonCore::ResolveSRVNames(const std::string& srvType, const std::string& domainName,
                                      const std::string& dns, Json::Value& output,
                                      Json::Value& missing) {
    const std::map<std::string, std::string> services = {
        {kSRVTypeLDAP, kSRVServiceLDAP},
        {kSRVTypeKerberos, kSRVServiceKerberos},
    };
    const auto service = services.find(srvType);
    if (service == services.end()) {
        DS_LOG(LOG_ERR, "%s:%d invalid srv type:%s", srvType.c_str());
        return kBadParameter;
    }
    Json::Value& targets = output[srvType];
    for (const std::string& name : GetSRVRecordList(service->second, domainName, dns)) {
        DnsResolver resolver;
        resolver.SetDNS(dns);
        resolver.SetDomainName(name);
        resolver.SetRecordType(kRecordTypeSRV);
        const ErrorCode code = resolver.ResolveRecord(targets);
        if (code == kNameNotResolved) {
            missing.append(name);
        } else if (code != kNoError) {
            return code;
        }
    }
    RemoveDuplicates(targets);
    return kNoError;
}

void CommonCore::GetTargetIP(const std::string& dns, const Json::Value& targets,
                             Json::Value& output) {
    Json::Value found(Json::arrayValue);
    Json::Value resolved(Json::arrayValue);
    Json::Value unresolved(Json::arrayValue);
    for (const Json::Value& target : targets) {
        const std::string name = target.asString();
        if (GetRecordResult("", name, dns, found) == kNoError) {
            resolved = ConcatJsonArray(found, resolved);
        } else {
            unresolved.append(boost::algorithm::to_upper_copy(name, std::locale()));
        }
    }
    RemoveDuplicates(resolved);
    output["unresolve_srv_target"] = unresolved;
    output["resolve"] = resolved;
}
