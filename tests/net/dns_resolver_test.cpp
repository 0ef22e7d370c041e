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
// system's server when none is given. A failure leaves the output alone.
TEST_F(DnsResolverTest, Answers) {
    Sandbox::WriteFile("/etc/resolv.conf", "search ex.test\nnameserver 127.0.0.2\n");
    const Json::Value kept = StringArray({"kept"});
    const struct {
        const char* dns;
        const char* name;
        std::string type;
        ErrorCode code;
        Json::Value output;
    } cases[] = {
        {"127.0.0.2", "dc1.ex.test", "", kNoError,
         StringArray({"kept", "192.0.2.10", "2001:db8::10"})},
        {"127.0.0.2", "_ldap._tcp.ex.test", kRecordTypeSRV, kNoError,
         StringArray({"kept", "dc1.ex.test."})},
        {"127.0.0.2,127.0.0.9", "v6only.ex.test", kRecordTypeAAAA, kNoError,
         StringArray({"kept", "2001:db8::20"})},
        {"", "dc1.ex.test", kRecordTypeA, kNoError, StringArray({"kept", "192.0.2.10"})},
        {"127.0.0.2", "dc1.ex.test", "A", kBadParameter, kept},
        {"127.0.0.2", "dc1.ex.test", "mx", kBadParameter, kept},
        {"127.0.0.2", "", "a", kBadParameter, kept},
        {"127.0.0.2", "nothere.ex.test", "a", kNameNotResolved, kept},
        {"127.0.0.2", "v6only.ex.test", "a", kNameNotResolved, kept},
        {"127.0.0.3", "dc1.ex.test", "a", kDNSServerUnreachable, kept},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.dns) + " " + c.name + " " + c.type);
        Json::Value output = kept;
        EXPECT_EQ(Resolve(c.dns, c.name, c.type, output), c.code);
        EXPECT_EQ(output, c.output);
    }
}

// A failed run gives no answer even with answer lines; no system setting, no server to ask.
TEST_F(DnsResolverTest, ToolAndSettingFailures) {
    Json::Value output;
    Sandbox::WriteFakeTool("/usr/bin/nslookup", "echo 'Address: 192.0.2.99'\nexit 1");
    EXPECT_EQ(Resolve(DnsServer::kAddress, "dc1.ex.test", "", output), kNameNotResolved);
    Sandbox::Remove("/etc/resolv.conf");
    EXPECT_EQ(Resolve("", "dc1.ex.test", "", output), kDNSServerUnreachable);
}

}  // namespace
