#include "mtu_checker.hpp"

#include <gtest/gtest.h>

#include "net_lab.hpp"

namespace {

TEST(MTUChecker, PathMTUIsTheLargestUnfragmentedPacket) {
    NetLab lab(1400 - NetLab::kVethAllowance);
    MTUChecker checker;
    for (const char* gateway : {NetLab::kGatewayIPv4, NetLab::kGatewayIPv6}) {
        int pathMTU = 0;
        EXPECT_EQ(checker.GetPathMTUValue(gateway, pathMTU), kNoError) << gateway;
        EXPECT_EQ(pathMTU, 1400) << gateway;
    }
}

TEST(MTUChecker, InterfaceMTUIsTheDefaultRoutesInterfaces) {
    MTUChecker checker;
    EXPECT_EQ(checker.GetDefualtInterfaceMTU(), -1);
    NetLab lab;
    NetLab::Ip({"link", "set", NetLab::kInterface, "mtu", "1450"});
    EXPECT_EQ(checker.GetDefualtInterfaceMTU(), 1450);
}

}  // namespace
