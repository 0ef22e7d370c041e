// The LDAP checks, called through their entry functions against real slapd instances. The
// sandbox holds the local accounts, the platform's LDAP configuration and the client certificate.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "api_table.hpp"
#include "call.hpp"
#include "check_ldap.hpp"
#include "dns_server.hpp"
#include "fixture.hpp"
#include "ldap_cache_reader.hpp"
#include "ldap_cache_writer.hpp"
#include "sandbox.hpp"
#include "slapd.hpp"
#include "slapd_checks.hpp"
#include "util.hpp"

namespace {

const char kConf[] = "/usr/qarn/etc/openldap/ldap.conf";

// The checks that list troublesome entries, by the name of the instances' expectation files.
const struct EntryCheck {
    const char* name;
    QARN::APIEntryFunction entry;
    const char* type;
    int code;
} kEntryChecks[] = {
    {"user_name_empty", CheckLDAPUserNameEmpty_v1, "user", 1042},
    {"user_name_dup", CheckLDAPUserNameDup_v1, "user", 1043},
    {"user_id_empty", CheckLDAPUserIdEmpty_v1, "user", 1044},
    {"user_id_type", CheckLDAPUserIdType_v1, "user", 1045},
    {"user_id_dup", CheckLDAPUserIdDup_v1, "user", 1046},
    {"group_name_empty", CheckLDAPGroupNameEmpty_v1, "group", 1047},
    {"group_name_dup", CheckLDAPGroupNameDup_v1, "group", 1048},
    {"group_id_empty", CheckLDAPGroupIdEmpty_v1, "group", 1049},
    {"group_id_type", CheckLDAPGroupIdType_v1, "group", 1050},
    {"group_id_dup", CheckLDAPGroupIdDup_v1, "group", 1051},
};

QARN::APIEntryFunction EntryCheckNamed(const std::string& name) {
    return std::find_if(std::begin(kEntryChecks), std::end(kEntryChecks),
                        [&name](const EntryCheck& check) { return name == check.name; })
        ->entry;
}

// The answer of an entry check of a fresh query that lists the DNs in list.
Json::Value ListAnswer(const std::vector<std::string>& list, const char* type = nullptr) {
    Json::Value answer;
    answer["level"] = 1;
    if (type) answer["params"]["type"] = type;
    answer["params"]["forced_get_data"] = true;
    answer["info"]["list"] = Json::arrayValue;
    for (const std::string& dn : list) answer["info"]["list"].append(dn);
    return answer;
}

class LDAPChecks : public ::testing::Test {
  protected:
    void SetUp() override { LayOutCheckSandbox(); }
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
    Json::Value entries(Json::arrayValue);
    {
        LDAPCacheWriter writer("/tmp/cache.json", "user");
        for (const char* text : {"plain", "quote \" backslash \\ tab \t control \x01 end",
                                 "\xC3\xA4\xE2\x82\xAC utf-8", ""}) {
            LDAPEntry entry;
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
    // Each entry as written, its name found through the cache's attributes member.
    Json::Value read(Json::arrayValue);
    LDAPCacheReader reader("/tmp/cache.json", "user");
    ASSERT_TRUE(reader.Read([&read](const LDAPEntry& entry, const ResultAttributes& attributes) {
        Json::Value item = entry.ToJson();
        item["uid"] = *entry.Find(attributes.name);
        read.append(item);
    }));
    EXPECT_FALSE(reader.NeedsSecondPass());
    EXPECT_EQ(entries, read);
}

// --- server address and bind --------------------------------------------------------------------

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
        Json::Value params, expected;
        params["server_address"] = c.address;
        params["dns"] = DnsServer::kAddress;
        if (c.probed) expected["server_address"] = c.probed;
        ExpectAnswer(CallEntry(CheckLDAPServerAddress_v1, params), c.code, expected);
    }
}

// Every success answers the server's bind DN.
TEST_F(LDAPChecks, AuthInfo) {
    for (const Json::Value& c : FixtureJson("ldap_auth_info.json")) {
        SCOPED_TRACE(c["about"].asString());
        const Slapd& server = Slapd::Named(c["server"].asString());
        Json::Value params = CheckRequest(server);
        for (const std::string& name : c["overrides"].getMemberNames())
            params[name] = c["overrides"][name];
        if (params["server_address"] == "ldaps") params["server_address"] = server.LDAPSAddress();
        QARN::APIResponse response = CallEntry(CheckLDAPAuthInfo_v1, params);
        Json::Value details = c["details"];
        if (c["code"] == 0) details["bind_dn"] = server.Get("BIND_DN");
        if (c.isMember("details") || c["code"] == 0) {
            ExpectAnswer(response, c["code"].asInt(), details);
        } else {
            EXPECT_EQ(c["code"].asInt(), response.GetErrorCode());
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
        Json::Value expected;
        expected["profile_rules"] = DefaultProfileRules();
        ExpectAnswer(CallEntry(CheckLDAPProfile_v1, CheckRequest(server, type)), 0, expected);
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
    Json::Value params = CheckRequest(Slapd::Qarn());
    params["profile_rules"] = ConcatJsonArray(
        ParseJson(R"j([{"attribute": "uid", "target": "login"}])j"), DefaultProfileRules());
    params["modify_user_profile"] = true;
    params["profile_user_uid"] = "";  // the rule's target becomes "", the default "uid" applies
    params["profile_user_filter"] = "(objectClass=posixAccount)";
    params["profile_user_uid_number"] = "HASH(uidNumber)";
    Json::Value expected;
    expected["name"] = "customized";
    expected["profile_rules"] = params["profile_rules"];  // edited in place, nothing added
    expected["profile_rules"][2]["target"] = "";
    expected["profile_rules"][3]["target"] = "HASH(uidNumber)";
    ExpectAnswer(CallEntry(CheckLDAPProfile_v1, params), 0, expected);
    Json::Value cache = ParseJson(Sandbox::ReadFile("/tmp/LDAP_result_user.json"));
    EXPECT_TRUE(cache["skip_id_type_check"].asBool());
    EXPECT_EQ("uid", cache["attribute"]["name"].asString());
}

TEST_F(LDAPChecks, ProfileMismatch) {
    Json::Value params = CheckRequest(Slapd::Qarn(), "group");
    params["modify_group_profile"] = true;
    params["profile_group_gid_number"] = "gid";
    ExpectAnswer(CallEntry(CheckLDAPProfile_v1, params), 1041, ParseJson(R"j({
        "data": {"profile_group_filter": "(objectClass=posixGroup)", "profile_group_cn": "cn",
                 "profile_group_gid_number": "gid"},
        "level": 1, "params": {"modify_group_profile": true}})j"));
    for (const auto& file : std::filesystem::directory_iterator("/tmp")) {  // nothing half-written
        EXPECT_EQ(std::string::npos, file.path().string().find("LDAP_result_group"));
    }
    params = CheckRequest(Slapd::Qarn());
    params["bind_pw"] = "wrong";
    ExpectAnswer(CallEntry(CheckLDAPProfile_v1, params), 1040, ParseJson(R"j({"ldap_errcode": 49,
        "data": {"profile_user_filter": "(objectClass=posixAccount)", "profile_user_uid": "uid",
                 "profile_user_uid_number": "uidNumber"},
        "level": 0, "params": {"modify_user_profile": true}})j"));
    params = CheckRequest(Slapd::Qarn(), "any");
    EXPECT_EQ(1041, CallEntry(CheckLDAPProfile_v1, params).GetErrorCode());
    params["type"] = "../../etc/passwd";
    ExpectAnswer(CallEntry(CheckLDAPProfile_v1, params), 1, Json::Value());
}

// --- entries ------------------------------------------------------------------------------------

TEST_F(LDAPChecks, EntryChecksListTheTroublesomeEntries) {
    const Slapd& server = Slapd::Plain();  // another OpenLDAP: "admin" and "users" clash too
    for (const EntryCheck& c : kEntryChecks) {
        Json::Value expected = ListAnswer(server.Expect(c.name), c.type);
        ASSERT_LE(2u, expected["info"]["list"].size()) << c.name;
        if (c.code == 1046 || c.code == 1051) expected["isPlural"] = true;
        ExpectAnswer(CallEntry(c.entry, CheckRequest(server, c.type)), c.code, expected);
    }
}

TEST_F(LDAPChecks, DuplicatesOnTheOwnServer) {
    const Slapd& server = Slapd::Qarn();
    // The platform's own "admin", "users" and "administrators" are no clash there.
    ExpectAnswer(CallEntry(CheckLDAPUserNameDup_v1, CheckRequest(server)), 1043,
                 ListAnswer({"root", "daemon"}, "user"));
    ExpectAnswer(CallEntry(CheckLDAPGroupNameDup_v1, CheckRequest(server, "group")), 1048,
                 ListAnswer({"root", "daemon"}, "group"));
    Sandbox::WriteFile("/etc/passwd", "admin:x:1024:100::/:/bin/sh\n");  // one ID duplicate
    Json::Value single = ListAnswer({server.Get("ADMIN_DN")}, "user");
    single["isPlural"] = false;
    ExpectAnswer(CallEntry(CheckLDAPUserIdDup_v1, CheckRequest(server)), 1046, single);

    Json::Value params = CheckRequest(server);
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
    Json::Value params = CheckRequest(Slapd::Qarn(), "group");  // always the users
    ExpectAnswer(CallEntry(CheckLDAPSambaNTPwd_v1, params), 1053,
                 ListAnswer(Slapd::Qarn().Expect("user_ntpwd")));
    params["enable_cifs_pam"] = true;
    ExpectAnswer(CallEntry(CheckLDAPSambaNTPwd_v1, params), 0, Json::Value());

    ExpectAnswer(CallEntry(CheckLDAPSambaSchema_v1, CheckRequest(Slapd::Qarn())), 0, Json::Value());
    params = CheckRequest(Slapd::Plain());
    ExpectAnswer(CallEntry(CheckLDAPSambaSchema_v1, params), 1052,
                 ParseJson(R"j({"ldap_errcode": 0, "level": 1})j"));
    params["enable_cifs_pam"] = "true";
    ExpectAnswer(CallEntry(CheckLDAPSambaSchema_v1, params), 0, Json::Value());
}

TEST_F(LDAPChecks, EntryChecksReadTheProfilesCache) {
    Slapd server;
    ASSERT_TRUE(server.Start({}));
    Json::Value params = CheckRequest(server);
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
// which fails (4).
TEST_F(LDAPChecks, EntryChecksReadAnyCacheTheyCanParse) {
    Json::Value params = CheckRequest(Slapd::Qarn());
    params["server_address"] = "127.0.0.1:1";
    params["forced_get_data"] = false;
    for (const Json::Value& c : FixtureJson("ldap_result_caches.json")) {
        SCOPED_TRACE(c["about"].asString());
        Sandbox::WriteFile("/tmp/LDAP_result_user.json", c["cache"].asString());
        QARN::APIResponse response = CallEntry(EntryCheckNamed(c["check"].asString()), params);
        EXPECT_EQ(c["code"].asInt(), response.GetErrorCode());
        if (c["code"].asInt() > 4) {
            EXPECT_EQ(c["list"], response.GetData()["info"]["list"]);
        }
    }
    // A link planted in place of the cache is not followed,
    Sandbox::WriteFile("/tmp/elsewhere.json",
                       R"({"attribute": {"name": "uid"}, "user": [{"dn": "a"}]})");
    Sandbox::Link("/tmp/elsewhere.json", "/tmp/LDAP_result_user.json");
    EXPECT_EQ(4, CallEntry(CheckLDAPUserNameEmpty_v1, params).GetErrorCode());
    Sandbox::Remove("/tmp/LDAP_result_user.json");  // nor is a pipe waited on
    ASSERT_EQ(0, mkfifo("/tmp/LDAP_result_user.json", 0644));
    EXPECT_EQ(4, CallEntry(CheckLDAPUserNameEmpty_v1, params).GetErrorCode());
}

TEST_F(LDAPChecks, CleanDirectoryPasses) {
    Sandbox::WriteFile("/tmp/empty", "");
    Slapd server;
    ASSERT_TRUE(server.Start({"--passwd", "/tmp/empty", "--group", "/tmp/empty"}));
    Json::Value params = CheckRequest(server);
    params["modify_user_profile"] = true;
    params["profile_user_filter"] = "(|(uid=alice)(uid=bob)(uid=carol))";
    params["profile_user_uid"] = "uid";
    params["profile_user_uid_number"] = "uidNumber";
    for (const EntryCheck& c : kEntryChecks) {
        if (*c.type == 'u') ExpectAnswer(CallEntry(c.entry, params), 0, Json::Value());
    }
}

}  // namespace
