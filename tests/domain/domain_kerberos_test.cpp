#include <gtest/gtest.h>

#include "call.hpp"
#include "domain_probe.hpp"

namespace {

using Strings = std::vector<std::string>;
const char kKrb5Conf[] = "/etc/krb5.conf";

const std::string kLibDefaults =
    "[libdefaults]\n"
    "\tpermitted_enctypes = aes256-cts-hmac-sha1-96 aes128-cts-hmac-sha1-96 "
    "aes128-cts-hmac-sha256-128 des3-cbc-sha1 arcfour-hmac-md5 aes256-cts-hmac-sha384-192 "
    "camellia128-cts-cmac camellia256-cts-cmac\n"
    "\tdefault_realm = EXAMPLE.TEST\n"
    "\tdns_lookup_realm = false\n";

struct Krb5ConfCase {
    const char* name;
    const char* sambaKrb5Conf;
    const char* dcIPs;
    const char* realms;  // what follows the lines every file starts with
    const char* logged;
};

class Krb5ConfTest : public testing::TestWithParam<Krb5ConfCase> {};

TEST_P(Krb5ConfTest, NamesTheControllersSambaAlsoUses) {
    const Krb5ConfCase& c = GetParam();
    Sandbox::Remove(kKrb5Conf);
    Sandbox::WriteFile("/usr/qarn/etc/private/workgroup", "Workgroup=EXAMPLE\n");
    Sandbox::WriteFile("/run/samba/smb_krb5/krb5.conf.EXAMPLE", c.sambaKrb5Conf);
    Json::Value params = ParseJson(R"({"server_address": "example.test"})");
    params["dc_ips"] = c.dcIPs;
    DomainFixture fixture(params);
    ASSERT_TRUE(fixture.probe.GenKrb5Conf(false));
    EXPECT_EQ(Sandbox::ReadFile(kKrb5Conf), kLibDefaults + c.realms);
    ExpectLogged(c.logged);
}

const Krb5ConfCase kKrb5ConfRows[] = {
    {"KnownToSambaInTestOrder",
     "[libdefaults]\n\tkdc = 192.0.2.99\n[realms]\nEXAMPLE.TEST = {\n"
     "\tkdc = 192.0.2.11\n\tkdc = 192.0.2.10\n}\n",
     "192.0.2.10,192.0.2.99,192.0.2.11,192.0.2.10",
     "\tdns_lookup_kdc = false\n[realms]\n\tEXAMPLE.TEST = {\n"
     "\t\tkdc = 192.0.2.10\n\t\tkdc = 192.0.2.11\n\t}\n",
     ""},
    {"NoneKnownLooksThemUp", "[realms]\n\tkdc = 192.0.2.50\n", "192.0.2.10",
     "\tdns_lookup_kdc = true\n[realms]\n\tEXAMPLE.TEST = {\n\t}\n", ""},
    {"NoRealmsSection", "[libdefaults]\n\tkdc = 192.0.2.10\n", "192.0.2.10",
     "\tdns_lookup_kdc = true\n[realms]\n\tEXAMPLE.TEST = {\n\t}\n", "Realm section not found."}};

INSTANTIATE_TEST_SUITE_P(Cases, Krb5ConfTest, testing::ValuesIn(kKrb5ConfRows), RowName());

TEST(Krb5Conf, ExistingFileKeptUnlessRegenerated) {
    Sandbox::WriteFile(kKrb5Conf, "old\n");
    DomainFixture fixture(ParseJson(R"({"server_address": "example.test"})"));
    EXPECT_TRUE(fixture.probe.GenKrb5Conf(false));
    EXPECT_EQ(Sandbox::ReadFile(kKrb5Conf), "old\n");
    EXPECT_TRUE(fixture.probe.GenKrb5Conf(true));
    EXPECT_NE(Sandbox::ReadFile(kKrb5Conf), "old\n");
    DomainFixture noDomain;
    EXPECT_FALSE(noDomain.probe.GenKrb5Conf(true));
}

struct KinitCase {
    const char* name;
    const char* params;
    const char* klist;  // body of the fake klist
    const char* kinit;  // body of the fake kinit
    ErrorCode expected;
    bool askedForTicket;
};

class UserKinitTest : public testing::TestWithParam<KinitCase> {};

TEST_P(UserKinitTest, TicketForTheUser) {
    const KinitCase& c = GetParam();
    Sandbox::WriteFile(kKrb5Conf, "kept\n");
    Sandbox::WriteFakeTool("/usr/bin/klist", c.klist);
    Sandbox::WriteFakeTool("/usr/bin/kinit",
                           std::string("read password; echo \"$password\" > /tmp/pw\n") + c.kinit);
    DomainFixture fixture(ParseJson(c.params));
    EXPECT_EQ(fixture.probe.Kinit(false), c.expected);
    EXPECT_EQ(Sandbox::FakeToolArgs("kinit"), c.askedForTicket ? "alice@EXAMPLE.TEST\n" : "");
    if (c.askedForTicket) {
        EXPECT_EQ(Sandbox::ReadFile("/tmp/pw"), "s3cret\n");
    }
}

const char kAlice[] =
    R"({"server_address": "example.test", "username": "alice", "password": "s3cret"})";

const KinitCase kUserKinitRows[] = {
    {"CachedTicketOfTheSamePrincipal", kAlice, "echo 'Default principal: alice@EXAMPLE.TEST'",
     "exit 0", kNoError, false},
    {"CachedTicketOfAnotherPrincipal", kAlice, "echo 'Default principal: bob@EXAMPLE.TEST'",
     "exit 0", kNoError, true},
    {"KinitBroken", kAlice, "exit 1", "echo 'kinit: Cannot contact any KDC for realm'; exit 1",
     kInternalStepFailed, true},
    {"RegeneratedByRequest",
     R"({"server_address": "example.test", "username": "alice",
                      "password": "s3cret", "re_gen_krb5": true})",
     "echo 'Default principal: alice@EXAMPLE.TEST'", "exit 0", kNoError, true},
    {"NoPrincipal", R"({"server_address": "example.test"})", "exit 0", "exit 0", kBadParameter,
     false}};

