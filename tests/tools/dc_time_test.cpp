// qarnsyncdctime's pure parts; the tool itself runs against a skewed controller in tests/e2e.
#include "dc_time.hpp"

#include <gtest/gtest.h>

namespace dctime {
namespace {

TEST(DcTime, GeneralizedTimes) {
    const std::pair<const char*, time_t> cases[] = {
        {"19700101000000.0Z", 0},        {"20261123051500.0Z", 1795410900},
        {"20261123051500Z", 1795410900}, {"20240229235959.123Z", 1709251199},
        {"20230229120000.0Z", -1},       {"20261131120000.0Z", -1},
        {"20261323051500.0Z", -1},       {"20261123251500.0Z", -1},
        {"20261123051500.0", -1},        {"20261123051500.Z", -1},
        {"2026112305150.0Z", -1},        {"20261123051500.0Z ", -1},
        {"2026-11-23T05:15:00Z", -1},    {"", -1},
    };
    for (const auto& [text, expected] : cases) {
        time_t seconds = -1;
        EXPECT_EQ(ParseGeneralizedTime(text, seconds), expected != -1) << text;
        EXPECT_EQ(seconds, expected) << text;
    }
}

TEST(DcTime, ClockSetOnlyBeyondOneSecond) {
    const time_t dc = 1795410900;
    const std::tuple<timespec, double, bool> cases[] = {
        {{dc, 900000000}, -0.9, false},    {{dc - 1, 0}, 1.0, false},    {{dc - 2, 0}, 2.0, true},
        {{dc + 1, 500000000}, -1.5, true}, {{dc - 600, 0}, 600.0, true},
    };
    for (const auto& [local, offset, set] : cases) {
        EXPECT_NEAR(ClockOffset(dc, local), offset, 1e-6) << offset;
        EXPECT_EQ(NeedsClockSet(ClockOffset(dc, local)), set) << offset;
    }
    EXPECT_EQ(LdapURIs(" dc1.x:389 dc2.x:389"),
              (std::vector<std::string>{"ldap://dc1.x:389", "ldap://dc2.x:389"}));
}

}  // namespace
}  // namespace dctime
