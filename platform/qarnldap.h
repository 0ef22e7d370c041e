// Platform LDAP client.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* Non-zero when the server's name service is bound to an LDAP server. */
int QARNLDAPIsBinded(void);

#ifdef __cplusplus
}
#endif
