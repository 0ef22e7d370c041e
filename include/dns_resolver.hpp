// Asks a DNS server for the values of a name and record type through the system's nslookup.
#pragma once

#include <json/value.h>

#include <string>

#include "error_code.hpp"

// Record types, compared byte for byte.
inline const std::string kRecordTypeA = "a";
inline const std::string kRecordTypeAAAA = "aaaa";
inline const std::string kRecordTypeNS = "ns";
inline const std::string kRecordTypeSRV = "srv";

class DnsResolver {
  public:
    // Empty DNS server: the system's first configured server. Of a comma-separated list only the
    // first entry is used.
    void SetDNS(const std::string& dns) { m_dns = dns; }
    void SetDomainName(const std::string& domainName) { m_domainName = domainName; }
    void SetRecordType(const std::string& recordType) { m_recordType = recordType; }

    // True when the DNS server answers on TCP port 53; the DNS server is then the one probed.
    bool IsDNSAlive();
    // Appends one string per answer value, in the tool's order.
    ErrorCode ResolveRecord(Json::Value& output);

  private:
    std::string m_dns;
    std::string m_domainName;
    std::string m_recordType;
};
