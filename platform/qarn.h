// Platform services: network settings, domain membership, users and services.
#pragma once

#include "qlibc.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Network. 0 on success unless stated. */
/* The configured DNS servers, comma-separated, cut to fit size. */
int QARNNetDNSGet(char* buffer, int size);
/* Replaces the configured DNS servers with the list's entries, in order. */
int QARNNetDNSListSet(const QLIBC_SZLIST* servers);
int QARNNetDefaultGatewayInterfaceGet(char* buffer, int size);
/* Above 0 with the interface's IPv4 address in buffer. */
int QARNILnxGetIP(const char* interfaceName, char* buffer, int size);
/* Above 0: the interface's MTU. */
int QARNGetMTUSetting(const char* interfaceName);
/* 0 no address, 2 IPv4, 10 IPv6. */
int QARNNetGetAddrType(const char* text);

/* Domain membership. */
int QARNWinsIsJoined(void);
int QARNWinsIsQarnADS(void);
/* 1 wrong password, negative on error, otherwise a ticket is in the default cache. */
int QARNWinsKinit(const char* principal, const char* password);
/* Looks up the domain's controller; writes the KDC address and workgroup files. 0 on failure. */
int QARNWinsLookupLDAP(const char* realm);
/* 1 with the KDC address from the KDC address file in buffer. */
int QARNWinsGetKDCIP(char* buffer, int size);
/* 0 with the NetBIOS domain name served by the controller at kdcAddress. */
int QARNWinsWorkgroup(char* buffer, int size, const char* kdcAddress);
/* The joined domain's workgroup; negative on failure. */
int QARNWorkgroupGet(char* buffer, int size);

/* Steps after a join. */
int QARNWinsStopDomainUpdating(void);
int QARNWinsSetDomainNsswitch(int enable);
int QARNWinsSetDomainConfig(int enable);
int QARNWinsSetAuthUser(int flags, const char* user, const char* password);
int QARNWinSetTrustDomain(int enable);
int QARNWinsDomainAddAdminGroup(void);
int QARNWinsJoinPlugin(const char* a, const char* b, int c, int d);
int QARNSMBConfGlobalGet(QLIBC_SZHASH* global);
int QARNSMBConfGlobalSet(const QLIBC_SZHASH* global);
int QARNLogSet1(int level, int category, unsigned int eventId, const char* a1, const char* a2,
                const char* a3, const char* a4);

/* Users. */
typedef struct QARN_USER {
    char* name;
    unsigned int uid;
    unsigned int gid;
    char* home;
    char* shell;
} QARN_USER;
/* 0 or more when name resolves through the name service; *user is then to be freed. */
int QARNUserGet(const char* name, QARN_USER** user);
void QARNUserFree(QARN_USER* user);

/* Services. */
int QARNSystemdEnableStatusGet(const char* service);
int QARNSystemdRestart(const char* service);
int QARNSystemdReload(const char* service);
/* Start or stop each listed service; the names of failed ones are pushed onto failed. */
int QARNSystemdServiceStartByReason(const char* reason, const QLIBC_SZLIST* services,
                                    QLIBC_SZLIST** failed);
int QARNSystemdServiceStopByReason(const char* reason, const QLIBC_SZLIST* services,
                                   QLIBC_SZLIST** failed);

#ifdef __cplusplus
}
#endif
