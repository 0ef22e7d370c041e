#include "dns_resolver.hpp"

#include <gtest/gtest.h>

#include "dns_server.hpp"
#include "sandbox.hpp"
#include "string_array.hpp"
#include "tool_override.hpp"

namespace {

struct AnswerCase {
    const char* line;
    const char* prefix;
    bool found;
    const char* value;
};

class ExtractAnswerTest : public testing::TestWithParam<AnswerCase> {};

TEST_P(ExtractAnswerTest, PicksTheValue) {
    std::string value = "untouched";
    EXPECT_EQ(DnsResolver::ExtractAnswer(GetParam().line, GetParam().prefix, &value),
              GetParam().found);
    EXPECT_EQ(value, GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, ExtractAnswerTest,
    testing::Values(AnswerCase{"Address: 192.0.2.10", "Address: ", true, "192.0.2.10"},
                    AnswerCase{"Address:\t127.0.0.2#53", "Address: ", false, "untouched"},
                    AnswerCase{"_ldap._tcp.ex.test\tservice = 0 100 389 dc1.ex.test.",
                               "service = ", true, "dc1.ex.test."},
                    AnswerCase{"ex.test\tnameserver = ns1.ex.test.", "nameserver = ", true,
                               "ns1.ex.test."},
                    AnswerCase{"Address: 192.0.2.10 ", "Address: ", true, ""},
                    AnswerCase{"Address: ", "Address: ", true, ""}));

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

TEST_F(DnsResolverTest, AnswersInTheToolsOrder) {
    Json::Value output(Json::arrayValue);
    output.append("kept");
    EXPECT_EQ(Resolve(DnsServer::kAddress, "dc1.ex.test", "", output), kNoError);
    EXPECT_EQ(output, StringArray({"kept", "192.0.2.10", "2001:db8::10"}));
}

TEST_F(DnsResolverTest, SRVAnswerIsTheTargetAsPrinted) {
    Json::Value output;
    EXPECT_EQ(Resolve(DnsServer::kAddress, "_ldap._tcp.ex.test", kRecordTypeSRV, output), kNoError);
    EXPECT_EQ(output, StringArray({"dc1.ex.test."}));
}

TEST_F(DnsResolverTest, OnlyTheFirstListedServerIsAsked) {
    Json::Value output;
    EXPECT_EQ(Resolve(std::string(DnsServer::kAddress) + ",127.0.0.9", "v6only.ex.test",
                      kRecordTypeAAAA, output),
              kNoError);
    EXPECT_EQ(output, StringArray({"2001:db8::20"}));
}

TEST_F(DnsResolverTest, SystemServerIsUsedWhenNoneIsGiven) {
    Sandbox::WriteFile("/etc/resolv.conf",
                       "search ex.test\nnameserver " + std::string(DnsServer::kAddress) + "\n");
    Json::Value output;
    EXPECT_EQ(Resolve("", "dc1.ex.test", kRecordTypeA, output), kNoError);
    EXPECT_EQ(output, StringArray({"192.0.2.10"}));
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

TEST(DnsResolverSetting, UnreadableSystemSettingIsAnUnreachableServer) {
    Sandbox::Remove("/etc/resolv.conf");
    DnsResolver resolver;
    resolver.SetDomainName("dc1.ex.test");
    Json::Value output;
    EXPECT_EQ(resolver.ResolveRecord(output), kDNSServerUnreachable);
}

TEST(DnsResolverTool, FailedRunGivesNoAnswerEvenWithAnswerLines) {
    DnsServer server("ex.test");
    server.Start();
    ToolOverride nslookup("/usr/bin/nslookup", "echo 'Address: 192.0.2.99'\nexit 1");
    DnsResolver resolver;
    resolver.SetDNS(DnsServer::kAddress);
    resolver.SetDomainName("dc1.ex.test");
    Json::Value output;
    EXPECT_EQ(resolver.ResolveRecord(output), kNameNotResolved);
}

}  // namespace
