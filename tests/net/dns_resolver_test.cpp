#include "dns_resolver.hpp"

#include <gtest/gtest.h>

#include "call.hpp"
#include "dns_server.hpp"
#include "sandbox.hpp"

namespace {

class DnsResolverTest : public testing::Test {
  protected:
    DnsResolverTest() : m_server("ex.test") {
        m_server.AddHost("dc1.ex.test", {"192.0.2.10", "2001:db8::10"})
            .AddHost("v6only.ex.test", {"2001:db8::20"})
            .AddSRV("_ldap._tcp.ex.test", "dc1.ex.test", 389)
            .Start();
    }

    ErrorCode Resolve(const std::string& dns, const std::string& name, const std::string& type,
                      Json::Value& output) {
        DnsResolver resolver;
        resolver.SetDNS(dns);
        resolver.SetDomainName(name);
        resolver.SetRecordType(type);
        return resolver.ResolveRecord(output);
    }

    DnsServer m_server;
};

// Answers are appended in the tool's order; only the first listed server is asked, and the
// system's server when none is given.
TEST_F(DnsResolverTest, Answers) {
    Sandbox::WriteFile("/etc/resolv.conf", "search ex.test\nnameserver 127.0.0.2\n");
    const struct {
        const char* dns;
        const char* name;
        std::string type;
        Json::Value expected;
    } cases[] = {
        {"127.0.0.2", "dc1.ex.test", "", StringArray({"kept", "192.0.2.10", "2001:db8::10"})},
        {"127.0.0.2", "_ldap._tcp.ex.test", kRecordTypeSRV, StringArray({"kept", "dc1.ex.test."})},
        {"127.0.0.2,127.0.0.9", "v6only.ex.test", kRecordTypeAAAA,
         StringArray({"kept", "2001:db8::20"})},
        {"", "dc1.ex.test", kRecordTypeA, StringArray({"kept", "192.0.2.10"})},
    };
    for (const auto& c : cases) {
        Json::Value output = StringArray({"kept"});
        EXPECT_EQ(Resolve(c.dns, c.name, c.type, output), kNoError) << c.name;
        EXPECT_EQ(output, c.expected);
    }
}

struct FailureCase {
    const char* dns;
    const char* name;
    const char* type;
    ErrorCode code;
};

class DnsResolverFailureTest : public DnsResolverTest,
                               public testing::WithParamInterface<FailureCase> {};

TEST_P(DnsResolverFailureTest, LeavesTheOutputAlone) {
    Json::Value output(Json::arrayValue);
    EXPECT_EQ(Resolve(GetParam().dns, GetParam().name, GetParam().type, output), GetParam().code);
    EXPECT_EQ(output, Json::Value(Json::arrayValue));
}

INSTANTIATE_TEST_SUITE_P(
    Failures, DnsResolverFailureTest,
    testing::Values(FailureCase{"127.0.0.2", "dc1.ex.test", "A", kBadParameter},
                    FailureCase{"127.0.0.2", "dc1.ex.test", "mx", kBadParameter},
                    FailureCase{"127.0.0.2", "", "a", kBadParameter},
                    FailureCase{"127.0.0.2", "nothere.ex.test", "a", kNameNotResolved},
                    FailureCase{"127.0.0.2", "v6only.ex.test", "a", kNameNotResolved},
                    FailureCase{"127.0.0.3", "dc1.ex.test", "a", kDNSServerUnreachable}));

TEST_F(DnsResolverTest, UnreadableSystemSettingIsAnUnreachableServer) {
    Sandbox::Remove("/etc/resolv.conf");
    Json::Value output;
    EXPECT_EQ(Resolve("", "dc1.ex.test", "", output), kDNSServerUnreachable);
}

TEST_F(DnsResolverTest, FailedRunGivesNoAnswerEvenWithAnswerLines) {
    Sandbox::WriteFakeTool("/usr/bin/nslookup", "echo 'Address: 192.0.2.99'\nexit 1");
    Json::Value output;
    EXPECT_EQ(Resolve(DnsServer::kAddress, "dc1.ex.test", "", output), kNameNotResolved);
}

}  // namespace
