// Platform LDAP client library: connection, bind, server-type probe, streamed searches and the
// LDAP client configuration file. Realised on OpenLDAP's libldap (library target qarnldap).
//
// Conventions (as in qlibc.h): a negative result means failure unless stated; the reason of a
// failure is recorded in the calling thread's last-error record (QLIBCErrSetEx), to be read with
// QLIBCErrGet / QLIBCErrorGetFile / QLIBCErrorGetLine. Every function is safe to call from
// several threads on distinct records. No call raises SIGPIPE in the caller's process (a write to
// a connection the server closed is an error like any other). TLS contexts are built once per
// distinct TLS setting and shared by the connections with that setting.
//
// LDAP result codes are reported as LDAP numbers them: the protocol's result codes of RFC 4511
// (0 success, 4 sizeLimitExceeded, 13 confidentialityRequired, 32 noSuchObject, 49
// invalidCredentials, 50 insufficientAccessRights, 53 unwillingToPerform, ...) and, for failures
// the client detects itself, the numbers of the LDAP C API (81 server down / cannot contact the
// server, 82 local error, 85 timeout, 87 filter error, 89 parameter error, 90 no memory,
// 91 connect error, e.g. a failed TLS handshake, ...). libldap's negative codes -1..-17 are
// translated to these (81..97).
#pragma once

#include "qlibc.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The platform's LDAP client configuration ("KEY value" lines, as ldap.conf(5)) and its
 * defaults. The library reads the first for every connection; it never lets libldap read it. */
#define QARN_LDAP_CONF_PATH "/usr/qarn/etc/openldap/ldap.conf"
#define QARN_LDAP_CONF_DEFAULTS_PATH "/usr/qarn/etc.defaults/openldap/ldap.conf"
/* While this file exists, QARNLDAPDebugEnabled() is non-zero. */
#define QARN_LDAP_DEBUG_FLAG_PATH "/usr/qarn/etc/openldap/ldap.debug"

/* TLS types (QARNLDAPSSLToType, QARN_LDAP_CONN.tlsType). */
#define QARN_LDAP_TLS_INVALID (-1) /* unknown mode name: connecting fails */
#define QARN_LDAP_TLS_NONE 0       /* "no": plain LDAP, port 389 */
#define QARN_LDAP_TLS_SSL 1        /* "yes" (also "ssl"): LDAPS, TLS from the start, port 636 */
#define QARN_LDAP_TLS_START_TLS 2  /* "start_tls": plain LDAP then StartTLS, port 389 */

/* Server types (QARN_LDAP_CONN.serverType, QARNLDAPBrowserCheckServerType). */
#define QARN_LDAP_SERVER_UNKNOWN (-1) /* not determined (the caller's initial value) */
#define QARN_LDAP_SERVER_GENERIC 0    /* an LDAPv3 server of no kind known here */
/* This platform's own LDAP server (the platform's directory server, an OpenLDAP): it carries
 * the platform's local accounts, "uid=admin,cn=users,BASE" and the group
 * "cn=administrators,cn=groups,BASE" (users under cn=users, groups under cn=groups), so the
 * names "admin", "users" and "administrators" there are the same accounts as the local ones. */
#define QARN_LDAP_SERVER_QARN 1
#define QARN_LDAP_SERVER_AD 2       /* Microsoft Active Directory or a Samba AD DC */
#define QARN_LDAP_SERVER_OPENLDAP 3 /* any other OpenLDAP slapd */
#define QARN_LDAP_SERVER_389DS 4    /* 389 Directory Server / Red Hat Directory Server */

/* Values of QLIBCErrSetEx codes recorded by this library. */
#define QARN_LDAP_ERR_PARAM 0x2A01   /* a null record or a missing server / base DN */
#define QARN_LDAP_ERR_NOMEM 0x2A02   /* out of memory */
#define QARN_LDAP_ERR_INIT 0x2A03    /* libldap refused the server address or an option */
#define QARN_LDAP_ERR_TLS 0x2A04     /* bad TLS type or TLS settings; StartTLS failed */
#define QARN_LDAP_ERR_CONNECT 0x2A05 /* the server could not be reached */
#define QARN_LDAP_ERR_BIND 0x2A06    /* the bind was refused (see the result status) */
#define QARN_LDAP_ERR_SEARCH 0x2A07  /* the search could not be started or ended in error */
#define QARN_LDAP_ERR_CONF 0x2A08    /* the configuration file cannot be read or written */
#define QARN_LDAP_ERR_PROBE 0x2A09   /* the server type could not be determined */

