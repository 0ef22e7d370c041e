#include "parsers.hpp"

#include <gtest/gtest.h>

#include <sstream>

#include "fixture.hpp"

namespace {

using Strings = std::vector<std::string>;

TEST(PlatformParsers, NetAndKinitOutput) {
    const std::string lookup = Fixture("net_ads_lookup.txt");
    EXPECT_EQ(platform::ValueOf(lookup, "Information for Domain Controller"), "192.0.2.10");
    EXPECT_EQ(platform::ValueOf(lookup, "Pre-Win2k Domain"), "EXAMPLE");
    EXPECT_EQ(platform::ValueOf(lookup, "Domain"), "example.test");
    EXPECT_EQ(platform::ValueOf(lookup, "Workgroup"), "");
    EXPECT_EQ(platform::ValueOf(Fixture("net_ads_workgroup.txt"), "Workgroup"), "EXAMPLE");
    EXPECT_TRUE(platform::IsWrongPassword(Fixture("kinit_wrong.txt")));
    EXPECT_TRUE(platform::IsWrongPassword(Fixture("kinit_unknown.txt")));
    EXPECT_FALSE(platform::IsWrongPassword(Fixture("net_ads_workgroup.txt")));
}

TEST(PlatformParsers, SystemFiles) {
    EXPECT_EQ(platform::NameserverOf(Fixture("resolv.conf")), "192.0.2.10");
    EXPECT_EQ(platform::NameserverOf("# nameserver 192.0.2.9"), "");
    std::istringstream routes(Fixture("proc_net_route.txt"));
    EXPECT_EQ(platform::DefaultRouteInterface(routes), "eth0");
    std::vector<Strings> found;
    for (const std::string& line : FixtureLines("nsswitch.conf")) {
        Strings sources;
        if (platform::ReadPasswdSources(line, sources)) found.push_back(sources);
    }
    EXPECT_EQ(found, std::vector<Strings>{Strings({"files", "winbind"})});
}

}  // namespace
