// qarnsyncdctime DOMAIN: reads the time of a domain controller of DOMAIN (its rootDSE's
// "currentTime" over LDAP) and sets the system clock to it when they differ by more than a
// second. Exit status 0 on success; otherwise 1 with the reason on stderr.
#include <ldap.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "dc_time.hpp"

namespace {

const char kTimeAttribute[] = "currentTime";
const int kNetworkTimeout = 5;  // seconds, connect
const int kSearchTimeout = 10;  // seconds, the whole search

bool IsDomainName(const std::string& name) {
    if (name.empty() || name.size() > 253) return false;
    for (const char c : name) {
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '.' || c == '-')) return false;
    }
    return true;
}

// The controllers of the domain from its "_ldap._tcp" SRV records; the domain's own name (its
// address records name the controllers) when there are none.
std::vector<std::string> ControllerURIs(const std::string& domain) {
    char* hostList = nullptr;
    std::vector<std::string> uris;
    if (ldap_domain2hostlist(domain.c_str(), &hostList) == LDAP_SUCCESS && hostList != nullptr) {
        uris = dctime::LdapURIs(hostList);
    }
    ldap_memfree(hostList);
    if (uris.empty()) uris.push_back("ldap://" + domain);
    return uris;
}

// The "currentTime" of the rootDSE at uri, as text; empty (with the reason) when unread.
std::string ReadCurrentTime(const std::string& uri, std::string& reason) {
    LDAP* ld = nullptr;
    int rc = ldap_initialize(&ld, uri.c_str());
    if (rc != LDAP_SUCCESS) {
        reason = ldap_err2string(rc);
        return "";
    }
    const int version = LDAP_VERSION3;
    const timeval network = {kNetworkTimeout, 0};
    timeval search = {kSearchTimeout, 0};
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    ldap_set_option(ld, LDAP_OPT_NETWORK_TIMEOUT, &network);
    ldap_set_option(ld, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
    char attribute[sizeof(kTimeAttribute)];
    std::memcpy(attribute, kTimeAttribute, sizeof(kTimeAttribute));
    char* attributes[] = {attribute, nullptr};
    LDAPMessage* result = nullptr;
    rc = ldap_search_ext_s(ld, "", LDAP_SCOPE_BASE, "(objectClass=*)", attributes, 0, nullptr,
                           nullptr, &search, 1, &result);
    std::string text;
    if (rc != LDAP_SUCCESS) {
        reason = ldap_err2string(rc);
    } else if (LDAPMessage* entry = ldap_first_entry(ld, result)) {
        berval** values = ldap_get_values_len(ld, entry, kTimeAttribute);
        if (values != nullptr && values[0] != nullptr) {
            text.assign(values[0]->bv_val, values[0]->bv_len);
        }
        ldap_value_free_len(values);
    }
    if (rc == LDAP_SUCCESS && text.empty()) reason = "no currentTime in the rootDSE";
    ldap_msgfree(result);
    ldap_unbind_ext_s(ld, nullptr, nullptr);
    return text;
}

// Follows the controller's time; 0 on success.
int Follow(const std::string& uri, time_t controllerTime) {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    double offset = dctime::ClockOffset(controllerTime, now);
    if (!dctime::NeedsClockSet(offset)) {
        std::printf("qarnsyncdctime: %s: offset %+.1f s, clock kept\n", uri.c_str(), offset);
        return 0;
    }
    timespec target = {controllerTime, 0};
    if (clock_settime(CLOCK_REALTIME, &target) != 0) {
        std::fprintf(stderr, "qarnsyncdctime: %s: offset %+.1f s: cannot set the clock: %s\n",
                     uri.c_str(), offset, std::strerror(errno));
        return 1;
    }
    std::printf("qarnsyncdctime: %s: offset %+.1f s, clock set\n", uri.c_str(), offset);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 || !IsDomainName(argv[1])) {
        std::fprintf(stderr, "usage: qarnsyncdctime DOMAIN\n");
        return 2;
    }
    const std::string domain = argv[1];
    for (const std::string& uri : ControllerURIs(domain)) {
        std::string reason;
        std::string text = ReadCurrentTime(uri, reason);
        if (text.empty()) {
            std::fprintf(stderr, "qarnsyncdctime: %s: %s\n", uri.c_str(), reason.c_str());
            continue;
        }
        time_t controllerTime = 0;
        if (!dctime::ParseGeneralizedTime(text, controllerTime)) {
            std::fprintf(stderr, "qarnsyncdctime: %s: unreadable time \"%s\"\n", uri.c_str(),
                         text.c_str());
            continue;
        }
        return Follow(uri, controllerTime);
    }
    std::fprintf(stderr, "qarnsyncdctime: no domain controller of %s told its time\n",
                 domain.c_str());
    return 1;
}
