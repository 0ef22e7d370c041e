// The platform tools' pure parts: the net front's argument parser (NUL-separated words), its
// planning of "net ads auth" and "net ads info", the lines it reads back; qarnsyncdctime's
// time and host-list parsers.
#include "dc_time.hpp"
#include "net_front.hpp"
#include "unit_fuzz_input.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text = Text(data, size);
    const std::vector<std::string> words = Split(text, '\0');
    netfront::ParsedArgs parsed = netfront::ParseArgs(words);
    for (const netfront::Option& option : parsed.options) option.Tokens();
    if (netfront::Classify(parsed) == netfront::Kind::kAdsInfo) {
        netfront::PinnedInfoArgs(words, parsed);
    }
    netfront::AuthPlan plan;
    std::string error;
    netfront::BuildAuthCommand(parsed, plan, error);
    std::vector<std::string> failures;
    for (const std::string& line : Split(text, '\n')) {
        netfront::RewriteInfoLine(line);
        netfront::InfoValue(line, "LDAP server");
        const std::string address = netfront::ContactedServerAddress(line);
        const std::string name = netfront::ConnectedServerName(line);
        netfront::IsRequestedServer(line, {address}, address, name);
        netfront::IsAddressLiteral(line);
        if (netfront::IsFailureLine(line)) failures.push_back(line);
        time_t seconds = 0;
        dctime::ParseGeneralizedTime(line, seconds);
        dctime::LdapURIs(line);
    }
    netfront::FailureReason(failures);
    return 0;
}
