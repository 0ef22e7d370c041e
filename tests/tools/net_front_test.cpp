// Unit tests of the net front's pure parts (platform/tools/net/net_front.hpp), over the cases in
// tests/fixtures/net_front_cases.json. Its behaviour against a real domain controller is tested
// on the test bed: tests/testbed/net-front-test.
#include "net_front.hpp"

#include <gtest/gtest.h>
#include <json/writer.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "fixture.hpp"

namespace netfront {
namespace {

using Args = std::vector<std::string>;

const std::string kPin = "--option=name resolve order=host";

// Space-separated words; "PIN" stands for the option that pins name resolution to the host.
Args Words(const std::string& text) {
    Args words;
    std::istringstream stream(text);
    for (std::string word; stream >> word;) words.push_back(word == "PIN" ? kPin : word);
    return words;
}

Args Texts(const Json::Value& list) {
    Args texts;
    for (const Json::Value& text : list) texts.push_back(text.asString());
    return texts;
}

Json::Value Cases(const char* group) {
    return FixtureJson("net_front_cases.json", group);
}

TEST(NetFront, Classify) {
    const std::map<std::string, Kind> kinds = {{"ads_info", Kind::kAdsInfo},
                                               {"ads_auth", Kind::kAdsAuth},
                                               {"pass_through", Kind::kPassThrough}};
    const Json::Value cases = Cases("classify");
    for (const auto& [name, kind] : kinds) {
        for (const Json::Value& args : cases[name]) {
            EXPECT_EQ(Classify(ParseArgs(Words(args.asString()))), kind) << args.asString();
        }
    }
}

// The parse in one line: the words, each option's tokens in brackets, the server and debug level.
std::string Parsed(const std::string& args) {
    ParsedArgs parsed = ParseArgs(Words(args));
    std::string text;
    for (const std::string& word : parsed.positionals) text += word + " ";
    for (const Option& option : parsed.options) {
        text += "[";
        for (const std::string& token : option.Tokens()) text += token + ";";
        text += "]";
    }
    return text + " S=" + parsed.server + " d=" + std::to_string(parsed.debugLevel) +
           (parsed.json ? " json" : "");
}

TEST(NetFront, Parse) {
    for (const Json::Value& c : Cases("parse")) EXPECT_EQ(Parsed(c[0].asString()), c[1].asString());
}

TEST(NetFrontInfo, KeysGetUnderscoresAndValuesStay) {
    for (const Json::Value& c : Cases("info_lines")) {
        EXPECT_EQ(RewriteInfoLine(c[0].asString()), c[1].asString());
    }
    EXPECT_EQ(InfoValue("LDAP server: 192.0.2.10", "LDAP server"), "192.0.2.10");
    EXPECT_EQ(InfoValue("LDAP server name: dc1.example.test", "LDAP server"), "");
    EXPECT_EQ(InfoValue("LDAP server name:   dc1", "LDAP server name"), "dc1");
    EXPECT_EQ(InfoValue("Realm: X", "LDAP server"), "");
}

TEST(NetFrontInfo, AServerIsNotReplacedByAnother) {
    const std::pair<Args, Args> cases[] = {
        {{"ads", "info", "-S", "192.0.2.10"}, {"ads", "info", "-S", "192.0.2.10", kPin}},
        {{"ads", "info"}, {"ads", "info"}},  // no server: any controller
        {{"ads", "info", "-S", "dc1", "--option=name resolve order=bcast"},
         {"ads", "info", "-S", "dc1", "--option=name resolve order=bcast"}},  // the caller's order
    };
    for (const auto& c : cases) EXPECT_EQ(PinnedInfoArgs(c.first, ParseArgs(c.first)), c.second);
}

TEST(NetFrontAuth, SearchRealisesTheMethod) {
    for (const Json::Value& c : Cases("auth")) {
        SCOPED_TRACE(c["args"].asString());
        AuthPlan plan;
        std::string error;
        const ParsedArgs parsed = ParseArgs(Words("ads auth " + c["args"].asString()));
        ASSERT_TRUE(BuildAuthCommand(parsed, plan, error)) << error;
        EXPECT_EQ(plan.argv,
                  Words(std::string(kSystemNet) + " ads search " + c["search"].asString() +
                        " (objectClass=domain) distinguishedName"));
        EXPECT_EQ(plan.method, c["method"].asString());
        EXPECT_EQ(plan.verbose, c["verbose"].asBool());
        EXPECT_EQ(plan.server, parsed.server);
    }
}

TEST(NetFrontAuth, UsageErrors) {
    AuthPlan plan;
    std::string error;
    EXPECT_FALSE(BuildAuthCommand(ParseArgs({"ads", "auth", "-P", "kerberos"}), plan, error));
    EXPECT_NE(error.find("kerberos"), std::string::npos);
    EXPECT_FALSE(BuildAuthCommand(ParseArgs({"ads", "auth", "ntlm", "krb5"}), plan, error));
}

TEST(NetFrontDebugLines, ContactedServer) {
    EXPECT_EQ(ContactedServerAddress("Successfully contacted LDAP server 192.0.2.10"),
              "192.0.2.10");
    EXPECT_EQ(ContactedServerAddress("Connected to LDAP server dc1.example.test"), "");
    EXPECT_EQ(ConnectedServerName("Connected to LDAP server dc1.example.test"), "dc1.example.test");
    EXPECT_EQ(ConnectedServerName("Got 1 replies"), "");
}

TEST(NetFrontDebugLines, FailureLinesAndReasons) {
    for (const Json::Value& line : Cases("failure_lines"))
        EXPECT_TRUE(IsFailureLine(line.asString()));
    for (const Json::Value& line : Cases("other_lines"))
        EXPECT_FALSE(IsFailureLine(line.asString()));
    for (const Json::Value& c : Cases("failure_reasons")) {
        EXPECT_EQ(FailureReason(Texts(c[0])), c[1].asString()) << c[0];
    }
}

TEST(NetFront, RequestedServer) {
    for (const Json::Value& c : Cases("requested_server")) {
        EXPECT_EQ(IsRequestedServer(c[0].asString(), Texts(c[1]), c[2].asString(), c[3].asString()),
                  c[4].asBool())
            << c;
    }
}

}  // namespace
}  // namespace netfront
