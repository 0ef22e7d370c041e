#include "common_dns.hpp"

#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "dns_resolver.hpp"
#include "log.hpp"
#include "port_checker.hpp"
#include "qarn.h"
#include "system_paths.hpp"
#include "tool_output.hpp"
#include "util.hpp"

namespace {

const char kRecordTypeAddress[] = "address";
const int kDNSListCapacity = 1024;

bool PushAll(QLIBC_SZLIST** list, const std::vector<std::string>& entries) {
    for (const std::string& entry : entries) {
        if (QLIBCSzListPush(list, entry.c_str()) < 0) return false;
    }
    return true;
}

bool Contains(const Json::Value& array, const std::string& text) {
    for (const Json::Value& element : array) {
        if (element.asString() == text) return true;
    }
    return false;
}

bool KeepPiece(std::string& piece) {
    return !piece.empty();
}

}  // namespace

CommonDnsHandler::CommonDnsHandler(QARN::APIRequest* request, QARN::APIResponse* response)
    : CommonCore(request, response) {}

bool CommonDnsHandler::IsRecordTypeValid(const std::string& recordType) {
    static const std::set<std::string> valid = {kRecordTypeA, kRecordTypeAAAA, kRecordTypeNS,
                                                kRecordTypeSRV, kRecordTypeAddress};
    return valid.count(recordType) != 0;
}

bool CommonDnsHandler::AnsweredForAddress(const std::string& serverAddress,
                                          const std::string& dnsList, int priority,
                                          std::string* dns) {
    if (IsIP(serverAddress)) {
        SetSuccess(Json::Value());
        return true;
    }
    if (!FirstDNSServer(dnsList, priority, dns)) {
        SetError(kBadParameter);
        return true;
    }
    return false;
}

bool CommonDnsHandler::FirstDNSServer(const std::string& dnsList, int priority, std::string* dns) {
    const std::vector<std::string> servers = SplitString(dnsList, ',', nullptr);
    if (servers.empty() || !IsIP(servers)) {
        DS_LOG(priority, "%s:%d DNS format is bad");
        return false;
    }
    *dns = servers.front();
    return true;
}

void CommonDnsHandler::TestDNSValid() {
    const std::string serverAddress = m_request->GetParam("server_address", "").asString();
    const std::string dnsList = m_request->GetParam("dns", "").asString();
    if (serverAddress.empty() || dnsList.empty()) {
        DS_LOG(LOG_DEBUG, "%s:%d DNS or host is not given");
        SetError(kBadParameter);
        return;
    }
    std::string dns;
    if (AnsweredForAddress(serverAddress, dnsList, LOG_DEBUG, &dns)) return;
    m_data["info"]["dns"] = dns;
    m_data["info"]["domain_name"] = serverAddress;
    const int probe = PortChecker(dns, kDNSPort).Scan();
    if (probe < 0) {
        SetError(kInternalStepFailed);
        return;
    }
    if (probe > 0) {
        DS_LOG(LOG_DEBUG, "%s:%d DNS tcp port is unreachable");
    } else if (QLIBCExec(kNslookupTool, serverAddress.c_str(), dns.c_str(), nullptr, nullptr) ==
               0) {
        SetSuccess(Json::Value());
        return;
    } else {
        DS_LOG(LOG_DEBUG, "%s:%d Cannot resolve host");
    }
    SetError(kError, IsJoined() ? kNameNotResolvedJoined : kNameNotResolved);
}

void CommonDnsHandler::TestDNSRecord() {
    const std::string dnsList = m_request->GetParam("dns", "").asString();
    const std::string serverAddress = m_request->GetParam("server_address", "").asString();
    const std::string recordType = m_request->GetParam("record_type", "").asString();
    if (dnsList.empty() || serverAddress.empty() || recordType.empty()) {
        DS_LOG(LOG_ERR, "%s:%d DNS or host or record is not given");
        SetError(kBadParameter);
        return;
    }
    std::string dns;
    if (AnsweredForAddress(serverAddress, dnsList, LOG_ERR, &dns)) return;
    if (!IsRecordTypeValid(recordType)) {
        DS_LOG(LOG_ERR, "%s:%d Wrong record type");
        SetError(kBadParameter);
        return;
    }
    Json::Value result(Json::objectValue);
    const ErrorCode code = LookUpRecord(recordType, serverAddress, dns, result);
    if (code == kNoError) {
        SetSuccess(result);
        return;
    }
    DS_LOG(LOG_DEBUG, "%s:%d Resolve %s record failed", recordType.c_str());
    m_data["info"]["dns"] = dns;
    m_data["info"]["domain_name"] = serverAddress;
    if (recordType == kRecordTypeSRV) m_data["info"]["absent_srv_record"] = result[kRecordTypeSRV];
    SetError(kError, code);
}

