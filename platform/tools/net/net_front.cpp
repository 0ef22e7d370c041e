#include "net_front.hpp"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>

namespace netfront {

const char* const kSystemNet = DSCHECK_SYSTEM_NET;

namespace {

// Short options of net (its own, Samba's common, connection and credential options) that take a
// value; every other letter is a flag.
constexpr const char* kShortWithValue = "SIwpcCMFtUAsRmnOWdlX";

// Long options that take a value when it is not attached with "=".
const char* const kLongWithValue[] = {
    "server",
    "ipaddress",
    "target-workgroup",
    "port",
    "myname",
    "container",
    "comment",
    "maxusers",
    "flags",
    "timeout",
    "request-timeout",
    "ntname",
    "rid",
    "exclude",
    "destination",
    "dns-ttl",
    "debuglevel",
    "configfile",
    "option",
    "log-basename",
    "name-resolve",
    "socket-options",
    "max-protocol",
    "netbiosname",
    "netbios-scope",
    "workgroup",
    "realm",
    "user",
    "password",
    "authentication-file",
    "simple-bind-dn",
    "use-kerberos",
    "use-krb5-ccache",
    "client-protection",
    "keytab",
    "dnshostname",
    "upn",
    "osname",
    "osver",
    "ossp",
    "machinepass",
    "createcomputer",
    "expire",
    "dns-ip",
};

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool EqualsIgnoreCase(const std::string& a, const std::string& b) {
    return Lower(a) == Lower(b);
}

bool ContainsIgnoreCase(const std::string& text, const char* part) {
    return Lower(text).find(Lower(part)) != std::string::npos;
}

bool LongTakesValue(const std::string& name) {
    for (const char* candidate : kLongWithValue) {
        if (name == candidate) return true;
    }
    return false;
}

int ParseLevel(const std::string& value) {
    const char* begin = value.c_str();
    char* end = nullptr;
    long level = std::strtol(begin, &end, 10);
    if (end == begin) return -1;
    return static_cast<int>(std::clamp(level, 0L, 100L));
}

std::string FirstLabel(const std::string& name) {
    return name.substr(0, name.find('.'));
}

std::string Trim(const std::string& text) {
    const char* blanks = " \t\r\n";
    size_t begin = text.find_first_not_of(blanks);
    if (begin == std::string::npos) return "";
    size_t end = text.find_last_not_of(blanks);
    return text.substr(begin, end - begin + 1);
}

// The word that follows `prefix` in `line` (up to white space), "" when the prefix is absent.
std::string WordAfter(const std::string& line, const char* prefix) {
    size_t at = line.find(prefix);
    if (at == std::string::npos) return "";
    size_t begin = at + std::strlen(prefix);
    size_t end = line.find_first_of(" \t\r\n", begin);
    return line.substr(begin, end == std::string::npos ? std::string::npos : end - begin);
}

}  // namespace

std::vector<std::string> Option::Tokens() const {
    if (!hasValue) return {name};
    if (name.size() == 2) return {name, value};
    return {name + "=" + value};
}

bool Option::Is(char shortName, const char* longName) const {
    if (shortName != 0 && name.size() == 2 && name[0] == '-' && name[1] == shortName) return true;
    return longName != nullptr && name == std::string("--") + longName;
}

ParsedArgs ParseArgs(const std::vector<std::string>& args) {
    ParsedArgs parsed;
    bool optionsEnded = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (optionsEnded || arg.size() < 2 || arg[0] != '-') {
            parsed.positionals.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        if (arg[1] == '-') {
            Option option;
            size_t equals = arg.find('=');
            option.name = arg.substr(0, equals);
            if (equals != std::string::npos) {
                option.hasValue = true;
                option.value = arg.substr(equals + 1);
            } else if (LongTakesValue(option.name.substr(2)) && i + 1 < args.size()) {
                option.hasValue = true;
                option.value = args[++i];
            }
            parsed.options.push_back(option);
            continue;
        }
        // A cluster of short options; a letter that takes a value ends it.
        for (size_t j = 1; j < arg.size(); ++j) {
            Option option;
            option.name = std::string("-") + arg[j];
            if (std::strchr(kShortWithValue, arg[j]) != nullptr) {
                option.hasValue = true;
                if (j + 1 < arg.size()) {
                    option.value = arg.substr(j + 1);
                } else if (i + 1 < args.size()) {
                    option.value = args[++i];
                } else {
                    option.hasValue = false;
                }
                parsed.options.push_back(option);
                break;
            }
            parsed.options.push_back(option);
        }
    }
    for (const Option& option : parsed.options) {
        if (!option.hasValue) {
            if (option.Is(0, "json")) parsed.json = true;
            continue;
        }
        if (option.Is('S', "server") || option.Is('I', "ipaddress")) parsed.server = option.value;
        if (option.Is('d', "debuglevel")) parsed.debugLevel = ParseLevel(option.value);
    }
    return parsed;
}

Kind Classify(const ParsedArgs& parsed) {
    const std::vector<std::string>& words = parsed.positionals;
    if (words.size() < 2 || !EqualsIgnoreCase(words[0], "ads")) return Kind::kPassThrough;
    if (EqualsIgnoreCase(words[1], "info")) return Kind::kAdsInfo;
    if (EqualsIgnoreCase(words[1], "auth")) return Kind::kAdsAuth;
    return Kind::kPassThrough;
}

std::string RewriteInfoLine(const std::string& line) {
    size_t colon = line.find(':');
    if (colon == std::string::npos) return line;
    // Only the blanks inside the key change; blanks around it stay.
    size_t first = line.find_first_not_of(" \t");
    if (first == std::string::npos || first >= colon) return line;
    size_t last = line.find_last_not_of(" \t", colon - 1);
    std::string result = line;
    for (size_t i = first; i < last; ++i) {
        if (result[i] == ' ') result[i] = '_';
    }
    return result;
}

// Why an LDAP search: "ads auth" means authenticating to the directory service (LDAP) of a DC,
// which is what every "net ads" command does first. `net ads search` binds with SASL
// GSS-SPNEGO and so authenticates exactly as the other directory queries of the checks do, with
// the caller's credentials (-U, -P, -k, -A, ...); --use-kerberos=off forces NTLMSSP ("ntlm"),
// --use-kerberos=required forces Kerberos ("krb5"). The search itself (the domain object) is
// cheap and always allowed to an authenticated user, so a zero exit means the bind succeeded.
// At net's usual debug levels an NTLM bind failure prints nothing, so the search runs at debug
// level 3 and the front shows the lines that tell why it failed, followed by
// "ads_connect: REASON" with REASON in the words of Samba's ads_errstr ("Invalid credentials",
// "Preauthentication failed", "No logon servers are currently available", ...). When -S names
// a host, net must not fall back to another DC: name resolution is limited to "host" and the
// server it reached (seen in the debug lines) is compared with the one asked for.
bool BuildAuthCommand(const ParsedArgs& parsed, AuthPlan& plan, std::string& error) {
    plan = AuthPlan();
    const std::vector<std::string>& words = parsed.positionals;
    if (words.size() > 3) {
        error = "too many arguments";
        return false;
    }
    if (words.size() == 3) {
        plan.method = Lower(words[2]);
        if (plan.method != "ntlm" && plan.method != "krb5") {
            error = "unknown authentication method '" + words[2] + "' (ntlm or krb5)";
            return false;
        }
    }
    plan.server = parsed.server;
    plan.verbose = parsed.debugLevel >= 3;

    plan.argv = {kSystemNet, "ads", "search",
                 "-d" + std::to_string(std::max(3, parsed.debugLevel))};
    if (!plan.server.empty()) plan.argv.push_back("--option=name resolve order=host");
    for (const Option& option : parsed.options) {
        if (option.Is('d', "debuglevel")) continue;
        if (!plan.method.empty() && (option.Is('k', "kerberos") || option.Is(0, "use-kerberos"))) {
            continue;  // the method decides
        }
        for (const std::string& token : option.Tokens()) plan.argv.push_back(token);
    }
    if (plan.method == "ntlm") plan.argv.push_back("--use-kerberos=off");
    if (plan.method == "krb5") plan.argv.push_back("--use-kerberos=required");
    plan.argv.push_back("(objectClass=domain)");
    plan.argv.push_back("distinguishedName");
    return true;
}

std::string ContactedServerAddress(const std::string& line) {
    return WordAfter(line, "Successfully contacted LDAP server ");
}

std::string ConnectedServerName(const std::string& line) {
    return WordAfter(line, "Connected to LDAP server ");
}

bool IsFailureLine(const std::string& line) {
    // With -P, net first looks for secrets.ldb (a DC's) and then reads secrets.tdb: not a failure.
    if (line.find("secrets.ldb") != std::string::npos) return false;
    for (const char* mark : {"fail", "NT_STATUS_", "error", "invalid", "revoked", "skew", "denied",
                             "expired", "unable", "cannot", "can't"}) {
        if (ContainsIgnoreCase(line, mark)) return true;
    }
    return false;
}

std::string FailureReason(const std::vector<std::string>& failureLines) {
    // The first line that tells a reason has the cause; later ones are its consequences (a
    // failed Kerberos bind that falls back to NTLM, for one).
    for (const std::string& line : failureLines) {
        if (line.find("NT_STATUS_NO_LOGON_SERVERS") != std::string::npos) {
            return "No logon servers are currently available";
        }
        size_t failed = Lower(line).find("failed");
        if (failed == std::string::npos) continue;
        size_t separator = line.rfind(": ");
        if (separator == std::string::npos || separator < failed) continue;
        std::string text = Trim(line.substr(separator + 2));
        while (!text.empty() && text.back() == '.') text.pop_back();
        if (!text.empty()) return text;
    }
    return "";
}

bool IsAddressLiteral(const std::string& text) {
    unsigned char buffer[16];
    return inet_pton(AF_INET, text.c_str(), buffer) == 1 ||
           inet_pton(AF_INET6, text.c_str(), buffer) == 1;
}

namespace {

bool SameAddress(const std::string& a, const std::string& b) {
    unsigned char x[16] = {}, y[16] = {};
    for (int family : {AF_INET, AF_INET6}) {
        if (inet_pton(family, a.c_str(), x) == 1 && inet_pton(family, b.c_str(), y) == 1) {
            return std::memcmp(x, y, sizeof x) == 0;
        }
    }
    return a == b;
}

}  // namespace

bool IsRequestedServer(const std::string& requested, const std::vector<std::string>& addresses,
                       const std::string& contactedAddress, const std::string& contactedName) {
    if (requested.empty()) return true;
    if (contactedAddress.empty() && contactedName.empty()) return true;  // nothing to compare
    if (IsAddressLiteral(requested)) {
        return contactedAddress.empty() || SameAddress(requested, contactedAddress);
    }
    if (!contactedAddress.empty()) {
        for (const std::string& address : addresses) {
            if (SameAddress(address, contactedAddress)) return true;
        }
    }
    if (contactedName.empty()) return false;
    if (EqualsIgnoreCase(requested, contactedName)) return true;
    // A short name against a full one (or the other way round): compare the host labels.
    bool requestedShort = requested.find('.') == std::string::npos;
    bool contactedShort = contactedName.find('.') == std::string::npos;
    return (requestedShort || contactedShort) &&
           EqualsIgnoreCase(FirstLabel(requested), FirstLabel(contactedName));
}

std::string InfoValue(const std::string& line, const std::string& key) {
    if (line.compare(0, key.size() + 1, key + ":") != 0) return "";
    size_t value = line.find_first_not_of(" \t", key.size() + 1);
    return value == std::string::npos ? "" : line.substr(value);
}

std::vector<std::string> PinnedInfoArgs(const std::vector<std::string>& args,
                                        const ParsedArgs& parsed) {
    std::vector<std::string> pinned = args;
    if (parsed.server.empty()) return pinned;
    for (const Option& option : parsed.options) {
        if (option.name == "--option" && option.value.find("name resolve order") == 0) {
            return pinned;
        }
    }
    pinned.push_back("--option=name resolve order=host");
    return pinned;
}

}  // namespace netfront
