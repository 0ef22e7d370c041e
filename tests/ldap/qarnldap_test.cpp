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

#include "call.hpp"
#include "fixture.hpp"
#include "qarnldap.h"
#include "sandbox.hpp"
#include "slapd.hpp"
#include "slapd_query.hpp"

namespace {

const char kConf[] = QARN_LDAP_CONF_PATH;
const char kDefaults[] = QARN_LDAP_CONF_DEFAULTS_PATH;

// Searches as Search does; every search ends for good and frees its records whole.
Outcome CheckedSearch(const Query& q) {
    Outcome out = Search(q);
    EXPECT_EQ(0, out.setupRc);
    if (out.initRc == 0) {
        EXPECT_EQ(0, out.nextAfterEnd);
        EXPECT_EQ(0, out.pairsAfterEnd);
        EXPECT_EQ(static_cast<int>(out.entries.size()), out.entryCount);
    }
    EXPECT_TRUE(out.freedAll);
    return out;
}

class LDAPLibrary : public ::testing::Test {
  protected:
    void SetUp() override { WritePlatformConf(Slapd::SharedCertificates() + "/ca.crt"); }
};

// --- records and arguments ---------------------------------------------------------------------

TEST(LDAPSSLToType, ModeNames) {
    const std::pair<int, std::vector<const char*>> cases[] = {
        {QARN_LDAP_TLS_NONE, {"no"}},
        {QARN_LDAP_TLS_SSL, {"yes", "ssl"}},
        {QARN_LDAP_TLS_START_TLS, {"start_tls", "START_TLS"}},
        {QARN_LDAP_TLS_INVALID, {"", "maybe", nullptr}},
    };
    for (const auto& c : cases) {
        for (const char* name : c.second) EXPECT_EQ(c.first, QARNLDAPSSLToType(name)) << name;
    }
}

TEST(LDAPSearchRecords, InitAndFreeAreSafe) {
    QARN_LDAP_SEARCH_REQ req;
    memset(&req, 0x5a, sizeof(req));
    ASSERT_EQ(0, QARNLDAPSearchRequestInit(&req, 1));
    EXPECT_EQ(0, QLIBCSzListCount(req.pAttrs));
    EXPECT_TRUE(req.pAttrs && !req.szFilter && !req.oneEntry && !req.pPriv);
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
    Query q;
    for (const char* bad : {"", "host name", "a/b", "ldap://x ldap://y", "[fd00::1", "h:99999",
                            "h:", "[::1]x", "ftp://host"}) {
        q.server = bad;
        QARN_LDAP_CONN conn = Conn(q);
        EXPECT_LT(QARNLDAPSearchInit(&conn, &req, &res), 0) << bad;
        EXPECT_EQ(QARN_LDAP_ERR_PARAM, QLIBCErrGet()) << bad;
    }
    q.server = "127.0.0.1";
    q.tls = QARNLDAPSSLToType("bogus");
    QARN_LDAP_CONN conn = Conn(q);
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
        Outcome out = CheckedSearch(q);
        SCOPED_TRACE(c.status);
        EXPECT_EQ(0, out.initRc);
        EXPECT_EQ(c.status, out.status);
        EXPECT_TRUE(out.entries.empty());
        EXPECT_EQ(c.lastError, QLIBCErrGet());
    }
}

// Without a port the TLS type's default port: 636 for LDAPS, 389 otherwise.
TEST_F(LDAPLibrary, AddressesAndEncryption) {
    const std::pair<const char*, int> cases[] = {
        {"ldaps", QARN_LDAP_TLS_SSL},      {"127.0.0.1", QARN_LDAP_TLS_NONE},
        {"::1", QARN_LDAP_TLS_NONE},       {"ldaps://127.0.0.1:636", QARN_LDAP_TLS_SSL},
        {"[::1]:389", QARN_LDAP_TLS_NONE}, {"[::1]", QARN_LDAP_TLS_SSL},
    };
    for (const auto& c : cases) {
        Query q = Bound(Slapd::Qarn(), c.first);
        q.tls = c.second;
        q.filter = "(objectClass=posixGroup)";
        q.attrs = {"dn"};
        Outcome out = CheckedSearch(q);
        SCOPED_TRACE(q.server);
        EXPECT_EQ(0, out.status);
        EXPECT_EQ(std::stoul(Slapd::Qarn().Get("GROUPS_COUNT")), out.entries.size());
    }
}

// A server certificate of another CA fails LDAPS and StartTLS alike, unless it is not checked.
TEST_F(LDAPLibrary, ServerCertificateIsVerified) {
    for (const char* address : {"ldaps", ""}) {
        WritePlatformConf(OtherCA() + "/ca.crt");
        Query q = Bound(Slapd::Qarn(), address);
        q.tls = *address ? QARN_LDAP_TLS_SSL : QARN_LDAP_TLS_START_TLS;
        Outcome out = CheckedSearch(q);
        EXPECT_EQ(0, out.initRc);
        EXPECT_TRUE(out.status == 81 || out.status == 91) << out.status;
        Sandbox::WriteFile(kConf, "TLS_CACERT " + OtherCA() + "/ca.crt\nTLS_REQCERT never\n");
        EXPECT_EQ(0, CheckedSearch(q).status);
    }
}

