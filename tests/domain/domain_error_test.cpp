#include <gtest/gtest.h>

#include "call.hpp"
#include "domain_probe.hpp"

namespace {

using Failures = std::vector<std::pair<ErrorCode, const char*>>;
using Hosts = std::vector<std::string>;

struct CollectorCase {
    const char* name;
    const char* smbConf;  // [global] lines
    Hosts addresses;
    Failures failures;
    ErrorCode proper;
    bool allFailed;
};

class DomainErrorTest : public testing::TestWithParam<CollectorCase> {};

TEST_P(DomainErrorTest, ReducesToTheReportedCode) {
    const CollectorCase& c = GetParam();
    Sandbox::WriteFile("/etc/samba/smb.conf", std::string("[global]\n") + c.smbConf);
    DomainFixture fixture;
    for (const std::string& address : c.addresses) fixture.probe.AddTestAddress(address);
    for (const auto& [code, host] : c.failures) fixture.probe.m_domainError.Add(code, host);
    EXPECT_EQ(fixture.probe.m_domainError.GetProperErr(), c.proper);
    EXPECT_EQ(fixture.probe.m_domainError.IsAllHostFailed(), c.allFailed);
}

const Hosts kA = {"A"};
const Hosts kAB = {"A", "B"};
const Hosts kABC = {"A", "B", "C"};
const Failures kLogonAndTimeout = {
    {kNoDCReachable, "A"}, {kNoDCReachable, "B"}, {kAuthFailed, "A"}};
const Failures kDeniedA = {{kAccessDenied, "A"}};
const char kJoined[] = "security = ads\n";
const char kNotJoined[] = "security = user\n";
const char kDirectoryServer[] = "server role = active directory domain controller\n";

const CollectorCase kDomainErrorRows[] = {
    {"NothingRecorded", kJoined, kAB, Failures{}, kNoError, false},
    {"EmptyHostIgnored", kJoined, kAB, Failures{{kNoDCReachable, ""}}, kNoError, false},
    {"PriorityAllFailedJoined", kJoined, kAB, kLogonAndTimeout, kAuthFailedAllDCsJoined, true},
    {"PriorityAllFailedNotJoined", kNotJoined, kAB, kLogonAndTimeout, kAuthFailed, true},
    {"PriorityAllFailedDirectoryServer", kDirectoryServer, kAB, kLogonAndTimeout,
     kAuthFailedAllDCsADServer, true},
    {"SomeFailedJoined", kJoined, kABC, kLogonAndTimeout, kAuthFailedSomeDCsJoined, false},
    {"SomeFailedNotJoined", kNotJoined, kABC, kLogonAndTimeout, kAuthFailedSomeDCs, false},
    {"AccessDeniedDirectoryServer", kDirectoryServer, kA, kDeniedA, kAccessDeniedAllDCsADServer,
     true},
    {"AccessDeniedJoined", kJoined, kA, kDeniedA, kAccessDeniedAllDCsJoined, true},
    {"AccessDeniedNotJoined", kNotJoined, kA, kDeniedA, kAccessDenied, true},
    {"ClockSkewIsNotTranslated", kJoined, kAB,
     Failures{{kClockSkewTooGreat, "A"}, {kClockSkewTooGreat, "B"}}, kClockSkewTooGreat, true},
    {"NTLMBlockedOnSomeStaysUntranslated", kJoined, kAB, Failures{{kNTLMBlocked, "A"}},
     kNTLMBlocked, false},
    {"NoAddressesCountAsAllFailed", kJoined, Hosts{}, Failures{{kPasswordExpired, "realm"}},
     kAuthFailedAllDCsJoined, true},
    {"OutsidePriorityFirstRecordedWins", kNotJoined, kAB,
     Failures{{kConnectionReset, "A"}, {kObjectNotFound, "B"}}, kConnectionReset, true}};

INSTANTIATE_TEST_SUITE_P(Cases, DomainErrorTest, testing::ValuesIn(kDomainErrorRows), RowName());

TEST(DomainError, FailedHostsByCode) {
    SetSecurity("ads");
    DomainFixture fixture;
    for (const char* address : {"A", "B", "C"}) fixture.probe.AddTestAddress(address);
    DomainCore::DomainError& collector = fixture.probe.m_domainError;
    for (const auto& [code, host] : kLogonAndTimeout) collector.Add(code, host);
    collector.Add(kNoDCReachable, "A");  // a host counts once
    EXPECT_EQ(collector.GetFailedHost(kNoDCReachable), (Hosts{"A", "B"}));
    EXPECT_EQ(collector.GetFailedHost(kNoError), (Hosts{"A", "B"}));
    EXPECT_EQ(collector.GetFailedHost(kAccountLocked), Hosts{});
    // The translated code reports the hosts of the code it came from.
    ASSERT_EQ(collector.GetProperErr(), kAuthFailedSomeDCsJoined);
    EXPECT_EQ(collector.GetFailedHost(kAuthFailedSomeDCsJoined), Hosts{"A"});
}

}  // namespace
