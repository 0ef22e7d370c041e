// The system's DNS servers: the "nameserver" lines of /etc/resolv.conf.
#include <stdlib.h>
#include <string.h>

#include <sstream>
#include <string>
#include <vector>

#include "qarn.h"
#include "text_file.hpp"

using platform::ReadLines;
using platform::ReplaceFile;

namespace {

enum ResolvConfError { kBadArgument = 0x310, kReadFailed = 0x311, kWriteFailed = 0x312 };

const char kResolvConf[] = "/etc/resolv.conf";
const char kNameserver[] = "nameserver";

int Fail(int code, int line) {
    QLIBCErrSetEx(code, __FILE_NAME__, line);
    return -1;
}

// The address of a "nameserver ADDRESS" line; empty for any other line.
std::string NameserverOf(const std::string& line) {
    std::istringstream words(line);
    std::string keyword, address;
    if (!(words >> keyword >> address) || keyword != kNameserver) return "";
    return address;
}

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
        if (NameserverOf(line).empty()) {
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
    char* resolved = realpath(kResolvConf, nullptr);
    if (resolved == nullptr) return kResolvConf;
    std::string path = resolved;
    free(resolved);
    return path;
}

}  // namespace

extern "C" int QARNNetDNSGet(char* buffer, int size) {
    if (buffer == nullptr || size <= 0) return Fail(kBadArgument, __LINE__);
    std::vector<std::string> lines;
    if (!ReadLines(kResolvConf, &lines)) return Fail(kReadFailed, __LINE__);
    std::vector<std::string> servers;
    for (const std::string& line : lines) {
        const std::string server = NameserverOf(line);
        if (!server.empty()) servers.push_back(server);
    }
    const std::string joined = JoinWithin(servers, static_cast<size_t>(size) - 1);
    if (joined.empty()) return Fail(kReadFailed, __LINE__);
    memcpy(buffer, joined.c_str(), joined.size() + 1);
    return 0;
}

extern "C" int QARNNetDNSListSet(const QLIBC_SZLIST* servers) {
    if (servers == nullptr) return Fail(kBadArgument, __LINE__);
    std::vector<std::string> entries;
    for (int i = 0; i < QLIBCSzListCount(servers); ++i) {
        const char* entry = QLIBCSzListGet(servers, i);
        if (!IsSafeEntry(entry)) return Fail(kBadArgument, __LINE__);
        entries.push_back(entry);
    }
    const std::string path = TargetPath();
    std::vector<std::string> lines;
    if (!ReadLines(path, &lines) && QLIBCFileExist(path.c_str())) {
        return Fail(kReadFailed, __LINE__);
    }
    if (!ReplaceFile(path, ReplaceNameservers(lines, entries))) {
        return Fail(kWriteFailed, __LINE__);
    }
    return 0;
}