// Sets the platform configuration's client certificate and key; back to the defaults when reset.
void SetClientCertificate(const std::string& cert, const std::string& key, int reset = 0) {
    ASSERT_EQ(0, QARNLDAPConfSetOne(kConf, kDefaults, "TLS_CERT", cert.c_str(), reset));
    ASSERT_EQ(0, QARNLDAPConfSetOne(kConf, kDefaults, "TLS_KEY", key.c_str(), reset));
}

TEST_F(LDAPLibrary, ClientCertificate) {
    const Slapd& server = Slapd::ClientCert();
    Query q = Bound(server, "ldaps");
    q.tls = QARN_LDAP_TLS_SSL;
    q.attrs = {"dn"};
    q.oneEntry = 1;
    Outcome out = CheckedSearch(q);
    EXPECT_EQ(0, out.initRc);
    EXPECT_NE(0, out.status);  // the server demands a certificate
    EXPECT_TRUE(out.entries.empty());

    SetClientCertificate(server.Get("CLIENT_CERT"), server.Get("CLIENT_KEY"));
    EXPECT_EQ(1u, CheckedSearch(q).entries.size());
    q.server = server.Address();
    q.tls = QARN_LDAP_TLS_START_TLS;
    out = CheckedSearch(q);
    EXPECT_TRUE(out.status == 0 || out.status == 4) << out.status;

    // Back to the defaults (no certificate lines): the server refuses again.
    SetClientCertificate("ignored", "ignored", 1);
    EXPECT_NE(0, CheckedSearch(q).status);

    // A certificate file that is missing: nothing can be tried.
    SetClientCertificate("/nonexistent.crt", "/nonexistent.key");
    EXPECT_LT(CheckedSearch(q).initRc, 0);
    EXPECT_EQ(QARN_LDAP_ERR_TLS, QLIBCErrGet());
}

// --- searches -----------------------------------------------------------------------------------

TEST_F(LDAPLibrary, EntriesAsKeyValueBlocks) {
    const Slapd& server = Slapd::Qarn();
    Query q = Bound(server);
    q.filter = "(objectClass=posixAccount)";
    q.attrs = {"dn", "uid", "uidNumber", "sambaNTPassword"};
    Outcome out = CheckedSearch(q);
    ASSERT_EQ(0, out.initRc);
    EXPECT_EQ(0, out.status);
    ASSERT_EQ(std::stoul(server.Get("USERS_COUNT")), out.entries.size());
    const std::set<std::string> asked(q.attrs.begin(), q.attrs.end());
    for (const Entry& entry : out.entries) {
        ASSERT_FALSE(entry.empty());
        EXPECT_EQ("dn", entry[0].first);
        for (const auto& pair : entry) EXPECT_EQ(1u, asked.count(pair.first)) << pair.first;
    }
    // Values come as they are: empty, with blanks, or no pair for an absent attribute.
    for (const Json::Value& c : FixtureJson("ldap_entry_values.json")) {
        SCOPED_TRACE(c["rdn"].asString() + " " + c["key"].asString());
        const Entry* entry = FindDN(out, c["rdn"].asString() + "," + server.Get("PEOPLE_DN"));
        ASSERT_NE(nullptr, entry);
        std::vector<std::string> values;
        for (const Json::Value& value : c["values"]) values.push_back(value.asString());
        EXPECT_EQ(values, Values(*entry, c["key"].asString()));
    }
}

TEST_F(LDAPLibrary, OneEntrysPairs) {
    for (const Json::Value& c : FixtureJson("ldap_one_entry_pairs.json")) {
        SCOPED_TRACE(c["about"].asString());
        Query q = Bound(Slapd::Qarn());
        q.filter = c["filter"].isNull() ? nullptr : c["filter"].asCString();
        q.allocAttrs = !c["attrs"].isNull();
        for (const Json::Value& attr : c["attrs"]) q.attrs.push_back(attr.asString());
        q.oneEntry = c["one_entry"].asInt();
        Entry expected;
        for (const Json::Value& pair : c["pairs"])
            expected.emplace_back(pair[0].asString(), pair[1].asString());
        Outcome out = CheckedSearch(q);
        // Stopping after one entry, the server may end with size limit exceeded.
        EXPECT_TRUE(out.status == 0 || (q.oneEntry && out.status == 4)) << out.status;
        EXPECT_EQ(std::vector<Entry>{expected}, out.entries);
    }
}

