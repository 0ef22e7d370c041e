// The LDAP checks, called through their entry functions against real slapd instances. The
// sandbox holds the local accounts, the platform's LDAP configuration and the client certificate.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "api_table.hpp"
#include "call.hpp"
#include "check_ldap.hpp"
#include "dns_server.hpp"
#include "ldap_cache_reader.hpp"
#include "ldap_cache_writer.hpp"
#include "sandbox.hpp"
#include "slapd.hpp"
#include "util.hpp"

namespace {

const char kPasswd[] =
    "root:x:0:0:root:/root:/bin/bash\n"
    "daemon:x:1:1:daemon:/usr/sbin:/usr/sbin/nologin\n"
    "admin:x:1024:100::/home/admin:/bin/sh\n"
    "\n"
    "broken line\n";
const char kGroup[] =
    "root:x:0:\n"
    "daemon:x:1:\n"
    "users:x:100:\n"
    "administrators:x:101:\n";
const char kConf[] = "/usr/qarn/etc/openldap/ldap.conf";
const char kAttributes[] = R"("attribute": {"name": "uid", "id": "uidNumber"})";

Json::Value DefaultRules() {
    return ParseJson(R"j([
        {"category": "filter", "attribute": "passwd", "target": "(objectClass=posixAccount)"},
        {"category": "passwd", "attribute": "uid", "target": "uid"},
        {"category": "passwd", "attribute": "uidNumber", "target": "uidNumber"},
        {"category": "filter", "attribute": "group", "target": "(objectClass=posixGroup)"},
        {"category": "group", "attribute": "cn", "target": "cn"},
        {"category": "group", "attribute": "gidNumber", "target": "gidNumber"}])j");
}

// A request for server, bound with its full bind DN, that asks for fresh data.
Json::Value Params(const Slapd& server, const std::string& type = "user") {
    Json::Value params = server.BindRequest();
    params["profile_rules"] = DefaultRules();
    params["type"] = type;
    params["forced_get_data"] = true;
    return params;
}

Json::Value List(const std::vector<std::string>& items) {
    Json::Value list(Json::arrayValue);
    for (const std::string& item : items) list.append(item);
    return list;
}

class LDAPChecks : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        const std::string& certs = Slapd::SharedCertificates();
        Sandbox::WriteFile("/var/lib/ldap/ldapclient.crt",
                           Sandbox::ReadFile(certs + "/client.crt"));
        Sandbox::WriteFile("/var/lib/ldap/ldapclient.key", Sandbox::ReadFile(certs + "/client.key"),
                           0600);
    }
    void SetUp() override {
        Sandbox::WriteFile("/etc/passwd", kPasswd);
        Sandbox::WriteFile("/etc/group", kGroup);
        std::string conf = "TLS_CACERT " + Slapd::SharedCertificates() + "/ca.crt\n";
        Sandbox::WriteFile(kConf, conf);
        Sandbox::WriteFile("/usr/qarn/etc.defaults/openldap/ldap.conf", conf);
        Sandbox::Remove("/tmp/LDAP_result_user.json");
        Sandbox::Remove("/tmp/LDAP_result_group.json");
    }
};

// --- frame --------------------------------------------------------------------------------------

TEST(LDAPTestHandlerFrame, ProfileRules) {
    Json::Value params;
    params["profile_rules"] = ParseJson(R"j([
        {"category": "passwd", "attribute": "uidNumber", "target": "HASH(objectGUID)"},
        {"category": "passwd", "attribute": "uid", "target": "HASH(sAMAccountName)"},
        {"category": "group", "attribute": "cn", "target": ""},
        {"category": "group", "attribute": "cn", "target": "second"},
        "not a rule"])j");
    QARN::APIRequest request("api", "method", 1, params, "admin", "127.0.0.1");
    QARN::APIResponse response;
    LDAPTestHandler handler(&request, &response);
    EXPECT_EQ(-1, handler.GetParams());  // no server: answered with error 1
    EXPECT_EQ(1, response.GetErrorCode());

    EXPECT_EQ("sAMAccountName", handler.GetProfile("passwd", "uid", "uid"));
    EXPECT_EQ("cn",
              handler.GetProfile("group", "cn", "cn"));  // the first rule counts, "" falls back
    EXPECT_EQ("objectGUID", handler.GetProfile("passwd", "uidNumber", "uidNumber"));

    handler.SetProfile("passwd", "uid", "login");
    handler.SetProfile("filter", "passwd", "(objectClass=person)");  // no such rule: not added
    EXPECT_EQ("login", handler.GetProfile("passwd", "uid", "uid"));
    EXPECT_EQ("(x)", handler.GetProfile("filter", "passwd", "(x)"));
}

