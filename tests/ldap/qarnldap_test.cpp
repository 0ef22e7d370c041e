// Tests of the LDAP client library (platform/qarnldap.h) against real slapd instances.
//
// Each test runs in its own sandbox: the platform's LDAP configuration below /usr/qarn and
// /etc/nsswitch.conf are written there only, and the slapd instances, started as a test first
// needs them, listen on the sandbox's own loopback (the platform-layout one on the standard
// ports 389 and 636).
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "qarnldap.h"
#include "sandbox.hpp"
#include "slapd.hpp"

namespace {

const char kConf[] = QARN_LDAP_CONF_PATH;
const char kDefaults[] = QARN_LDAP_CONF_DEFAULTS_PATH;

// A CA that signed none of the instances' certificates.
const std::string& OtherCA() {
    static const std::string dir = [] {
        std::string path = "/tmp/other-ca";
        EXPECT_TRUE(Slapd::MakeCertificates(path));
        return path;
    }();
    return dir;
}

using Entry = std::vector<std::pair<std::string, std::string>>;

struct Outcome {
    int initRc = 0;
    int status = 0;
    int maxBlockPairs = 0;
    std::vector<Entry> entries;
};

struct Query {
    std::string server;
    int tls = QARN_LDAP_TLS_NONE;
    std::string bindDN;
    std::string bindPW;
    std::string base = "dc=example,dc=com";
    const char* filter = nullptr;
    std::vector<std::string> attrs;
    bool allocAttrs = true;
    int oneEntry = 0;
    int pageSize = 0;
};

// The connection of a query; it points into q.
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

Outcome Search(const Query& q) {
    Outcome out;
    QARN_LDAP_CONN conn = Conn(q);
    QARN_LDAP_SEARCH_REQ req;
    QARN_LDAP_SEARCH_RESULT res = {};
    EXPECT_EQ(0, QARNLDAPSearchRequestInit(&req, q.allocAttrs ? 1 : 0));
    req.szFilter = q.filter;
    req.oneEntry = q.oneEntry;
    req.pageSize = q.pageSize;
    for (const std::string& attr : q.attrs)
        EXPECT_GE(QLIBCSzListPush(&req.pAttrs, attr.c_str()), 0);
    out.initRc = QARNLDAPSearchInit(&conn, &req, &res);
    if (out.initRc == 0) {
        while (QARNLDAPSearchGetNext(&req, &res) == 1) {
            int count = QARNLDAPResultGetAttrCount(&res);
            out.maxBlockPairs = std::max(out.maxBlockPairs, count);
            Entry entry;
            for (int i = 0; i < count; ++i) {
                entry.emplace_back(QARNLDAPResultGetKey(&res, i), QARNLDAPResultGetValue(&res, i));
            }
            out.entries.push_back(entry);
        }
        // The reading stays ended.
        EXPECT_EQ(0, QARNLDAPSearchGetNext(&req, &res));
        EXPECT_EQ(0, QARNLDAPResultGetAttrCount(&res));
        out.status = res.status;
        EXPECT_EQ(static_cast<int>(out.entries.size()), res.entryCount);
    }
    QARNLDAPSearchFree(&req, &res);
    EXPECT_EQ(nullptr, req.pAttrs);
    EXPECT_EQ(nullptr, req.pPriv);
    EXPECT_EQ(nullptr, res.pKeys);
    return out;
}

// The values of key in entry.
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

// The platform configuration: our CA, certificates demanded; the defaults file alike.
void WritePlatformConf(const std::string& ca) {
    Sandbox::WriteFile(kConf,
                       "# LDAP client settings\nTLS_CACERT " + ca + "\nTLS_REQCERT demand\n");
    Sandbox::WriteFile(kDefaults, "# defaults\nTLS_CACERT " + ca + "\nTLS_REQCERT demand\n");
}

class LDAPLibrary : public ::testing::Test {
  protected:
    void SetUp() override { WritePlatformConf(Slapd::SharedCertificates() + "/ca.crt"); }