// Many entries, read whole or page by page, one entry a block; a server's size limit ends with 4.
TEST_F(LDAPLibrary, StreamsManyEntriesPageByPage) {
    Slapd limited;
    ASSERT_TRUE(limited.Start({"--layout", "plain", "--sizelimit", "5"}));
    const Slapd& big = Slapd::Big();
    size_t users = std::stoul(big.Get("USERS_COUNT"));
    ASSERT_GT(users, 5000u);
    const struct {
        const Slapd& server;
        int pageSize;
        int status;
        size_t count;
    } cases[] = {{big, 0, 0, users}, {big, 333, 0, users}, {limited, 0, 4, 5}};
    for (const auto& c : cases) {
        Query q = Bound(c.server);
        q.filter = "(objectClass=posixAccount)";
        q.attrs = {"dn", "uid", "uidNumber", "sambaNTPassword"};
        q.pageSize = c.pageSize;
        Outcome out = CheckedSearch(q);
        SCOPED_TRACE(c.count);
        EXPECT_EQ(c.status, out.status);
        EXPECT_LE(out.maxBlockPairs, 4);
        std::set<std::string> dns;
        for (const Entry& entry : out.entries) dns.insert(entry.at(0).second);
        EXPECT_EQ(c.count, dns.size());
        EXPECT_EQ(c.count, out.entries.size());
    }
}

// --- server type --------------------------------------------------------------------------------

TEST_F(LDAPLibrary, ServerTypeProbe) {
    for (const Json::Value& c : FixtureJson("ldap_server_type.json")) {
        SCOPED_TRACE(c["about"].asString());
        Query q = Bound(Slapd::Named(c["server"].asString()), c["address"].asString());
        q.tls = QARNLDAPSSLToType(c["tls"].asCString());
        q.bindPW = c["password"].asString();
        int type = c["type"].isNull()    ? -1
                   : c["type"] == "qarn" ? QARN_LDAP_SERVER_QARN
                                         : QARN_LDAP_SERVER_OPENLDAP;
        QARN_LDAP_CONN conn = Conn(q);
        QLIBCErrSetEx(0, "", 0);
        int rc = QARNLDAPBrowserCheckServerType(&conn);
        EXPECT_EQ(type, conn.serverType);
        EXPECT_EQ(type == -1, rc < 0);
        if (type == -1) {
            EXPECT_EQ(QARN_LDAP_ERR_PROBE, QLIBCErrGet());
        }
    }
    EXPECT_LT(QARNLDAPBrowserCheckServerType(nullptr), 0);
}

// --- configuration file -------------------------------------------------------------------------

class LDAPConfSetOne : public ::testing::Test {
  protected:
    void SetUp() override {
        std::filesystem::remove_all(dir_);
        std::filesystem::create_directory(dir_);
    }

    int Set(const char* key, const char* value, int flag) {
        return QARNLDAPConfSetOne(conf_.c_str(), defaults_.c_str(), key, value, flag);
    }

    const std::string dir_ = "/tmp/ldapconf", conf_ = dir_ + "/ldap.conf",
                      defaults_ = dir_ + "/defaults.conf";
};

TEST_F(LDAPConfSetOne, SetsOrResetsOneKeyAndKeepsEveryOtherLine) {
    for (const Json::Value& c : FixtureJson("ldap_conf_set_one.json")) {
        SCOPED_TRACE(c["about"].asString());
        Sandbox::Remove(conf_);
        Sandbox::Remove(defaults_);
        if (c.isMember("conf")) Sandbox::WriteFile(conf_, c["conf"].asString());
        if (c.isMember("defaults")) Sandbox::WriteFile(defaults_, c["defaults"].asString());
        const char* value = c["value"].isNull() ? nullptr : c["value"].asCString();
        ASSERT_EQ(0, Set(c["key"].asCString(), value, c["reset"].asInt()));
        EXPECT_EQ(c["expected"].asString(), Sandbox::ReadFile(conf_));
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
    const std::pair<const char*, const char*> bad[] = {
        {"TLS CERT", "/c"}, {"", "/c"}, {nullptr, "/c"}, {"TLS_CERT", "/c\nTLS_REQCERT never"}};
    for (const auto& b : bad) EXPECT_LT(Set(b.first, b.second, 0), 0) << b.second;
    EXPECT_LT(Set("TLS_CERT", "/c", 2), 0);
    EXPECT_EQ(QARN_LDAP_ERR_PARAM, QLIBCErrGet());
    EXPECT_LT(QARNLDAPConfSetOne(nullptr, nullptr, "TLS_CERT", "/c", 0), 0);
    EXPECT_LT(QARNLDAPConfSetOne("/proc/nonexistent/ldap.conf", nullptr, "K", "v", 0), 0);
    EXPECT_EQ(QARN_LDAP_ERR_CONF, QLIBCErrGet());
}

// --- bound status and debug switch --------------------------------------------------------------

TEST_F(LDAPLibrary, IsBindedFollowsNsswitch) {
    for (const Json::Value& c : FixtureJson("ldap_nsswitch.json")) {
        Sandbox::WriteFile("/etc/nsswitch.conf", c["nsswitch"].asString());
        EXPECT_EQ(c["binded"].asInt(), QARNLDAPIsBinded()) << c["nsswitch"].asString();
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