TEST(LDAPTestHandlerFrame, LocalAccounts) {
    Sandbox::WriteFile("/tmp/accounts", "a:x:1:\nb:x:01\nc:x::\n\nnocolon\nd:x:7:7\na:y:1:\n");
    std::set<std::string> names, ids;
    EXPECT_EQ(0, LDAPTestHandler::ReadLocalAccounts("/tmp/accounts", "name", &names));
    EXPECT_EQ(0, LDAPTestHandler::ReadLocalAccounts("/tmp/accounts", "id", &ids));
    EXPECT_EQ((std::set<std::string>{"a", "b", "c", "d"}), names);
    EXPECT_EQ((std::set<std::string>{"1", "", "7"}), ids);  // b has no third colon
    EXPECT_EQ(0, LDAPTestHandler::ReadLocalAccounts("/tmp/missing", "id", &ids));
}

TEST(LDAPResultCache, WrittenAndReadBackAsTheSameValue) {
    Json::Value result =
        ParseJson(R"j({"server_type": 1, "attribute": {"name": "uid", "id": "n"}})j");
    LDAPEntry entry;
    Json::Value entries(Json::arrayValue);
    std::vector<std::string> read;
    {
        LDAPCacheWriter writer("/tmp/cache.json", "user");
        for (const char* text : {"plain", "quote \" backslash \\ tab \t control \x01 end",
                                 "\xC3\xA4\xE2\x82\xAC utf-8", ""}) {
            entry.Clear();
            entry.Set("dn", text);
            entry.Set("uid", "x");
            entry.Set("uid", text);  // the later value counts
            writer.Add(result, entry);
            entries.append(entry.ToJson());
        }
        result["ldap_errcode"] = 0;
        ASSERT_TRUE(writer.Commit(result));
    }
    Json::Value written;
    ASSERT_TRUE(JsonFromFile("/tmp/cache.json", written));
    result["user"] = entries;
    EXPECT_EQ(result, written);
    LDAPCacheReader reader("/tmp/cache.json", "user");
    ASSERT_TRUE(reader.Read([&read](const LDAPEntry& entry, const ResultAttributes& attributes) {
        read.push_back(*entry.Find(attributes.name));
    }));
    EXPECT_FALSE(reader.NeedsSecondPass());
    ASSERT_EQ(entries.size(), read.size());
    for (unsigned i = 0; i < read.size(); ++i) EXPECT_EQ(entries[i]["uid"].asString(), read[i]);
}

// --- server address -----------------------------------------------------------------------------

TEST_F(LDAPChecks, ServerAddress) {
    Slapd::Qarn();    // LDAP and LDAPS on 127.0.0.1
    Slapd ldapsOnly;  // nothing on port 389 of 127.0.0.6
    ASSERT_TRUE(
        ldapsOnly.Start({"--host", "127.0.0.6", "--ldap-port", "1389", "--ldaps-port", "636"}));
    DnsServer dns("ex.test");
    dns.AddHost("ldap.ex.test", {"127.0.0.1"}).AddHost("nowhere.ex.test", {"127.0.0.9"}).Start();

    const struct {
        const char* address;
        int code;
        const char* probed;
    } cases[] = {
        {"127.0.0.1", 0, "127.0.0.1"},      {"127.0.0.6", 0, "127.0.0.6"},
        {"ldap.ex.test", 0, "127.0.0.1"},   {"nowhere.ex.test", 1016, nullptr},
        {"missing.ex.test", 1000, nullptr}, {"", 501, nullptr},
    };
    for (const auto& c : cases) {
        Json::Value params;
        params["server_address"] = c.address;
        params["dns"] = DnsServer::kAddress;
        Json::Value expected;
        if (c.probed) expected["server_address"] = c.probed;
        ExpectAnswer(CallEntry(CheckLDAPServerAddress_v1, params), c.code, expected);
    }
}

