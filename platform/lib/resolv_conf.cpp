// The system's DNS servers: the "nameserver" lines of /etc/resolv.conf.
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "parsers.hpp"
#include "platform_error.hpp"
#include "platform_paths.hpp"
#include "qarn.h"
#include "text_file.hpp"

using platform::ReadLines;
using platform::ReplaceFile;

namespace {

const char kNameserver[] = "nameserver";

// Whole comma-separated entries that fit into size - 1 characters.
std::string JoinWithin(const std::vector<std::string>& servers, size_t limit) {
    std::string joined;
    for (const std::string& server : servers) {
        const std::string next = joined.empty() ? server : joined + "," + server;
        if (next.size() > limit) break;
        joined = next;
    }
    return joined;
}

// A server entry becomes one line of its own: no blanks, no control characters, no comment.
bool IsSafeEntry(const char* entry) {
    if (entry == nullptr || entry[0] == '\0') return false;
    for (const char* c = entry; *c != '\0'; ++c) {
        if (static_cast<unsigned char>(*c) <= ' ' || *c == 0x7f || *c == '#' || *c == ';') {
            return false;
        }
    }
    return true;
}

// The old lines with the nameserver lines replaced, in place of the first of them.
std::vector<std::string> ReplaceNameservers(const std::vector<std::string>& lines,
                                            const std::vector<std::string>& servers) {
    std::vector<std::string> result;
    bool inserted = false;
    auto insertServers = [&]() {
        for (const std::string& server : servers)
            result.push_back(std::string(kNameserver) + " " + server);
        inserted = true;
    };
    for (const std::string& line : lines) {
        if (platform::NameserverOf(line).empty()) {
            result.push_back(line);
        } else if (!inserted) {
            insertServers();
        }
    }
    if (!inserted) insertServers();
    return result;
}

// The file that /etc/resolv.conf names, following a symbolic link.
std::string TargetPath() {
    char* resolved = realpath(platform::kResolvConfFile, nullptr);
    if (resolved == nullptr) return platform::kResolvConfFile;
    std::string path = resolved;
    free(resolved);
    return path;
}

}  // namespace

extern "C" int QARNNetDNSGet(char* buffer, int size) {
    if (buffer == nullptr || size <= 0) return PLATFORM_FAIL(platform::kResolvConfBadArgument);
    std::vector<std::string> lines;
    if (!ReadLines(platform::kResolvConfFile, &lines)) return PLATFORM_FAIL(platform::kReadFailed);
    std::vector<std::string> servers;
    for (const std::string& line : lines) {
        const std::string server = platform::NameserverOf(line);
        if (!server.empty()) servers.push_back(server);
    }
    const std::string joined = JoinWithin(servers, static_cast<size_t>(size) - 1);
    if (joined.empty()) return PLATFORM_FAIL(platform::kReadFailed);
    memcpy(buffer, joined.c_str(), joined.size() + 1);
    return 0;
}

extern "C" int QARNNetDNSListSet(const QLIBC_SZLIST* servers) {
    if (servers == nullptr) return PLATFORM_FAIL(platform::kResolvConfBadArgument);
    std::vector<std::string> entries;
    for (int i = 0; i < QLIBCSzListCount(servers); ++i) {
        const char* entry = QLIBCSzListGet(servers, i);
        if (!IsSafeEntry(entry)) return PLATFORM_FAIL(platform::kResolvConfBadArgument);
        entries.push_back(entry);
    }
    const std::string path = TargetPath();
    std::vector<std::string> lines;
    if (!ReadLines(path, &lines) && QLIBCFileExist(path.c_str())) {
        return PLATFORM_FAIL(platform::kReadFailed);
    }
    if (!ReplaceFile(path, ReplaceNameservers(lines, entries))) {
        return PLATFORM_FAIL(platform::kWriteFailed);
    }
    return 0;
}
