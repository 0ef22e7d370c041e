// Unit tests of the net front's pure parts (platform/tools/net/net_front.hpp). Its behaviour
// against a real domain controller is tested on the test bed: tests/testbed/net-front-test.
#include "net_front.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace netfront {
namespace {

using Args = std::vector<std::string>;

const std::string kPin = "--option=name resolve order=host";

// Space-separated words; "PIN" stands for the option that pins name resolution to the host.
Args Words(const std::string& text) {
    Args words;
    std::istringstream stream(text);
    for (std::string word; stream >> word;) words.push_back(word == "PIN" ? kPin : word);
    return words;
}

TEST(NetFrontClassify, AdsInfoAndAuthAreTheFrontsOwn) {
    const std::pair<Args, Kind> cases[] = {
        {{"ads", "info", "-d0", "-S", "192.0.2.10"}, Kind::kAdsInfo},
        {{"ads", "auth", "-d1", "-U", "EXAMPLE\\admin%pw", "-S", "192.0.2.10", "ntlm"},
         Kind::kAdsAuth},
        // Options before the words, and the words' case, do not matter.
        {{"-d0", "ads", "info"}, Kind::kAdsInfo},
        {{"-S", "ads", "ads", "auth"}, Kind::kAdsAuth},  // "-S ads": a server
        {{"--server", "info", "ads", "info"}, Kind::kAdsInfo},
        {{"-s", "/etc/samba/smb.join.conf", "ADS", "Info"}, Kind::kAdsInfo},
        {{"-Pd", "3", "ads", "auth"}, Kind::kAdsAuth},
        // Words after "--" are words, even when they look like options.
        {{"--", "ads", "info"}, Kind::kAdsInfo},
        // Everything else passes through; an option value is not a word.
        {{}, Kind::kPassThrough},
        {{"ads"}, Kind::kPassThrough},
        {{"ads", "search", "-d0", "-P", "(name=nas01)", "sAMAccountName"}, Kind::kPassThrough},
        {{"lookup", "kdc", "EXAMPLE.TEST"}, Kind::kPassThrough},
        {{"info", "ads"}, Kind::kPassThrough},
        {{"-U", "ads", "info"}, Kind::kPassThrough},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Classify(ParseArgs(c.first)), c.second) << ::testing::PrintToString(c.first);
    }
}

// The parse in one line: the words, each option's tokens in brackets, the server and debug level.
std::string Parsed(const std::string& args) {
    ParsedArgs parsed = ParseArgs(Words(args));
    std::string text;
    for (const std::string& word : parsed.positionals) text += word + " ";
    for (const Option& option : parsed.options) {
        text += "[";
        for (const std::string& token : option.Tokens()) text += token + ";";
        text += "]";
    }
    return text + " S=" + parsed.server + " d=" + std::to_string(parsed.debugLevel) +
           (parsed.json ? " json" : "");
}

TEST(NetFrontParse, OptionsValuesAndClusters) {
    const std::pair<const char*, const char*> cases[] = {
        // A cluster gives one option a letter; "--name=value" stays one token.
        {"ads auth -d1 -U EXAMPLE\\u%p -Pk -S 192.0.2.10 --realm=EXAMPLE.TEST --json ntlm",
         "ads auth ntlm [-d;1;][-U;EXAMPLE\\u%p;][-P;][-k;][-S;192.0.2.10;]"
         "[--realm=EXAMPLE.TEST;][--json;] S=192.0.2.10 d=1 json"},
        // A long option's separate value joins it.
        {"--server dc1.example.test --debuglevel 5 ads info --use-kerberos off",
         "ads info [--server=dc1.example.test;][--debuglevel=5;][--use-kerberos=off;] "
         "S=dc1.example.test d=5"},
        {"-d10 -I192.0.2.11 ads info", "ads info [-d;10;][-I;192.0.2.11;] S=192.0.2.11 d=10"},
        {"-d x ads info", "ads info [-d;x;] S= d=-1"},
        // A value-taking option at the very end has no value.
        {"ads info -S", "ads info [-S;] S= d=-1"},
    };
    for (const auto& c : cases) EXPECT_EQ(Parsed(c.first), c.second) << c.first;
}

