// Internals of the qarnldap library shared between its source files.
#pragma once

#include <ldap.h>
#include <string.h>
#include <syslog.h>

#include <map>
#include <string>

#include "qarnldap.h"

namespace qarnldap {

inline const char* BaseName(const char* path) {
    const char* slash = strrchr(path, '/');
    return slash ? slash + 1 : path;
}

}  // namespace qarnldap

// Log lines of the library start with "%s:%d", the source file's base name and line.
#define QARNLDAP_LOG(priority, fmt, ...) \
    syslog(priority, "%s:%d " fmt, qarnldap::BaseName(__FILE__), __LINE__, ##__VA_ARGS__)
// Records a failure in the platform's last-error record.
#define QARNLDAP_SET_ERR(code) QLIBCErrSetEx((code), qarnldap::BaseName(__FILE__), __LINE__)

namespace qarnldap {

// Key (upper case) to value of an ldap.conf-style file; a later line of the same key wins, as
// with libldap.
using ConfMap = std::map<std::string, std::string>;

// Reads path into conf. A missing file gives an empty map and true; false when the file exists
// but cannot be read.
bool ReadConf(const char* path, ConfMap* conf);

// The LDAP number of a libldap code: -1..-17 become 81..97 (the LDAP C API's numbers).
int MapCode(int libldapCode);

// Opens a libldap handle for conn with the TLS type and the settings of the configuration
// file, connects, runs StartTLS when asked, and binds: with conn's bind DN when bind is true
// and the DN is not empty, otherwise not at all (anonymous).
// Returns negative (last error recorded, *ld null) when nothing could be tried; 0 otherwise,
// with *status the LDAP code of the first failing step (0: connected and bound) and *ld the
// handle (also on failure, so that the caller can read its diagnostics; the caller unbinds it).
int Connect(const QARN_LDAP_CONN* conn, bool bind, LDAP** ld, int* status);

// Binds an open handle with conn's credentials; returns the LDAP code.
int Bind(LDAP* ld, const QARN_LDAP_CONN* conn);

// The server's diagnostic message of the last operation on ld, or "".
std::string Diagnostic(LDAP* ld);

// Whether text is valid UTF-8 without NUL bytes.
bool IsText(const char* data, size_t len);
// Base64 of data.
std::string Base64(const unsigned char* data, size_t len);

}  // namespace qarnldap
