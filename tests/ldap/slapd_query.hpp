// Searches through the LDAP client library (qarnldap) against the slapd instances, read whole
// into plain values.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "qarnldap.h"
#include "slapd.hpp"

using Entry = std::vector<std::pair<std::string, std::string>>;

struct Query {
    std::string server;
    int tls = QARN_LDAP_TLS_NONE;
    std::string bindDN;
    std::string bindPW;
    std::string base = "dc=example,dc=com";
    const char* filter = nullptr;
    std::vector<std::string> attrs;
    bool allocAttrs = true;
    int oneEntry = 0;
    int pageSize = 0;
};

struct Outcome {
    int setupRc = 0;  // of the request's initialisation and attribute list; 0 when fine
    int initRc = 0;
    int status = 0;
    int maxBlockPairs = 0;
    std::vector<Entry> entries;
    // After the last entry: one more read, the pairs it left and the result's entry count.
    int nextAfterEnd = 0;
    int pairsAfterEnd = 0;
    int entryCount = 0;
    bool freedAll = false;  // the free left no list or private data behind
};

// A query bound as server's bind user, at its plain listener, "ldaps" for its LDAPS one, or at
// another address.
Query Bound(const Slapd& server, const std::string& address = "");
// The connection of a query; it points into q.
QARN_LDAP_CONN Conn(const Query& q);
// Runs q and reads every entry; the entries' pairs in the library's order.
Outcome Search(const Query& q);

// The values of key in entry.
std::vector<std::string> Values(const Entry& entry, const std::string& key);
const Entry* FindDN(const Outcome& out, const std::string& dn);

// Writes the platform configuration and its defaults: the CA at ca, certificates demanded.
void WritePlatformConf(const std::string& ca);
// A CA that signed none of the instances' certificates.
const std::string& OtherCA();