    Query Bound(const Slapd& server) {
        Query q;
        q.server = server.Address();
        q.bindDN = server.Get("BIND_DN");
        q.bindPW = server.Get("BIND_PW");
        return q;
    }
};

// --- TLS mode names -----------------------------------------------------------------------------

TEST(LDAPSSLToType, ModeNames) {
    EXPECT_EQ(QARN_LDAP_TLS_NONE, QARNLDAPSSLToType("no"));
    EXPECT_EQ(QARN_LDAP_TLS_SSL, QARNLDAPSSLToType("yes"));
    EXPECT_EQ(QARN_LDAP_TLS_SSL, QARNLDAPSSLToType("ssl"));
    EXPECT_EQ(QARN_LDAP_TLS_START_TLS, QARNLDAPSSLToType("start_tls"));
    EXPECT_EQ(QARN_LDAP_TLS_START_TLS, QARNLDAPSSLToType("START_TLS"));
    EXPECT_EQ(QARN_LDAP_TLS_INVALID, QARNLDAPSSLToType(""));
    EXPECT_EQ(QARN_LDAP_TLS_INVALID, QARNLDAPSSLToType("maybe"));
    EXPECT_EQ(QARN_LDAP_TLS_INVALID, QARNLDAPSSLToType(nullptr));
}

TEST(LDAPSearchRecords, InitAndFreeAreSafe) {
    QARN_LDAP_SEARCH_REQ req;
    memset(&req, 0x5a, sizeof(req));
    ASSERT_EQ(0, QARNLDAPSearchRequestInit(&req, 1));
    EXPECT_NE(nullptr, req.pAttrs);
    EXPECT_EQ(0, QLIBCSzListCount(req.pAttrs));
    EXPECT_EQ(nullptr, req.szFilter);
    EXPECT_EQ(0, req.oneEntry);
    EXPECT_EQ(nullptr, req.pPriv);
    QARN_LDAP_SEARCH_RESULT res = {};
    EXPECT_EQ(0, QARNLDAPResultGetAttrCount(&res));
    EXPECT_EQ(nullptr, QARNLDAPResultGetKey(&res, 0));
    QARNLDAPSearchFree(&req, &res);
    QARNLDAPSearchFree(&req, &res);
    QARNLDAPSearchFree(nullptr, nullptr);
    ASSERT_EQ(0, QARNLDAPSearchRequestInit(&req, 0));
    EXPECT_EQ(nullptr, req.pAttrs);
    EXPECT_EQ(-1, QARNLDAPSearchRequestInit(nullptr, 1));
    EXPECT_EQ(-1, QARNLDAPSearchGetNext(&req, &res));  // never started
}

TEST(LDAPSearchRecords, BadArgumentsAreRecorded) {
    QARN_LDAP_SEARCH_REQ req;
    QARN_LDAP_SEARCH_RESULT res = {};
    ASSERT_EQ(0, QARNLDAPSearchRequestInit(&req, 1));
    QLIBCErrSetEx(0, "", 0);
    EXPECT_LT(QARNLDAPSearchInit(nullptr, &req, &res), 0);
    EXPECT_EQ(QARN_LDAP_ERR_PARAM, QLIBCErrGet());
    EXPECT_GT(QLIBCErrorGetLine(), 0);

    QARN_LDAP_CONN conn = {};
    conn.szBaseDN = "dc=example,dc=com";
    conn.szServer = "";
    EXPECT_LT(QARNLDAPSearchInit(&conn, &req, &res), 0);
    EXPECT_EQ(QARN_LDAP_ERR_PARAM, QLIBCErrGet());
    for (const char* bad : {"host name", "a/b", "ldap://x ldap://y", "[fd00::1", "h:99999",
                            "h:", "[::1]x", "ftp://host"}) {
        conn.szServer = bad;
        EXPECT_LT(QARNLDAPSearchInit(&conn, &req, &res), 0) << bad;
        EXPECT_EQ(QARN_LDAP_ERR_PARAM, QLIBCErrGet()) << bad;
    }
    conn.szServer = "127.0.0.1";
    conn.tlsType = QARNLDAPSSLToType("bogus");
    EXPECT_LT(QARNLDAPSearchInit(&conn, &req, &res), 0);
    EXPECT_EQ(QARN_LDAP_ERR_TLS, QLIBCErrGet());
    QARNLDAPSearchFree(&req, &res);
}

// --- bind and TLS -------------------------------------------------------------------------------

// The server was asked, so its answer is the status; nothing is read.
TEST_F(LDAPLibrary, FailedStepsGiveTheirLDAPCode) {
    const struct {
        const Slapd& server;
        void (*edit)(Query&);  // of the bound query
        int status;
        int lastError;
    } cases[] = {
        {Slapd::Qarn(), [](Query& q) { q.bindPW = "wrong"; }, 49, QARN_LDAP_ERR_BIND},
        {Slapd::TLSOnly(), [](Query&) {}, 13, QARN_LDAP_ERR_BIND},
        {Slapd::Qarn(), [](Query& q) { q.server = "127.0.0.1:1"; }, 81, QARN_LDAP_ERR_CONNECT},
        {Slapd::Qarn(), [](Query& q) { q.base = "dc=missing,dc=com"; }, 32, QARN_LDAP_ERR_SEARCH},
        {Slapd::Qarn(), [](Query& q) { q.filter = "(uid=unclosed"; }, 87, QARN_LDAP_ERR_SEARCH},
        // Anonymous: the bind passes, but only bound clients see the base.
        {Slapd::Qarn(), [](Query& q) { q.bindDN = q.bindPW = ""; }, 32, QARN_LDAP_ERR_SEARCH},
    };
    for (const auto& c : cases) {
        Query q = Bound(c.server);
        q.filter = "(objectClass=posixAccount)";
        c.edit(q);
        QLIBCErrSetEx(0, "", 0);
        Outcome out = Search(q);
        SCOPED_TRACE(c.status);
        EXPECT_EQ(0, out.initRc);
        EXPECT_EQ(c.status, out.status);
        EXPECT_TRUE(out.entries.empty());
        EXPECT_EQ(c.lastError, QLIBCErrGet());
    }
}

// Without a port the TLS type's default port: 636 for LDAPS, 389 otherwise.
TEST_F(LDAPLibrary, AddressesAndEncryption) {
    const struct {
        const Slapd& server;
        const char* address;  // "" for the server's plain, "ldaps" for its LDAPS listener
        int tls;
    } cases[] = {
        {Slapd::Qarn(), "ldaps", QARN_LDAP_TLS_SSL},
        {Slapd::Qarn(), "127.0.0.1", QARN_LDAP_TLS_NONE},
        {Slapd::Qarn(), "ldaps://127.0.0.1:636", QARN_LDAP_TLS_SSL},
        {Slapd::Qarn(), "::1", QARN_LDAP_TLS_NONE},
        {Slapd::Qarn(), "[::1]:389", QARN_LDAP_TLS_NONE},
        {Slapd::Qarn(), "[::1]", QARN_LDAP_TLS_SSL},
    };
    for (const auto& c : cases) {
        Query q = Bound(c.server);
        if (*c.address)
            q.server = c.address == std::string("ldaps") ? c.server.LDAPSAddress() : c.address;
        q.tls = c.tls;
        q.filter = "(objectClass=posixGroup)";
        q.attrs = {"dn"};
        Outcome out = Search(q);
        SCOPED_TRACE(q.server + " " + std::to_string(c.tls));
        EXPECT_EQ(0, out.status);
        EXPECT_EQ(std::stoul(c.server.Get("GROUPS_COUNT")), out.entries.size());
    }
}

TEST_F(LDAPLibrary, ServerCertificateIsVerified) {
    Query q = Bound(Slapd::Qarn());
    q.server = Slapd::Qarn().LDAPSAddress();
    q.tls = QARN_LDAP_TLS_SSL;
    WritePlatformConf(OtherCA() + "/ca.crt");  // a CA that did not sign the server
    Outcome out = Search(q);
    EXPECT_EQ(0, out.initRc);
    EXPECT_TRUE(out.status == 81 || out.status == 91) << out.status;
    q.tls = QARN_LDAP_TLS_START_TLS;
    q.server = Slapd::Qarn().Address();
    out = Search(q);
    EXPECT_TRUE(out.status == 81 || out.status == 91) << out.status;

    Sandbox::WriteFile(kConf, "TLS_CACERT " + OtherCA() + "/ca.crt\nTLS_REQCERT never\n");
    EXPECT_EQ(0, Search(q).status);
}

// Sets the platform configuration's client certificate and key; back to the defaults when reset.
void SetClientCertificate(const std::string& cert, const std::string& key, int reset = 0) {
    ASSERT_EQ(0, QARNLDAPConfSetOne(kConf, kDefaults, "TLS_CERT", cert.c_str(), reset));
    ASSERT_EQ(0, QARNLDAPConfSetOne(kConf, kDefaults, "TLS_KEY", key.c_str(), reset));
}

TEST_F(LDAPLibrary, ClientCertificate) {
    const Slapd& server = Slapd::ClientCert();
    Query q = Bound(server);
    q.server = server.LDAPSAddress();
    q.tls = QARN_LDAP_TLS_SSL;
    q.attrs = {"dn"};
    q.oneEntry = 1;
    Outcome out = Search(q);
    EXPECT_EQ(0, out.initRc);
    EXPECT_NE(0, out.status);  // the server demands a certificate
    EXPECT_TRUE(out.entries.empty());

    SetClientCertificate(server.Get("CLIENT_CERT"), server.Get("CLIENT_KEY"));
    out = Search(q);
    EXPECT_TRUE(out.status == 0 || out.status == 4) << out.status;
    EXPECT_EQ(1u, out.entries.size());
    q.server = server.Address();
    q.tls = QARN_LDAP_TLS_START_TLS;
    out = Search(q);
    EXPECT_TRUE(out.status == 0 || out.status == 4) << out.status;

    // Back to the defaults (no certificate lines): the server refuses again.
    SetClientCertificate("ignored", "ignored", 1);
    EXPECT_NE(0, Search(q).status);

    // A certificate file that is missing: nothing can be tried.
    SetClientCertificate("/nonexistent.crt", "/nonexistent.key");
    out = Search(q);
    EXPECT_LT(out.initRc, 0);
    EXPECT_EQ(QARN_LDAP_ERR_TLS, QLIBCErrGet());
}

// --- searches -----------------------------------------------------------------------------------

TEST_F(LDAPLibrary, EntriesAsKeyValueBlocks) {
    const Slapd& server = Slapd::Qarn();
    Query q = Bound(server);
    q.filter = "(objectClass=posixAccount)";
    q.attrs = {"dn", "uid", "uidNumber", "sambaNTPassword"};
    Outcome out = Search(q);
    ASSERT_EQ(0, out.initRc);
    EXPECT_EQ(0, out.status);
    ASSERT_EQ(std::stoul(server.Get("USERS_COUNT")), out.entries.size());
    for (const Entry& entry : out.entries) {
        ASSERT_FALSE(entry.empty());
        EXPECT_EQ("dn", entry[0].first);
        for (const auto& pair : entry) {
            EXPECT_TRUE(pair.first == "dn" || pair.first == "uid" || pair.first == "uidNumber" ||
                        pair.first == "sambaNTPassword")
                << pair.first;
        }
    }
    // Values come as they are: empty, with blanks, or no pair for an absent attribute.
    const struct {
        const char* rdn;
        const char* key;
        std::vector<std::string> values;
    } cases[] = {
        {"uid=alice", "uid", {"alice"}},
        {"uid=alice", "uidNumber", {"2001"}},
        {"uid=alice", "sambaNTPassword", {"000000020000000E0000001A000F4242"}},
        {"cn=noname", "uid", {}},
        {"cn=emptyname", "uid", {""}},
        {"uid=badid3", "uidNumber", {" 1001"}},
        {"uid=emptyntpw", "sambaNTPassword", {""}},
    };
    for (const auto& c : cases) {
        const Entry* entry = FindDN(out, c.rdn + ("," + server.Get("PEOPLE_DN")));
        ASSERT_NE(nullptr, entry) << c.rdn;
        EXPECT_EQ(c.values, Values(*entry, c.key)) << c.rdn << " " << c.key;
    }
}

TEST_F(LDAPLibrary, OneEntrysPairs) {
    const struct {
        const char* filter;
        std::vector<std::string> attrs;  // {"*"}: no attribute list at all
        Entry expected;
        int oneEntry = 0;
    } cases[] = {
        // One entry asked of a directory that has more: the first, only its DN.
        {nullptr, {"dn"}, {{"dn", "dc=example,dc=com"}}, 1},
        // One pair per value of a multi-valued attribute.
        {"(cn=developers)",
         {"dn", "memberUid", "cn"},
         {{"dn", "cn=developers,cn=groups,dc=example,dc=com"},
          {"memberUid", "alice"},
          {"memberUid", "bob"},
          {"cn", "developers"}}},
        // Keys keep the requested spelling; the DN comes first in any case.
        {"(uid=alice)",
         {"UIDNUMBER", "Uid"},
         {{"dn", "uid=alice,cn=users,dc=example,dc=com"}, {"Uid", "alice"}, {"UIDNUMBER", "2001"}}},
        // All attributes; the filter as the handler writes it, without parentheses.
        {"objectClass=sambaDomain",
         {"*"},
         {{"dn", "sambaDomainName=EXAMPLE,dc=example,dc=com"},
          {"objectClass", "sambaDomain"},
          {"sambaDomainName", "EXAMPLE"},
          {"sambaSID", "S-1-5-21-1-2-3"}}},
    };
    for (const auto& c : cases) {
        Query q = Bound(Slapd::Qarn());
        q.filter = c.filter;
        q.allocAttrs = c.attrs != std::vector<std::string>{"*"};
        if (q.allocAttrs) q.attrs = c.attrs;
        q.oneEntry = c.oneEntry;
        Outcome out = Search(q);
        SCOPED_TRACE(c.expected[0].second);
        // Stopping after one entry, the server may end with size limit exceeded.
        EXPECT_TRUE(out.status == 0 || (c.oneEntry && out.status == 4)) << out.status;
        EXPECT_EQ(std::vector<Entry>{c.expected}, out.entries);
    }
}

TEST_F(LDAPLibrary, StreamsManyEntriesPageByPage) {
    const Slapd& server = Slapd::Big();
    size_t users = std::stoul(server.Get("USERS_COUNT"));
    ASSERT_GT(users, 5000u);
    for (int pageSize : {0, 333}) {
        Query q = Bound(server);
        q.filter = "(objectClass=posixAccount)";
        q.attrs = {"dn", "uid", "uidNumber", "sambaNTPassword"};
        q.pageSize = pageSize;
        Outcome out = Search(q);
        EXPECT_EQ(0, out.status);
        EXPECT_EQ(users, out.entries.size()) << "page size " << pageSize;
        // One entry a block: the lists never hold more than one entry's pairs.
        EXPECT_LE(out.maxBlockPairs, 4);
        std::set<std::string> dns;
        for (const Entry& entry : out.entries) dns.insert(entry.at(0).second);
        EXPECT_EQ(users, dns.size());
    }
}

TEST_F(LDAPLibrary, ServerSizeLimitEndsWithCode4) {
    Slapd limited;
    ASSERT_TRUE(limited.Start({"--layout", "plain", "--sizelimit", "5"}));
    Query q = Bound(limited);
    q.filter = "(objectClass=posixAccount)";
    q.attrs = {"dn"};
    Outcome out = Search(q);
    EXPECT_EQ(4, out.status);
    EXPECT_EQ(5u, out.entries.size());
}

// --- server type --------------------------------------------------------------------------------

TEST_F(LDAPLibrary, ServerTypeProbe) {
    const struct {
        const Slapd& server;
        int tls;
        const char* password;
        const char* address;  // "" for the server's, "ldaps" for its LDAPS listener
        int type;             // -1: the probe fails
    } cases[] = {
        // The platform's own layout, readable by bound clients only: the probe binds to see it.
        {Slapd::Qarn(), QARN_LDAP_TLS_NONE, "bindpw", "", QARN_LDAP_SERVER_QARN},
        {Slapd::Qarn(), QARN_LDAP_TLS_SSL, "bindpw", "ldaps", QARN_LDAP_SERVER_QARN},
        // Wrong password: the root DSE still tells OpenLDAP, the layout stays hidden.
        {Slapd::Qarn(), QARN_LDAP_TLS_NONE, "wrong", "", QARN_LDAP_SERVER_OPENLDAP},
        {Slapd::Big(), QARN_LDAP_TLS_NONE, "bindpw", "", QARN_LDAP_SERVER_OPENLDAP},
        {Slapd::TLSOnly(), QARN_LDAP_TLS_START_TLS, "bindpw", "", QARN_LDAP_SERVER_OPENLDAP},
        // Nothing readable without TLS, and no server at all.
        {Slapd::TLSOnly(), QARN_LDAP_TLS_NONE, "bindpw", "", -1},
        {Slapd::Qarn(), QARN_LDAP_TLS_NONE, "bindpw", "127.0.0.1:1", -1},
    };
    for (const auto& c : cases) {
        Query q = Bound(c.server);
        if (*c.address)
            q.server = c.address == std::string("ldaps") ? c.server.LDAPSAddress() : c.address;
        q.tls = c.tls;
        q.bindPW = c.password;
        QARN_LDAP_CONN conn = Conn(q);
        QLIBCErrSetEx(0, "", 0);
        int rc = QARNLDAPBrowserCheckServerType(&conn);
        SCOPED_TRACE(q.server + " " + c.password);
        EXPECT_EQ(c.type, conn.serverType);
        EXPECT_EQ(c.type == -1, rc < 0);
        if (c.type == -1) {
            EXPECT_EQ(QARN_LDAP_ERR_PROBE, QLIBCErrGet());
        }
    }
    EXPECT_LT(QARNLDAPBrowserCheckServerType(nullptr), 0);
}

// --- configuration file -------------------------------------------------------------------------

class LDAPConfSetOne : public ::testing::Test {
  protected:
    void SetUp() override {
        char tmpl[] = "/tmp/ldapconf-XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(tmpl));
        dir_ = tmpl;
        conf_ = dir_ + "/ldap.conf";
        defaults_ = dir_ + "/defaults.conf";
    }
    void TearDown() override { Sandbox::Run({"/bin/rm", "-rf", dir_}); }