// --- bind ---------------------------------------------------------------------------------------

TEST_F(LDAPChecks, AuthInfo) {
    // The members of overrides replace those of Params(server); a server_address of "ldaps" is the
    // server's LDAPS listener. Every success answers the server's bind DN.
    const struct {
        const Slapd& server;
        const char* overrides;
        int code;
        const char* details;
    } cases[] = {
        {Slapd::Qarn(), R"({"bind_dn": "ldapbind"})", 0, ""},    // uid=NAME,cn=users,BASE
        {Slapd::Qarn(), R"({"server_address": "::1"})", 0, ""},  // IPv6 goes in brackets
        {Slapd::Qarn(), R"({"server_address": "127.0.0.1", "encryption": "ssl"})", 0, ""},
        {Slapd::Qarn(), R"({"server_address": "127.0.0.1", "encryption": "start_tls"})", 0, ""},
        {Slapd::Qarn(), R"({"bind_pw": "wrong"})", 1030, R"({"ldap_errcode": 49, "level": 0})"},
        {Slapd::Qarn(), R"({"encryption": "bogus"})", 4, "null"},
        {Slapd::Qarn(), R"({"server_address": ""})", 1, "null"},
        {Slapd::Qarn(), R"({"base_dn": ""})", 1, "null"},
        {Slapd::Qarn(), R"({"encryption": ""})", 1, "null"},
        {Slapd::Qarn(), R"({"bind_dn": ""})", 1, "null"},
        {Slapd::Qarn(), R"({"bind_pw": ""})", 1, "null"},
        {Slapd::TLSOnly(), "{}", 1054,
         R"({"ldap_errcode": 13, "level": 0, "data": {"encryption": "start_tls"}})"},
        {Slapd::TLSOnly(), R"({"encryption": "start_tls"})", 0, ""},
        {Slapd::ClientCert(), R"({"server_address": "ldaps", "encryption": "ssl"})", 1030, ""},
        // A bind name is used unchanged with a client certificate.
        {Slapd::ClientCert(),
         R"({"server_address": "ldaps", "encryption": "ssl", "enable_client_certificate": true})",
         0, ""},
    };
    for (const auto& c : cases) {
        Json::Value params = Params(c.server);
        Json::Value overrides = ParseJson(c.overrides);
        for (const std::string& name : overrides.getMemberNames()) params[name] = overrides[name];
        if (params["server_address"] == "ldaps") params["server_address"] = c.server.LDAPSAddress();
        QARN::APIResponse response = CallEntry(CheckLDAPAuthInfo_v1, params);
        SCOPED_TRACE(c.overrides);
        if (c.code == 0) {
            Json::Value expected;
            expected["bind_dn"] = c.server.Get("BIND_DN");
            ExpectAnswer(response, 0, expected);
        } else if (*c.details) {
            ExpectAnswer(response, c.code, ParseJson(c.details));
        } else {
            EXPECT_EQ(c.code, response.GetErrorCode());
        }
    }
    EXPECT_TRUE(Sandbox::Logged("Err: Check all params"));
    // The client certificate is switched off again when the request ended.
    EXPECT_EQ(std::string::npos, Sandbox::ReadFile(kConf).find("TLS_CERT"));
    EXPECT_EQ(std::string::npos, Sandbox::ReadFile(kConf).find("TLS_KEY"));
}

// --- profile ------------------------------------------------------------------------------------

