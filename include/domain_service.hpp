// The checks of the domain's services before a join: Kerberos state and ticket, the clock, SMB and
// network logons, read-only controllers and the computer account.
#pragma once

#include <string>
#include <vector>

#include "domain.hpp"

class DomainServiceHandler : public DomainCore {
  public:
    DomainServiceHandler(QARN::APIRequest* request, QARN::APIResponse* response);

    void InitPreCheck();
    void SyncDCTime();
    void Krb5Check();
    void SmbAuthCheckDC();
    void SmbAuthCheckLocalhost();
    void RODCCheck();
    void CheckComputerAccount();
    void NetAuthCheck();

  private:
    // Tries every method on the address; false when none succeeded.
    bool AuthenticateAddress(std::vector<std::string>& argv, const std::string& address);
    void ReportFailedAddresses(const std::vector<std::string>& failed, size_t tried);
};
