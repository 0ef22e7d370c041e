// Base of the handlers that need the DNS view of a directory domain: the joined status, record
// look-ups, the domain controllers' SRV records and the addresses of their targets.
#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>
#include <vector>

#include "abstract_check_handler.hpp"

// SRV types and the parts of the SRV names.
inline const std::string kSRVTypeLDAP = "ldap";
inline const std::string kSRVTypeKerberos = "kerberos";
inline const std::string kSRVServiceLDAP = "_ldap.";
inline const std::string kSRVServiceKerberos = "_kerberos.";
inline const std::string kSRVProtocolTCP = "_tcp.";
inline const std::string kSRVDomainControllers = "dc._msdcs.";
inline const std::string kSRVSitesSuffix = "._sites.";
inline const std::string kSRVDefaultSite = "Default-First-Site-Name._sites.";

class CommonCore : public AbstractCheckHandler {
  public:
    enum EJoinStatus : int32_t {
        kJoinStatusUnknown = 0,
        kNotJoined = 1,
        kLDAPBound = 2,
        kADSJoined = 3,
        kDomainJoined = 4,
        kADServer = 5,
    };

    CommonCore(QARN::APIRequest* request, QARN::APIResponse* response);

    static bool IsIP(const std::string& text);
    // True when every element is an address, also for an empty list.
    static bool IsIP(const std::vector<std::string>& texts);
    // Appends an address as it is, and the IPv4 addresses of a name as the system's DNS resolves
    // them; the code of the look-up.
    static ErrorCode AppendAddressesOf(const std::string& entry, Json::Value& addresses);

    EJoinStatus GetJoinedStatus();
    // Anything but kNotJoined; an LDAP binding counts.
    bool IsJoined();

    // Appends the values of one look-up; a failure gets the code of the record type.
    ErrorCode GetRecordResult(const std::string& recordType, const std::string& domainName,
                              const std::string& dns, Json::Value& output);
    // The site suffix of the domain, always ending in "._sites.".
    std::string GetServerSiteName(const std::string& domainName, const std::string& dns);
    std::vector<std::string> GetSRVRecordList(const std::string& service,
                                              const std::string& domainName,
                                              const std::string& dns);
    // Fills output[SRV type] with the targets; on missing names output becomes their list.
    ErrorCode GetSRVResults(const std::string& srvType, const std::string& domainName,
                            const std::string& dns, Json::Value& output);
    // Sets output["resolve"] (distinct addresses) and output["unresolve_srv_target"] (upper case).
    void GetTargetIP(const std::string& dns, const Json::Value& targets, Json::Value& output);

  protected:
    EJoinStatus m_joinedStatus = kJoinStatusUnknown;
    std::string m_serverSiteName;

  private:
    EJoinStatus ReadJoinedStatus();
    // Look-ups of one SRV service; names without records go to missing.
    ErrorCode ResolveSRVNames(const std::string& srvType, const std::string& domainName,
                              const std::string& dns, Json::Value& output, Json::Value& missing);
};