TEST_F(LDAPChecks, ProfileFitsAndIsCached) {
    const Slapd& server = Slapd::Qarn();
    for (const char* type : {"user", "group"}) {
        Json::Value params = Params(server, type);
        Json::Value expected;
        expected["profile_rules"] = DefaultRules();
        ExpectAnswer(CallEntry(CheckLDAPProfile_v1, params), 0, expected);
        Json::Value cache =
            ParseJson(Sandbox::ReadFile(std::string("/tmp/LDAP_result_") + type + ".json"));
        EXPECT_EQ(1, cache["server_type"].asInt());
        EXPECT_EQ(0, cache["ldap_errcode"].asInt());
        EXPECT_FALSE(cache["skip_id_type_check"].asBool());
        EXPECT_EQ(
            std::stoul(server.Get(type == std::string("user") ? "USERS_COUNT" : "GROUPS_COUNT")),
            cache[type].size());
    }
    // Every attribute of an entry reaches the cache.
    Json::Value admin = ParseJson(R"j({"uid": "admin", "uidNumber": "1024",
                                       "sambaNTPassword": "00000001000000070000000D000F4241"})j");
    admin["dn"] = server.Get("ADMIN_DN");
    Json::Value cache = ParseJson(Sandbox::ReadFile("/tmp/LDAP_result_user.json"));
    EXPECT_EQ(ParseJson(R"j({"name": "uid", "id": "uidNumber"})j"), cache["attribute"]);
    EXPECT_EQ(admin, cache["user"][0]);
}

TEST_F(LDAPChecks, ProfileCustomized) {
    Json::Value params = Params(Slapd::Qarn());
    params["profile_rules"] = ConcatJsonArray(
        ParseJson(R"j([{"attribute": "uid", "target": "login"}])j"), DefaultRules());
    params["modify_user_profile"] = true;
    params["profile_user_uid"] = "";  // the rule's target becomes "", the default "uid" applies
    params["profile_user_filter"] = "(objectClass=posixAccount)";
    params["profile_user_uid_number"] = "HASH(uidNumber)";
    Json::Value rules = params["profile_rules"];
    rules[2]["target"] = "";
    rules[3]["target"] = "HASH(uidNumber)";
    Json::Value expected;
    expected["name"] = "customized";
    expected["profile_rules"] = rules;  // edited in place, nothing added
    ExpectAnswer(CallEntry(CheckLDAPProfile_v1, params), 0, expected);
    Json::Value cache = ParseJson(Sandbox::ReadFile("/tmp/LDAP_result_user.json"));
    EXPECT_TRUE(cache["skip_id_type_check"].asBool());
    EXPECT_EQ("uid", cache["attribute"]["name"].asString());
}

TEST_F(LDAPChecks, ProfileMismatch) {
    Json::Value params = Params(Slapd::Qarn(), "group");
    params["modify_group_profile"] = true;
    params["profile_group_gid_number"] = "gid";
    ExpectAnswer(CallEntry(CheckLDAPProfile_v1, params), 1041, ParseJson(R"j({
        "data": {"profile_group_filter": "(objectClass=posixGroup)", "profile_group_cn": "cn",
                 "profile_group_gid_number": "gid"},
        "level": 1, "params": {"modify_group_profile": true}})j"));
    for (const auto& file : std::filesystem::directory_iterator("/tmp")) {  // nothing half-written
        EXPECT_EQ(std::string::npos, file.path().string().find("LDAP_result_group"));
    }

    params = Params(Slapd::Qarn());
    params["bind_pw"] = "wrong";
    ExpectAnswer(CallEntry(CheckLDAPProfile_v1, params), 1040, ParseJson(R"j({"ldap_errcode": 49,
        "data": {"profile_user_filter": "(objectClass=posixAccount)", "profile_user_uid": "uid",
                 "profile_user_uid_number": "uidNumber"},
        "level": 0, "params": {"modify_user_profile": true}})j"));

    params = Params(Slapd::Qarn(), "any");
    EXPECT_EQ(1041, CallEntry(CheckLDAPProfile_v1, params).GetErrorCode());
    params["type"] = "../../etc/passwd";
    ExpectAnswer(CallEntry(CheckLDAPProfile_v1, params), 1, Json::Value());
}

