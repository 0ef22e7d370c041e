// The system's paths, ports and tool limits that the checks share, named once.
#pragma once

// Tools the checks run.
inline constexpr char kNetTool[] = "/usr/local/bin/net";
inline constexpr char kWbinfoTool[] = "/usr/local/bin/wbinfo";
inline constexpr char kSmbclientTool[] = "/usr/local/bin/smbclient";
inline constexpr char kTdbTool[] = "/usr/local/bin/tdbtool";
inline constexpr char kNslookupTool[] = "/usr/bin/nslookup";
inline constexpr char kKlistTool[] = "/usr/bin/klist";
inline constexpr char kTimeoutTool[] = "/usr/bin/timeout";
inline constexpr char kPingTool[] = "/bin/ping";
inline constexpr char kPsTool[] = "/bin/ps";
inline constexpr char kArpingTool[] = "/sbin/arping";
inline constexpr char kQarnwinTool[] = "/usr/qarn/sbin/qarnwin";
inline constexpr char kSyncDCTimeTool[] = "/usr/qarn/sbin/qarnsyncdctime";

// Configuration the checks read or write.
inline constexpr char kSmbConfFile[] = "/etc/samba/smb.conf";
inline constexpr char kSmbJoinConfFile[] = "/etc/samba/smb.join.conf";
inline constexpr char kADServerConfFile[] = "/etc/samba/qarnadserver.conf";
inline constexpr char kKrb5ConfFile[] = "/etc/krb5.conf";
inline constexpr char kLDAPConfFile[] = "/usr/qarn/etc/openldap/ldap.conf";
inline constexpr char kLDAPConfDefaultsFile[] = "/usr/qarn/etc.defaults/openldap/ldap.conf";
inline constexpr char kCheckListDirectory[] = "/usr/qarn/etc.defaults/directory/checklist/";
inline constexpr char kLastTestFile[] = "/usr/qarn/etc/directory/last_test";
inline constexpr char kWorkgroupFile[] = "/usr/qarn/etc/private/workgroup";
inline constexpr char kKdcIPFile[] = "/usr/qarn/etc/private/kdc_ip";
inline constexpr char kLastJoinInfoFile[] = "/usr/qarn/etc/private/last_join_info";
inline constexpr char kRootCredentialCache[] = "/tmp/krb5cc_0";
inline constexpr char kTrustDomainInfoFile[] = "/usr/qarn/etc/private/trust_domain_info";

// The Samba service units, and the caches winbind keeps.
inline constexpr char kSmbdService[] = "pkg-qarnsamba-smbd";
inline constexpr char kNmbdService[] = "pkg-qarnsamba-nmbd";
inline constexpr char kWinbindService[] = "pkg-qarnsamba-winbindd";
inline constexpr char kWinbindCacheFile[] = "/var/lib/samba/winbindd_cache.tdb";
inline constexpr char kNetSamLogonCacheFile[] = "/var/cache/samba/netsamlogon_cache.tdb";

// The host's run history.
inline constexpr char kHistoryDirectory[] = "/var/lib/dscheck";

// The module's own files in /tmp.
inline constexpr char kProgressFile[] = "/tmp/dir_service_check_progress.json";
inline constexpr char kLDAPCachePrefix[] = "/tmp/LDAP_result_";
inline constexpr char kPolicyFile[] = "/tmp/GptTmpl.inf";

// Modes of the files the module writes: the LDAP caches hold NT password hashes.
inline constexpr unsigned kPublicFileMode = 0644;
inline constexpr unsigned kSecretFileMode = 0600;

// gethostname buffer of the checks.
inline constexpr int kHostNameSize = 64;

// Ports of the directory services.
inline constexpr int kDNSPort = 53;
inline constexpr int kKerberosPort = 88;
inline constexpr int kNetBIOSPort = 137;
inline constexpr int kLDAPPort = 389;
inline constexpr int kSMBPort = 445;
inline constexpr int kLDAPSPort = 636;

// Attempts and time limits (seconds) of the tool runs.
inline constexpr int kQuickToolTimeLimit = 10;  // ping, arping, nslookup, ps, net lookup
inline constexpr int kNetQueryAttempts = 3;     // net ads info/lookup/search, klist
inline constexpr int kNetQueryTimeLimit = 15;
inline constexpr int kKerberosTimeLimit = 30;  // net ads kerberos kinit, kinit, net ads auth
inline constexpr int kSmbclientTimeLimit = 30;
inline constexpr int kJoinTimeLimit = 30;           // net ads join
inline constexpr int kWinbindAttempts = 3;          // wbinfo, with repairs between attempts
inline constexpr int kWinbindTimeLimit = 5;         // wbinfo -p, -P, -e
inline constexpr int kWinbindLookupTimeLimit = 15;  // wbinfo -i
inline constexpr int kWinbindRepairPause = 2;
