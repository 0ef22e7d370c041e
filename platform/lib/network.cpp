// Network interfaces: default-gateway interface, its IPv4 address and MTU, address types.
#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <net/route.h>
#include <netinet/in.h>
#include <string.h>

#include <fstream>
#include <limits>
#include <sstream>
#include <string>

#include "parsers.hpp"
#include "platform_error.hpp"
#include "platform_paths.hpp"
#include "qarn.h"

namespace {

// Copies text with its NUL into buffer; false when it does not fit.
bool CopyOut(const std::string& text, char* buffer, int size) {
    if (buffer == nullptr || size <= 0 || text.size() >= static_cast<size_t>(size)) return false;
    memcpy(buffer, text.c_str(), text.size() + 1);
    return true;
}

bool IsInterfaceName(const char* name) {
    if (name == nullptr) return false;
    const size_t length = strnlen(name, IFNAMSIZ);
    return length > 0 && length < IFNAMSIZ && strchr(name, '/') == nullptr &&
           strcmp(name, ".") != 0 && strcmp(name, "..") != 0;
}

std::string FirstIPv4Address(const char* interfaceName) {
    ifaddrs* addresses = nullptr;
    if (getifaddrs(&addresses) != 0) return "";
    std::string found;
    for (const ifaddrs* entry = addresses; entry != nullptr && found.empty();
         entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET ||
            strcmp(entry->ifa_name, interfaceName) != 0) {
            continue;
        }
        char text[INET_ADDRSTRLEN];
        const auto* address = reinterpret_cast<const sockaddr_in*>(entry->ifa_addr);
        if (inet_ntop(AF_INET, &address->sin_addr, text, sizeof(text)) != nullptr) found = text;
    }
    freeifaddrs(addresses);
    return found;
}

}  // namespace

extern "C" int QARNNetDefaultGatewayInterfaceGet(char* buffer, int size) {
    std::ifstream table(platform::kRouteTable);
    const std::string name = platform::DefaultRouteInterface(table);
    if (name.empty()) return PLATFORM_FAIL(platform::kNoDefaultRoute);
    if (!CopyOut(name, buffer, size)) return PLATFORM_FAIL(platform::kNetworkBadArgument);
    return 0;
}

extern "C" int QARNILnxGetIP(const char* interfaceName, char* buffer, int size) {
    if (!IsInterfaceName(interfaceName)) return PLATFORM_FAIL(platform::kNetworkBadArgument);
    const std::string address = FirstIPv4Address(interfaceName);
    if (address.empty()) return PLATFORM_FAIL(platform::kInterfaceNotFound);
    if (!CopyOut(address, buffer, size)) return PLATFORM_FAIL(platform::kNetworkBadArgument);
    return static_cast<int>(address.size());
}

extern "C" int QARNGetMTUSetting(const char* interfaceName) {
    if (!IsInterfaceName(interfaceName)) return PLATFORM_FAIL(platform::kNetworkBadArgument);
    std::ifstream setting(std::string(platform::kInterfaceDirectory) + interfaceName + "/mtu");
    int mtu = 0;
    if (!(setting >> mtu) || mtu <= 0) return PLATFORM_FAIL(platform::kInterfaceNotFound);
    return mtu;
}

extern "C" int QARNNetGetAddrType(const char* text) {
    if (text == nullptr) return 0;
    unsigned char address[sizeof(in6_addr)];
    if (inet_pton(AF_INET, text, address) == 1) return AF_INET;
    if (inet_pton(AF_INET6, text, address) == 1) return AF_INET6;
    return 0;
}