// --- entries ------------------------------------------------------------------------------------

TEST_F(LDAPChecks, EntryChecksListTheTroublesomeEntries) {
    const struct {
        QARN::APIEntryFunction entry;
        const char* type;
        const char* expectation;
        int code;
    } cases[] = {
        {CheckLDAPUserNameEmpty_v1, "user", "user_name_empty", 1042},
        {CheckLDAPUserNameDup_v1, "user", "user_name_dup", 1043},
        {CheckLDAPUserIdEmpty_v1, "user", "user_id_empty", 1044},
        {CheckLDAPUserIdType_v1, "user", "user_id_type", 1045},
        {CheckLDAPUserIdDup_v1, "user", "user_id_dup", 1046},
        {CheckLDAPGroupNameEmpty_v1, "group", "group_name_empty", 1047},
        {CheckLDAPGroupNameDup_v1, "group", "group_name_dup", 1048},
        {CheckLDAPGroupIdEmpty_v1, "group", "group_id_empty", 1049},
        {CheckLDAPGroupIdType_v1, "group", "group_id_type", 1050},
        {CheckLDAPGroupIdDup_v1, "group", "group_id_dup", 1051},
    };
    const Slapd& server = Slapd::Plain();  // another OpenLDAP: "admin" and "users" clash too
    for (const auto& c : cases) {
        Json::Value expected;
        expected["level"] = 1;
        expected["params"]["type"] = c.type;
        expected["params"]["forced_get_data"] = true;
        expected["info"]["list"] = List(server.Expect(c.expectation));
        ASSERT_LE(2u, expected["info"]["list"].size()) << c.expectation;
        if (c.code == 1046 || c.code == 1051) expected["isPlural"] = true;
        ExpectAnswer(CallEntry(c.entry, Params(server, c.type)), c.code, expected);
    }
}

TEST_F(LDAPChecks, DuplicatesOnTheOwnServer) {
    const Slapd& server = Slapd::Qarn();
    // The platform's own "admin", "users" and "administrators" are no clash there.
    QARN::APIResponse response = CallEntry(CheckLDAPUserNameDup_v1, Params(server));
    EXPECT_EQ(1043, response.GetErrorCode());
    EXPECT_EQ(StringArray({"root", "daemon"}), response.GetData()["info"]["list"]);
    response = CallEntry(CheckLDAPGroupNameDup_v1, Params(server, "group"));
    EXPECT_EQ(1048, response.GetErrorCode());
    EXPECT_EQ(StringArray({"root", "daemon"}), response.GetData()["info"]["list"]);

    Sandbox::WriteFile("/etc/passwd", "admin:x:1024:100::/:/bin/sh\n");  // one ID duplicate
    response = CallEntry(CheckLDAPUserIdDup_v1, Params(server));
    EXPECT_EQ(StringArray({server.Get("ADMIN_DN").c_str()}), response.GetData()["info"]["list"]);
    EXPECT_FALSE(response.GetData()["isPlural"].asBool());

    Json::Value params = Params(server);
    params["enable_idmap"] = "true";
    params["type"] = Json::Value(Json::objectValue);  // not even read
    ExpectAnswer(CallEntry(CheckLDAPUserIdDup_v1, params), 0, Json::Value());
    params["type"] = "user";
    for (const Json::Value& off : {Json::Value("yes"), Json::Value(1), Json::Value(false)}) {
        params["enable_idmap"] = off;
        EXPECT_EQ(1046, CallEntry(CheckLDAPUserIdDup_v1, params).GetErrorCode()) << off;
    }
}