INSTANTIATE_TEST_SUITE_P(Cases, UserKinitTest, testing::ValuesIn(kUserKinitRows), RowName());

struct MachineKinitCase {
    const char* name;
    const char* params;
    const char* net;
    ErrorCode expected;
    const char* arguments = "ads kerberos kinit -P -d0\n";
};

class MachineKinitTest : public testing::TestWithParam<MachineKinitCase> {};

TEST_P(MachineKinitTest, TicketForTheMachineAccount) {
    const MachineKinitCase& c = GetParam();
    SetSecurity("ads", "\trealm = example.test\n");
    Sandbox::WriteFile(kKrb5Conf, "kept\n");
    Sandbox::WriteFakeTool("/usr/local/bin/net", c.net);
    DomainFixture fixture(ParseJson(c.params));
    EXPECT_EQ(fixture.probe.Kinit(false), c.expected);
    EXPECT_EQ(Sandbox::FakeToolArgs("net"), c.arguments);
}

const MachineKinitCase kMachineKinitRows[] = {
    {"RequestedDebugLevel", R"({"debug_level": 3})", "exit 0", kNoError,
     "ads kerberos kinit -P -d3\n"},
    {"NegativeDebugLevel", R"({"debug_level": -5})", "exit 0", kNoError, "ads kerberos kinit -P\n"},
    {"TrustAccountMissing", "{}", "echo 'NT_STATUS_NO_TRUST_SAM_ACCOUNT'; exit 1", kNoTrustAccount},
    {"WrongMachinePassword", "{}", "echo 'NT_STATUS_LOGON_FAILURE'; exit 1",
     kAuthFailedAllDCsJoined},
    {"UnknownFailure", "{}", "echo 'something else'; exit 1", kUnknownDomainError}};

INSTANTIATE_TEST_SUITE_P(Cases, MachineKinitTest, testing::ValuesIn(kMachineKinitRows), RowName());

struct AuthOptionCase {
    const char* name;
    const char* security;
    EAuth method;
    const char* params;
    Strings options;  // none: the options could not be made (501)
};

class AuthOptionTest : public testing::TestWithParam<AuthOptionCase> {};

TEST_P(AuthOptionTest, OptionsOfTheSambaTools) {
    const AuthOptionCase& c = GetParam();
    SetSecurity(c.security, "\tworkgroup = EXAMPLE\n");
    Sandbox::WriteFile("/usr/qarn/etc/private/workgroup", "Workgroup=CORP\n");
    Sandbox::WriteFile(kKrb5Conf, "kept\n");
    Sandbox::WriteFakeTool("/usr/bin/klist", "echo 'Default principal: alice@EXAMPLE.TEST'");
    DomainFixture fixture(ParseJson(c.params));
    fixture.probe.SetAuthMethod(c.method);
    Strings argv;
    ErrorCode err = kNoError;
    EXPECT_EQ(fixture.probe.AppendAuthOption(argv, err), !c.options.empty());
    EXPECT_EQ(argv, c.options);
    EXPECT_EQ(err, c.options.empty() ? kBadParameter : kNoError);
}

const AuthOptionCase kAuthOptionRows[] = {
    {"PlainUserGetsTheWorkgroup", "user", kAuthNTLM, R"({"username": "alice", "password": "p%w"})",
     Strings{"-U", "CORP\\alice%p%w"}},
    {"DomainUserUnchanged", "user", kAuthNone, R"({"username": "EX\\bob"})",
     Strings{"-U", "EX\\bob%"}},
    {"PrincipalUnchanged", "user", kAuthNTLM, R"({"username": "carol@example.test"})",
     Strings{"-U", "carol@example.test%"}},
    {"JoinedUsesTheMachineAccount", "ads", kAuthNTLM, "{}", Strings{"-P"}},
    {"NothingToAuthenticateWith", "user", kAuthNTLM, "{}", Strings{}},
    {"KerberosTicketOfTheUser", "user", kAuthKrb5,
     R"({"server_address": "example.test", "username": "alice"})", Strings{"-k"}},
    {"KerberosWithoutAUser", "user", kAuthKrb5, R"({"server_address": "x.test"})", Strings{}}};

INSTANTIATE_TEST_SUITE_P(Cases, AuthOptionTest, testing::ValuesIn(kAuthOptionRows), RowName());

}  // namespace
