// The common network checks: check stages and last test, TCP ports, MTU, address conflicts.
#pragma once

#include <string>
#include <vector>

#include "common.hpp"

class PortChecker;

class CommonCheckHandler : public CommonCore {
  public:
    CommonCheckHandler(QARN::APIRequest* request, QARN::APIResponse* response);

    // One of "domain_pretest", "domain_posttest", "ldap_pretest", "ldap_posttest".
    static bool IsValidTestType(const std::string& type);

    void GetStages();
    void GetLastTest();
    void SetLastTest();

    void TestPort();
    void TestPortByDomain();
    void CheckPortByMultiHost(const Json::Value& hosts, int port);
    // Reports the error of the port's service with severity; kind "domain" or "default".
    void CheckPortError(ErrorSeverity severity, int port, const std::string& kind);

    void TestMTU();

    void TestNasIPConflict();
    void TestIPConflict();
    void TestHostnameConflict();
    ErrorCode GetDefaultInterface(std::string& interfaceName);
    ErrorCode GetDefaultInterfaceIP(std::string& address);
    // 0, 502, or 1022 with the targets that several hardware addresses answer for in conflicts.
    ErrorCode CheckIPConflict(const Json::Value& targets, Json::Value& conflicts);

  private:
    // "test_ip": one address as text in version 1, an array of addresses otherwise; false
    // (answered with 501) when there is no target.
    bool ReadTargetIPs(Json::Value* targets);
    // Scans the checker's host on port, then on the other LDAP port; the last scan's result.
    int ScanWithLDAPFallback(PortChecker& checker, int port);
    // The first line the conflict tool prints; false when it cannot be run or prints nothing.
    static bool ReadHostConflictLine(const std::string& serverAddress, std::string* line);
};
