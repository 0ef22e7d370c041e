// The DNS checks: servers reachable, records published, SRV targets resolving, DNS setting.
#pragma once

#include <string>

#include "common.hpp"

class CommonDnsHandler : public CommonCore {
  public:
    CommonDnsHandler(QARN::APIRequest* request, QARN::APIResponse* response);

    // "a", "aaaa", "ns", "srv" or "address"; case-sensitive.
    static bool IsRecordTypeValid(const std::string& recordType);

    void TestDNSValid();
    void TestDNSRecord();
    void TestSRVTarget();
    void TestSRVTargetPost();
    void SetDNS();

  private:
    // The first server of a comma-separated list of addresses; false (logged at priority) when
    // any entry is not an address.
    static bool FirstDNSServer(const std::string& dnsList, int priority, std::string* dns);
    // An address needs no look-up and answers success; a bad DNS list answers 501. True when
    // answered, else dns is the server to ask.
    bool AnsweredForAddress(const std::string& serverAddress, const std::string& dnsList,
                            int priority, std::string* dns);
    ErrorCode LookUpRecord(const std::string& recordType, const std::string& domainName,
                           const std::string& dns, Json::Value& result);
    // The Samba look-ups of the realm's KDCs and LDAP servers; false when either fails.
    bool NetLookupServers(const std::string& realm, Json::Value& kdcs, Json::Value& ldaps);
    // Resolves the SRV targets with the system's DNS; false when some target does not resolve.
    bool ResolveTargetsWithSystemDNS(const Json::Value& srv, Json::Value& kdcs, Json::Value& ldaps);
    // Appends to "info"."bad_DCs" the configured DCs that are not announced as KDC and LDAP.
    void CollectBadDCs(const std::vector<std::string>& dcs, const Json::Value& kdcs,
                       const Json::Value& ldaps);
    // Answers {"srv_target_ip": {"kerberos": kdcs, "ldap": ldaps}, "test_ip": distinct both}.
    void AnswerTargetIPs(const Json::Value& kdcs, const Json::Value& ldaps);
};
