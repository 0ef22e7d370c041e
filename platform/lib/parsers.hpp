// Parsers of what the platform reads from tools and system files: pure functions, text in,
// values out.
#pragma once

#include <istream>
#include <string>
#include <vector>

namespace platform {

// "net ads lookup", "net ads workgroup": the value of the first "key: value" line of output.
std::string ValueOf(const std::string& output, const std::string& key);

// "kinit": whether its output tells that the password was wrong or the principal unknown.
bool IsWrongPassword(const std::string& output);

// /etc/resolv.conf: the address of a "nameserver ADDRESS" line; empty for any other line.
std::string NameserverOf(const std::string& line);

// /proc/net/route: the interface of the default route with the lowest metric; empty when there
// is none.
std::string DefaultRouteInterface(std::istream& table);

// /etc/nsswitch.conf: the sources of a "passwd:" line, "[...]" actions left out; false for other
// lines.
bool ReadPasswdSources(const std::string& line, std::vector<std::string>& sources);

}  // namespace platform