/* Connection record. The strings are the caller's and must outlive every call that uses the
 * record; the library copies nothing into them. */
typedef struct QARN_LDAP_CONN {
    /* Server: a host name, an IPv4 address, an IPv6 address (with or without brackets), any of
     * them optionally followed by ":port" (IPv6 only in brackets: "[fd00::5]:1389"), or an
     * ldap:// / ldaps:// URI. Without a port the TLS type's default port is used. */
    const char* szServer;
    const char* szBaseDN; /* search base */
    const char* szBindDN; /* simple-bind name; null or "" binds anonymously */
    const char* szBindPW; /* simple-bind password */
    int serverType;       /* QARN_LDAP_SERVER_*; set -1 before the probe */
    int tlsType;          /* QARN_LDAP_TLS_* as QARNLDAPSSLToType returns it */
} QARN_LDAP_CONN;

/* Search request. */
typedef struct QARN_LDAP_SEARCH_REQ {
    /* Filter text (the caller's; may lack the outer parentheses); null or "" means
     * "(objectClass=*)". */
    const char* szFilter;
    /* Attributes to return, in order. "dn" is not sent (every block carries the entry's DN);
     * an empty or null list returns all user attributes; a list holding only "dn" returns
     * none. Allocated by QARNLDAPSearchRequestInit(req, 1), freed by QARNLDAPSearchFree. */
    QLIBC_SZLIST* pAttrs;
    /* Non-zero: ask for one entry only (size limit 1, no paging). A server that has more
     * entries then ends the search with result 4 (size limit exceeded). */
    int oneEntry;
    /* Entries per page of the paged-results control (RFC 2696); 0 means 1000. */
    int pageSize;
    /* The library's search state; null until QARNLDAPSearchInit. */
    void* pPriv;
} QARN_LDAP_SEARCH_REQ;

/* Search result: the current block of key/value pairs and the search's status. */
typedef struct QARN_LDAP_SEARCH_RESULT {
    /* Keys and values of the current block, pair i = (key i, value i). A block is one entry:
     * its first pair is ("dn", the entry's DN), then one pair per attribute value, in the
     * server's order; a multi-valued attribute gives one pair per value. An attribute whose
     * name matches a requested one ignoring case carries the requested spelling. A value that
     * is not valid UTF-8 text, or holds a NUL byte, is given base64-encoded (as LDIF does). */
    QLIBC_SZLIST* pKeys;
    QLIBC_SZLIST* pValues;
    /* LDAP result code (see the top of this file) of the first failing step: connection,
     * StartTLS, bind or search; 0 when the search completed. Valid after QARNLDAPSearchInit
     * and after QARNLDAPSearchGetNext ended the reading. */
    int status;
    /* Number of entries delivered so far. */
    int entryCount;
} QARN_LDAP_SEARCH_RESULT;

/* TLS type of a mode name: "no" / "none" / "off" → 0; "yes" / "ssl" / "ldaps" → 1 (LDAPS);
 * "start_tls" / "starttls" / "tls" → 2. Case is ignored. Any other text (null included) → -1. */
int QARNLDAPSSLToType(const char* mode);

/* Zeroes the request and, when allocAttrList is non-zero, gives it an empty attribute list.
 * 0 on success, -1 on failure (null request, out of memory). */
int QARNLDAPSearchRequestInit(QARN_LDAP_SEARCH_REQ* req, int allocAttrList);

