// The steps that make a joined Debian file server a member of its domain: name service,
// Samba's member settings, trusted domains, the domain's administrators, the system event.
#include <syslog.h>

#include <sstream>
#include <string>
#include <vector>

#include "platform_error.hpp"
#include "platform_paths.hpp"
#include "qarn.h"
#include "smb_conf.hpp"
#include "spawn.hpp"
#include "text_file.hpp"

namespace {

const platform::Limits kNetLimits{30, 1024 * 1024};
const char kTrustDomainInfo[] = "/usr/qarn/etc/private/trust_domain_info";
const char kAuthUserFile[] = "/usr/qarn/etc/private/auth_user";
const char kWinbind[] = "winbind";
const unsigned int kJoinedEvent = 0x11800404;

std::vector<std::string> Words(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

// "passwd:" and "group:" lines list winbind last (enable) or not at all; other lines stay.
std::string NsswitchLine(const std::string& line, bool enable) {
    std::vector<std::string> words = Words(line);
    if (words.empty() || (words[0] != "passwd:" && words[0] != "group:")) return line;
    std::string result = words[0];
    result.append(16 - std::min<size_t>(words[0].size(), 15), ' ');
    std::string sources;
    for (size_t i = 1; i < words.size(); ++i) {
        if (words[i] == kWinbind) continue;
        sources += (sources.empty() ? "" : " ") + words[i];
    }
    if (enable) sources += (sources.empty() ? "" : " ") + std::string(kWinbind);
    return result + sources;
}

void AddMissingDatabases(std::vector<std::string>& lines, bool enable) {
    for (const char* database : {"passwd:", "group:"}) {
        bool present = false;
        for (const std::string& line : lines) {
            std::vector<std::string> words = Words(line);
            present = present || (!words.empty() && words[0] == database);
        }
        if (!present) lines.push_back(NsswitchLine(std::string(database) + " files", enable));
    }
}

// Runs net with the machine account; its output, empty when it failed.
bool RunNet(std::vector<std::string> args, std::string& output) {
    std::vector<std::string> argv{platform::kNetTool};
    argv.insert(argv.end(), args.begin(), args.end());
    return platform::Run(argv, "", output, kNetLimits).ExitedWith(0);
}

struct TrustedDomain {
    std::string fqdn;
    std::string netbios;
};

// The "trustPartner" and "flatName" pairs of a "net ads search" of trustedDomain objects.
std::vector<TrustedDomain> ParseTrusts(const std::string& output) {
    std::vector<TrustedDomain> trusts;
    std::istringstream lines(output);
    std::string line;
    while (std::getline(lines, line)) {
        std::vector<std::string> words = Words(line);
        if (words.size() != 2) continue;
        if (words[0] == "trustPartner:") trusts.push_back({words[1], ""});
        if (words[0] == "flatName:" && !trusts.empty()) trusts.back().netbios = words[1];
    }
    return trusts;
}

std::vector<std::string> TrustDomainLines(const std::vector<TrustedDomain>& trusts) {
    std::vector<std::string> lines;
    for (const TrustedDomain& trust : trusts) {
        lines.push_back("[" + trust.netbios + "]");
        lines.push_back("\tFQDN=" + trust.fqdn);
        lines.push_back("\tNetBIOS=" + trust.netbios);
    }
    return lines;
}

const char* EventText(unsigned int eventId) {
    return eventId == kJoinedEvent ? "The server joined the domain" : "System event";
}

int Priority(int level) {
    switch (level) {
        case 0:
            return LOG_ERR;
        case 1:
            return LOG_WARNING;
        default:
            return LOG_INFO;
    }
}

}  // namespace

// Domain user and group lists are not refreshed while the membership changes: winbind, which
// keeps them on a Debian member, is stopped until the switch-over starts it again.
extern "C" int QARNWinsStopDomainUpdating(void) {
    QLIBC_SZLIST* winbind = QLIBCSzListAlloc(1);
    QLIBCSzListPush(&winbind, "pkg-qarnsamba-winbindd");
    int result = QARNSystemdServiceStopByReason("QARNWinsStopDomainUpdating", winbind, nullptr);
    QLIBCSzListFree(winbind);
    return result;
}

// /etc/nsswitch.conf: "passwd" and "group" through winbind after the local files (enable), or
// without winbind; every other line kept; the file replaced atomically.
extern "C" int QARNWinsSetDomainNsswitch(int enable) {
    std::vector<std::string> lines;
    if (!platform::ReadLines(platform::kNsswitchConfFile, &lines) &&
        QLIBCFileExist(platform::kNsswitchConfFile)) {
        return PLATFORM_FAIL(platform::kMemberWriteFailed);
    }
    for (std::string& line : lines) line = NsswitchLine(line, enable != 0);
    AddMissingDatabases(lines, enable != 0);
    return platform::ReplaceFile(platform::kNsswitchConfFile, lines)
               ? 0
               : PLATFORM_FAIL(platform::kMemberWriteFailed);
}

// Samba's member defaults in [global] where the configuration has none: the default ID map
// for accounts outside the domain's own map.
extern "C" int QARNWinsSetDomainConfig(int enable) {
    if (!enable) return 0;
    if (!platform::SmbConfGlobalValue("idmap config * : backend").empty()) return 0;
    return platform::EditSmbConfGlobals(
        {{"idmap config * : backend", "tdb"}, {"idmap config * : range", "3000-7999"}});
}

// Remembers which domain account joined the server (its name; the password is not kept).
extern "C" int QARNWinsSetAuthUser(int /*flags*/, const char* user, const char* password) {
    if (user == nullptr || password == nullptr || user[0] == '\0') {
        return PLATFORM_FAIL(platform::kMemberBadArgument);
    }
    platform::MakePrivateDirectory();
    std::string name = user;
    if (name.find_first_of("\r\n") != std::string::npos)
        return PLATFORM_FAIL(platform::kMemberBadArgument);
    return platform::ReplaceFile(kAuthUserFile, {"User=" + name})
               ? 0
               : PLATFORM_FAIL(platform::kMemberWriteFailed);
}

// Users of trusted domains may log on ("allow trusted domains"); with enable, the joined domain
// and its trusts (trustedDomain objects, read with the machine account) are kept in
// trust_domain_info.
extern "C" int QARNWinSetTrustDomain(int enable) {
    if (platform::EditSmbConfGlobals({{"allow trusted domains", enable ? "yes" : "no"}}) != 0) {
        return -1;
    }
    platform::MakePrivateDirectory();
    std::vector<TrustedDomain> trusts;
    if (enable) {
        // The joined domain first: its own principal names are searched like a trusted domain's.
        const std::string realm = platform::SmbConfGlobalValue("realm");
        if (!realm.empty()) trusts.push_back({realm, platform::SmbConfGlobalValue("workgroup")});
        std::string output;
        if (!RunNet({"ads", "search", "-P", "-d0", "(objectClass=trustedDomain)", "trustPartner",
                     "flatName"},
                    output)) {
            syslog(LOG_ERR, "%s:%d reading the domain's trusts failed: %.200s", __FILE_NAME__,
                   __LINE__, output.c_str());
            return PLATFORM_FAIL(platform::kMemberToolFailed);
        }
        for (TrustedDomain& trust : ParseTrusts(output)) trusts.push_back(std::move(trust));
    }
    return platform::ReplaceFile(kTrustDomainInfo, TrustDomainLines(trusts))
               ? 0
               : PLATFORM_FAIL(platform::kMemberWriteFailed);
}

// The domain's "Domain Admins" administer every share ("admin users" in [global]).
extern "C" int QARNWinsDomainAddAdminGroup(void) {
    char workgroup[128];
    if (QARNWorkgroupGet(workgroup, sizeof(workgroup)) < 0) return -1;
    std::string admins = "@\"" + std::string(workgroup) + "\\Domain Admins\"";
    std::string users = platform::SmbConfGlobalValue("admin users");
    if (users.find(admins) != std::string::npos) return 0;
    if (!users.empty()) admins = users + ", " + admins;
    return platform::EditSmbConfGlobals({{"admin users", admins}});
}

// A system event: one syslog line with the event number, its text and its arguments.
extern "C" int QARNLogSet1(int level, int /*category*/, unsigned int eventId, const char* a1,
                           const char* a2, const char* a3, const char* a4) {
    std::string arguments;
    for (const char* argument : {a1, a2, a3, a4}) {
        if (argument != nullptr && argument[0] != '\0') arguments += std::string(" ") + argument;
    }
    syslog(Priority(level), "%s:%d event 0x%08X: %s:%s", __FILE_NAME__, __LINE__, eventId,
           EventText(eventId), arguments.c_str());
    return 0;
}

// Add-ons that follow the membership: a plain Debian file server has none to tell.
extern "C" int QARNWinsJoinPlugin(const char* /*a*/, const char* /*b*/, int /*c*/, int /*d*/) {
    syslog(LOG_INFO, "%s:%d joined: no add-ons to notify", __FILE_NAME__, __LINE__);
    return 0;
}
