// qarnwin -checkDNSHostConflict DOMAIN: looks this server's host name up in the domain's DNS and
// prints one line; the line holds the clashing address in brackets when the name is registered
// for an address that is not this server's.
#include <arpa/inet.h>
#include <arpa/nameser.h>
#include <ifaddrs.h>
#include <netdb.h>
#include <netinet/in.h>
#include <resolv.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace {

const char kCheckDNSHostConflict[] = "-checkDNSHostConflict";
const int kAnswerSize = 65536;

struct RecordType {
    ns_type type;
    int family;
};

const RecordType kAddressRecords[] = {{ns_t_a, AF_INET}, {ns_t_aaaa, AF_INET6}};

bool IsDomainName(const std::string& name) {
    if (name.empty() || name.size() > NS_MAXDNAME) return false;
    for (const char c : name) {
        if (static_cast<unsigned char>(c) <= ' ' || c == 0x7f) return false;
    }
    return true;
}

std::string ShortHostName() {
    char name[HOST_NAME_MAX + 1] = {};
    if (gethostname(name, sizeof(name) - 1) != 0) return "";
    const std::string hostName = name;
    return hostName.substr(0, hostName.find('.'));
}

// The address of an IPv4 or IPv6 socket address as text; empty for other families.
std::string AddressText(const sockaddr* address) {
    char text[INET6_ADDRSTRLEN] = {};
    const void* raw = nullptr;
    if (address->sa_family == AF_INET) {
        raw = &reinterpret_cast<const sockaddr_in*>(address)->sin_addr;
    } else if (address->sa_family == AF_INET6) {
        raw = &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr;
    }
    if (raw == nullptr || inet_ntop(address->sa_family, raw, text, sizeof(text)) == nullptr) {
        return "";
    }
    return text;
}

std::set<std::string> LocalAddresses() {
    std::set<std::string> local;
    ifaddrs* addresses = nullptr;
    if (getifaddrs(&addresses) != 0) return local;
    for (const ifaddrs* entry = addresses; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr != nullptr) local.insert(AddressText(entry->ifa_addr));
    }
    freeifaddrs(addresses);
    local.erase("");
    return local;
}

// Appends the addresses of the records of one type; false when the DNS gave no usable answer
// (a name or record that does not exist is an empty answer, not a failure).
bool LookUp(const std::string& name, const RecordType& record, std::vector<std::string>* found) {
    std::vector<unsigned char> answer(kAnswerSize);
    const int length = res_query(name.c_str(), ns_c_in, record.type, answer.data(), kAnswerSize);
    if (length < 0) return h_errno == HOST_NOT_FOUND || h_errno == NO_DATA;
    ns_msg message;
    if (ns_initparse(answer.data(), length, &message) != 0) return false;
    for (int i = 0; i < ns_msg_count(message, ns_s_an); ++i) {
        ns_rr rr;
        char text[INET6_ADDRSTRLEN];
        if (ns_parserr(&message, ns_s_an, i, &rr) == 0 && ns_rr_type(rr) == record.type &&
            inet_ntop(record.family, ns_rr_rdata(rr), text, sizeof(text)) != nullptr) {
            found->push_back(text);
        }
    }
    return true;
}

int CheckDNSHostConflict(std::string domain) {
    if (!domain.empty() && domain.back() == '.') domain.pop_back();
    const std::string hostName = ShortHostName();
    if (!IsDomainName(domain) || hostName.empty()) {
        fprintf(stderr, "qarnwin: invalid domain or host name\n");
        return 2;
    }
    const std::string fqdn = hostName + "." + domain;
    std::vector<std::string> registered;
    for (const RecordType& record : kAddressRecords) {
        if (!LookUp(fqdn, record, &registered)) {
            fprintf(stderr, "qarnwin: DNS lookup of %s failed\n", fqdn.c_str());
            return 1;
        }
    }
    const std::set<std::string> local = LocalAddresses();
    for (const std::string& address : registered) {
        if (local.count(address) == 0) {
            printf("Host name %s is registered for another address [%s]\n", fqdn.c_str(),
                   address.c_str());
            return 0;
        }
    }
    printf("No host name conflict for %s\n", fqdn.c_str());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3 || strcmp(argv[1], kCheckDNSHostConflict) != 0) {
        fprintf(stderr, "usage: qarnwin %s DOMAIN\n", kCheckDNSHostConflict);
        return 2;
    }
    return CheckDNSHostConflict(argv[2]);
}
