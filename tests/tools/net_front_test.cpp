// Unit tests of the net front's pure parts (platform/tools/net/net_front.hpp). Its behaviour
// against a real domain controller is tested on the test bed: tests/testbed/net-front-test.
#include "net_front.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace netfront {
namespace {

using Args = std::vector<std::string>;

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

TEST(NetFrontParse, OptionsValuesAndClusters) {
    ParsedArgs parsed = ParseArgs({"ads", "auth", "-d1", "-U", "EXAMPLE\\u%p", "-Pk", "-S",
                                   "192.0.2.10", "--realm=EXAMPLE.TEST", "--json", "ntlm"});
    EXPECT_EQ(parsed.positionals, (Args{"ads", "auth", "ntlm"}));
    ASSERT_EQ(parsed.options.size(), 7u);
    EXPECT_EQ(parsed.options[0].Tokens(), (Args{"-d", "1"}));
    EXPECT_EQ(parsed.options[1].Tokens(), (Args{"-U", "EXAMPLE\\u%p"}));
    EXPECT_EQ(parsed.options[2].Tokens(), (Args{"-P"}));
    EXPECT_EQ(parsed.options[3].Tokens(), (Args{"-k"}));
    EXPECT_EQ(parsed.options[4].Tokens(), (Args{"-S", "192.0.2.10"}));
    EXPECT_EQ(parsed.options[5].Tokens(), (Args{"--realm=EXAMPLE.TEST"}));
    EXPECT_EQ(parsed.options[6].Tokens(), (Args{"--json"}));
    EXPECT_EQ(parsed.server, "192.0.2.10");
    EXPECT_EQ(parsed.debugLevel, 1);
    EXPECT_TRUE(parsed.json);
}

TEST(NetFrontParse, LongOptionWithSeparateValue) {
    ParsedArgs parsed = ParseArgs({"--server", "dc1.example.test", "--debuglevel", "5", "ads",
                                   "info", "--use-kerberos", "off"});
    EXPECT_EQ(parsed.positionals, (Args{"ads", "info"}));
    EXPECT_EQ(parsed.server, "dc1.example.test");
    EXPECT_EQ(parsed.debugLevel, 5);
    ASSERT_EQ(parsed.options.size(), 3u);
    EXPECT_EQ(parsed.options[2].Tokens(), (Args{"--use-kerberos=off"}));
    // Attached short values.
    parsed = ParseArgs({"-d10", "-I192.0.2.11", "ads", "info"});
    EXPECT_EQ(parsed.debugLevel, 10);
    EXPECT_EQ(parsed.server, "192.0.2.11");
    EXPECT_EQ(ParseArgs({"ads", "info"}).debugLevel, -1);
    EXPECT_EQ(ParseArgs({"-d", "x", "ads", "info"}).debugLevel, -1);
    // A value-taking option at the very end has no value.
    ParsedArgs last = ParseArgs({"ads", "info", "-S"});
    ASSERT_EQ(last.options.size(), 1u);
    EXPECT_FALSE(last.options[0].hasValue);
    EXPECT_EQ(last.server, "");
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
}

TEST(NetFrontInfo, ValueOfAKey) {
    EXPECT_EQ(InfoValue("LDAP server: 192.0.2.10", "LDAP server"), "192.0.2.10");
    EXPECT_EQ(InfoValue("LDAP server name: dc1.example.test", "LDAP server"), "");
    EXPECT_EQ(InfoValue("LDAP server name:   dc1", "LDAP server name"), "dc1");
    EXPECT_EQ(InfoValue("Realm: X", "LDAP server"), "");
}

TEST(NetFrontInfo, AServerIsNotReplacedByAnother) {
    const std::string pin = "--option=name resolve order=host";
    const Args withServer = {"ads", "info", "-S", "192.0.2.10"};
    EXPECT_EQ(PinnedInfoArgs(withServer, ParseArgs(withServer)),
              (Args{"ads", "info", "-S", "192.0.2.10", pin}));
    const Args noServer = {"ads", "info"};
    EXPECT_EQ(PinnedInfoArgs(noServer, ParseArgs(noServer)), noServer);
    const Args ownOrder = {"ads", "info", "-S", "dc1", "--option=name resolve order=bcast"};
    EXPECT_EQ(PinnedInfoArgs(ownOrder, ParseArgs(ownOrder)), ownOrder);
}

AuthPlan Plan(const Args& args) {
    AuthPlan plan;
    std::string error;
    EXPECT_TRUE(BuildAuthCommand(ParseArgs(args), plan, error)) << error;
    return plan;
}

TEST(NetFrontAuth, NtlmForcesKerberosOffAndKeepsTheCredentials) {
    AuthPlan plan =
        Plan({"ads", "auth", "-d1", "-U", "EXAMPLE\\admin%pw", "-S", "192.0.2.10", "ntlm"});
    EXPECT_EQ(plan.method, "ntlm");
    EXPECT_EQ(plan.server, "192.0.2.10");
    EXPECT_FALSE(plan.verbose);
    EXPECT_EQ(plan.argv,
              (Args{kSystemNet, "ads", "search", "-d3", "--option=name resolve order=host", "-U",
                    "EXAMPLE\\admin%pw", "-S", "192.0.2.10", "--use-kerberos=off",
                    "(objectClass=domain)", "distinguishedName"}));
    // -k with "ntlm" means NTLM: the ticket cache is no NTLM credential, so that fails.
    plan = Plan({"ads", "auth", "-k", "--use-kerberos=desired", "-S", "192.0.2.10", "ntlm"});
    EXPECT_EQ(std::count(plan.argv.begin(), plan.argv.end(), "-k"), 0);
    EXPECT_EQ(std::count(plan.argv.begin(), plan.argv.end(), "--use-kerberos=off"), 1);
    EXPECT_EQ(std::count(plan.argv.begin(), plan.argv.end(), "--use-kerberos=desired"), 0);
}

TEST(NetFrontAuth, Krb5ForcesKerberosAndDropsTheCallersKerberosSwitch) {
    AuthPlan plan = Plan({"ads", "auth", "-k", "-S", "dc1.example.test", "KRB5"});
    EXPECT_EQ(plan.method, "krb5");
    EXPECT_EQ(plan.argv,
              (Args{kSystemNet, "ads", "search", "-d3", "--option=name resolve order=host", "-S",
                    "dc1.example.test", "--use-kerberos=required", "(objectClass=domain)",
                    "distinguishedName"}));
}

TEST(NetFrontAuth, MachineAccountWithoutMethodKeepsNetsDefault) {
    AuthPlan plan = Plan({"ads", "auth", "-P", "-d0", "-S", "192.0.2.11"});
    EXPECT_EQ(plan.method, "");
    EXPECT_EQ(plan.argv,
              (Args{kSystemNet, "ads", "search", "-d3", "--option=name resolve order=host", "-P",
                    "-S", "192.0.2.11", "(objectClass=domain)", "distinguishedName"}));
    // Without a server, net looks for a DC as usual.
    EXPECT_EQ(Plan({"ads", "auth", "-P", "-k"}).argv,
              (Args{kSystemNet, "ads", "search", "-d3", "-P", "-k", "(objectClass=domain)",
                    "distinguishedName"}));
    // A high debug level is verbose and kept.
    plan = Plan({"ads", "auth", "-d5", "-P", "krb5"});
    EXPECT_TRUE(plan.verbose);
    EXPECT_EQ(plan.argv[3], "-d5");
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

TEST(NetFrontDebugLines, FailureLines) {
    EXPECT_TRUE(
        IsFailureLine("kerberos_kinit_password administrator@EXAMPLE.TEST failed: "
                      "Preauthentication failed"));
    EXPECT_TRUE(
        IsFailureLine("ads_sasl_spnego_gensec_bind(NTLMSSP) failed for "
                      "ldap/dc1.example.test with user[x] realm=[EXAMPLE.TEST]: Invalid "
                      "credentials"));
    EXPECT_TRUE(IsFailureLine("Failed to set machine account: NT_STATUS_CANT_ACCESS_DOMAIN_INFO"));
    EXPECT_FALSE(
        IsFailureLine("ldb: Failed to connect to '/var/lib/samba/private/secrets.ldb' "
                      "with backend 'tdb'"));
    EXPECT_FALSE(IsFailureLine("Successfully contacted LDAP server 192.0.2.10"));
    EXPECT_FALSE(IsFailureLine("GENSEC backend 'ntlmssp' registered"));
    EXPECT_FALSE(IsFailureLine("ads_sasl_spnego_bind: got OID=1.2.840.48018.1.2.2"));
}

TEST(NetFrontDebugLines, FailureReasonInTheWordsOfAdsErrstr) {
    EXPECT_EQ(
        FailureReason({"ads_sasl_spnego_gensec_bind(NTLMSSP) failed for ldap/dc1.example.test "
                       "with user[administrator] realm=[EXAMPLE.TEST]: Invalid credentials"}),
        "Invalid credentials");
    // The reason may itself end in "failed".
    EXPECT_EQ(FailureReason({"ads_sasl_spnego_gensec_bind(KRB5) failed for ldap/dc1.example.test "
                             "with user[administrator] realm=[EXAMPLE.TEST]: Preauthentication "
                             "failed"}),
              "Preauthentication failed");
    EXPECT_EQ(FailureReason({"kerberos_kinit_password carol@EXAMPLE.TEST failed: Clients "
                             "credentials have been revoked",
                             "ads_sasl_spnego_gensec_bind(KRB5) failed for ldap/dc1.example.test "
                             "with user[carol] realm=[EXAMPLE.TEST]: Clients credentials have "
                             "been revoked"}),
              "Clients credentials have been revoked");
    EXPECT_EQ(FailureReason({"ads_try_connect: CLDAP request 192.0.2.99 failed.",
                             "ads_find_dc: name resolution for realm '' (domain 'EXAMPLE') failed: "
                             "NT_STATUS_NO_LOGON_SERVERS"}),
              "No logon servers are currently available");
    // The cause, not the fallback that failed after it.
    EXPECT_EQ(
        FailureReason({"kerberos_kinit_password NAS01$@EXAMPLE.TEST failed: Client not found "
                       "in Kerberos database",
                       "ads_sasl_spnego_gensec_bind(NTLMSSP) failed for ldap/dc2.example.test "
                       "with user[NAS01$] realm=[EXAMPLE.TEST]: Invalid credentials"}),
        "Client not found in Kerberos database");
    EXPECT_EQ(FailureReason({"Failed to set machine account: NT_STATUS_CANT_ACCESS_DOMAIN_INFO"}),
              "NT_STATUS_CANT_ACCESS_DOMAIN_INFO");
    EXPECT_EQ(FailureReason({"ads_try_connect: CLDAP request 192.0.2.99 failed."}), "");
    EXPECT_EQ(FailureReason({}), "");
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
