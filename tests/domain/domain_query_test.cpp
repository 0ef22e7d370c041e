#include <gtest/gtest.h>

#include "call.hpp"
#include "domain_probe.hpp"

namespace {

using Strings = std::vector<std::string>;
const std::string kTool = "/usr/local/bin/tool";
const MessageEntry* const kNT = kNTStatusMessageTable;
const MessageEntry kTakenTable[] = {{"cn: taken", kComputerNameTaken}, {"", kJoinFailed}};

struct CommandCase {
    const char* name;
    const char* body;
    const MessageEntry* table;
    const char* keyword;
    bool succeeded;
    ErrorCode err;
};

class RunCommandCoreTest : public testing::TestWithParam<CommandCase> {};

TEST_P(RunCommandCoreTest, OutputMapsToACode) {
    const CommandCase& c = GetParam();
    Sandbox::WriteScript(kTool, c.body);
    DomainFixture fixture;
    ErrorCode err = kAccessDenied;
    EXPECT_EQ(fixture.probe.RunCommandCore({kTool}, err, c.table, 1, c.keyword), c.succeeded);
    EXPECT_EQ(err, c.err);
}

const CommandCase kRunCommandCoreRows[] = {
    {"MessageOnSuccess", "echo NT_STATUS_PASSWORD_EXPIRED", kNT, "", true, kPasswordExpired},
    {"CleanSuccess", "echo fine", kNT, "", true, kNoError},
    {"LaterLineWins", "echo NT_STATUS_LOGON_FAILURE; echo NT_STATUS_IO_TIMEOUT >&2; exit 1", kNT,
     "", false, kNoDCReachable},
    {"UnknownFailure", "echo what; exit 3", kNT, "", false, kUnknownDomainError},
    {"TimeLimitOverridesAMessage", "echo NT_STATUS_LOGON_FAILURE; sleep 5", kNT, "", false,
     kCommandTimedOut},
    {"KeywordFiltersLines", "echo NT_STATUS_ACCESS_DENIED; echo 'session: NT_STATUS_LOGON_FAILURE'",
     kNT, "session", true, kAuthFailed},
    {"ClosingRowWithAKeyword", "echo 'cn: strange'", kTakenTable, "cn:", true, kJoinFailed},
    {"ClosingRowIgnoredWithoutAKeyword", "echo 'cn: strange'", kTakenTable, "", true, kNoError}};

INSTANTIATE_TEST_SUITE_P(Cases, RunCommandCoreTest, testing::ValuesIn(kRunCommandCoreRows),
                         RowName());

TEST(RunCommandCore, OutputFileAndDebugMessages) {
    Sandbox::WriteScript(kTool, "echo one; echo two >&2");
    DomainFixture fixture(ParseJson(R"({"debug_messages": true})"));
    Sandbox::WriteFile("/tmp/out", "before\n");
    fixture.probe.SetOutputFile("/tmp/out");
    ErrorCode err = kNoError;
    EXPECT_TRUE(fixture.probe.RunCommandCore({kTool}, err, kNTStatusMessageTable, 5, ""));
    EXPECT_EQ(Sandbox::ReadFile("/tmp/out"), "before\none\ntwo\n");
    EXPECT_TRUE(Sandbox::Logged("two"));
}

struct SearchCase {
    const char* name;
    const char* net;  // body of the fake net
    const char* filter;
    const char* server;
    int replies;
    Strings values;                    // "kept", then the values appended
    ErrorCode err = kConnectionReset;  // where it starts
    const char* logged = "";
    const MessageEntry* table = kNT;
    const char* extraFlag = "";
};

class RunNetSearchKeyTest : public testing::TestWithParam<SearchCase> {};

TEST_P(RunNetSearchKeyTest, RepliesAndValues) {
    const SearchCase& c = GetParam();
    Sandbox::WriteFakeTool("/usr/local/bin/net", c.net);
    DomainFixture fixture(ParseJson(R"({"username": "EX\\admin", "password": "pw"})"));
    fixture.probe.SetNetFilter(c.filter);
    fixture.probe.SetNetServer(c.server);
    Strings values{"kept"};
    ErrorCode err = kConnectionReset;
    EXPECT_EQ(fixture.probe.RunNetSearchKey("cn", values, err, c.table, 0, c.extraFlag), c.replies);
    EXPECT_EQ(values, c.values);
    EXPECT_EQ(err, c.err);
    ExpectLogged(c.logged);
}

const SearchCase kRunNetSearchKeyRows[] = {
    {"ValuesOfTheKey",
     "echo 'Got 2 replies'; echo; echo 'cn: nas1'; echo 'objectClass: computer'\n"
     "echo 'cn: nas2'; echo 'Got 7 replies'",
     "(cn=nas*)", "192.0.2.10", 2, Strings{"kept", "nas1", "nas2"}},
    {"ZeroReplies", "echo 'Got 0 replies'", "(cn=x)", "dc1", 0, Strings{"kept"}},
    {"NoReplyCount", "echo 'Got many replies'; echo 'cn: a'", "(cn=x)", "dc1", -1,
     Strings{"kept", "a"}, kConnectionReset, "stoi fail"},
    {"FailureCarriesTheMessageCodeAndHidesThePassword",
     "echo 'failed: NT_STATUS_ACCOUNT_DISABLED'; exit 1", "(cn=x)", "dc1", -1, Strings{"kept"},
     kAccountLocked,
     "Command: /usr/local/bin/net ads search -d0 -U EX\\admin%**** (cn=x) cn -S dc1 "},
    {"CallerTableConsumesLines", "echo 'cn: taken'; echo 'cn: other'; exit 1", "(cn=x)", "dc1", -1,
     Strings{"kept"}, kJoinFailed, "", kTakenTable, "flag"},
    {"ClosingRowNeedsTheFlag", "echo 'cn: other'; echo 'cn: taken'", "(cn=x)", "dc1", -1,
     Strings{"kept", "other"}, kConnectionReset, "", kTakenTable},
    {"NeedsAFilter", "exit 0", "", "dc1", -1, Strings{"kept"}, kBadParameter},
    {"NeedsAServerOutsideActiveDirectory", "exit 0", "(cn=x)", "", -1, Strings{"kept"}, kNoError}};

INSTANTIATE_TEST_SUITE_P(Cases, RunNetSearchKeyTest, testing::ValuesIn(kRunNetSearchKeyRows),
                         RowName());

struct SmbCase {
    const char* name;
    const char* security;
    const char* dcIPs;
    const char* smbclient;  // fails for the addresses it names
    ErrorCode err;
    ErrorSeverity severity;
    const char* details;
};

class RunSmbclientTest : public testing::TestWithParam<SmbCase> {};

TEST_P(RunSmbclientTest, EveryControllerIsTried) {
    const SmbCase& c = GetParam();
    SetSecurity(c.security);
    Sandbox::WriteFakeTool("/usr/local/bin/smbclient", c.smbclient);
    Json::Value params = ParseJson(R"({"username": "EX\\admin", "password": "pw"})");
    params["dc_ips"] = c.dcIPs;
    DomainFixture fixture(params);
    ErrorSeverity severity = kCodeOnly;
    ErrorCode err = kNoError;
    EXPECT_EQ(fixture.probe.RunSmbclient(severity, err, 1), c.err == kNoError);
    EXPECT_EQ(err, c.err);
    EXPECT_EQ(severity, c.severity);
    EXPECT_EQ(fixture.probe.Data(), ParseJson(c.details));
}

const char kFailSecond[] =
    "case \"$*\" in *192.0.2.11*) echo 'session setup failed: NT_STATUS_LOGON_FAILURE'; "
    "exit 1;; esac";

const SmbCase kRunSmbclientRows[] = {
    {"OneOfTwoJoined", "ads", "192.0.2.10,192.0.2.11", kFailSecond, kAuthFailedSomeDCsJoined,
     kWarning, R"({"info": {"service": "SMB", "ip": "192.0.2.11"}})"},
    {"NTLMBlockedIsAWarning", "user", "192.0.2.10", "echo NT_STATUS_NTLM_BLOCKED; exit 1",
     kNTLMBlocked, kWarning, R"({"info": {"service": "SMB", "ip": "192.0.2.10"}})"},
    {"TimeOutIsUnreachable", "user", "192.0.2.10", "sleep 5", kNoDCReachable, kError,
     R"({"info": {"service": "SMB", "ip": "192.0.2.10"}})"},
    {"AllDeniedJoined", "ads", "192.0.2.10,192.0.2.11", "echo NT_STATUS_ACCESS_DENIED; exit 1",
     kAccessDeniedAllDCsJoined, kError,
     R"({"info": {"service": "SMB", "ips": ["192.0.2.10", "192.0.2.11"]},
                    "isPlural": true})"}};

INSTANTIATE_TEST_SUITE_P(Cases, RunSmbclientTest, testing::ValuesIn(kRunSmbclientRows), RowName());

TEST(RunSmbclient, CommandLine) {
    Sandbox::WriteFakeTool("/usr/local/bin/smbclient", "exit 0");
    DomainFixture fixture(ParseJson(R"({"username": "EX\\admin", "password": "pw",
                                        "dc_ips": "192.0.2.10,,192.0.2.11"})"));
    fixture.probe.SetDebugLevel(2);
    fixture.probe.SetSmbShare("sysvol");
    fixture.probe.SetSmbclientCmd("ls");
    ErrorSeverity severity = kCodeOnly;
    ErrorCode err = kNoError;
    EXPECT_TRUE(fixture.probe.RunSmbclient(severity, err, 5));
    EXPECT_EQ(Sandbox::FakeToolArgs("smbclient"),
              "-d2 -U EX\\admin%pw -c ls //192.0.2.10/sysvol\n"
              "-d2 -U EX\\admin%pw -c ls //192.0.2.11/sysvol\n");
}

// The controller's name for Kerberos; every other net command succeeds.
const char kNetInfo[] = "case \"$2\" in info) echo 'LDAP_server_name: dc1.example.test';; esac";

// smbclient that serves the policy template over one protocol: $1 names it.
std::string PolicyServer(const std::string& protocol) {
    return "case \"$*\" in *" + protocol +
           "*) printf '\\377\\376[\\000U\\000n\\000i\\000c\\000o\\000d\\000e\\000]\\000\\r\\000"
           "\\n\\000' > /tmp/GptTmpl.inf;;\n"
           "*) echo 'NT_STATUS_OBJECT_NAME_NOT_FOUND opening remote file'; exit 1;;\nesac";
}

struct PolicyCase {
    const char* name;
    const char* security;
    std::string smbclient;
    ErrorCode result;
    Strings lines;
};

class GetGPOTest : public testing::TestWithParam<PolicyCase> {};

TEST_P(GetGPOTest, TemplateOverKerberosThenNTLM) {
    const PolicyCase& c = GetParam();
    SetSecurity(c.security, "\trealm = example.test\n");
    Sandbox::WriteFile("/etc/krb5.conf", "kept\n");
    Sandbox::WriteFakeTool("/usr/local/bin/net", kNetInfo);
    Sandbox::WriteFakeTool("/usr/local/bin/smbclient", c.smbclient);
    DomainFixture fixture(ParseJson(R"({"dc_ips": "192.0.2.10"})"));
    Strings lines;
    EXPECT_EQ(fixture.probe.GetGPO("{31B2F340-016D-11D2-945F-00C04FB984F9}", lines), c.result);
    EXPECT_EQ(lines, c.lines);
    EXPECT_FALSE(Sandbox::Exists("/tmp/GptTmpl.inf"));
}

// The template's remote path is proven against a real controller (domain_e2e_test.cpp).
const PolicyCase kGetGPORows[] = {
    {"OverKerberos", "ads", PolicyServer("-k"), kNoError, {"[Unicode]"}},
    {"OverNTLM", "ads", PolicyServer("-P"), kNoError, {"[Unicode]"}},
    {"NotFound", "ads", PolicyServer("never"), kGPONotFound, {}},
    {"JoinRequired", "user", PolicyServer("-k"), kDomainJoinRequired, {}}};

INSTANTIATE_TEST_SUITE_P(Cases, GetGPOTest, testing::ValuesIn(kGetGPORows), RowName());

}  // namespace
