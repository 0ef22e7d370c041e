// The platform's `net` front: the pure parts (argument classification, the command that realises
// "net ads auth", the rewriting of "net ads info" keys, the reading of Samba's debug lines).
// Everything here works on strings; main.cpp runs the programs.
#pragma once

#include <string>
#include <vector>

namespace netfront {

// The system's Samba `net`, to which the front hands every command.
extern const char* const kSystemNet;

enum class Kind {
    kPassThrough,  // anything else: exec the system's net with the arguments unchanged
    kAdsInfo,      // "ads info": run it and rewrite the keys of its output
    kAdsAuth,      // "ads auth": the front's own sub-command
};

// One option as net's option parser (popt) sees it. A cluster of short options ("-Pk") gives
// one Option per letter; a short option's attached value ("-d0") is split off.
struct Option {
    std::string name;  // "-S", "-d", "--server", "--use-kerberos", ...
    bool hasValue = false;
    std::string value;

    // The option as separate arguments: {"-S", "host"}, {"--server=host"}, {"-P"}.
    std::vector<std::string> Tokens() const;
    bool Is(char shortName, const char* longName) const;
};

// The arguments of one `net` run (argv without argv[0]), split into options and positional
// words the way net's option parser sees them.
struct ParsedArgs {
    std::vector<Option> options;           // in order
    std::vector<std::string> positionals;  // the words: "ads", "auth", "ntlm", ...
    std::string server;                    // value of -S / --server / -I / --ipaddress (last)
    int debugLevel = -1;                   // value of -d / --debuglevel, -1 when absent
    bool json = false;                     // --json
};

ParsedArgs ParseArgs(const std::vector<std::string>& args);

// What the front does with the arguments. Sub-command words are matched without regard to case,
// as net does.
Kind Classify(const ParsedArgs& parsed);

// "net ads info": the key of a "key: value" line with its blanks turned into underscores
// ("Server time offset: 0" -> "Server_time_offset: 0"); the value and lines without a colon are
// left alone.
std::string RewriteInfoLine(const std::string& line);

// The value of a "key: value" line of "net ads info" for key ("LDAP server"), or "".
std::string InfoValue(const std::string& line, const std::string& key);

// "net ads info -S HOST" reports on HOST and no other: Samba's net would fall back to another
// controller of the domain when HOST does not answer, so name resolution is pinned to the host
// unless the caller chose a name resolve order.
std::vector<std::string> PinnedInfoArgs(const std::vector<std::string>& args,
                                        const ParsedArgs& parsed);

// "net ads auth [OPTIONS] [-S HOST] [ntlm|krb5]" realised as an authenticated LDAP search of the
// domain object with the system's net (see BuildAuthCommand in net_front.cpp for why).
struct AuthPlan {
    std::vector<std::string> argv;  // full command, argv[0] = kSystemNet
    std::string method;             // "ntlm", "krb5" or "" (net's default: Kerberos, then NTLM)
    std::string server;             // the host asked for ("" = any DC of the domain)
    bool verbose = false;           // caller asked for debug level 3 or more: show all output
};

// Builds the plan; false with `error` set for a usage error (unknown method, stray words).
bool BuildAuthCommand(const ParsedArgs& parsed, AuthPlan& plan, std::string& error);

// Reading the debug output (level 3) of the search.
// "Successfully contacted LDAP server 192.0.2.10" -> "192.0.2.10"; "" for other lines.
std::string ContactedServerAddress(const std::string& line);
// "Connected to LDAP server dc1.example.test" -> "dc1.example.test"; "" for other lines.
std::string ConnectedServerName(const std::string& line);
// Whether a debug line tells why authentication failed (shown when it did).
bool IsFailureLine(const std::string& line);
// The reason of the failure in the words of Samba's ads_errstr ("Invalid credentials",
// "Preauthentication failed", "No logon servers are currently available", ...), taken from the
// first failure line that tells one; "" when none does.
std::string FailureReason(const std::vector<std::string>& failureLines);

// Whether the LDAP server that net reached is the host that was asked for. `requested` is an
// address or a name; `addresses` are the addresses of the requested name (empty for an address);
// `contactedAddress` and `contactedName` come from the debug lines (either may be empty).
bool IsRequestedServer(const std::string& requested, const std::vector<std::string>& addresses,
                       const std::string& contactedAddress, const std::string& contactedName);

// True for an IPv4 or IPv6 address literal.
bool IsAddressLiteral(const std::string& text);

}  // namespace netfront
