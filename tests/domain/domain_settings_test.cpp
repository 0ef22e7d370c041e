#include <gtest/gtest.h>

#include <functional>

#include "call.hpp"
#include "domain_probe.hpp"

namespace {

using Strings = std::vector<std::string>;
const std::string kNet = "/usr/local/bin/net";

// One way of asking the probe for domain controllers.
using Lookup = std::function<Strings(DomainProbe&, ErrorCode&)>;

// A look-up method of the probe, for service.
template <class Method>
Lookup Of(Method method, const char* service) {
    return [method, service](DomainProbe& probe, ErrorCode& err) {
        return Strings((probe.*method)(err, service));
    };
}
const auto TestIPs = [](const char* service) { return Of(&DomainProbe::GetTestIPs, service); };
const auto SrvIPs = [](const char* service) { return Of(&DomainProbe::GetSrvIPs, service); };
const auto NetLookup = [](const char* service) { return Of(&DomainProbe::NetLookup, service); };
// The addresses to test: every one or the first, for the method.
Lookup TestAddress(bool all, EAuth method) {
    return [all, method](DomainProbe& probe, ErrorCode& err) {
        probe.SetTestAllIp(all);
        probe.SetAuthMethod(method);
        return probe.GetTestAddress(err, nullptr);
    };
}
Lookup ControllerName(const char* ip) {
    return
        [ip](DomainProbe& probe, ErrorCode& err) { return Strings{probe.ConvertIP2Fqdn(ip, err)}; };
}

struct LookupCase {
    const char* name;
    const char* smbConf;  // [global] lines
    const char* params;
    const char* net;  // body of the fake net; null: none
    Lookup lookup;
    Strings expected;
    ErrorCode err = kConnectionReset;  // where it starts
    const char* netArgs = "";
    const char* logged = "";
};

class ControllerLookupTest : public testing::TestWithParam<LookupCase> {};

TEST_P(ControllerLookupTest, Finds) {
    const LookupCase& c = GetParam();
    Sandbox::WriteFile("/etc/samba/smb.conf", std::string("[global]\n") + c.smbConf);
    if (c.net) Sandbox::WriteFakeTool(kNet, c.net);
    DomainFixture fixture(ParseJson(c.params));
    ErrorCode err = kConnectionReset;
    EXPECT_EQ(c.lookup(fixture.probe, err), c.expected);
    EXPECT_EQ(err, c.err);
    EXPECT_EQ(Sandbox::FakeToolArgs("net"), c.netArgs);
    ExpectLogged(c.logged);
}

const char kAds[] = "security = ads\n";
const char kTwoDCs[] = R"({"dc_ips": "192.0.2.10,192.0.2.11"})";
const char kKerberosNames[] =
    "case \"$4\" in\n"
    "192.0.2.10) echo 'LDAP_server_name: dc1.example.test';;\n"
    "192.0.2.11) echo 'Realm: EXAMPLE.TEST';;\n"
    "esac";

const LookupCase kLookups[] = {
    {"DCIPsInOrder", "", kTwoDCs, nullptr, TestIPs(nullptr), Strings{"192.0.2.10", "192.0.2.11"},
     kConnectionReset},
    {"OnlyTheFirstWhenNotTestingAll", "", kTwoDCs, nullptr, TestAddress(false, kAuthNone),
     Strings{"192.0.2.10"}},
    {"PasswordServerOfAJoinedServer", "security = ads\npassword server = dc1.test\n", "{}", nullptr,
     TestIPs(nullptr), Strings{"dc1.test"}},
    {"SrvTargetsKerberosThenLDAP", "", R"({"srv_target_ip": {"ldap": ["192.0.2.20"]}})", nullptr,
     TestIPs(nullptr), Strings{"192.0.2.20"}, kConnectionReset, "",
     "invalid (kerberos) srv target IP"},
    {"SambaLookupDropsPorts", kAds, "{}", "printf '10.0.0.8:88\\n\\n10.0.0.9\\n'",
     TestIPs("kerberos"), Strings{"10.0.0.8", "10.0.0.9"}, kConnectionReset, "lookup kdc -d0\n",
     "don't have srv target IP"},
    {"SrvTargetsOfOneService", "",
     R"({"srv_target_ip": {"kerberos": ["192.0.2.1"], "ldap": ["192.0.2.2"]}})", nullptr,
     SrvIPs("ldap"), Strings{"192.0.2.2"}},
    {"SrvTargetsEmptyMember", "", R"({"srv_target_ip": {"kerberos": []}})", nullptr,
     SrvIPs("kerberos"), Strings{}, kNoDCAddress},
    {"SrvTargetsEmpty", "", R"({"srv_target_ip": {}})", nullptr, SrvIPs(nullptr), Strings{},
     kBadParameter, "", "invalid srv target IP"},
    {"LookupKdcCaseless", kAds, "{}", "exit 0", NetLookup("KERBEROS"), Strings{}, kNoDCAddress,
     "lookup kdc -d0\n"},
    {"LookupDc", kAds, "{}", "exit 0", NetLookup("ldap"), Strings{}, kNoDCAddress,
     "lookup dc -d0\n"},
    {"LookupPdc", kAds, "{}", "exit 0", NetLookup(nullptr), Strings{}, kNoDCAddress,
     "lookup pdc -d0\n"},
    {"LookupOnlyForActiveDirectory", "security = domain\n", "{}", "exit 0", NetLookup(nullptr),
     Strings{}, kNoDCAddress},
    {"LookupFailureKeepsTheError", kAds, "{}", "exit 2", NetLookup(nullptr), Strings{},
     kConnectionReset, "lookup pdc -d0\n"},
    {"KerberosUsesControllerNames", "", kTwoDCs, kKerberosNames, TestAddress(true, kAuthKrb5),
     Strings{"dc1.example.test"}, kUnknownDomainError,
     "ads info -S 192.0.2.10\nads info -S 192.0.2.11\n",
     "Failed to convert IP [192.0.2.11] to FQDN."},
    {"NameOfAnAddressKerberosMessage", "", "{}", "echo 'kinit: Clock skew too great'; exit 1",
     ControllerName("192.0.2.10"), Strings{""}, kClockSkewTooGreat, "ads info -S 192.0.2.10\n"},
    {"NameOfNoAddress", "", "{}", nullptr, ControllerName(""), Strings{""}, kBadParameter}};

INSTANTIATE_TEST_SUITE_P(Cases, ControllerLookupTest, testing::ValuesIn(kLookups), RowName());

struct NameCase {
    const char* name;
    const char* security;
    const char* params;
    const char* fqdn;
    const char* upn;
};

class DomainNamesTest : public testing::TestWithParam<NameCase> {};

TEST_P(DomainNamesTest, PrincipalAndDomain) {
    const NameCase& c = GetParam();
    SetSecurity(c.security, "\trealm = example.test\n");
    DomainFixture fixture(ParseJson(c.params));
    EXPECT_EQ(fixture.probe.GetFQDN(), c.fqdn);
    EXPECT_EQ(fixture.probe.GetUPN(), c.upn);
}

const NameCase kNames[] = {
    {"AddressGivesTheDomain", "user",
     R"({"server_address": "corp.example.test", "username": "alice"})", "CORP.EXAMPLE.TEST",
     "alice@CORP.EXAMPLE.TEST"},
    {"NetBIOSPartDropped", "user", R"({"server_address": "corp.test", "username": "CORP\\bob"})",
     "CORP.TEST", "bob@CORP.TEST"},
    {"PrincipalFormKeepsLocalPart", "user",
     R"({"server_address": "x.test", "username": "Carol@sub.example.test"})", "X.TEST",
     "Carol@SUB.EXAMPLE.TEST"},
    {"JoinedUsesTheRealm", "ads", R"({"username": "dave"})", "EXAMPLE.TEST", "dave@EXAMPLE.TEST"},
    {"NotJoinedNeedsAnAddress", "user", R"({"username": "erin"})", "", ""},
    {"NoUserNoPrincipal", "ads", "{}", "EXAMPLE.TEST", ""}};

INSTANTIATE_TEST_SUITE_P(Cases, DomainNamesTest, testing::ValuesIn(kNames), RowName());

struct WorkgroupCase {
    const char* name;
    const char* security;
    const char* recorded;  // content of the platform's workgroup file
    bool refresh;
    const char* expected;
    const char* netArgs;
};

class WorkgroupTest : public testing::TestWithParam<WorkgroupCase> {};

TEST_P(WorkgroupTest, NetBIOSName) {
    const WorkgroupCase& c = GetParam();
    SetSecurity(c.security, "\tworkgroup = EXAMPLE\n");
    Sandbox::WriteFile("/usr/qarn/etc/private/workgroup", c.recorded);
    Sandbox::WriteFakeTool(kNet,
                           "case \"$2\" in\n"
                           "lookup) echo 'Information for Domain Controller: 192.0.2.10';"
                           " echo 'Pre-Win2k Domain: STALE';;\n"
                           "workgroup) echo 'Workgroup: CORP';;\n"
                           "esac");
    DomainFixture fixture(ParseJson(R"({"server_address": "corp.test"})"));
    EXPECT_EQ(fixture.probe.GetWorkgroup(c.refresh), c.expected);
    EXPECT_EQ(Sandbox::FakeToolArgs("net"), c.netArgs);
}

const char kLookedUp[] = "ads lookup --realm CORP.TEST -d0\nads workgroup -S 192.0.2.10 -d0\n";

const WorkgroupCase kWorkgroups[] = {
    {"JoinedServerReadsItsSettings", "ads", "Workgroup=CORP\n", true, "EXAMPLE", ""},
    {"RecordedOfAnUnjoinedServer", "user", "Workgroup=REC\n", false, "REC", ""},
    {"EmptyRecordLooksUp", "user", "Workgroup=\n", false, "CORP", kLookedUp},
    {"RefreshLooksUp", "user", "Workgroup=REC\n", true, "CORP", kLookedUp}};

INSTANTIATE_TEST_SUITE_P(Cases, WorkgroupTest, testing::ValuesIn(kWorkgroups), RowName());

}  // namespace
