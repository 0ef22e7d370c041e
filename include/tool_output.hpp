// Parsers of what the tools print: pure functions, text in, values out. The callers run the
// tools (util.hpp) and act on the values.
#pragma once

#include <json/value.h>

#include <istream>
#include <string>
#include <unordered_set>
#include <vector>

// "net ads search": whether line is its "Got N replies" line.
bool IsRepliesLine(const std::string& line);
// The N of a "Got N replies" line; false when it is no number.
bool ReadReplyCount(const std::string& line, int& count);

// "ps axeo pid,args": whether the line shows a process of the module other than `self` and
// other than ps itself.
bool IsOtherModuleProcess(const std::string& line, int self);

// Samba's per-domain krb5.conf: the values of the "kdc = ADDRESS" lines after its [realms] line.
// False when the file has no [realms] line.
bool ReadRealmKDCs(std::istream& file, std::unordered_set<std::string>& kdcs);

// "arping": how many hardware addresses answered ("... reply from ADDRESS [MAC] ..." lines).
size_t CountRepliers(const std::vector<std::string>& lines);

// "net lookup kdc|ldap REALM": the addresses of its "ADDRESS:PORT" lines.
Json::Value NetLookupAddresses(const std::vector<std::string>& lines);

// "nslookup": the answer of a line holding prefix ("Address: ", "service = "), its last word.
bool ExtractAnswer(const std::string& line, const std::string& prefix, std::string* value);