TEST(NetFrontInfo, KeysGetUnderscoresAndValuesStay) {
    const std::pair<const char*, const char*> cases[] = {
        {"LDAP server name: dc1.example.test", "LDAP_server_name: dc1.example.test"},
        {"Server time: Sun, 22 Nov 2026 22:15:39 UTC",
         "Server_time: Sun, 22 Nov 2026 22:15:39 UTC"},
        {"Realm: EXAMPLE.TEST", "Realm: EXAMPLE.TEST"},
        // Lines without a colon, empty lines and blanks around the key stay as they are.
        {"Didn't find the ldap server!", "Didn't find the ldap server!"},
        {"", ""},
        {"  KDC server : 192.0.2.10", "  KDC_server : 192.0.2.10"},
        {": value only", ": value only"},
        {"   : x y", "   : x y"},
    };
    for (const auto& c : cases) EXPECT_EQ(RewriteInfoLine(c.first), c.second);
    EXPECT_EQ(InfoValue("LDAP server: 192.0.2.10", "LDAP server"), "192.0.2.10");
    EXPECT_EQ(InfoValue("LDAP server name: dc1.example.test", "LDAP server"), "");
    EXPECT_EQ(InfoValue("LDAP server name:   dc1", "LDAP server name"), "dc1");
    EXPECT_EQ(InfoValue("Realm: X", "LDAP server"), "");
}

TEST(NetFrontInfo, AServerIsNotReplacedByAnother) {
    const std::pair<Args, Args> cases[] = {
        {{"ads", "info", "-S", "192.0.2.10"}, {"ads", "info", "-S", "192.0.2.10", kPin}},
        {{"ads", "info"}, {"ads", "info"}},  // no server: any controller
        {{"ads", "info", "-S", "dc1", "--option=name resolve order=bcast"},
         {"ads", "info", "-S", "dc1", "--option=name resolve order=bcast"}},  // the caller's order
    };
    for (const auto& c : cases) EXPECT_EQ(PinnedInfoArgs(c.first, ParseArgs(c.first)), c.second);
}

// "ads auth" runs kSystemNet "ads" "search" with the row's options and then
// "(objectClass=domain)" "distinguishedName".
TEST(NetFrontAuth, SearchRealisesTheMethod) {
    const struct {
        const char* args;  // after "ads auth"
        const char* method;
        bool verbose;
        const char* options;
    } cases[] = {
        // NTLM forces Kerberos off and keeps the credentials.
        {"-d1 -U EXAMPLE\\admin%pw -S 192.0.2.10 ntlm", "ntlm", false,
         "-d3 PIN -U EXAMPLE\\admin%pw -S 192.0.2.10 --use-kerberos=off"},
        // -k with "ntlm" means NTLM: the ticket cache is no NTLM credential, so that fails.
        {"-k --use-kerberos=desired -S 192.0.2.10 ntlm", "ntlm", false,
         "-d3 PIN -S 192.0.2.10 --use-kerberos=off"},
        // krb5 forces Kerberos and drops the caller's Kerberos switch.
        {"-k -S dc1.example.test KRB5", "krb5", false,
         "-d3 PIN -S dc1.example.test --use-kerberos=required"},
        // The machine account without a method keeps net's default.
        {"-P -d0 -S 192.0.2.11", "", false, "-d3 PIN -P -S 192.0.2.11"},
        // Without a server, net looks for a DC as usual.
        {"-P -k", "", false, "-d3 -P -k"},
        // A high debug level is verbose and kept.
        {"-d5 -P krb5", "krb5", true, "-d5 -P --use-kerberos=required"},
    };
    for (const auto& c : cases) {
        AuthPlan plan;
        std::string error;
        const ParsedArgs parsed = ParseArgs(Words(std::string("ads auth ") + c.args));
        ASSERT_TRUE(BuildAuthCommand(parsed, plan, error)) << error;
        EXPECT_EQ(plan.argv, Words(std::string(kSystemNet) + " ads search " + c.options +
                                   " (objectClass=domain) distinguishedName"));
        EXPECT_EQ(plan.method, c.method) << c.args;
        EXPECT_EQ(plan.verbose, c.verbose) << c.args;
        EXPECT_EQ(plan.server, parsed.server) << c.args;
    }
}

TEST(NetFrontAuth, UsageErrors) {
    AuthPlan plan;
    std::string error;
    EXPECT_FALSE(BuildAuthCommand(ParseArgs({"ads", "auth", "-P", "kerberos"}), plan, error));
    EXPECT_NE(error.find("kerberos"), std::string::npos);
    EXPECT_FALSE(BuildAuthCommand(ParseArgs({"ads", "auth", "ntlm", "krb5"}), plan, error));
}

TEST(NetFrontDebugLines, ContactedServer) {
    EXPECT_EQ(ContactedServerAddress("Successfully contacted LDAP server 192.0.2.10"),
              "192.0.2.10");
    EXPECT_EQ(ContactedServerAddress("Connected to LDAP server dc1.example.test"), "");
    EXPECT_EQ(ConnectedServerName("Connected to LDAP server dc1.example.test"), "dc1.example.test");
    EXPECT_EQ(ConnectedServerName("Got 1 replies"), "");
}