TEST_F(LDAPChecks, SambaNTPasswordAndSchema) {
    Json::Value expected;
    expected["level"] = 1;
    expected["params"]["forced_get_data"] = true;
    expected["info"]["list"] = List(Slapd::Qarn().Expect("user_ntpwd"));
    Json::Value params = Params(Slapd::Qarn(), "group");  // always the users
    ExpectAnswer(CallEntry(CheckLDAPSambaNTPwd_v1, params), 1053, expected);
    params["enable_cifs_pam"] = true;
    ExpectAnswer(CallEntry(CheckLDAPSambaNTPwd_v1, params), 0, Json::Value());

    ExpectAnswer(CallEntry(CheckLDAPSambaSchema_v1, Params(Slapd::Qarn())), 0, Json::Value());
    ExpectAnswer(CallEntry(CheckLDAPSambaSchema_v1, Params(Slapd::Plain())), 1052,
                 ParseJson(R"j({"ldap_errcode": 0, "level": 1})j"));
    params = Params(Slapd::Plain());
    params["enable_cifs_pam"] = "true";
    ExpectAnswer(CallEntry(CheckLDAPSambaSchema_v1, params), 0, Json::Value());
}

TEST_F(LDAPChecks, EntryChecksReadTheProfilesCache) {
    Slapd server;
    ASSERT_TRUE(server.Start({}));
    Json::Value params = Params(server);
    params["modify_user_profile"] = true;
    params["profile_user_uid_number"] = "HASH(uidNumber)";
    ASSERT_TRUE(CallEntry(CheckLDAPProfile_v1, params).IsSuccess());
    server.Stop();

    // No server any more: the checks answer from the cache, made with the hashed-ID profile.
    params["server_address"] = "127.0.0.1:1";
    params["modify_user_profile"] = false;
    params["forced_get_data"] = false;
    ExpectAnswer(CallEntry(CheckLDAPUserIdType_v1, params), 0, Json::Value());
    EXPECT_EQ(1042, CallEntry(CheckLDAPUserNameEmpty_v1, params).GetErrorCode());
    EXPECT_EQ(1053, CallEntry(CheckLDAPSambaNTPwd_v1, params).GetErrorCode());
    // A fresh query is asked for: the server's failure is answered.
    params["forced_get_data"] = true;
    ExpectAnswer(CallEntry(CheckLDAPUserIdType_v1, params), 4,
                 ParseJson(R"j({"ldap_errcode": 81, "level": 0})j"));
    // No cache for the groups: a live query too.
    params["type"] = "group";
    params["forced_get_data"] = false;
    EXPECT_EQ(4, CallEntry(CheckLDAPGroupIdType_v1, params).GetErrorCode());
}

