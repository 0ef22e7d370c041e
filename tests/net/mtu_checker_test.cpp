#include "mtu_checker.hpp"

#include <gtest/gtest.h>

#include "net_lab.hpp"

namespace {

class PathMTUTest : public testing::TestWithParam<const char*> {};

TEST_P(PathMTUTest, FindsTheLargestUnfragmentedPacket) {
    NetLab lab(1400 - NetLab::kVethAllowance);
    MTUChecker checker;
    int pathMTU = 0;
    EXPECT_EQ(checker.GetPathMTUValue(GetParam(), pathMTU), kNoError);
    EXPECT_EQ(pathMTU, 1400);
}

INSTANTIATE_TEST_SUITE_P(Families, PathMTUTest,
                         testing::Values(NetLab::kGatewayIPv4, NetLab::kGatewayIPv6));

TEST(MTUChecker, InterfaceMTUIsTheDefaultRoutesInterfaces) {
    MTUChecker checker;
    EXPECT_EQ(checker.GetDefualtInterfaceMTU(), -1);
    NetLab lab;
    NetLab::Ip({"link", "set", NetLab::kInterface, "mtu", "1450"});
    EXPECT_EQ(checker.GetDefualtInterfaceMTU(), 1450);
}

TEST(MTUChecker, SilentHostIsNoICMPReply) {
    NetLab lab;
    lab.AddSilentAddress("fd00:20::99");
    MTUChecker checker;
    EXPECT_EQ(checker.CheckMTU("fd00:20::99"), kNoICMPReply);
}

}  // namespace