const char kNtlmBindFailed[] =
    "ads_sasl_spnego_gensec_bind(NTLMSSP) failed for ldap/dc1.example.test with "
    "user[administrator] realm=[EXAMPLE.TEST]: Invalid credentials";
const char kNoDomainInfo[] = "Failed to set machine account: NT_STATUS_CANT_ACCESS_DOMAIN_INFO";
const char kCldapFailed[] = "ads_try_connect: CLDAP request 192.0.2.99 failed.";

TEST(NetFrontDebugLines, FailureLines) {
    const std::pair<const char*, bool> cases[] = {
        {"kerberos_kinit_password administrator@EXAMPLE.TEST failed: Preauthentication failed",
         true},
        {kNtlmBindFailed, true},
        {kNoDomainInfo, true},
        {"ldb: Failed to connect to '/var/lib/samba/private/secrets.ldb' with backend 'tdb'",
         false},
        {"Successfully contacted LDAP server 192.0.2.10", false},
        {"GENSEC backend 'ntlmssp' registered", false},
        {"ads_sasl_spnego_bind: got OID=1.2.840.48018.1.2.2", false},
    };
    for (const auto& c : cases) EXPECT_EQ(IsFailureLine(c.first), c.second) << c.first;
}

TEST(NetFrontDebugLines, FailureReasonInTheWordsOfAdsErrstr) {
    const std::pair<Args, const char*> cases[] = {
        {{kNtlmBindFailed}, "Invalid credentials"},
        // The reason may itself end in "failed".
        {{"ads_sasl_spnego_gensec_bind(KRB5) failed for ldap/dc1.example.test with "
          "user[administrator] realm=[EXAMPLE.TEST]: Preauthentication failed"},
         "Preauthentication failed"},
        {{"kerberos_kinit_password carol@EXAMPLE.TEST failed: Clients credentials have been "
          "revoked",
          "ads_sasl_spnego_gensec_bind(KRB5) failed for ldap/dc1.example.test with user[carol] "
          "realm=[EXAMPLE.TEST]: Clients credentials have been revoked"},
         "Clients credentials have been revoked"},
        {{kCldapFailed,
          "ads_find_dc: name resolution for realm '' (domain 'EXAMPLE') failed: "
          "NT_STATUS_NO_LOGON_SERVERS"},
         "No logon servers are currently available"},
        // The cause, not the fallback that failed after it.
        {{"kerberos_kinit_password NAS01$@EXAMPLE.TEST failed: Client not found in Kerberos "
          "database",
          kNtlmBindFailed},
         "Client not found in Kerberos database"},
        {{kNoDomainInfo}, "NT_STATUS_CANT_ACCESS_DOMAIN_INFO"},
        {{kCldapFailed}, ""},
        {{}, ""},
    };
    for (const auto& c : cases) EXPECT_EQ(FailureReason(c.first), c.second);
}

TEST(NetFrontServer, AddressAskedFor) {
    EXPECT_TRUE(IsRequestedServer("192.0.2.10", {}, "192.0.2.10", "dc1.example.test"));
    EXPECT_FALSE(IsRequestedServer("192.0.2.11", {}, "192.0.2.10", "dc1.example.test"));
    EXPECT_TRUE(IsRequestedServer("2001:db8::1", {}, "2001:db8:0::1", ""));
    EXPECT_TRUE(IsRequestedServer("", {}, "192.0.2.10", "dc1.example.test"));
    EXPECT_TRUE(IsRequestedServer("192.0.2.11", {}, "", ""));  // nothing to compare
}

TEST(NetFrontServer, NameAskedFor) {
    EXPECT_TRUE(IsRequestedServer("dc2.example.test", {"192.0.2.11"}, "192.0.2.11", "dc2"));
    EXPECT_TRUE(IsRequestedServer("DC1.example.test", {}, "192.0.2.10", "dc1.example.test"));
    EXPECT_TRUE(IsRequestedServer("dc1", {}, "192.0.2.10", "dc1.example.test"));
    EXPECT_FALSE(
        IsRequestedServer("dc2.example.test", {"192.0.2.11"}, "192.0.2.10", "dc1.example.test"));
    EXPECT_FALSE(IsRequestedServer("dc2", {}, "192.0.2.10", "dc1.example.test"));
    EXPECT_FALSE(IsRequestedServer("dc1.other.test", {}, "", "dc1.example.test"));
}

}  // namespace
}  // namespace netfront
