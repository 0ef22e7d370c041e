// The validation checks' parsers over tool output captured on the test bed, and the Samba
// settings rules.
#include <gtest/gtest.h>

#include <climits>

#include "fixture.hpp"
#include "sid.hpp"
#include "smb_conf_rules.hpp"
#include "tool_output.hpp"

namespace {

using Strings = std::vector<std::string>;

// The lines of a captured output, each with its newline as the command runner delivers it.
Strings Fixture(const std::string& name) {
    Strings lines = FixtureLines(name);
    for (std::string& line : lines) line += "\n";
    return lines;
}

TEST(WinbindPing, VerdictOfEachLine) {
    const std::vector<std::pair<std::string, std::optional<ErrorCode>>> cases = {
        {"wbinfo_ping_succeeded.txt", kNoError},
        {"wbinfo_ping_failed.txt", kWinbindPingFailed},
        {"wbinfo_ping_dc_succeeded.txt", std::nullopt},
    };
    for (const auto& [fixture, expected] : cases) {
        std::optional<ErrorCode> verdict;
        for (const std::string& line : Fixture(fixture)) {
            if (auto lineVerdict = WinbindPingVerdict(line)) verdict = lineVerdict;
        }
        EXPECT_EQ(verdict, expected) << fixture;
    }
    EXPECT_EQ(WinbindPingVerdict("Ping to winbindd pending\n"), std::nullopt);
}

struct ConnectionCase {
    const char* name;
    Strings lines;
    std::string controllerBefore;
    ErrorCode code;
    std::string controller;
    size_t linesRead;
};

// Real outputs come from fixtures; the rest are outputs no test-bed failure makes.
std::vector<ConnectionCase> ConnectionCases() {
    const std::string notFound = "failed to call wbcPingDc: WBC_ERR_DOMAIN_NOT_FOUND\n";
    const std::string checking = "checking the NETLOGON for domain[EX] ";
    return {
        {"Succeeded", Fixture("wbinfo_ping_dc_succeeded.txt"), "", kNoError, "dc1.example.test", 1},
        {"ControllersDown", Fixture("wbinfo_ping_dc_failed.txt"), "", kNoDCAddress, "", 1},
        {"ControllersDownKnownController", Fixture("wbinfo_ping_dc_failed.txt"), "dc1",
         kWinbindDomainNotFound, "dc1", 1},
        {"WinbindDown", Fixture("wbinfo_ping_dc_winbind_down.txt"), "", kWinbindNotAvailable, "",
         3},
        {"FailedThenReason", Strings{checking + "dc connection to \"dc9\" failed\n", notFound}, "",
         kWinbindDomainNotFound, "dc9", 2},
        {"NoQuotes", Strings{checking + "failed\n", notFound}, "", kNoDCAddress, "", 1},
        {"OneQuote", Strings{checking + "\"dc1 succeeded\n"}, "", kNoDCAddress, "", 1},
        {"UnknownReason", Strings{"failed to call wbcPingDc: WBC_ERR_UNKNOWN_FAILURE\n"}, "",
         kWinbindDCConnectionFailed, "", 1},
        {"NoVerdict", Strings{"some other line\n"}, "", kNoMessageMatched, "", 1},
    };
}

TEST(DCConnection, LinesToCodeAndController) {
    for (const ConnectionCase& c : ConnectionCases()) {
        DCConnectionState state{c.controllerBefore, kNoMessageMatched};
        size_t read = 0;
        for (const std::string& line : c.lines) {
            ++read;
            if (ReadDCConnectionLine(line, state)) break;
        }
        EXPECT_EQ(state.code, c.code) << c.name;
        EXPECT_EQ(state.controller, c.controller) << c.name;
        EXPECT_EQ(read, c.linesRead) << c.name;
    }
}

TEST(TrustedDomains, OnlyTabFQDNLines) {
    EXPECT_EQ(TrustedDomainFQDN("\tFQDN= child.example.com \n"), "child.example.com");
    EXPECT_EQ(TrustedDomainFQDN("\tFQDN="), "");
    for (const char* line : {"FQDN=example.com", " \tFQDN=example.com", "\tFQDN", "\tNAME=EX"}) {
        EXPECT_EQ(TrustedDomainFQDN(line), std::nullopt) << line;
    }
    for (const std::string& line : Fixture("wbinfo_e_verbose.txt")) {
        EXPECT_EQ(TrustedDomainFQDN(line), std::nullopt) << line;
    }
}

TEST(TimeOffset, DecimalThirtyTwoBits) {
    const std::vector<std::pair<const char*, std::optional<int>>> cases = {
        {"12", 12},
        {" -400", -400},
        {"+301 seconds", 301},
        {"-2147483648", INT_MIN},
        {"2147483648", std::nullopt},
        {"none", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(ParseTimeOffset(text), expected) << text;
}

struct RulesCase {
    const char* name;
    KeyValueMap settings;
    bool adServer;
    Strings failed;
};

const KeyValueMap kGoodSettings = {{"idmap config * : backend", "qarn"},
                                   {"passdb backend", "smbpasswd"},
                                   {"printing", "cups"},
                                   {"security", "ads"},
                                   {"realm", "EXAMPLE.COM"},
                                   {"workgroup", "EXAMPLE"}};

KeyValueMap With(KeyValueMap settings, const std::string& name, const std::string& value) {
    settings[name] = value;
    return settings;
}

Strings Names(const std::vector<const SMBConfRule*>& rules) {
    Strings names;
    for (const SMBConfRule* rule : rules) names.push_back(rule->name);
    return names;
}

// Foreign idmap backends (two, named once), passdb and printing fail against the test bed's real
// settings (domain_validation_e2e_test.cpp).
TEST(SMBConfRules, SettingRules) {
    const std::vector<RulesCase> cases = {
        {"AllGood", kGoodSettings, false, {}},
        {"IdmapRangeIsNoBackend", With(kGoodSettings, "idmap config * : range", "1-2"), false, {}},
        {"DomainSecurity", With(kGoodSettings, "security", "domain"), false, {}},
        {"UserSecurity", With(kGoodSettings, "security", "user"), false, {"security"}},
        {"DirectoryServerSkipsSecurity", With(kGoodSettings, "security", "user"), true, {}},
        {"AbsentSettingsFail", {{"realm", "X"}}, false, {"passdb backend", "printing", "security"}},
    };
    for (const RulesCase& c : cases) {
        EXPECT_EQ(Names(FailedSettingRules(c.settings, c.adServer)), c.failed) << c.name;
    }
}

TEST(SMBConfRules, JoinRules) {
    const KeyValueMap joined = {{"realm", "EXAMPLE.COM"}, {"workgroup", "EXAMPLE"}};
    const std::vector<std::pair<KeyValueMap, Strings>> cases = {
        {kGoodSettings, {}},
        {With(kGoodSettings, "realm", "example.com"), {"realm"}},
        {With(With(kGoodSettings, "realm", ""), "workgroup", "OTHER"), {"realm", "workgroup"}},
    };
    for (const auto& [settings, failed] : cases) {
        EXPECT_EQ(Names(FailedJoinRules(settings, joined)), failed);
    }
    EXPECT_EQ(Names(FailedJoinRules({{"realm", ""}}, {{"realm", ""}})),
              Strings({"realm", "workgroup"}));
}

TEST(SID, WellKnownIdentifiersExactly) {
    using SID = DomainValidationHandler::SID;
    EXPECT_TRUE(SID("*S-1-1-0").IsEveryone());
    EXPECT_TRUE(SID("*S-1-5-32-554").IsPreWindows2000());
    EXPECT_TRUE(SID("*S-1-5-11").IsAuthenticatedUsers());
    EXPECT_FALSE(SID("S-1-1-0").IsEveryone());
    EXPECT_FALSE(SID("*s-1-5-11").IsAuthenticatedUsers());
    const std::string computers = "*S-1-5-21-1-2-3" + SID::strDomainComputersPostfix_;
    EXPECT_TRUE(SID("*S-1-5-21-1-2-3-515").IsDomainComputers(computers));
    EXPECT_FALSE(SID("*S-1-5-21-1-2-3-516").IsDomainComputers(computers));
}

}  // namespace
