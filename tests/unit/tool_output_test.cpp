#include "tool_output.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <tuple>

#include "call.hpp"
#include "fixture.hpp"

namespace {

using Strings = std::vector<std::string>;

TEST(ToolOutput, ArpingRepliers) {
    const char* fixtures[] = {"arping_none.txt", "arping_one.txt", "arping_two.txt"};
    for (size_t repliers = 0; repliers < std::size(fixtures); ++repliers) {
        EXPECT_EQ(CountRepliers(FixtureLines(fixtures[repliers])), repliers) << repliers;
    }
}

TEST(ToolOutput, NetLookupAddresses) {
    EXPECT_EQ(NetLookupAddresses(FixtureLines("net_lookup_kdc.txt")), StringArray({"192.0.2.10"}));
}

TEST(ToolOutput, NslookupAnswers) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"nslookup_a.txt", "Address: ", "192.0.2.10"},
        {"nslookup_srv.txt", "service = ", "dc1.example.test."},
        {"nslookup_ns.txt", "nameserver = ", "dc1.example.test."}};
    for (auto [fixture, prefix, answer] : cases) {
        Strings answers;
        for (const std::string& line : FixtureLines(fixture)) {
            std::string value;
            if (ExtractAnswer(line, prefix, &value)) answers.push_back(value);
        }
        EXPECT_EQ(answers, Strings{answer}) << fixture;
    }
}

TEST(ToolOutput, RepliesLine) {
    Strings counted;
    for (const std::string& line : FixtureLines("net_ads_search.txt")) {
        if (IsRepliesLine(line)) counted.push_back(line);
    }
    ASSERT_EQ(counted, Strings{"Got 1 replies"});
    int count = -1;
    EXPECT_FALSE(ReadReplyCount("Got many replies", count));
    EXPECT_TRUE(ReadReplyCount(counted[0], count) && count == 1);
}

TEST(ToolOutput, OtherModuleProcesses) {
    auto others = [](int self) {
        Strings found;
        for (const std::string& line : FixtureLines("ps.txt")) {
            if (IsOtherModuleProcess(line, self)) found.push_back(line.substr(0, 5));
        }
        return found;
    };
    EXPECT_EQ(others(1), Strings{"14700"});
    EXPECT_EQ(others(14700), Strings{});
}

// The realm parsing's edges are the Kerberos settings' tests; this is Samba's own file.
TEST(ToolOutput, RealmKDCs) {
    std::istringstream samba(Fixture("krb5.conf.EXAMPLE"));
    std::unordered_set<std::string> kdcs;
    EXPECT_TRUE(ReadRealmKDCs(samba, kdcs));
    EXPECT_EQ(kdcs, std::unordered_set<std::string>{"192.0.2.10"});
}

}  // namespace