/* Determines the kind of server (QARN_LDAP_SERVER_*) and stores it in conn->serverType.
 * Connects with the record's TLS type, reads the root DSE anonymously (binding with the
 * record's credentials when the server refuses anonymous reads), and for an OpenLDAP server
 * looks for the platform's own layout (see QARN_LDAP_SERVER_QARN). 0 on success; negative,
 * with serverType left unchanged, when the server cannot be reached or its root DSE cannot be
 * read. */
int QARNLDAPBrowserCheckServerType(QARN_LDAP_CONN* conn);

/* Connects to conn's server with its TLS type and the settings of QARN_LDAP_CONF_PATH (the
 * client certificate TLS_CERT / TLS_KEY, TLS_CACERT, TLS_REQCERT, ...), binds with the bind DN
 * and password, and starts a subtree search under the base DN with req's filter and attributes
 * (paged, req->pageSize entries a page). res is cleared first (its lists emptied, status 0).
 *
 * Returns 0 when the library could act: the search runs, or the server answered a step with an
 * LDAP error (the connection, TLS, bind or search start failed): res->status then holds the
 * LDAP code (49 wrong password, 13 a protected connection is required, 81 server unreachable)
 * and QARNLDAPSearchGetNext delivers nothing. Returns negative when nothing could be tried: a
 * null or incomplete record, an unknown TLS type, an unreadable configuration, an address that
 * libldap refuses, out of memory; the reason is in the last-error record.
 * Every successful call (result 0) must be followed by QARNLDAPSearchFree. */
int QARNLDAPSearchInit(const QARN_LDAP_CONN* conn, QARN_LDAP_SEARCH_REQ* req,
                       QARN_LDAP_SEARCH_RESULT* res);

/* Reads the next entry into res's lists (replacing the previous block). Returns 1 when a block
 * was delivered, 0 when the search has ended (res->status tells how: 0 complete, 4 size limit
 * exceeded, 85 timed out, ...), negative on a bad argument. Only one page of entries is held
 * by the library at a time. */
int QARNLDAPSearchGetNext(QARN_LDAP_SEARCH_REQ* req, QARN_LDAP_SEARCH_RESULT* res);

/* Number of key/value pairs in the current block (0 when there is none). */
int QARNLDAPResultGetAttrCount(const QARN_LDAP_SEARCH_RESULT* res);
/* Key / value of pair index of the current block; null when index is out of range. */
const char* QARNLDAPResultGetKey(const QARN_LDAP_SEARCH_RESULT* res, int index);
const char* QARNLDAPResultGetValue(const QARN_LDAP_SEARCH_RESULT* res, int index);

/* Ends the search (abandoning it when unfinished), closes the connection and frees the
 * request's attribute list and state and the result's lists. The records can be initialised
 * again afterwards. Safe on zeroed records and when called twice. */
void QARNLDAPSearchFree(QARN_LDAP_SEARCH_REQ* req, QARN_LDAP_SEARCH_RESULT* res);

/* Sets one key of an ldap.conf-style file (confPath), keeping every other line.
 * flag 0: the key gets value. flag 1: the key goes back to its default: the value it has in
 * defaultsPath, or, when the defaults have no such key, its line is removed (value is then
 * ignored). Keys compare ignoring case; a file that holds the key several times keeps the first
 * line, changed, and loses the others. A missing confPath starts from the defaults file's
 * content. The file is replaced atomically (a temporary file in the same directory, then
 * rename), with its permissions kept, and only when its content changes; writers are
 * serialised with a lock on the directory. 0 on success, negative on failure. */
int QARNLDAPConfSetOne(const char* confPath, const char* defaultsPath, const char* key,
                       const char* value, int flag);

/* Non-zero while the debug flag file QARN_LDAP_DEBUG_FLAG_PATH exists (looked at most once a
 * second). */
int QARNLDAPDebugEnabled(void);

/* 1 when this server is bound to an LDAP server as a client, that is, when the system's name
 * service takes users from LDAP: the "passwd" line of /etc/nsswitch.conf lists the source
 * "ldap" (nslcd / libnss-ldap(d)). 0 when it does not, or when the file is missing or cannot be
 * read. */
int QARNLDAPIsBinded(void);

#ifdef __cplusplus
}
#endif