// A cache of no server: one that parses answers, one that does not is replaced by a live query,
// which fails (4). "@" in a cache stands for the attributes member.
TEST_F(LDAPChecks, EntryChecksReadAnyCacheTheyCanParse) {
    const struct {
        QARN::APIEntryFunction entry;
        int code;
        const char* list;  // the DNs listed, as JSON
        std::string cache;
    } cases[] = {
        // Nothing for the category: nothing to report.
        {CheckLDAPUserNameEmpty_v1, 0, "[]", "{@}"},
        {CheckLDAPUserIdType_v1, 0, "[]", R"({"user": 5})"},
        {CheckLDAPUserNameEmpty_v1, 0, "[]", "[]"},
        {CheckLDAPUserIdEmpty_v1, 0, "[]", R"({@, "user": [{"dn": "a"}], "user": null})"},
        // As the JSON library reads: byte order mark, comments, trailing commas and text after
        // the value; of members named twice the last counts.
        {CheckLDAPUserNameEmpty_v1, 1042, R"(["a"])",
         "\xEF\xBB\xBF// cache\n{@, "
         R"("user": [{"dn": "a", "uid": ""}, /* */ ],} trailing)"},
        {CheckLDAPUserNameEmpty_v1, 1042, R"(["b"])",
         R"({@, "user": [{"dn": "a"}], "user": [{"dn": "b", "uid": "x", "uid": 5}]})"},
        // Attributes after the entries.
        {CheckLDAPUserIdType_v1, 1045, R"(["a"])",
         R"({"user": [{"dn": "a", "uidNumber": "x"}, {"dn": "b", "no": "7"}],
            "attribute": {"name": "uid", "id": "no"}})"},
        // Entries that are no objects, values that are no strings, DNs that are empty.
        {CheckLDAPUserIdEmpty_v1, 1044, R"(["c", "d"])",
         R"({@, "user": [1, "x", [], {"dn": "c", "uid": {"uid": "y"}},
            {"dn": "", "uid": ""}, {"dn": "d", "uid": "u", "uidNumber": 7}]})"},
        {CheckLDAPUserIdType_v1, 0, "[]",
         R"({@, "user": [{"dn": "a"}], "skip_id_type_check": true})"},
        // The server type as any number or text.
        {CheckLDAPUserNameDup_v1, 1043, R"(["root"])",
         R"({"attribute": {"name": "uid"}, "user": [{"dn": "a", "uid": "root"},
            {"dn": "b", "uid": "admin"}], "server_type": 1.0})"},
        {CheckLDAPUserNameDup_v1, 1043, R"(["admin"])",
         R"({"attribute": {"name": "uid"}, "user": [{"dn": "b", "uid": "admin"}],
            "server_type": "1"})"},
        // Not JSON.
        {CheckLDAPUserNameEmpty_v1, 4, "[]", R"({"user": [{"dn": "a"})"},
        {CheckLDAPUserNameEmpty_v1, 4, "[]", ""},
    };
    Json::Value params = Params(Slapd::Qarn());
    params["server_address"] = "127.0.0.1:1";
    params["forced_get_data"] = false;
    for (const auto& c : cases) {
        std::string cache = c.cache;
        if (size_t at = cache.find('@'); at != std::string::npos) cache.replace(at, 1, kAttributes);
        SCOPED_TRACE(cache);
        Sandbox::WriteFile("/tmp/LDAP_result_user.json", cache);
        QARN::APIResponse response = CallEntry(c.entry, params);
        EXPECT_EQ(c.code, response.GetErrorCode());
        if (c.code > 4) {
            EXPECT_EQ(ParseJson(c.list), response.GetData()["info"]["list"]);
        }
    }
    // A link planted in place of the cache is not followed,
    Sandbox::WriteFile("/tmp/elsewhere.json",
                       std::string("{") + kAttributes + R"(, "user": [{"dn": "a"}]})");
    Sandbox::Link("/tmp/elsewhere.json", "/tmp/LDAP_result_user.json");
    EXPECT_EQ(4, CallEntry(CheckLDAPUserNameEmpty_v1, params).GetErrorCode());
    Sandbox::Remove("/tmp/LDAP_result_user.json");  // nor is a pipe waited on
    ASSERT_EQ(0, mkfifo("/tmp/LDAP_result_user.json", 0644));
    EXPECT_EQ(4, CallEntry(CheckLDAPUserNameEmpty_v1, params).GetErrorCode());
}

TEST_F(LDAPChecks, CleanDirectoryPasses) {
    Slapd server;
    std::string empty = "/tmp/empty";
    Sandbox::WriteFile(empty, "");
    ASSERT_TRUE(server.Start({"--passwd", empty, "--group", empty}));
    Json::Value params = Params(server);
    params["modify_user_profile"] = true;
    params["profile_user_filter"] = "(|(uid=alice)(uid=bob)(uid=carol))";
    params["profile_user_uid"] = "uid";
    params["profile_user_uid_number"] = "uidNumber";
    for (QARN::APIEntryFunction entry :
         {CheckLDAPUserNameEmpty_v1, CheckLDAPUserIdEmpty_v1, CheckLDAPUserIdType_v1,
          CheckLDAPUserNameDup_v1, CheckLDAPUserIdDup_v1}) {
        ExpectAnswer(CallEntry(entry, params), 0, Json::Value());
    }
}

}  // namespace
