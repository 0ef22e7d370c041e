#include "slapd_query.hpp"

#include <algorithm>

#include "sandbox.hpp"

Query Bound(const Slapd& server, const std::string& address) {
    Query q;
    q.server = address.empty()      ? server.Address()
               : address == "ldaps" ? server.LDAPSAddress()
                                    : address;
    q.bindDN = server.Get("BIND_DN");
    q.bindPW = server.Get("BIND_PW");
    return q;
}

QARN_LDAP_CONN Conn(const Query& q) {
    QARN_LDAP_CONN conn = {};
    conn.szServer = q.server.c_str();
    conn.szBaseDN = q.base.c_str();
    conn.szBindDN = q.bindDN.c_str();
    conn.szBindPW = q.bindPW.c_str();
    conn.serverType = -1;
    conn.tlsType = q.tls;
    return conn;
}

namespace {

void ReadEntries(QARN_LDAP_SEARCH_REQ* req, QARN_LDAP_SEARCH_RESULT* res, Outcome* out) {
    while (QARNLDAPSearchGetNext(req, res) == 1) {
        int count = QARNLDAPResultGetAttrCount(res);
        out->maxBlockPairs = std::max(out->maxBlockPairs, count);
        Entry entry;
        for (int i = 0; i < count; ++i)
            entry.emplace_back(QARNLDAPResultGetKey(res, i), QARNLDAPResultGetValue(res, i));
        out->entries.push_back(entry);
    }
    out->nextAfterEnd = QARNLDAPSearchGetNext(req, res);
    out->pairsAfterEnd = QARNLDAPResultGetAttrCount(res);
    out->status = res->status;
    out->entryCount = res->entryCount;
}

}  // namespace

Outcome Search(const Query& q) {
    Outcome out;
    QARN_LDAP_CONN conn = Conn(q);
    QARN_LDAP_SEARCH_REQ req;
    QARN_LDAP_SEARCH_RESULT res = {};
    out.setupRc = QARNLDAPSearchRequestInit(&req, q.allocAttrs ? 1 : 0);
    req.szFilter = q.filter;
    req.oneEntry = q.oneEntry;
    req.pageSize = q.pageSize;
    for (const std::string& attr : q.attrs)
        if (QLIBCSzListPush(&req.pAttrs, attr.c_str()) < 0) out.setupRc = -1;
    out.initRc = QARNLDAPSearchInit(&conn, &req, &res);
    if (out.initRc == 0) ReadEntries(&req, &res, &out);
    QARNLDAPSearchFree(&req, &res);
    out.freedAll = !req.pAttrs && !req.pPriv && !res.pKeys;
    return out;
}

std::vector<std::string> Values(const Entry& entry, const std::string& key) {
    std::vector<std::string> values;
    for (const auto& pair : entry) {
        if (pair.first == key) values.push_back(pair.second);
    }
    return values;
}

const Entry* FindDN(const Outcome& out, const std::string& dn) {
    for (const Entry& entry : out.entries) {
        if (!entry.empty() && entry[0].first == "dn" && entry[0].second == dn) return &entry;
    }
    return nullptr;
}

void WritePlatformConf(const std::string& ca) {
    std::string settings = "TLS_CACERT " + ca + "\nTLS_REQCERT demand\n";
    Sandbox::WriteFile(QARN_LDAP_CONF_PATH, "# LDAP client settings\n" + settings);
    Sandbox::WriteFile(QARN_LDAP_CONF_DEFAULTS_PATH, "# defaults\n" + settings);
}

const std::string& OtherCA() {
    static const std::string dir = [] {
        std::string path = "/tmp/other-ca";
        Slapd::MakeCertificates(path);
        return path;
    }();
    return dir;
}
