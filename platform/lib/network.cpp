// Network interfaces: address types. (The net branch's file of the same name is the full one.)
#include <arpa/inet.h>
#include <netinet/in.h>

#include "qarn.h"

extern "C" int QARNNetGetAddrType(const char* text) {
    if (text == nullptr) return 0;
    unsigned char address[sizeof(in6_addr)];
    if (inet_pton(AF_INET, text, address) == 1) return AF_INET;
    if (inet_pton(AF_INET6, text, address) == 1) return AF_INET6;
    return 0;
}