    int Set(const char* key, const char* value, int flag) {
        return QARNLDAPConfSetOne(conf_.c_str(), defaults_.c_str(), key, value, flag);
    }

    std::string dir_, conf_, defaults_;
};

TEST_F(LDAPConfSetOne, SetsOrResetsOneKeyAndKeepsEveryOtherLine) {
    const struct {
        const char* conf;  // nullptr: no such file
        const char* defaults;
        const char* key;
        const char* value;
        int flag;
        const char* expected;
    } cases[] = {
        // The first line of the key changes (ignoring case, keeping its spelling); the others go.
        {"# comment TLS_CERT x\n\nURI ldap://a\ntls_cert\t/old.crt\nTLS_REQCERT demand\n"
         "TLS_CERT /dup.crt\nTLS_CERTDIR /d",
         nullptr, "TLS_CERT", "/var/lib/ldap/ldapclient.crt", 0,
         "# comment TLS_CERT x\n\nURI ldap://a\ntls_cert\t/var/lib/ldap/ldapclient.crt\n"
         "TLS_REQCERT demand\nTLS_CERTDIR /d\n"},
        {"URI ldap://a\n", nullptr, "TLS_KEY", "/k", 0, "URI ldap://a\nTLS_KEY /k\n"},
        // Back to the default: its value, or no line when the defaults lack the key.
        {"TLS_REQCERT demand\nTLS_CERT /c\nURI ldap://a\n", "TLS_REQCERT never\n", "TLS_REQCERT",
         "whatever", 1, "TLS_REQCERT never\nTLS_CERT /c\nURI ldap://a\n"},
        {"TLS_REQCERT never\nTLS_CERT /c\n", "TLS_REQCERT never\n", "TLS_CERT", "/c", 1,
         "TLS_REQCERT never\n"},
        {"URI ldap://a\n", "TLS_REQCERT never\n", "TLS_CERT", nullptr, 1, "URI ldap://a\n"},
        {"TLS_REQCERT never\nURI ldap://a\n", nullptr, "TLS_REQCERT", nullptr, 1, "URI ldap://a\n"},
        // A missing file starts from the defaults.
        {nullptr, "# defaults\nTLS_REQCERT demand\n", "TLS_CERT", "/c", 0,
         "# defaults\nTLS_REQCERT demand\nTLS_CERT /c\n"},
        {nullptr, nullptr, "TLS_CERT", "/c", 0, "TLS_CERT /c\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.expected);
        Sandbox::Remove(conf_);
        Sandbox::Remove(defaults_);
        if (c.conf) Sandbox::WriteFile(conf_, c.conf);
        if (c.defaults) Sandbox::WriteFile(defaults_, c.defaults);
        ASSERT_EQ(0, Set(c.key, c.value, c.flag));
        EXPECT_EQ(c.expected, Sandbox::ReadFile(conf_));
    }
    // The directory is made when missing.
    std::string nested = dir_ + "/a/b/ldap.conf";
    ASSERT_EQ(0, QARNLDAPConfSetOne(nested.c_str(), nullptr, "TLS_KEY", "/k", 0));
    EXPECT_EQ("TLS_KEY /k\n", Sandbox::ReadFile(nested));
}

TEST_F(LDAPConfSetOne, RewritesAtomicallyKeepingTheModeAndOnlyOnChange) {
    Sandbox::WriteFile(conf_, "TLS_CERT /a\n");
    ASSERT_EQ(0, chmod(conf_.c_str(), 0640));
    struct stat before, after;
    ASSERT_EQ(0, stat(conf_.c_str(), &before));
    ASSERT_EQ(0, Set("TLS_CERT", "/a", 0));  // no change: the same file stays
    ASSERT_EQ(0, stat(conf_.c_str(), &after));
    EXPECT_EQ(before.st_ino, after.st_ino);
    ASSERT_EQ(0, Set("TLS_CERT", "/b", 0));  // a change: a new file replaced it
    ASSERT_EQ(0, stat(conf_.c_str(), &after));
    EXPECT_NE(before.st_ino, after.st_ino);
    EXPECT_EQ(0640u, after.st_mode & 07777);
    // ldap.conf alone: no temporary file left behind.
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(dir_), {}));
}

