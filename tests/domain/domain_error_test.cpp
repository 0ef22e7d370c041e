#include <gtest/gtest.h>

#include "call.hpp"
#include "domain_probe.hpp"

namespace {

enum class Membership { kNotJoined, kJoined, kDirectoryServer };

void SetMembership(Membership membership) {
    if (membership == Membership::kJoined) SetSecurity("ads");
    if (membership == Membership::kNotJoined) SetSecurity("user");
    if (membership == Membership::kDirectoryServer) MakeDirectoryServer();
}

struct Failure {
    ErrorCode code;
    const char* host;
};

struct CollectorCase {
    const char* name;
    Membership membership;
    std::vector<std::string> addresses;
    std::vector<Failure> failures;
    ErrorCode proper;
    bool allFailed;
};

class DomainErrorTest : public testing::TestWithParam<CollectorCase> {};

TEST_P(DomainErrorTest, ReducesToTheReportedCode) {
    const CollectorCase& c = GetParam();
    SetMembership(c.membership);
    DomainFixture fixture;
    for (const std::string& address : c.addresses) fixture.probe.AddTestAddress(address);
    for (const Failure& failure : c.failures) {
        fixture.probe.m_domainError.Add(failure.code, failure.host);
    }
    EXPECT_EQ(fixture.probe.m_domainError.GetProperErr(), c.proper);
    EXPECT_EQ(fixture.probe.m_domainError.IsAllHostFailed(), c.allFailed);
}

const std::vector<std::string> kAB = {"A", "B"};
const std::vector<std::string> kABC = {"A", "B", "C"};
const std::vector<Failure> kLogonAndTimeout = {
    {kNoDCReachable, "A"}, {kNoDCReachable, "B"}, {kAuthFailed, "A"}};

INSTANTIATE_TEST_SUITE_P(
    Cases, DomainErrorTest,
    testing::Values(
        CollectorCase{"NothingRecorded", Membership::kJoined, kAB, {}, kNoError, false},
        CollectorCase{
            "EmptyHostIgnored", Membership::kJoined, kAB, {{kNoDCReachable, ""}}, kNoError, false},
        CollectorCase{"PriorityAllFailedJoined", Membership::kJoined, kAB, kLogonAndTimeout,
                      kAuthFailedAllDCsJoined, true},
        CollectorCase{"PriorityAllFailedNotJoined", Membership::kNotJoined, kAB, kLogonAndTimeout,
                      kAuthFailed, true},
        CollectorCase{"PriorityAllFailedDirectoryServer", Membership::kDirectoryServer, kAB,
                      kLogonAndTimeout, kAuthFailedAllDCsADServer, true},
        CollectorCase{"SomeFailedJoined", Membership::kJoined, kABC, kLogonAndTimeout,
                      kAuthFailedSomeDCsJoined, false},
        CollectorCase{"SomeFailedNotJoined", Membership::kNotJoined, kABC, kLogonAndTimeout,
                      kAuthFailedSomeDCs, false},
        CollectorCase{"AccessDeniedDirectoryServer",
                      Membership::kDirectoryServer,
                      {"A"},
                      {{kAccessDenied, "A"}},
                      kAccessDeniedAllDCsADServer,
                      true},
        CollectorCase{"AccessDeniedJoined",
                      Membership::kJoined,
                      {"A"},
                      {{kAccessDenied, "A"}},
                      kAccessDeniedAllDCsJoined,
                      true},
        CollectorCase{"AccessDeniedNotJoined",
                      Membership::kNotJoined,
                      {"A"},
                      {{kAccessDenied, "A"}},
                      kAccessDenied,
                      true},
        CollectorCase{"ClockSkewIsNotTranslated",
                      Membership::kJoined,
                      kAB,
                      {{kClockSkewTooGreat, "A"}, {kClockSkewTooGreat, "B"}},
                      kClockSkewTooGreat,
                      true},
        CollectorCase{"NTLMBlockedOnSomeStaysUntranslated",
                      Membership::kJoined,
                      kAB,
                      {{kNTLMBlocked, "A"}},
                      kNTLMBlocked,
                      false},
        CollectorCase{"NoAddressesCountAsAllFailed",
                      Membership::kJoined,
                      {},
                      {{kPasswordExpired, "realm"}},
                      kAuthFailedAllDCsJoined,
                      true},
        CollectorCase{"OutsidePriorityFirstRecordedWins",
                      Membership::kNotJoined,
                      kAB,
                      {{kConnectionReset, "A"}, {kObjectNotFound, "B"}},
                      kConnectionReset,
                      true}),
    [](const testing::TestParamInfo<CollectorCase>& info) { return info.param.name; });

TEST(DomainError, FailedHostsByCode) {
    SetSecurity("ads");
    DomainFixture fixture;
    for (const char* address : {"A", "B", "C"}) fixture.probe.AddTestAddress(address);
    DomainCore::DomainError& collector = fixture.probe.m_domainError;
    collector.Add(kNoDCReachable, "A");
    collector.Add(kNoDCReachable, "B");
    collector.Add(kNoDCReachable, "A");
    collector.Add(kAuthFailed, "A");
    using Hosts = std::vector<std::string>;
    EXPECT_EQ(collector.GetFailedHost(kNoDCReachable), (Hosts{"A", "B"}));
    EXPECT_EQ(collector.GetFailedHost(kNoError), (Hosts{"A", "B"}));
    EXPECT_EQ(collector.GetFailedHost(kAccountLocked), Hosts{});
    // The translated code reports the hosts of the code it came from.
    ASSERT_EQ(collector.GetProperErr(), kAuthFailedSomeDCsJoined);
    EXPECT_EQ(collector.GetFailedHost(kAuthFailedSomeDCsJoined), Hosts{"A"});
}

}  // namespace
