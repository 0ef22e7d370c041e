// The checks of the domain's services before a join: Kerberos state and ticket, the clock, SMB and
// network logons, read-only controllers and the computer account.
#pragma once

#include "domain.hpp"

class DomainServiceHandler : public DomainCore {
  public:
    DomainServiceHandler(QARN::APIRequest* request, QARN::APIResponse* response);

    void InitPreCheck();
    void SyncDCTime();
    void Krb5Check();
};
