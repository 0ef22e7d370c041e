// The module's parsers of tool output and settings, each fed every line (or the whole text)
// as its caller feeds it: ps, net ads search, krb5.conf, arping, net lookup, nslookup, wbinfo,
// net ads info, smb.conf and the join configuration, SIDs.
#include <fstream>
#include <sstream>

#include "sid.hpp"
#include "smb_conf_rules.hpp"
#include "tool_output.hpp"
#include "unit_fuzz_input.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text = Text(data, size);
    const std::vector<std::string> lines = Split(text, '\n');
    DCConnectionState state;
    std::string answer;
    for (const std::string& line : lines) {
        int count = 0;
        if (IsRepliesLine(line)) ReadReplyCount(line, count);
        IsOtherModuleProcess(line, 1);
        ExtractAnswer(line, "Address: ", &answer);
        WinbindPingVerdict(line);
        ReadDCConnectionLine(line, state);
        TrustedDomainFQDN(line);
        ParseTimeOffset(line);
        DomainValidationHandler::SID sid(line);
        sid.IsEveryone();
        sid.IsDomainComputers(text);
    }
    CountRepliers(lines);
    NetLookupAddresses(lines);
    std::istringstream krb5(text);
    std::unordered_set<std::string> kdcs;
    ReadRealmKDCs(krb5, kdcs);
    // smb.conf as the checks load it: from a file (its "include" lines name other files).
    static const std::string path = ScratchFile("smb.conf");
    std::ofstream(path, std::ios::trunc) << text;
    std::ifstream file(path);
    KeyValueMap settings = FileLoadKeyValues(file);
    FailedSettingRules(settings, false);
    FailedJoinRules(settings, settings);
    return 0;
}
