// Unit tests of qarnsyncdctime's pure parts (platform/tools/qarnsyncdctime/dc_time.hpp). The tool
// itself runs against skewed domain controllers of the test bed (tests/e2e).
#include "dc_time.hpp"

#include <gtest/gtest.h>

namespace dctime {
namespace {

TEST(DcTime, GeneralizedTimes) {
    const std::pair<const char*, time_t> valid[] = {
        {"19700101000000.0Z", 0},          {"20261123051500.0Z", 1795410900},
        {"20261123051500Z", 1795410900},   {"20261123051500.123Z", 1795410900},
        {"20240229235959.0Z", 1709251199},  // leap day
    };
    for (const auto& [text, expected] : valid) {
        time_t seconds = -1;
        EXPECT_TRUE(ParseGeneralizedTime(text, seconds)) << text;
        EXPECT_EQ(seconds, expected) << text;
    }
    for (const char* text :
         {"", "20261123051500", "20261123051500.0", "20261123051500.Z", "2026112305150.0Z",
          "20261123051500.0Z ", "20261323051500.0Z", "20230229120000.0Z", "20261131120000.0Z",
          "20261123251500.0Z", "2026-11-23T05:15:00Z", "20261123051500+0100"}) {
        time_t seconds = 42;
        EXPECT_FALSE(ParseGeneralizedTime(text, seconds)) << text;
        EXPECT_EQ(seconds, 42) << text;
    }
}

TEST(DcTime, ClockSetOnlyBeyondOneSecond) {
    const time_t dc = 1795410900;
    const std::tuple<timespec, double, bool> cases[] = {
        {{dc, 0}, 0.0, false},
        {{dc, 900000000}, -0.9, false},  // the controller's time has whole seconds
        {{dc - 1, 0}, 1.0, false},
        {{dc - 1, 999999999}, 0.0, false},
        {{dc - 2, 0}, 2.0, true},
        {{dc + 1, 500000000}, -1.5, true},
        {{dc - 600, 0}, 600.0, true},
        {{dc + 3600, 0}, -3600.0, true},
    };
    for (const auto& [local, offset, set] : cases) {
        EXPECT_NEAR(ClockOffset(dc, local), offset, 1e-6) << local.tv_sec - dc;
        EXPECT_EQ(NeedsClockSet(ClockOffset(dc, local)), set) << local.tv_sec - dc;
    }
}

TEST(DcTime, HostListToURIs) {
    EXPECT_EQ(
        LdapURIs("dc1.example.test:389 dc2.example.test:389"),
        (std::vector<std::string>{"ldap://dc1.example.test:389", "ldap://dc2.example.test:389"}));
    EXPECT_TRUE(LdapURIs(" ").empty());
}

}  // namespace
}  // namespace dctime