TEST_F(LDAPConfSetOne, RefusesBadArguments) {
    EXPECT_LT(Set("TLS CERT", "/c", 0), 0);
    EXPECT_LT(Set("", "/c", 0), 0);
    EXPECT_LT(Set(nullptr, "/c", 0), 0);
    EXPECT_LT(Set("TLS_CERT", "/c\nTLS_REQCERT never", 0), 0);
    EXPECT_LT(Set("TLS_CERT", "/c", 2), 0);
    EXPECT_EQ(QARN_LDAP_ERR_PARAM, QLIBCErrGet());
    EXPECT_LT(QARNLDAPConfSetOne(nullptr, nullptr, "TLS_CERT", "/c", 0), 0);
    EXPECT_LT(QARNLDAPConfSetOne("/proc/nonexistent/ldap.conf", nullptr, "K", "v", 0), 0);
    EXPECT_EQ(QARN_LDAP_ERR_CONF, QLIBCErrGet());
}

// --- bound status and debug switch --------------------------------------------------------------

TEST_F(LDAPLibrary, IsBindedFollowsNsswitch) {
    const std::pair<const char*, int> cases[] = {
        {"passwd: files ldap\ngroup: files ldap\n", 1},
        {"passwd:\tfiles [NOTFOUND=return] ldap\n", 1},
        {"passwd: files systemd winbind\ngroup: files ldap\n", 0},
        {"# passwd: files ldap\npasswd: files\n", 0},
        {"passwd: files # ldap\n", 0},
        {"passwd: files ldapx\n", 0},
        {"passwd: files [ldap=return]\n", 0},
    };
    for (const auto& c : cases) {
        Sandbox::WriteFile("/etc/nsswitch.conf", c.first);
        EXPECT_EQ(c.second, QARNLDAPIsBinded()) << c.first;
    }
    unlink("/etc/nsswitch.conf");
    EXPECT_EQ(0, QARNLDAPIsBinded());
}

// Whether the debug switch reads as wanted within 4 s (the library may cache it for a while).
bool DebugSwitchBecomes(bool wanted) {
    for (int i = 0; i < 40; ++i) {
        if ((QARNLDAPDebugEnabled() != 0) == wanted) return true;
        usleep(100000);
    }
    return false;
}

TEST_F(LDAPLibrary, DebugSwitch) {
    EXPECT_EQ(0, QARNLDAPDebugEnabled());
    Sandbox::WriteFile(QARN_LDAP_DEBUG_FLAG_PATH, "");
    EXPECT_TRUE(DebugSwitchBecomes(true));
    unlink(QARN_LDAP_DEBUG_FLAG_PATH);
    EXPECT_TRUE(DebugSwitchBecomes(false));
}

}  // namespace
