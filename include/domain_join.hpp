// Joining an Active Directory domain: the join configuration, the join with Kerberos or NTLM,
// the switch-over of the server's SMB configuration and services, and the domain's SMB signing
// policy.
#pragma once

#include "domain.hpp"
#include "qlibc.h"

// Join tool messages, matched on lines holding "Failed to join domain"; the closing row's 1124
// names a failure no other row names.
extern const MessageEntry kJoinMessageTable[];

class DomainJoinHandler : public DomainCore {
  public:
    DomainJoinHandler(QARN::APIRequest* request, QARN::APIResponse* response);

    // API methods "init_pre_join", "gen_join_conf", "record_smb_gpo", "join_domain" and
    // "set_join_env".
    void InitPreCheck();
    void SMBJoinConfGen();
    void RecordSmbGPO();
    void JoinDomain();
    void JoinDomainPostAction();

    // Writes "/etc/samba/smb.join.conf", unless it exists and force is false.
    bool GenJoinConf(bool force);
    // One run of "net ads join" with the current authentication method; true when it joined.
    bool RunJoin(ErrorCode& err, int unused);
    // The [global] section of smb.conf set for the joined domain.
    bool UpdateJoinSmbConf();
    bool StartStopSambaByReason(bool start);

  private:
    bool WriteJoinConf();
    void SetJoinGlobals(QLIBC_SZHASH* global);
    bool WriteGlobalsLocked(const QLIBC_SZHASH* global);
    // The "-S" server of the join: "rwdc_fqdn_name", as a host name with Kerberos.
    std::string JoinServer(const std::string& requested);
    // 502 when a step of the switch-over failed, else 0.
    ErrorCode SwitchOver(const std::string& user, const std::string& password);
    void AddAdminGroup();
};
