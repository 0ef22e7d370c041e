// Checks of a server joined to a Windows domain: winbind, the controller connection, the name
// service, the controllers' clocks, the computer object's principal names, conflicts and machine
// password, and the Samba settings a membership needs.
#pragma once

#include <string>
#include <vector>

#include "domain.hpp"

class DomainValidationHandler : public DomainCore {
  public:
    class SID;

    using DomainCore::DomainCore;

    // Answers success when the joined status is status, 1126 when the server is not joined to a
    // domain; true when it has answered.
    bool PostStatusSkip(EJoinStatus status);
    // Restarts the winbind service when it is enabled.
    void RestartWinbind();
    // Flushes Samba's cache and erases winbind's caches.
    void CleanWinbindCache();

    void CheckWinbindAlive();
    void CheckDCConnection();
    void CheckNSS();
    void CheckTimeSync();

    // The FQDNs of the trusted domains: from the trust file, else from winbind.
    std::vector<std::string> GetTrustedDomainFQDN();
    // "*" and the object's SID, "" when the search finds none. Leaves the filter set.
    std::string ObjectNameToSID(const std::string& name);

    void CheckEssentialSPN();
    void CheckDuplicateSPN();
    void CheckMachineConflict();
    void CheckMachinePassword();

    void CheckSMBConf();

  private:
    // Repairs between two winbind attempts; true when a further attempt follows.
    bool PrepareNextAttempt(int attempt, bool flushCaches);
    // The clock offset that "net ads info" reports for address; false when there is none.
    // The test addresses of the service's controllers, or false once it answered why there are
    // none.
    bool TestAddressesOrAnswer(const std::string& srvType, const char* serverKind,
                               std::vector<std::string>& addresses);
    bool QueryTimeOffset(const std::string& address, int& offset);
    // False after answering 502 when the host name cannot be read.
    void ReportMachinePasswordFailure(ErrorCode code);
    // Settings found wrong, in report order; false after answering 1103.
    bool CollectSMBConfFailures(const KeyValueMap& settings, std::vector<std::string>& failed);
};
