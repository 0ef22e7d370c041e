// The server-type probe: which kind of LDAP server is at the other end.
#include <strings.h>

#include <new>
#include <string>
#include <vector>

#include "ldap_internal.hpp"
#include "sig_pipe_guard.hpp"

namespace {

// OIDs in the root DSE's supportedCapabilities of Active Directory (and Samba AD DCs) and of
// AD LDS.
const char* const kADCapabilities[] = {"1.2.840.113556.1.4.800", "1.2.840.113556.1.4.1851"};

struct RootDSE {
    bool found = false;
    std::vector<std::string> objectClasses;
    std::vector<std::string> capabilities;
    std::string vendorName;
};

void Values(LDAP* ld, LDAPMessage* entry, const char* attr, std::vector<std::string>* out) {
    struct berval** values = ldap_get_values_len(ld, entry, attr);
    if (!values) return;
    for (int i = 0; values[i]; ++i) out->emplace_back(values[i]->bv_val, values[i]->bv_len);
    ldap_value_free_len(values);
}

// Reads the root DSE; returns the LDAP code (0 also when the server showed no entry).
int ReadRootDSE(LDAP* ld, RootDSE* dse) {
    char objectClass[] = "objectClass";
    char capabilities[] = "supportedCapabilities";
    char vendor[] = "vendorName";
    char* attrs[] = {objectClass, capabilities, vendor, nullptr};
    LDAPMessage* result = nullptr;
    int rc = ldap_search_ext_s(ld, "", LDAP_SCOPE_BASE, "(objectClass=*)", attrs, 0, nullptr,
                               nullptr, nullptr, 1, &result);
    if (rc == LDAP_SUCCESS) {
        LDAPMessage* entry = ldap_first_entry(ld, result);
        if (entry) {
            dse->found = true;
            Values(ld, entry, "objectClass", &dse->objectClasses);
            Values(ld, entry, "supportedCapabilities", &dse->capabilities);
            std::vector<std::string> vendors;
            Values(ld, entry, "vendorName", &vendors);
            if (!vendors.empty()) dse->vendorName = vendors[0];
        }
    }
    if (result) ldap_msgfree(result);
    return rc;
}

int Classify(const RootDSE& dse) {
    for (const std::string& oid : dse.capabilities) {
        for (const char* ad : kADCapabilities) {
            if (oid == ad) return QARN_LDAP_SERVER_AD;
        }
    }
    for (const std::string& oc : dse.objectClasses) {
        if (strcasecmp(oc.c_str(), "OpenLDAProotDSE") == 0) return QARN_LDAP_SERVER_OPENLDAP;
    }
    if (strcasestr(dse.vendorName.c_str(), "389 Project") ||
        strcasestr(dse.vendorName.c_str(), "Fedora Project") ||
        strcasestr(dse.vendorName.c_str(), "Red Hat")) {
        return QARN_LDAP_SERVER_389DS;
    }
    return QARN_LDAP_SERVER_GENERIC;
}

// 1 when the entry dn exists, 0 when it does not, -1 when the server would not say.
int Exists(LDAP* ld, const std::string& dn) {
    char noAttrs[] = "1.1";
    char* attrs[] = {noAttrs, nullptr};
    LDAPMessage* result = nullptr;
    int rc = ldap_search_ext_s(ld, dn.c_str(), LDAP_SCOPE_BASE, "(objectClass=*)", attrs, 0,
                               nullptr, nullptr, nullptr, 1, &result);
    int found = -1;
    if (rc == LDAP_SUCCESS) found = ldap_count_entries(ld, result) > 0 ? 1 : -1;
    if (rc == LDAP_NO_SUCH_OBJECT) found = 0;
    if (result) ldap_msgfree(result);
    return found;
}

// Whether the server carries the platform's own layout: its admin account and administrators
// group under the base DN. 1 yes, 0 no, -1 not visible.
int HasPlatformLayout(LDAP* ld, const char* baseDN) {
    std::string base(baseDN);
    int admin = Exists(ld, "uid=admin,cn=users," + base);
    if (admin <= 0) return admin;
    return Exists(ld, "cn=administrators,cn=groups," + base);
}

int Probe(QARN_LDAP_CONN* conn) {
    LDAP* ld = nullptr;
    int status = 0;
    if (qarnldap::Connect(conn, false, &ld, &status) < 0) return -1;
    bool canBind = conn->szBindDN && conn->szBindDN[0];
    bool bound = false;
    int type = -1;
    if (status == LDAP_SUCCESS) {
        RootDSE dse;
        int rc = ReadRootDSE(ld, &dse);
        if ((rc != LDAP_SUCCESS || !dse.found) && canBind) {
            // The server does not show its root DSE to anonymous clients.
            bound = true;
            status = qarnldap::Bind(ld, conn);
            if (status == LDAP_SUCCESS) rc = ReadRootDSE(ld, &dse);
        }
        if (status == LDAP_SUCCESS && rc == LDAP_SUCCESS && dse.found) {
            type = Classify(dse);
        } else if (status == LDAP_SUCCESS) {
            status = qarnldap::MapCode(rc);
        }
    }
    if (type == QARN_LDAP_SERVER_OPENLDAP && conn->szBaseDN && conn->szBaseDN[0]) {
        int layout = HasPlatformLayout(ld, conn->szBaseDN);
        if (layout != 1 && !bound && canBind && qarnldap::Bind(ld, conn) == LDAP_SUCCESS) {
            layout = HasPlatformLayout(ld, conn->szBaseDN);
        }
        if (layout == 1) type = QARN_LDAP_SERVER_QARN;
    }
    if (ld) ldap_unbind_ext_s(ld, nullptr, nullptr);
    if (type < 0) {
        QARNLDAP_SET_ERR(QARN_LDAP_ERR_PROBE);
        QARNLDAP_LOG(LOG_ERR, "server type of [%s] unknown: %d %s", conn->szServer, status,
                     ldap_err2string(status));
        return -1;
    }
    conn->serverType = type;
    return 0;
}

}  // namespace

extern "C" int QARNLDAPBrowserCheckServerType(QARN_LDAP_CONN* conn) {
    platform::SigPipeGuard guard;
    if (!conn) {
        QARNLDAP_SET_ERR(QARN_LDAP_ERR_PARAM);
        return -1;
    }
    try {
        return Probe(conn);
    } catch (const std::bad_alloc&) {
        QARNLDAP_SET_ERR(QARN_LDAP_ERR_NOMEM);
        return -1;
    }
}