ErrorCode CommonDnsHandler::LookUpRecord(const std::string& recordType,
                                         const std::string& domainName, const std::string& dns,
                                         Json::Value& result) {
    Json::Value& values = result[recordType];
    if (recordType == kRecordTypeSRV) return GetSRVResults("", domainName, dns, values);
    if (recordType != kRecordTypeAddress) {
        return GetRecordResult(recordType, domainName, dns, values);
    }
    if (GetRecordResult(kRecordTypeA, domainName, dns, values) == kNoError ||
        GetRecordResult(kRecordTypeAAAA, domainName, dns, values) == kNoError) {
        return kNoError;
    }
    return kNoAddressRecord;
}

void CommonDnsHandler::TestSRVTarget() {
    const std::string dnsList = m_request->GetParam("dns", "").asString();
    const Json::Value srv = m_request->GetParam("srv", Json::Value());
    if (srv.empty() || dnsList.empty()) {
        SetError(kBadParameter);
        return;
    }
    std::string dns;
    if (!FirstDNSServer(dnsList, LOG_DEBUG, &dns)) {
        SetError(kBadParameter);
        return;
    }
    Json::ArrayIndex resolvedCount = 0;
    for (const std::string& srvType : {kSRVTypeKerberos, kSRVTypeLDAP}) {
        if (!srv.isObject() || !srv.isMember(srvType)) {
            SetError(kBadParameter);
            return;
        }
        Json::Value targets;
        GetTargetIP(dns, srv[srvType], targets);
        m_data["srv_target_ip"][srvType] = targets["resolve"];
        m_data["info"]["unresolve_srv_target"] = ConcatJsonArray(
            targets["unresolve_srv_target"], m_data["info"]["unresolve_srv_target"]);
        resolvedCount += m_data["srv_target_ip"][srvType].size();
    }
    Json::Value& unresolved = m_data["info"]["unresolve_srv_target"];
    if (unresolved.empty()) {
        m_data.removeMember("info");
        SetSuccess(m_data);
        return;
    }
    m_data["info"]["dns"] = dns;
    m_data["data"]["srv_target_ip"] = m_data["srv_target_ip"];
    m_data.removeMember("srv_target_ip");
    RemoveDuplicates(m_data["info"]["unresolve_srv_target"]);
    SetError(resolvedCount > 0 ? kWarning : kError, kSRVTargetNotResolved);
}

void CommonDnsHandler::TestSRVTargetPost() {
    std::ifstream smbConf(kSmbConfFile);
    if (!m_request->HasParam("srv")) {
        DS_LOG(LOG_DEBUG, "%s:%d Did not provide srv");
        SetError(kBadParameter);
        return;
    }
    if (!smbConf.is_open()) {
        DS_LOG(LOG_DEBUG, "%s:%d Failed to open smb.conf");
        SetError(kSMBConfUnreadable);
        return;
    }
    KeyValueMap settings = FileLoadKeyValues(smbConf);
    const std::string realm = settings["realm"];
    const std::vector<std::string> dcs = SplitString(settings["password server"], ',', nullptr);

    Json::Value kdcs;
    Json::Value ldaps;
    if (NetLookupServers(realm, kdcs, ldaps)) {
        DS_LOG(LOG_DEBUG, "%s:%d Successfully looked up kerberos and ldap server lookup via samba");
        AnswerTargetIPs(kdcs, ldaps);
        return;
    }
    DS_LOG(LOG_DEBUG, "%s:%d net lookup failed");
    if (!ResolveTargetsWithSystemDNS(m_request->GetParam("srv", Json::Value()), kdcs, ldaps)) {
        SetError(kWarning, kSRVTargetNotResolved);
        return;
    }
    CollectBadDCs(dcs, kdcs, ldaps);
    if (!m_data["info"]["bad_DCs"].empty()) {
        DS_LOG(LOG_DEBUG,
               "%s:%d One or more DCs' IP/FQDN does not have both KDC/LDAP SRV record in DNS");
        SetError(kError, kDCSRVRecordMissing);
        return;
    }
    m_data = Json::Value();
    AnswerTargetIPs(kdcs, ldaps);
}

bool CommonDnsHandler::NetLookupServers(const std::string& realm, Json::Value& kdcs,
                                        Json::Value& ldaps) {
    int kdcStatus = -1;
    int ldapStatus = -1;
    const std::vector<std::string> kdcLines =
        ExecuteCmd(kNetTool, {"lookup", "kdc", realm}, &kdcStatus, 1, kQuickToolTimeLimit, "r");
    const std::vector<std::string> ldapLines =
        ExecuteCmd(kNetTool, {"lookup", "ldap", realm}, &ldapStatus, 1, kQuickToolTimeLimit, "r");
    if (kdcStatus != 0 || ldapStatus != 0) return false;
    kdcs = NetLookupAddresses(kdcLines);
    ldaps = NetLookupAddresses(ldapLines);
    return true;
}

bool CommonDnsHandler::ResolveTargetsWithSystemDNS(const Json::Value& srv, Json::Value& kdcs,
                                                   Json::Value& ldaps) {
    Json::Value unresolved(Json::arrayValue);
    for (const std::string& srvType : {kSRVTypeKerberos, kSRVTypeLDAP}) {
        const Json::Value targets =
            srv.isObject() ? srv.get(srvType, Json::Value()) : Json::Value();
        Json::Value result;
        GetTargetIP("", targets, result);
        (srvType == kSRVTypeKerberos ? kdcs : ldaps) = result["resolve"];
        unresolved = ConcatJsonArray(result["unresolve_srv_target"], unresolved);
    }
    if (unresolved.empty()) return true;
    RemoveDuplicates(unresolved);
    m_data["info"]["unresolve_srv_target"] = unresolved;
    return false;
}

void CommonDnsHandler::CollectBadDCs(const std::vector<std::string>& dcs, const Json::Value& kdcs,
                                     const Json::Value& ldaps) {
    for (std::string dc : dcs) {
        StripWhitespaces(dc);
        if (dc == "*") continue;
        DS_LOG(LOG_DEBUG, "%s:%d checking user-provided DC IP/FQDN: %s", dc.c_str());
        Json::Value addresses(Json::arrayValue);
        if (QARNNetGetAddrType(dc.c_str()) != 0) {
            addresses.append(dc);
        } else if (GetRecordResult("", dc, "", addresses) != kNoError || addresses.empty()) {
            DS_LOG(LOG_DEBUG, "%s:%d Failed to resolve DC FQDN's A/AAAA record(s)");
            m_data["info"]["bad_DCs"].append(dc);
            continue;
        }
        for (const Json::Value& address : addresses) {
            if (!Contains(kdcs, address.asString()) || !Contains(ldaps, address.asString())) {
                m_data["info"]["bad_DCs"].append(address);
            }
        }
    }
}

void CommonDnsHandler::AnswerTargetIPs(const Json::Value& kdcs, const Json::Value& ldaps) {
    // Both members are present, null when they receive no address.
    Json::Value& kerberos = m_data["srv_target_ip"][kSRVTypeKerberos];
    Json::Value& ldap = m_data["srv_target_ip"][kSRVTypeLDAP];
    Json::Value testIPs(Json::arrayValue);
    for (const Json::Value& address : kdcs) {
        kerberos.append(address);
        testIPs.append(address);
    }
    for (const Json::Value& address : ldaps) {
        ldap.append(address);
        testIPs.append(address);
    }
    RemoveDuplicates(testIPs);
    m_data["test_ip"] = testIPs;
    SetSuccess(m_data);
}

void CommonDnsHandler::SetDNS() {
    const std::string dnsList = m_request->GetParam("dns", "").asString();
    if (dnsList.empty()) {
        SetError(kBadParameter);
        return;
    }
    QLIBC_SZLIST* servers = QLIBCSzListAlloc(kDNSListCapacity);
    if (servers == nullptr) {
        DS_LOG(LOG_ERR, "%s:%d Cannot alloc memory");
        SetError(kInternalStepFailed);
        return;
    }
    const bool written =
        PushAll(&servers, SplitString(dnsList, ',', KeepPiece)) && QARNNetDNSListSet(servers) >= 0;
    QLIBCSzListFree(servers);
    if (written) {
        SetSuccess(Json::Value());
    } else {
        SetError(kInternalStepFailed);
    }
}
